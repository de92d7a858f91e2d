/// A line of the grid measured block by block, freed from the outliers that dead LEDs cause.
#pragma once

#include <optional>
#include <vector>

#include "checkerboard/geometry/span.h"

namespace dravix::checkerboard {

/// What one block says about the line that it lies on.
struct LinePoint {
  Span block;                   ///< the block's extent along the line; a longer one counts more,
                                ///< since more pixels were looked at
  std::optional<double> place;  ///< where the line is across its direction, in pixels; empty where
                                ///< nothing was seen
};

/// The line's place at each point. It is the measured one, except for points that were not seen or
/// lie off the curve through all of them: those take their place from the curve. The line is one
/// that a lens bends: nearly straight, a cubic at most. Fewer than four seen points are too few to
/// call one of them wrong and come back as they are. Empty when no point was seen.
[[nodiscard]] std::vector<double> WithoutOutliers(const std::vector<LinePoint>& points);

}  // namespace dravix::checkerboard
