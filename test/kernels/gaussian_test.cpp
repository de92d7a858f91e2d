#include "kernels/gaussian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "kernels/each_target.h"
#include "kernels/eight_bits.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::Gaussian;

/// `picture` smoothed row by row; rows above and below are reflected as in the library.
cv::Mat Smoothed(const Gaussian& blur, const cv::Mat& picture) {
  const int radius = blur.Radius();
  const int width = picture.cols;
  const int stride = width + 2 * Gaussian::kPadding;
  cv::Mat values(picture.rows, stride, CV_16UC1);
  picture.convertTo(values.colRange(0, width), CV_16U);
  cv::Mat line(1, stride + Gaussian::kPadding, CV_16UC1);
  auto* sums = line.ptr<std::uint16_t>() + Gaussian::kPadding;
  cv::Mat smoothed(picture.rows, stride, CV_8UC1);
  for (int y = 0; y < picture.rows; ++y) {
    std::vector<const std::uint16_t*> rows;
    for (int i = -radius; i <= radius; ++i) {
      rows.push_back(values.ptr<std::uint16_t>(
          cv::borderInterpolate(y + i, picture.rows, cv::BORDER_REFLECT_101)));
    }
    blur.Down(rows, width, sums);
    blur.Across(sums, width, smoothed.ptr<std::uint8_t>(y));
  }
  return smoothed.colRange(0, width).clone();
}

class GaussianOfSide : public testing::TestWithParam<int> {};

TEST_P(GaussianOfSide, EqualsTheMatrixLibraryBitForBit) {
  const int side = GetParam();
  cv::RNG random(static_cast<std::uint64_t>(side) * 31 + 7);
  for (const double sigma : {0.8, 2.0, 10.0, 100.0}) {
    const auto blur = Gaussian::Of(side, sigma);
    if (!blur) continue;
    const cv::Size size(random.uniform(side, 300), random.uniform(side, 90));
    // Extremes as often as other values: they reach the limits of the sums.
    cv::Mat picture = RandomMat(size, CV_8UC1, random.next(), 0, 256);
    picture.setTo(255, RandomMat(size, CV_8UC1, random.next(), 0, 2) == 0);
    cv::Mat expected;
    cv::GaussianBlur(picture, expected, cv::Size(side, side), sigma, 0, cv::BORDER_DEFAULT);
    OnEachTarget([&] {
      EXPECT_TRUE(SameBytes(Smoothed(*blur, picture), expected)) << size << ", sigma " << sigma;
    });
  }
}
INSTANTIATE_TEST_SUITE_P(Sides, GaussianOfSide, testing::Values(3, 5, 7, 9, 11, 13, 21, 31, 63));

TEST(Gaussian, DoesTheExtractorsSmoothing) { EXPECT_TRUE(Gaussian::Of(11, 10.0)); }

TEST(Gaussian, LeavesUnusualKernelsToTheLibrary) {
  EXPECT_FALSE(Gaussian::Of(1, 10.0));
  EXPECT_FALSE(Gaussian::Of(10, 10.0));
  EXPECT_FALSE(Gaussian::Of(65, 10.0));
  EXPECT_FALSE(Gaussian::Of(3, 0.3));  // nearly all weight in the middle
  EXPECT_FALSE(Gaussian::Of(11, 0.0));
}

TEST(EightBits, EqualTheMatrixLibrarysConversionForEverySample) {
  cv::Mat samples(1, 65536, CV_16UC1);
  for (int i = 0; i < samples.cols; ++i) {
    samples.at<std::uint16_t>(0, i) = static_cast<std::uint16_t>(i);
  }
  for (const int fullScale : {1, 255, 1023, 4095, 16383, 65535}) {
    const float scale = 255.0F / static_cast<float>(fullScale);
    cv::Mat expected;
    samples.convertTo(expected, CV_8U, static_cast<double>(scale));
    expected.convertTo(expected, CV_16U);
    OnEachTarget([&] {
      cv::Mat values = samples.clone();
      kernels::ToEightBits(values.ptr<std::uint16_t>(), values.total(), scale);
      EXPECT_TRUE(SameBytes(values, expected)) << fullScale;
    });
  }
}

}  // namespace
}  // namespace dravix::test
