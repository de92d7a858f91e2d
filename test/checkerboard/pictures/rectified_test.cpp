#include "checkerboard/pictures/rectified.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "checkerboard/even_screen.h"
#include "image/binary.h"
#include "kernels/bits/sample_levels.h"
#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::checkerboard {
namespace {

class WarpOfPhotograph : public testing::TestWithParam<bool> {};

TEST_P(WarpOfPhotograph, IsBicubicWithAReplicatedBorderAndSmoothed) {
  const cv::Mat photo = test::RandomMat({90, 70}, CV_16UC1, 5, 0, 65536);
  RectifyParams params = ParamsFor({120, 600});
  params.transform.at<double>(0, 2) = 7.3;
  params.transform.at<double>(1, 0) = 0.1;
  params.byRows = GetParam();
  cv::Mat expected;
  cv::warpPerspective(photo, expected, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
  cv::GaussianBlur(expected, expected, {5, 5}, 10, 0);
  const int level = kernels::OtsuSample(expected);
  test::OnEachTarget([&] {
    const WorkingPicture picture = WarpForDetection(photo, Samples::kKept, params);
    EXPECT_TRUE(test::SameBytes(picture.samples.Whole(), expected));
    EXPECT_EQ(picture.level, level);
    const WorkingPicture searched =
        WarpForDetection(photo, Samples::kKept, params, Extent::kSearched);
    const cv::Rect part = WithSurroundings(ExpectedArea(params), params);
    EXPECT_TRUE(test::SameBytes(searched.samples(part), expected(part)));
    EXPECT_EQ(searched.samples.Size(), expected.size());
    EXPECT_EQ(searched.level, level);
  });
}
INSTANTIATE_TEST_SUITE_P(Ways, WarpOfPhotograph, testing::Bool());

TEST(WarpForDetection, TurnsOtherSamplesIntoEightBitsByTheLargest) {
  cv::Mat wide = cv::Mat::zeros(40, 60, CV_16UC1);
  wide(cv::Rect(20, 10, 20, 20)).setTo(1000);
  const cv::Mat color(40, 60, CV_8UC3, cv::Scalar(10, 10, 10));
  EXPECT_EQ(SamplesFor(wide, wide), Samples::kKept);
  ASSERT_EQ(SamplesFor(wide, color), Samples::kEightBits);
  const WorkingPicture made = WarpForDetection(wide, Samples::kEightBits, ParamsFor({60, 40}));
  const cv::Mat warped = made.samples.Whole();
  EXPECT_EQ(warped.type(), CV_8UC1);
  EXPECT_EQ(warped.at<uchar>(20, 30), 255);
  EXPECT_EQ(WarpForDetection(color, Samples::kEightBits, ParamsFor({60, 40})).samples.Type(),
            CV_8UC1);
}

TEST(LitParts, IsTheExpectedAreaCleanedAsInTheWholePicture) {
  cv::Mat picture = Screen(1000);
  picture(cv::Rect(2, 100, 24, 60)).setTo(3000);
  cv::Mat gray = EightBits(picture);
  cv::Mat whole;
  cv::threshold(gray, whole, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  image::CloseThenOpen(whole, 5);
  const RectifyParams params = ParamsFor({400, 300});
  EXPECT_TRUE(test::SameBytes(LitParts(WorkingPicture(picture), params).ToMat(),
                              whole(ExpectedArea(params))));
}

TEST(AnythingLit, CountsLightWhereTheScreenIsExpectedUnlessItIsASpeck) {
  const RectifyParams params = ParamsFor({400, 300});
  EXPECT_TRUE(AnythingLit(WorkingPicture(EightBits(Screen(1000))), params));
  EXPECT_FALSE(AnythingLit(WorkingPicture(EightBits(Screen(0))), params));
  cv::Mat beside = cv::Mat::zeros(300, 400, CV_8UC1);
  beside(cv::Rect(2, 100, 12, 60)).setTo(200);
  EXPECT_FALSE(AnythingLit(WorkingPicture(beside), params));
  beside(cv::Rect(200, 100, 3, 60)).setTo(200);
  EXPECT_FALSE(AnythingLit(WorkingPicture(beside), params));
  beside(cv::Rect(200, 270, 6, 6)).setTo(200);
  EXPECT_TRUE(AnythingLit(WorkingPicture(beside), params));
}

}  // namespace
}  // namespace dravix::checkerboard
