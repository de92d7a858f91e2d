/// The 5 x 5 LEDs around each LED of a row, as a window that moves down the matrix.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

inline constexpr int kReach = 2;  ///< the window has 2 kReach + 1 LEDs a side
inline constexpr int kSide = 2 * kReach + 1;
inline constexpr int kNeighbors = kSide * kSide - 1;

/// The 5 x 5 around an LED without the LED itself; NaN for LEDs that do not count and beyond the
/// matrix.
using Neighbors = std::array<double, kNeighbors>;

/// The median of the neighbors that count, the mean of the middle two where their number is even;
/// NaN without any.
[[nodiscard]] double MedianOf(const Neighbors& neighbors);

/// T is what the matrix holds, float or double.
template <class T>
class Surroundings {
 public:
  static constexpr int kPadding = 8;  ///< values after a row that may be read; they are NaN

  explicit Surroundings(const CountedRows& rows);

  /// Moves the window to row `y`; every call is for the next inner row, beginning with the first.
  void MoveTo(int y);

  /// Points to column 0 of the row `dy` rows below the window's middle one, -kReach to kReach.
  /// NaN stands where an LED does not count, and kReach values before and kPadding behind the row.
  [[nodiscard]] const T* Row(int dy) const { return rows_[IndexOf(y_ + dy)].data() + kReach; }
  /// The neighbors of column `x` of the middle row.
  [[nodiscard]] Neighbors Around(int x) const;

 private:
  static std::size_t IndexOf(int y) { return static_cast<std::size_t>((y + kSide) % kSide); }
  void ReadRow(int y) { source_->Read(y, rows_[IndexOf(y)].data() + kReach); }

  const CountedRows* source_;
  int y_;
  std::array<std::vector<T>, kSide> rows_;  ///< row y is in place y modulo kSide
};

}  // namespace dravix::lab
