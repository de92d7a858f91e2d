/// Matrices of many megabytes.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::image {

/// A matrix of zeros whose memory costs nothing until it is written to, and goes back to the system
/// with the last header that refers to it; see base::LargeBuffer.
[[nodiscard]] cv::Mat LargeZeros(cv::Size size, int type);

/// Gives the memory of some rows of such a matrix, or of columns of one, back to the system. They
/// hold nothing useful from then on. Rows of any other matrix stay what they are.
void ForgetRows(const cv::Range& rows, cv::Mat& matrix);

}  // namespace dravix::image
