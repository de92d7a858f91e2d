// Both Gaussians, for 8 and for 16 bits, and the rows that they are fed with.
#include "kernels/smoothing/gaussian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "kernels/each_target.h"
#include "kernels/smoothing/smoothed_rows.h"
#include "kernels/smoothing/wide_gaussian.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::Gaussian;
using kernels::WideGaussian;

/// The rows of `picture` from `first` on, smoothed one by one.
template <class Blur>
cv::Mat Smoothed(const Blur& blur, const cv::Mat& picture, int first) {
  using Value = typename Blur::Value;
  cv::Mat values;
  picture.convertTo(values, CV_16U);
  kernels::SmoothedRows rows(blur, picture.size(), first, [&](int y, std::uint16_t* row) {
    std::copy_n(values.ptr<std::uint16_t>(y), values.cols, row);
    std::fill_n(row + values.cols, 63, std::uint16_t{7});  // has no meaning
  });
  cv::Mat smoothed(picture.rows - first, picture.cols + Blur::kPadding, picture.type());
  for (int y = first; y < picture.rows; ++y) rows.Row(y, smoothed.ptr<Value>(y - first));
  return smoothed.colRange(0, picture.cols).clone();
}

struct Bytes {
  using Blur = Gaussian;
  static constexpr int kType = CV_8UC1;
  static constexpr int kLongestSide = 63;
  static std::vector<int> Whites() { return {255}; }
};
struct Shorts {
  using Blur = WideGaussian;
  static constexpr int kType = CV_16UC1;
  static constexpr int kLongestSide = 31;
  static std::vector<int> Whites() { return {1, 300, 65535}; }
};

template <class Kind>
class GaussianOf : public testing::Test {};
using Kinds = testing::Types<Bytes, Shorts>;
TYPED_TEST_SUITE(GaussianOf, Kinds);

TYPED_TEST(GaussianOf, EqualsTheMatrixLibraryBitForBit) {
  using Blur = typename TypeParam::Blur;
  for (const int side : {3, 5, 7, 9, 11, 13, 21, 31, TypeParam::kLongestSide}) {
    cv::RNG random(static_cast<std::uint64_t>(side) * 31 + 7);
    int compared = 0;
    for (const double sigma : {0.8, 2.0, 10.0, 100.0}) {
      const auto blur = Blur::Of(side, sigma);
      if (!blur) continue;
      ++compared;
      for (const int white : TypeParam::Whites()) {
        const cv::Size size(random.uniform(side, 300), random.uniform(side, 90));
        // Extremes as often as other values: they reach the limits of the sums.
        cv::Mat picture = RandomMat(size, TypeParam::kType, random.next(), 0, white + 1);
        picture.setTo(white, RandomMat(size, CV_8UC1, random.next(), 0, 2) == 0);
        picture(cv::Rect({}, size / 2)).setTo(white);
        cv::Mat expected;
        cv::GaussianBlur(picture, expected, cv::Size(side, side), sigma, 0, cv::BORDER_DEFAULT);
        const int first = random.uniform(0, size.height);
        OnEachTarget([&] {
          EXPECT_TRUE(SameBytes(Smoothed(*blur, picture, 0), expected)) << size << ' ' << sigma;
          EXPECT_TRUE(
              SameBytes(Smoothed(*blur, picture, first), expected.rowRange(first, size.height)))
              << size << ' ' << sigma;
        });
      }
    }
    EXPECT_GT(compared, 0);
  }
}

TYPED_TEST(GaussianOf, LeavesUnusualKernelsToTheLibrary) {
  using Blur = typename TypeParam::Blur;
  EXPECT_FALSE(Blur::Of(1, 10.0));
  EXPECT_FALSE(Blur::Of(10, 10.0));
  EXPECT_FALSE(Blur::Of(TypeParam::kLongestSide + 2, 10.0));
  EXPECT_FALSE(Blur::Of(3, 0.3));  // nearly all weight in the middle
  EXPECT_FALSE(Blur::Of(5, 0.0));
}

TEST(Gaussian, DoesTheExtractorsSmoothing) { EXPECT_TRUE(Gaussian::Of(11, 10.0)); }

TEST(WideGaussian, DoesTheDetectorsSmoothing) { EXPECT_TRUE(WideGaussian::Of(5, 10.0)); }

}  // namespace
}  // namespace dravix::test
