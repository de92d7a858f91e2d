/// Averages that a few values far off, such as those beside a dead LED, do not move.
#pragma once

#include <vector>

namespace dravix::checkerboard {

/// Mean of the middle half of the values: the quarter of the smallest and the quarter of the
/// largest are left out. As little moved by outliers as the median, and steadier, because it
/// averages. `values` is not empty.
[[nodiscard]] double MiddleMean(std::vector<double> values);

/// The value that half of the others do not exceed, the upper one of the two middle ones of an even
/// number; 0 of none.
[[nodiscard]] double Median(std::vector<double> values);

}  // namespace dravix::checkerboard
