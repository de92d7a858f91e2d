/// Pictures made smaller by whole numbers.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::kernels {

/// The picture (CV_16UC1) with one pixel for each square of `side` x `side` pixels, their mean, as
/// cv::resize makes it with INTER_AREA. `side` is 1 to 8 and divides both sides of the picture.
[[nodiscard]] cv::Mat MeansOfSquares(const cv::Mat& picture, int side);

}  // namespace dravix::kernels
