/// At which share of the level inside the outline of the lit area lies.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::checkerboard {

/// Defocus moves light across the outline but loses none: the light beyond a line well inside, put
/// back at the level there, reaches exactly to the true outline. How bright the picture is at that
/// place depends on the lens: half the level for a Gaussian spot, up to 0.57 for a disk about as
/// wide as the LEDs are apart, whose outline at half the level lies 1 to 2 pixels too far out.
///
/// All three pictures have one channel and one size; `level` is CV_32FC1, what `light` would be
/// without the outline. The outline of `mask` is looked at in pieces as long as `cell`; the medians
/// count. `rise`: pixels from the outline to where the light is three quarters of the level.
struct Outline {
  double share = 0.5;  ///< of the level, that the light has at the true outline
  cv::Point2d excess;  ///< pixels that the mask's outline lies too far out, at the sides and at top
                       ///< and bottom; 0 where there is too little to tell
};
[[nodiscard]] Outline MeasuredOutline(const cv::Mat& light, const cv::Mat& mask,
                                      const cv::Mat& level, cv::Size2d cell, double rise);

}  // namespace dravix::checkerboard
