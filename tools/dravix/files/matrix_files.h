/// A matrix of luminances in the formats that other programs read. All are exact.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

/// NumPy's .npy, version 1.0: 32-bit floats, little-endian, row by row.
[[nodiscard]] std::string EncodeNpy(const cv::Mat& values);
/// Two dimensions of 32- or 64-bit floats; fails, naming `name`, on anything else.
[[nodiscard]] cv::Mat DecodeNpy(const std::string& name, const std::string& bytes);
/// One line per row, the shortest digits that give the same float again.
[[nodiscard]] std::string EncodeCsv(const cv::Mat& values);

}  // namespace dravix::tool
