/// Picture files that are written.
#pragma once

#include <functional>
#include <opencv2/core.hpp>
#include <string>

namespace dravix::image {

/// Writes `picture` with OpenCV's encoder for the name's extension, the same bytes as cv::imwrite
/// without parameters, but the file appears whole or not at all. False when there is no such
/// encoder, when it refuses the picture or when the file cannot be written.
[[nodiscard]] bool WritePicture(const std::string& fullname, const cv::Mat& picture);

/// The same for the picture that `make` makes. False, too, when OpenCV refuses to make it.
[[nodiscard]] bool WritePicture(const std::string& fullname, const std::function<cv::Mat()>& make);

}  // namespace dravix::image
