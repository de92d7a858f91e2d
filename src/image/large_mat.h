/// Matrices of many megabytes.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::image {

/// A matrix of zeros whose memory costs nothing until it is written to, and goes back to the system
/// with the last header that refers to it; see base::LargeBuffer.
[[nodiscard]] cv::Mat LargeZeros(cv::Size size, int type);

}  // namespace dravix::image
