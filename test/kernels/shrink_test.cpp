#include "kernels/shrink.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

class MeansOfSquaresOf : public testing::TestWithParam<int> {};

TEST_P(MeansOfSquaresOf, AreThoseOfTheMatrixLibrary) {
  const int side = GetParam();
  for (const double high : {65536.0, 40.0, 3.0}) {
    for (const cv::Size small : {cv::Size(1, 1), cv::Size(67, 3), cv::Size(33, 40)}) {
      const cv::Mat all = RandomMat(small * side + cv::Size(9, 5), CV_16UC1, 7, 0, high);
      const cv::Mat picture = all(cv::Rect({3, 2}, small * side));  // not continuous
      cv::Mat expected;
      cv::resize(picture, expected, small, 0, 0, cv::INTER_AREA);
      OnEachTarget(
          [&] { EXPECT_TRUE(SameBytes(kernels::MeansOfSquares(picture, side), expected)); });
    }
  }
}

TEST_P(MeansOfSquaresOf, OfWhiteAreWhite) {
  const cv::Mat white(5 * GetParam(), 70 * GetParam(), CV_16UC1, cv::Scalar(65535));
  EXPECT_EQ(cv::countNonZero(kernels::MeansOfSquares(white, GetParam()) != 65535), 0);
}

INSTANTIATE_TEST_SUITE_P(Sides, MeansOfSquaresOf, testing::Range(1, 9));

}  // namespace
}  // namespace dravix::test
