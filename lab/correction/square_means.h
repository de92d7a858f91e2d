/// The level around each LED.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::lab {

/// For each element, the mean of what is not NaN in the square of `side` around it as far as on the
/// matrix; NaN where there is nothing. `values` are CV_32FC1 or CV_64FC1 and above 0 or NaN; `side`
/// is odd.
[[nodiscard]] cv::Mat1d SquareMeans(const cv::Mat& values, int side);

}  // namespace dravix::lab
