#include "checkerboard/rectified.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "checkerboard/even_screen.h"
#include "image/binary.h"
#include "support/mats.h"

namespace dravix::checkerboard {
namespace {

TEST(WarpForDetection, WarpsBicubicallyWithAReplicatedBorderAndSmooths) {
  const cv::Mat photo = test::RandomMat({60, 40}, CV_16UC1, 5, 0, 4096);
  RectifyParams params = ParamsFor({80, 50});
  params.transform.at<double>(0, 2) = 7.3;
  const Rectified both = WarpForDetection(photo, photo * 2, params);
  cv::Mat expected;
  cv::warpPerspective(photo, expected, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
  cv::GaussianBlur(expected, expected, {5, 5}, 10, 0);
  EXPECT_TRUE(test::SameBytes(both.board, expected));
  EXPECT_EQ(both.measured.type(), CV_16UC1);
}

TEST(WarpForDetection, TurnsOtherSamplesIntoEightBitsByTheLargest) {
  cv::Mat wide = cv::Mat::zeros(40, 60, CV_16UC1);
  wide(cv::Rect(20, 10, 20, 20)).setTo(1000);
  cv::Mat color(40, 60, CV_8UC3, cv::Scalar(10, 10, 10));
  const Rectified both = WarpForDetection(wide, color, ParamsFor({60, 40}));
  EXPECT_EQ(both.board.type(), CV_8UC1);
  EXPECT_EQ(both.measured.type(), CV_8UC1);
  EXPECT_EQ(both.board.at<uchar>(20, 30), 255);
}

TEST(Rectified, ScratchIsTwoPicturesThatShareNoMemoryWithTheOthers) {
  const cv::Mat photo = test::RandomMat({60, 40}, CV_16UC1, 5, 0, 4096);
  const Rectified both = WarpForDetection(photo, photo, ParamsFor({80, 50}));
  const cv::Mat board = both.board.clone();
  for (const Rectified& pictures : {both, Rectified{both.board, both.measured}}) {
    auto [one, other] = pictures.Scratch();
    EXPECT_EQ(one.size(), both.board.size());
    EXPECT_EQ(other.type(), CV_8UC1);
    one.setTo(1);
    other.setTo(2);
    EXPECT_EQ(cv::countNonZero(one != 1), 0);
    EXPECT_EQ(cv::countNonZero(other != 2), 0);
    EXPECT_TRUE(test::SameBytes(both.board, board));
  }
}

TEST(LitParts, IsTheExpectedAreaCleanedAsInTheWholePicture) {
  cv::Mat picture = Screen(1000);
  picture(cv::Rect(2, 100, 24, 60)).setTo(3000);
  cv::Mat gray = EightBits(picture);
  cv::Mat whole;
  cv::threshold(gray, whole, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  image::CloseThenOpen(whole, 5);
  const RectifyParams params = ParamsFor({400, 300});
  EXPECT_TRUE(test::SameBytes(LitParts(gray, params).clone(), whole(ExpectedArea(params)).clone()));
}

TEST(AnythingLit, CountsLightWhereTheScreenIsExpectedUnlessItIsASpeck) {
  const RectifyParams params = ParamsFor({400, 300});
  cv::Mat scratch;
  EXPECT_TRUE(AnythingLit(EightBits(Screen(1000)), params, scratch));
  EXPECT_FALSE(AnythingLit(EightBits(Screen(0)), params, scratch));
  cv::Mat beside = cv::Mat::zeros(300, 400, CV_8UC1);
  beside(cv::Rect(2, 100, 12, 60)).setTo(200);
  EXPECT_FALSE(AnythingLit(beside, params, scratch));
  beside(cv::Rect(200, 100, 3, 60)).setTo(200);
  EXPECT_FALSE(AnythingLit(beside, params, scratch));
  beside(cv::Rect(200, 270, 6, 6)).setTo(200);
  EXPECT_TRUE(AnythingLit(beside, params, scratch));
}

}  // namespace
}  // namespace dravix::checkerboard
