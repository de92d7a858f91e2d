/// Where the LEDs are in the working image.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/rectified.h"
#include "checkerboard/sides.h"

namespace dravix::checkerboard {

struct Area {
  cv::Rect box;  ///< bounding rectangle; empty when nothing is lit
  Sides excess;  ///< pixels that the outline lies too far out
};

/// The LED area: the largest lit outline, filled with 255 into `mask`, which is CV_8UC1 of the
/// picture's size and otherwise becomes 0. `scratch` is a picture of that kind for reuse, or empty.
[[nodiscard]] Area LedArea(const cv::Mat& measured, const RectifyParams& params, cv::Mat& mask,
                           cv::Mat& scratch);

}  // namespace dravix::checkerboard
