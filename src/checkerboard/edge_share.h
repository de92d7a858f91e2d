/// At which share of the level inside the outline of the lit area lies.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::checkerboard {

/// Defocus moves light across the outline but loses none: the light beyond a line well inside, put
/// back at the level there, reaches exactly to the true outline. How bright the picture is at that
/// place depends on the lens: half the level for a Gaussian spot, up to 0.57 for a disk about as
/// wide as the LEDs are apart, whose outline at half the level lies 1 to 2 pixels too far out.
///
/// The share of `level` (CV_32FC1) that `light` has there: the median over pieces of the outline of
/// `mask` as long as `cell`; 0.5 where there are too few. `rise`: pixels from the outline to where
/// the light is three quarters of the level. One channel, all of one size.
[[nodiscard]] double ShareAtOutline(const cv::Mat& light, const cv::Mat& mask, const cv::Mat& level,
                                    cv::Size2d cell, double rise);

}  // namespace dravix::checkerboard
