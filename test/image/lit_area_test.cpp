#include "image/lit_area.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace dravix::image {
namespace {

cv::Mat Black(int width, int height) { return cv::Mat::zeros(height, width, CV_8UC1); }

Contour Outline(const cv::Rect& rect) {
  return {rect.tl(),
          {rect.x + rect.width - 1, rect.y},
          {rect.x + rect.width - 1, rect.y + rect.height - 1},
          {rect.x, rect.y + rect.height - 1}};
}

TEST(OuterContours, ABlackImageHasNone) { EXPECT_TRUE(OuterContours(Black(20, 10)).empty()); }

TEST(OuterContours, EveryPixelOfAnOutlineIsKept) {
  cv::Mat image = Black(20, 10);
  image(cv::Rect(3, 2, 6, 4)) = 255;
  const Contours contours = OuterContours(image);
  ASSERT_EQ(contours.size(), 1U);
  EXPECT_EQ(contours[0].size(), 16U);  // 2 * (6 + 4) - 4
}

TEST(OuterContours, HolesAreNotOutlines) {
  cv::Mat image = Black(20, 20);
  image(cv::Rect(2, 2, 12, 12)) = 255;
  image(cv::Rect(5, 5, 4, 4)) = 0;
  EXPECT_EQ(OuterContours(image).size(), 1U);
}

TEST(OuterContours, TheImageIsNotWrittenTo) {
  cv::Mat image = Black(20, 20);
  image(cv::Rect(0, 0, 12, 12)) = 255;
  const cv::Mat before = image.clone();
  (void)OuterContours(image);
  EXPECT_EQ(cv::countNonZero(image != before), 0);
}

TEST(LargestByMinAreaRect, TheLargerRectangleWinsWhereverItStands) {
  const Contour small = Outline({0, 0, 5, 5});
  const Contour large = Outline({30, 30, 9, 9});
  EXPECT_EQ(LargestByMinAreaRect({small, large}), 1U);
  EXPECT_EQ(LargestByMinAreaRect({large, small}), 0U);
}

TEST(LargestByMinAreaRect, TheFirstOfEqualAreasWins) {
  const Contour small = Outline({0, 0, 3, 3});
  const Contour a = Outline({10, 10, 8, 5});
  const Contour b = Outline({40, 10, 8, 5});
  EXPECT_EQ(LargestByMinAreaRect({small, a, b}), 1U);
}

TEST(LargestByMinAreaRect, TheRotatedRectangleDecidesAndNotTheUprightOne) {
  // The upright box of the thin diagonal is by far the larger one.
  const Contour diagonal = {{0, 0}, {100, 100}, {99, 101}, {-1, 1}};
  const Contour square = Outline({0, 0, 30, 30});
  EXPECT_EQ(LargestByMinAreaRect({diagonal, square}), 1U);
}

TEST(LargestByMinAreaRect, TheFirstOfFlatOutlinesWins) {
  EXPECT_EQ(LargestByMinAreaRect({{{3, 3}}, {{5, 5}, {9, 5}}}), 0U);
  EXPECT_EQ(LargestByMinAreaRect({{{3, 3}}}), 0U);
}

TEST(Filled, TheOutlineAndItsInsideAre255AndTheRestIs0) {
  const cv::Mat mask = Filled({Outline({1, 1, 2, 2}), Outline({5, 3, 6, 4})}, 1, {20, 10});
  cv::Mat expected = Black(20, 10);
  expected(cv::Rect(5, 3, 6, 4)) = 255;
  ASSERT_EQ(mask.type(), CV_8UC1);
  EXPECT_EQ(cv::countNonZero(mask != expected), 0);
}

TEST(Filled, HolesAreClosed) {
  cv::Mat image = Black(20, 20);
  image(cv::Rect(2, 2, 12, 12)) = 255;
  image(cv::Rect(5, 5, 4, 4)) = 0;
  EXPECT_EQ(cv::countNonZero(Filled(OuterContours(image), 0, image.size())), 144);
}

}  // namespace
}  // namespace dravix::image
