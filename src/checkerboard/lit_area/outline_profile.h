/// How the light falls off across the outline of the lit area, and where the true outline lies.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/geometry/sides.h"
#include "checkerboard/lit_area/local_level.h"
#include "kernels/bits/bit_picture.h"

namespace dravix::checkerboard {

/// A picture of the lit area and a mask of it whose outline is to be checked.
struct OutlineInput {
  const cv::Mat& light;             ///< one channel
  const kernels::BitPicture& mask;  ///< of the same size
  cv::Rect box;                     ///< the mask's bounding rectangle
  const LevelMap& level;  ///< what `light` would be if the screen went on beyond its outline
  cv::Size2d cell;        ///< expected size of a block
};

/// Pixels from where the light is half the level to where it is three quarters of it: a measure of
/// the defocus. 0 where the outline shows too little.
[[nodiscard]] double MeasuredRise(const OutlineInput& input);

/// What the profile across the outline says.
struct OutlineProfile {
  double share = 0.5;  ///< share of the level that the light has at the true outline, 0.35 to 0.65
  Sides excess;        ///< pixels by which the mask's outline lies too far out
};

/// `rise` is that of MeasuredRise. Where the outline shows too little, `share` is 0.5 and `excess`
/// 0.
[[nodiscard]] OutlineProfile MeasuredOutline(const OutlineInput& input, double rise);

}  // namespace dravix::checkerboard
