#include "kernels/wide_gaussian.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::WideGaussian;

/// `picture` smoothed row by row; rows above and below are reflected as in the library.
cv::Mat Smoothed(const WideGaussian& blur, const cv::Mat& picture) {
  const int radius = blur.Radius();
  const int width = picture.cols;
  const int stride = width + WideGaussian::kPadding;
  cv::Mat values(picture.rows, stride, CV_16UC1, cv::Scalar(7));
  picture.copyTo(values.colRange(0, width));
  std::vector<std::uint32_t> line(static_cast<std::size_t>(stride + 2 * WideGaussian::kPadding));
  std::uint32_t* sums = line.data() + WideGaussian::kPadding;
  cv::Mat smoothed(picture.rows, stride, CV_16UC1);
  for (int y = 0; y < picture.rows; ++y) {
    std::vector<const std::uint16_t*> rows;
    for (int i = -radius; i <= radius; ++i) {
      rows.push_back(values.ptr<std::uint16_t>(
          cv::borderInterpolate(y + i, picture.rows, cv::BORDER_REFLECT_101)));
    }
    blur.Down(rows, width, sums);
    blur.Across(sums, width, smoothed.ptr<std::uint16_t>(y));
  }
  return smoothed.colRange(0, width).clone();
}

class WideGaussianOfSide : public testing::TestWithParam<int> {};

TEST_P(WideGaussianOfSide, EqualsTheMatrixLibraryBitForBit) {
  const int side = GetParam();
  cv::RNG random(static_cast<std::uint64_t>(side) * 37 + 5);
  int compared = 0;
  for (const double sigma : {0.9, 2.0, 10.0, 100.0}) {
    const auto blur = WideGaussian::Of(side, sigma);
    if (!blur) continue;
    ++compared;
    for (const int high : {1, 300, 65535}) {
      const cv::Size size(random.uniform(side, 300), random.uniform(side, 90));
      // Extremes as often as other values: they reach the limits of the sums.
      cv::Mat picture = RandomMat(size, CV_16UC1, random.next(), 0, high + 1);
      picture.setTo(high, RandomMat(size, CV_8UC1, random.next(), 0, 2) == 0);
      if (high == 65535) picture(cv::Rect({}, size / 2)).setTo(high);
      cv::Mat expected;
      cv::GaussianBlur(picture, expected, cv::Size(side, side), sigma, 0, cv::BORDER_DEFAULT);
      OnEachTarget([&] {
        EXPECT_TRUE(SameBytes(Smoothed(*blur, picture), expected)) << size << ", sigma " << sigma;
      });
    }
  }
  EXPECT_GT(compared, 0);
}
INSTANTIATE_TEST_SUITE_P(Sides, WideGaussianOfSide, testing::Values(3, 5, 7, 9, 13, 31));

TEST(WideGaussian, DoesTheDetectorsSmoothing) { EXPECT_TRUE(WideGaussian::Of(5, 10.0)); }

TEST(WideGaussian, LeavesUnusualKernelsToTheLibrary) {
  EXPECT_FALSE(WideGaussian::Of(1, 10.0));
  EXPECT_FALSE(WideGaussian::Of(10, 10.0));
  EXPECT_FALSE(WideGaussian::Of(33, 10.0));
  EXPECT_FALSE(WideGaussian::Of(3, 0.3));  // nearly all weight in the middle
  EXPECT_FALSE(WideGaussian::Of(5, 0.0));
}

}  // namespace
}  // namespace dravix::test
