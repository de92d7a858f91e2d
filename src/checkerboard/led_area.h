/// Where the lit area is in the working image.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/rectified.h"
#include "checkerboard/sides.h"

namespace dravix::checkerboard {

/// What is known of the lit area beside its mask.
struct Area {
  cv::Rect box;  ///< the mask's bounding rectangle; empty when nothing is lit
  Sides excess;  ///< pixels by which the mask's outline lies too far out
};

/// Finds the lit area in `measured` and fills it with 255 into `mask`, which is CV_8UC1 of the
/// picture's size and becomes 0 elsewhere; when nothing is lit, the mask stays as it was. `scratch`
/// is an 8-bit picture of that size for reuse, or empty.
[[nodiscard]] Area LedArea(const cv::Mat& measured, const RectifyParams& params, cv::Mat& mask,
                           cv::Mat& scratch);

}  // namespace dravix::checkerboard
