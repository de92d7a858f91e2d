/// What the host says of the photograph: whether it can be used, and where it puts the LEDs.
#pragma once

#include <dravix/lab/unmix.h>

#include <opencv2/core.hpp>
#include <vector>

#include "lab/unmix/model/grid.h"

namespace dravix::lab::unmix {

/// Throws std::invalid_argument as Unmix does.
void CheckArguments(const cv::Mat& photo, const UnmixOptions& options);

/// Where the LEDs are expected: by the corners, and by the known places where there are any. Throws
/// std::invalid_argument for places that cannot be used.
[[nodiscard]] Grid ExpectedGrid(const Grid& byCorners, const std::vector<KnownPlace>& places);

/// Pixels from LED to LED, lit or not, in the screen's middle, where one of an interval is lit.
[[nodiscard]] double PitchOf(const Grid& grid, cv::Size interval);

}  // namespace dravix::lab::unmix
