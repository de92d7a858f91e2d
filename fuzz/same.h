/// Comparing matrices to the last bit.
#pragma once

#include <cstring>
#include <opencv2/core.hpp>

namespace dravix::fuzz {

/// Whether shape, type and all bytes are equal; a NaN equals itself.
[[nodiscard]] inline bool SameMat(const cv::Mat& a, const cv::Mat& b) {
  if (a.empty() && b.empty()) return true;
  if (a.type() != b.type() || a.size != b.size) return false;
  if (a.dims > 2) return true;
  const std::size_t bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
  for (int y = 0; y < a.rows; ++y) {
    if (std::memcmp(a.ptr(y), b.ptr(y), bytes) != 0) return false;
  }
  return true;
}

}  // namespace dravix::fuzz
