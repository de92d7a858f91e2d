#include "checkerboard/lit_area/led_area.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "checkerboard/even_screen.h"

namespace dravix::checkerboard {
namespace {

cv::Rect BoundsOf(const cv::Mat& mask) { return cv::boundingRect(mask); }

/// What LedArea finds. Its box must be that of the mask.
cv::Mat MaskOf(const cv::Mat& picture) {
  const std::optional<Area> area = LedArea(WorkingPicture(picture), ParamsFor(picture.size()));
  if (!area) return cv::Mat::zeros(picture.size(), CV_8UC1);
  cv::Mat mask = area->mask.ToMat();
  EXPECT_EQ(area->box, BoundsOf(mask));
  return mask;
}

TEST(LedArea, IsTheWholeScreenEvenWithADeadPartInside) {
  cv::Mat picture = Screen(1000);
  picture(cv::Rect(100, 100, 30, 30)).setTo(0);  // a dead part inside
  const cv::Mat mask = MaskOf(picture);
  EXPECT_EQ(BoundsOf(mask), cv::Rect(30, 23, 340, 254));
  EXPECT_EQ(cv::countNonZero(mask), 340 * 254);
}

TEST(LedArea, IsEmptyInADarkPicture) { EXPECT_TRUE(BoundsOf(MaskOf(Screen(0))).empty()); }

TEST(LedArea, EndsAtHalfTheLevelAroundEvenWhereTheLightFallsOff) {
  cv::Mat picture;
  Screen(1000).convertTo(picture, CV_32F);
  for (int x = 0; x < picture.cols; ++x) picture.col(x) *= 1 - 0.5 * x / picture.cols;
  cv::GaussianBlur(picture, picture, {0, 0}, 6);
  picture.convertTo(picture, CV_16U);
  const cv::Rect bounds = BoundsOf(MaskOf(picture));
  EXPECT_NEAR(bounds.x, 30, 1);
  EXPECT_NEAR(bounds.br().x, 370, 1);
}

TEST(LedArea, ThrowsNothingForATinyPicture) {
  cv::Mat picture(4, 5, CV_16UC1, cv::Scalar(0));
  picture.at<std::uint16_t>(2, 2) = 100;
  EXPECT_NO_THROW(static_cast<void>(MaskOf(picture)));
}

}  // namespace
}  // namespace dravix::checkerboard
