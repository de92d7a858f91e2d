#include "lab/analysis/surroundings.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Both keep `best` where the value is NaN, and are one vector instruction for several columns.
double Lower(double value, double best) { return value < best ? value : best; }
double Higher(double value, double best) { return value > best ? value : best; }

}  // namespace

Surroundings::Surroundings(const CountedRows& rows) : source_(&rows), y_(rows.Inner().y - 1) {
  const std::size_t width = Index(rows.Size().width);
  const std::size_t padded = width + 2 * kReach;
  for (auto& row : rows_) row.assign(padded, kNotKnown);
  columnLowest_.resize(padded);
  columnHighest_.resize(padded);
  lowest_.resize(width);
  highest_.resize(width);
  // The window stands just above the first inner row: moving it there reads the last of its rows.
  for (int y = y_ - kReach; y <= y_ + kReach; ++y) ReadRow(y);
}

const double* Surroundings::Row(int y) const {
  return rows_[Index((y + kSide) % kSide)].data() + kReach;
}

void Surroundings::ReadRow(int y) {
  source_->Read(y, rows_[Index((y + kSide) % kSide)].data() + kReach);
}

void Surroundings::MoveTo(int y) {
  y_ = y;
  ReadRow(y + kReach);
  FindExtremes();
}

void Surroundings::FindExtremes() {
  const std::size_t padded = columnLowest_.size();
  for (std::size_t x = 0; x < padded; ++x) {
    double low = kInfinity;
    double high = -kInfinity;
    for (const auto& row : rows_) {
      low = Lower(row[x], low);
      high = Higher(row[x], high);
    }
    columnLowest_[x] = low;
    columnHighest_[x] = high;
  }
  for (std::size_t x = 0; x + 2 * kReach < padded; ++x) {
    double low = columnLowest_[x];
    double high = columnHighest_[x];
    for (std::size_t i = 1; i < kSide; ++i) {
      low = Lower(columnLowest_[x + i], low);
      high = Higher(columnHighest_[x + i], high);
    }
    lowest_[x] = low;
    highest_[x] = high;
  }
}

Surroundings::Neighbors Surroundings::Around(int x) const {
  Neighbors neighbors;
  auto to = neighbors.begin();
  for (int dy = -kReach; dy <= kReach; ++dy) {
    const double* row = Row(y_ + dy) + x;
    if (dy == 0) {
      to = std::copy(row - kReach, row, to);
      to = std::copy(row + 1, row + 1 + kReach, to);
    } else {
      to = std::copy(row - kReach, row + 1 + kReach, to);
    }
  }
  return neighbors;
}

double MedianOf(const Surroundings::Neighbors& neighbors) {
  Surroundings::Neighbors known;
  const auto end = std::copy_if(neighbors.begin(), neighbors.end(), known.begin(), IsKnown);
  const auto count = end - known.begin();
  if (count == 0) return kNotKnown;
  const auto upper = known.begin() + count / 2;
  std::nth_element(known.begin(), upper, end);
  if (count % 2 != 0) return *upper;
  return *std::max_element(known.begin(), upper) / 2 + *upper / 2;
}

}  // namespace dravix::lab
