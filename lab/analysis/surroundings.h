/// The 5 x 5 LEDs around each LED of a row, as a window that moves down the matrix.
#pragma once

#include <array>
#include <vector>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

class Surroundings {
 public:
  static constexpr int kReach = 2;  ///< the window has 2 kReach + 1 LEDs a side
  static constexpr int kSide = 2 * kReach + 1;
  using Neighbors = std::array<double, kSide * kSide - 1>;

  explicit Surroundings(const CountedRows& rows);

  /// Moves the window to row `y`; every call is for the next inner row, beginning with the first.
  void MoveTo(int y);

  /// The value of column `x`; NaN where the LED does not count.
  [[nodiscard]] double Value(int x) const { return Row(y_)[x]; }
  /// Least and largest value of the 5 x 5, itself included; infinity and -infinity without any.
  [[nodiscard]] double Lowest(int x) const { return lowest_[Index(x)]; }
  [[nodiscard]] double Highest(int x) const { return highest_[Index(x)]; }
  /// The 5 x 5 without the LED itself; NaN for LEDs that do not count and beyond the matrix.
  [[nodiscard]] Neighbors Around(int x) const;

 private:
  using Rows = std::array<std::vector<double>, kSide>;

  static std::size_t Index(int x) { return static_cast<std::size_t>(x); }
  void ReadRow(int y);
  void FindExtremes();
  /// Points to column 0; `kReach` more values on both sides are NaN.
  [[nodiscard]] const double* Row(int y) const;

  const CountedRows* source_;
  int y_;
  Rows rows_;  ///< row y is in place y modulo kSide
  std::vector<double> columnLowest_, columnHighest_;
  std::vector<double> lowest_, highest_;
};

/// The median of the neighbors that count, the mean of the middle two where their number is even;
/// NaN without any.
[[nodiscard]] double MedianOf(const Surroundings::Neighbors& neighbors);

}  // namespace dravix::lab
