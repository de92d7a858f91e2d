// The screen is made row by row, so that sums in double precision are kept for one row only. Each
// row takes its results in their order, which fixes the order of the sums.
#include "lab/assembly/merge.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "lab/assembly/lattice.h"

namespace dravix::lab {
namespace {

struct Sums {
  std::vector<double> sums;
  std::vector<std::int32_t> counts;
};

template <class T>
void AddRow(const T* values, const Lattice& columns, double gain, Sums& row) {
  auto x = static_cast<std::size_t>(columns.first);
  const auto step = static_cast<std::size_t>(columns.step);
  for (int j = 0; j < columns.count; ++j, x += step) {
    const double value = static_cast<double>(values[j]) * gain;
    if (!std::isfinite(value)) continue;
    // The first value is taken as it is: 0 + -0 would lose the sign.
    row.sums[x] = row.counts[x] == 0 ? value : row.sums[x] + value;
    ++row.counts[x];
  }
}

/// The results that have LEDs in a row of the screen.
class RowsOfResults {
 public:
  RowsOfResults(const std::vector<PlacedResult>& results, int height)
      : beginning_(static_cast<std::size_t>(height)) {
    for (std::size_t i = 0; i < results.size(); ++i) {
      rows_.push_back(RowsOf(results[i].placement));
      columns_.push_back(ColumnsOf(results[i].placement));
      beginning_[static_cast<std::size_t>(rows_[i].first)].push_back(i);
    }
  }
  /// To be called for the rows from the top on.
  void MoveTo(int y) {
    const auto ended = [&](std::size_t i) { return rows_[i].Last() < y; };
    active_.erase(std::remove_if(active_.begin(), active_.end(), ended), active_.end());
    for (const std::size_t i : beginning_[static_cast<std::size_t>(y)]) {
      active_.insert(std::upper_bound(active_.begin(), active_.end(), i), i);
    }
  }
  /// Calls `use(result, row of it, its columns)` in the order of the results.
  template <class Use>
  void ForEachAt(int y, Use&& use) const {
    for (const std::size_t i : active_) {
      if ((y - rows_[i].first) % rows_[i].step == 0) use(i, rows_[i].IndexOf(y), columns_[i]);
    }
  }

 private:
  std::vector<Lattice> rows_, columns_;
  std::vector<std::vector<std::size_t>> beginning_;
  std::vector<std::size_t> active_;
};

/// Writes the means of one row, and empties the sums.
void TakeMeans(int y, Sums& row, Merged& merged) {
  float* values = merged.values[y];
  unsigned char* counts = merged.counts[y];
  for (std::size_t x = 0; x < row.sums.size(); ++x) {
    const std::int32_t count = row.counts[x];
    values[x] = count > 0 ? static_cast<float>(row.sums[x] / count)
                          : std::numeric_limits<float>::quiet_NaN();
    counts[x] = static_cast<unsigned char>(std::min(count, 255));
    merged.measured += count > 0 ? 1 : 0;
    merged.doubled += count > 1 ? 1 : 0;
    row.counts[x] = 0;
  }
}

}  // namespace

Merged Merge(const std::vector<PlacedResult>& results, const std::vector<double>& gains) {
  const cv::Size screen = results.front().placement.screen;
  Merged merged{cv::Mat1f(screen), cv::Mat1b(screen), 0, 0};
  const auto width = static_cast<std::size_t>(screen.width);
  Sums row{std::vector<double>(width), std::vector<std::int32_t>(width)};
  RowsOfResults rows(results, screen.height);
  for (int y = 0; y < screen.height; ++y) {
    rows.MoveTo(y);
    rows.ForEachAt(y, [&](std::size_t i, int at, const Lattice& columns) {
      const cv::Mat& values = results[i].values;
      if (values.type() == CV_32FC1) {
        AddRow(values.ptr<float>(at), columns, gains[i], row);
      } else {
        AddRow(values.ptr<double>(at), columns, gains[i], row);
      }
    });
    TakeMeans(y, row, merged);
  }
  return merged;
}

}  // namespace dravix::lab
