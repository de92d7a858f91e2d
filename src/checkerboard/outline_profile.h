/// At which share of the level inside the outline of the lit area lies.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/local_level.h"
#include "checkerboard/sides.h"

namespace dravix::checkerboard {

/// Defocus moves light across the outline but loses none: the light beyond a line well inside, put
/// back at the level there, reaches exactly to the true outline. How bright the picture is at that
/// place depends on the lens: half the level for a Gaussian spot, up to 0.57 for a disk about as
/// wide as the LEDs are apart, whose outline at half the level lies 1 to 2 pixels too far out.
///
/// The outline of the mask is looked at in pieces as long as a block; the medians count.
struct OutlineInput {
  const cv::Mat& light;   ///< one channel
  const cv::Mat& mask;    ///< CV_8UC1, of the same size
  cv::Rect box;           ///< the mask's bounding rectangle
  const LevelMap& level;  ///< what `light` would be without the outline
  cv::Size2d cell;        ///< expected size of a block
};

/// Pixels from where the light is half the level to where it is three quarters of it.
[[nodiscard]] double MeasuredRise(const OutlineInput& input);

struct OutlineProfile {
  double share = 0.5;  ///< of the level, that the light has at the true outline
  Sides excess;        ///< pixels that the mask's outline lies too far out; 0 where there is too
                       ///< little to tell
};
[[nodiscard]] OutlineProfile MeasuredOutline(const OutlineInput& input, double rise);

}  // namespace dravix::checkerboard
