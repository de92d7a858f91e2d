#include "checkerboard/lit_area/local_level.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/bits/bit_parts.h"
#include "support/mats.h"

namespace dravix::checkerboard {
namespace {

const cv::Size2d kCell(60, 60);
const cv::Rect kScreen(60, 50, 480, 360);

cv::Mat Mask() {
  cv::Mat mask = cv::Mat::zeros(460, 600, CV_8UC1);
  mask(kScreen).setTo(255);
  return mask;
}

cv::Mat Falling() {
  cv::Mat picture(460, 600, CV_16UC1);
  for (int x = 0; x < picture.cols; ++x) picture.col(x).setTo(4000 - 3 * x);
  return picture;
}

TEST(LocalLevel, IsTheMeanOfTheAreaAroundAPlace) {
  cv::Mat picture = Falling();
  picture.setTo(50, Mask() == 0);
  const LevelMap level =
      LocalLevel(picture, InnerOf(kernels::BitsOf(Mask()), kScreen, kCell), kCell);
  const cv::Mat all = level.In({0, 0, 600, 460});
  EXPECT_NEAR(all.at<float>(230, 300), 4000 - 3 * 300, 3);
  // At the outline, only the part inside counts.
  EXPECT_NEAR(all.at<float>(230, 62), 4000 - 3 * 62, 100);
  EXPECT_EQ(all.at<float>(5, 5), 0);
}

TEST(LocalLevel, OfAPartEqualsThatPartOfTheWhole) {
  const LevelMap level =
      LocalLevel(Falling(), InnerOf(kernels::BitsOf(Mask()), kScreen, kCell), kCell);
  ASSERT_GT(level.shrink, 1);
  const cv::Mat all = level.In({0, 0, 600, 460});
  for (const cv::Rect part : {cv::Rect(0, 0, 7, 9), cv::Rect(61, 47, 100, 50),
                              cv::Rect(301, 203, 1, 1), cv::Rect(500, 333, 100, 127)}) {
    EXPECT_LT(cv::norm(level.In(part), all(part), cv::NORM_INF), 1e-3) << part;
  }
}

TEST(LocalLevel, IsZeroOutsideTheMap) {
  const LevelMap level{cv::Mat(3, 4, CV_32FC1, cv::Scalar(7)), 1, {10, 10}};
  const cv::Mat part = level.In({8, 9, 4, 3});
  EXPECT_EQ(cv::sum(part)[0], 2 * 2 * 7);
  EXPECT_EQ(part.at<float>(1, 2), 7);
}

TEST(RectangleInside, LiesInsideTheAreaClearOfItsOutline) {
  const cv::Rect inside = RectangleInside(InnerOf(kernels::BitsOf(Mask()), kScreen, kCell));
  EXPECT_EQ(inside & kScreen, inside);
  EXPECT_GE(inside.x, kScreen.x + 10);
  EXPECT_GT(inside.area(), 0.8 * kScreen.area());
}

TEST(RectangleInside, OfABentAreaLiesInsideIt) {
  cv::Mat mask = Mask();
  cv::circle(mask, {300, -1880}, 1960, cv::Scalar(0), cv::FILLED);  // the top bends inward
  const cv::Rect inside = RectangleInside(InnerOf(kernels::BitsOf(mask), kScreen, kCell));
  EXPECT_GT(inside.area(), 0.6 * kScreen.area());
  EXPECT_EQ(cv::countNonZero(mask(inside)), inside.area());
}

TEST(RectangleInside, IsEmptyForAnAreaWithAHole) {
  cv::Mat mask = Mask();
  mask(cv::Rect(290, 200, 30, 30)).setTo(0);
  EXPECT_TRUE(RectangleInside(InnerOf(kernels::BitsOf(mask), kScreen, kCell)).empty());
  EXPECT_TRUE(RectangleInside(InnerOf(kernels::BitPicture({600, 460}), {}, kCell)).empty());
}

}  // namespace
}  // namespace dravix::checkerboard
