/// What is measured along a line of the grid, without what a dead LED spoils.
#pragma once

#include <optional>
#include <vector>

namespace dravix::checkerboard {

struct LinePoint {
  double along;                 ///< on the line
  std::optional<double> place;  ///< across it, pixels; empty where nothing was seen
  double weight = 1;            ///< above 0; how much was looked at
};

/// The line's place at each point: as measured, but for points that were not seen or lie off the
/// curve through all of them. The line is one that a lens bends: nearly straight, a cubic at most.
/// Too few points for a curve come back as they are. Empty when none was seen.
[[nodiscard]] std::vector<double> WithoutOutliers(const std::vector<LinePoint>& points);

}  // namespace dravix::checkerboard
