/// Pictures on disk.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dravix::image {

/// Writes `picture` with OpenCV's encoder for the name's extension, the same bytes as cv::imwrite
/// without parameters, but the file appears whole or not at all. False when there is no such
/// encoder, when it refuses the picture or when the file cannot be written.
[[nodiscard]] bool WritePicture(const std::string& fullname, const cv::Mat& picture);

}  // namespace dravix::image
