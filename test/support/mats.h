/// Matrices for tests: noise from a seed, and an exact comparison with a message that helps.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <opencv2/core.hpp>

namespace dravix::test {

/// Uniform noise in [low, high), the same for the same seed.
inline cv::Mat RandomMat(cv::Size size, int type, std::uint64_t seed, double low, double high) {
  cv::Mat m(size, type);
  cv::RNG(seed).fill(m, cv::RNG::UNIFORM, low, high);
  return m;
}

/// True when size, type and bytes are the same; otherwise says where the first difference is.
inline ::testing::AssertionResult SameBytes(const cv::Mat& actual, const cv::Mat& expected) {
  if (actual.size() != expected.size() || actual.type() != expected.type()) {
    return ::testing::AssertionFailure()
           << "found " << actual.size() << " of type " << actual.type() << ", expected "
           << expected.size() << " of type " << expected.type();
  }
  const std::size_t element = expected.elemSize();
  for (int y = 0; y < expected.rows; ++y) {
    for (int x = 0; x < expected.cols; ++x) {
      const auto at = static_cast<std::size_t>(x) * element;
      if (std::memcmp(actual.ptr(y) + at, expected.ptr(y) + at, element) != 0) {
        return ::testing::AssertionFailure() << "first difference at row " << y << ", column " << x;
      }
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace dravix::test
