/// What an area may cost that is stated by numbers alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <opencv2/core.hpp>

namespace dravix::region {

/// The most pixels of an area that somebody states by its corners, and the most bytes that any
/// photograph is rectified to. Larger areas are mistakes: sensors have up to 150 million pixels.
inline constexpr std::int64_t kMostAreaPixels = std::int64_t{1} << 28;

[[nodiscard]] constexpr std::int64_t Pixels(std::int64_t width, std::int64_t height) {
  return width * height;
}

/// Throws cv::Exception for an area of more pixels. Sides may have all of 32 bits.
inline void RequireAffordable(cv::Size area, std::int64_t mostPixels = kMostAreaPixels) {
  if (Pixels(area.width, area.height) > mostPixels) {
    CV_Error(cv::Error::StsOutOfRange, "the area has more pixels than any camera");
  }
}

/// The most pixels of a rectified photograph: a quadrilateral inside it has no sides that are
/// longer than its diagonal. A small photograph may be enlarged beyond that.
[[nodiscard]] inline std::int64_t MostRectifiedPixels(const cv::Mat& photo) {
  const auto bytesPerPixel = static_cast<std::int64_t>(photo.elemSize());
  return std::max(Pixels(photo.cols, photo.cols) + Pixels(photo.rows, photo.rows),
                  kMostAreaPixels / bytesPerPixel);
}

}  // namespace dravix::region
