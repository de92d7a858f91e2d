#include "extractor/column_averages.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>

namespace dravix::extractor {
namespace {

/// Rows per cell when that is a whole number, else 0; as the matrix library decides it.
int WholeRowsPerCell(int length, int cells) {
  const double scale = 1.0 / (static_cast<double>(cells) / length);
  const int whole = cv::saturate_cast<int>(scale);
  return std::abs(scale - whole) < DBL_EPSILON ? whole : 0;
}

}  // namespace

bool ColumnAverages::CanAdd(int length, int cells) {
  // 256 samples of 16 bits add up to 24 bits, which single precision holds exactly.
  constexpr int kMostExact = 256;
  return length >= cells && WholeRowsPerCell(length, cells) <= kMostExact;
}

ColumnAverages::Plan ColumnAverages::PlanFor(int length, int cells) {
  Plan plan;
  plan.shares.resize(static_cast<std::size_t>(length));
  const auto add = [&](int cell, int row, double weight) {
    std::array<Share, 2>& shares = plan.shares.at(static_cast<std::size_t>(row));
    Share& free = shares[0].cell == kNone ? shares[0] : shares[1];
    free = {cell, static_cast<float>(weight)};
  };
  if (const int whole = WholeRowsPerCell(length, cells); whole > 0) {
    plan.factor = 1.0F / static_cast<float>(whole);
    for (int row = 0; row < length; ++row) add(row / whole, row, 1.0);
    return plan;
  }
  // Parts of a row below this share are left out.
  constexpr double kLeastShare = 1e-3;
  const double rowsPerCell = 1.0 / (static_cast<double>(cells) / length);
  for (int cell = 0; cell < cells; ++cell) {
    const double begin = cell * rowsPerCell;
    const double end = begin + rowsPerCell;
    const double height = std::min(rowsPerCell, length - begin);
    const int last = std::min(cvFloor(end), length - 1);
    const int first = std::min(cvCeil(begin), last);
    if (first - begin > kLeastShare) add(cell, first - 1, (first - begin) / height);
    for (int row = first; row < last; ++row) add(cell, row, 1.0 / height);
    if (end - last > kLeastShare) {
      add(cell, last, std::min(std::min(end - last, 1.0), height) / height);
    }
  }
  return plan;
}

ColumnAverages::Group ColumnAverages::MakeGroup(const ColumnRun& run, std::size_t begin,
                                                std::size_t end) {
  Group group;
  group.begin = static_cast<int>(begin);
  group.count = static_cast<int>(end - begin);
  group.run = run;
  if (CanAdd(run.length, target_.rows)) {
    auto [plan, isNew] = plans_.try_emplace(run.length);
    if (isNew) plan->second = PlanFor(run.length, target_.rows);
    group.plan = &plan->second;
  } else {
    group.kept.create(run.length, group.count, CV_16UC1);
  }
  return group;
}

ColumnAverages::ColumnAverages(std::span<const ColumnRun> runs, cv::Mat target)
    : target_(std::move(target)) {
  CV_Assert(target_.type() == CV_32FC1 && target_.cols == static_cast<int>(runs.size()));
  for (std::size_t begin = 0; begin < runs.size();) {
    std::size_t end = begin + 1;
    while (end < runs.size() && runs[end] == runs[begin]) ++end;
    groups_.push_back(MakeGroup(runs[begin], begin, end));
    begin = end;
  }
}

void ColumnAverages::Add(int y, const std::uint16_t* samples) {
  pending_.clear();
  for (Group& group : groups_) {
    const int row = y - group.run.start;
    if (row < 0 || row >= group.run.length) continue;
    if (group.plan == nullptr) {
      std::copy_n(samples + group.begin, group.count, group.kept.ptr<std::uint16_t>(row));
      continue;
    }
    for (const Share& share : group.plan->shares[static_cast<std::size_t>(row)]) {
      if (share.cell == kNone) break;
      float* sums = target_.ptr<float>(share.cell) + group.begin;
      pending_.push_back(
          {group.begin, group.count, share.weight, share.cell != group.lastCell, sums});
      group.lastCell = share.cell;
    }
  }
  kernels::AddWeighted(samples, pending_);
}

void ColumnAverages::Finish() {
  for (const Group& group : groups_) {
    cv::Mat columns = target_.colRange(group.begin, group.begin + group.count);
    if (group.plan == nullptr) {
      const std::vector<ColumnRun> all(static_cast<std::size_t>(group.count),
                                       {0, group.run.length});
      ResampleColumns(group.kept, all, target_.rows).copyTo(columns);
    } else if (group.plan->factor != 1.0F) {
      for (int cell = 0; cell < columns.rows; ++cell) {
        auto* sums = columns.ptr<float>(cell);
        for (int i = 0; i < group.count; ++i) sums[i] *= group.plan->factor;
      }
    }
  }
}

}  // namespace dravix::extractor
