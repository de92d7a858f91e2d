#include "checkerboard/rectified.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "support/mats.h"

namespace dravix::checkerboard {
namespace {

RectifyParams ParamsFor(cv::Size size) {
  RectifyParams params;
  params.transform = cv::Mat::eye(3, 3, CV_64FC1);
  params.imageSize = size;
  params.kernel = 5;
  params.cell = {size.width * 0.85 / 4, size.height * 0.85 / 3};
  return params;
}

/// An even screen where it is expected, in a picture of 400 x 300.
cv::Mat Screen(double level) {
  cv::Mat picture = cv::Mat::zeros(300, 400, CV_16UC1);
  picture(cv::Rect(30, 23, 340, 254)).setTo(level);
  return picture;
}

cv::Rect BoundsOf(const cv::Mat& mask) { return cv::boundingRect(mask); }

TEST(Rectify, WarpsBicubicallyWithAReplicatedBorderAndSmooths) {
  const cv::Mat photo = test::RandomMat({60, 40}, CV_16UC1, 5, 0, 4096);
  RectifyParams params = ParamsFor({80, 50});
  params.transform.at<double>(0, 2) = 7.3;
  const Rectified both = Rectify(photo, photo * 2, params);
  cv::Mat expected;
  cv::warpPerspective(photo, expected, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
  cv::GaussianBlur(expected, expected, {5, 5}, 10, 0);
  EXPECT_TRUE(test::SameBytes(both.board, expected));
  EXPECT_EQ(both.measured.type(), CV_16UC1);
}

TEST(Rectify, OtherSamplesBecomeEightBitsByTheLargest) {
  cv::Mat wide = cv::Mat::zeros(40, 60, CV_16UC1);
  wide(cv::Rect(20, 10, 20, 20)).setTo(1000);
  cv::Mat colour(40, 60, CV_8UC3, cv::Scalar(10, 10, 10));
  const Rectified both = Rectify(wide, colour, ParamsFor({60, 40}));
  EXPECT_EQ(both.board.type(), CV_8UC1);
  EXPECT_EQ(both.measured.type(), CV_8UC1);
  EXPECT_EQ(both.board.at<uchar>(20, 30), 255);
}

TEST(LitParts, KeepsOnlyWhatLiesWhereTheScreenIsExpected) {
  cv::Mat picture = Screen(1000);
  picture(cv::Rect(2, 100, 12, 60)).setTo(3000);
  const cv::Mat lit = LitParts(EightBits(picture), ParamsFor({400, 300}));
  EXPECT_EQ(cv::countNonZero(lit.colRange(0, 20)), 0);
}

TEST(LedArea, IsTheScreenFilled) {
  cv::Mat picture = Screen(1000);
  picture(cv::Rect(100, 100, 30, 30)).setTo(0);  // a dead part inside
  const cv::Mat mask = LedArea(picture, ParamsFor({400, 300})).mask;
  EXPECT_EQ(BoundsOf(mask), cv::Rect(30, 23, 340, 254));
  EXPECT_EQ(cv::countNonZero(mask), 340 * 254);
}

TEST(LedArea, OfADarkPictureIsEmpty) {
  EXPECT_TRUE(LedArea(Screen(0), ParamsFor({400, 300})).mask.empty());
}

TEST(LedArea, EndsAtHalfTheLevelAroundAlsoWhereTheLightFallsOff) {
  cv::Mat picture;
  Screen(1000).convertTo(picture, CV_32F);
  for (int x = 0; x < picture.cols; ++x) picture.col(x) *= 1 - 0.5 * x / picture.cols;
  cv::GaussianBlur(picture, picture, {0, 0}, 6);
  picture.convertTo(picture, CV_16U);
  const cv::Rect bounds = BoundsOf(LedArea(picture, ParamsFor({400, 300})).mask);
  EXPECT_NEAR(bounds.x, 30, 1);
  EXPECT_NEAR(bounds.br().x, 370, 1);
}

TEST(LedArea, ATinyPictureIsNoTrouble) {
  cv::Mat picture(4, 5, CV_16UC1, cv::Scalar(0));
  picture.at<std::uint16_t>(2, 2) = 100;
  EXPECT_NO_THROW(static_cast<void>(LedArea(picture, ParamsFor({5, 4})).mask));
}

}  // namespace
}  // namespace dravix::checkerboard
