/// Camera files as bytes, written field by field.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace dravix::test {

inline std::string Little(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFFU);
  return text;
}

inline std::string Samples(const cv::Mat& image) {
  std::string bytes;
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) bytes += Little(image.at<std::uint16_t>(y, x), 2);
  }
  return bytes;
}

inline std::string Entry(std::uint32_t tag, std::uint32_t type, std::uint32_t count,
                         std::uint32_t value) {
  return Little(tag, 2) + Little(type, 2) + Little(count, 4) + Little(value, 4);
}

/// A DNG of one strip whose tag holds the offset itself. Readers take the last row for the top one.
inline std::string DirectDng(const cv::Mat& image) {
  constexpr std::uint32_t kData = 8 + 2 + 5 * 12 + 4;
  return std::string("II*\0", 4) + Little(8, 4) + Little(5, 2) +
         Entry(256, 4, 1, static_cast<std::uint32_t>(image.cols)) +
         Entry(257, 4, 1, static_cast<std::uint32_t>(image.rows)) + Entry(258, 3, 1, 16) +
         Entry(259, 3, 1, 1) + Entry(273, 4, 1, kData) + Little(0, 4) + Samples(image);
}

}  // namespace dravix::test
