#include <dravix/lab/copied_border.h>
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

namespace dravix::lab {
namespace {

/// Noise whose outer `width` rows and columns are copies of the next ones inside.
cv::Mat1f WithCopies(cv::Size size, int width) {
  cv::Mat1f values(size);
  cv::RNG(5).fill(values, cv::RNG::UNIFORM, 1.0, 2.0);
  if (width == 0) return values;
  const cv::Rect inner(width, width, size.width - 2 * width, size.height - 2 * width);
  cv::Mat1f copied;
  cv::copyMakeBorder(values(inner), copied, width, width, width, width,
                     cv::BORDER_REPLICATE | cv::BORDER_ISOLATED);
  return copied;
}

TEST(CopiedBorder, IsFoundByEqualRowsAndColumns) {
  for (const int width : {0, kCopiedBorderByBlocks, kCopiedBorder}) {
    EXPECT_EQ(CopiedBorderOf(WithCopies({40, 30}, width)), width);
    EXPECT_EQ(CopiedBorderOf(WithCopies({10, 10}, width)), width);
  }
}

TEST(CopiedBorder, IsFoundInDoubles) {
  cv::Mat1d values;
  WithCopies({40, 30}, 4).convertTo(values, CV_64F);
  EXPECT_EQ(CopiedBorderOf(values), 4);
}

TEST(CopiedBorder, OneOtherValueIsEnoughToTell) {
  for (const cv::Point place : {cv::Point(0, 15), cv::Point(39, 15), cv::Point(20, 0),
                                cv::Point(20, 29), cv::Point(3, 15), cv::Point(36, 15)}) {
    cv::Mat1f values = WithCopies({40, 30}, 4);
    values(place) += 1;
    EXPECT_NE(CopiedBorderOf(values), 4) << place;
  }
}

TEST(CopiedBorder, CannotBeSeenInAnEvenMatrix) {
  EXPECT_EQ(CopiedBorderOf(cv::Mat1f(20, 20, 3.0F)), 0);
  EXPECT_EQ(CopiedBorderOf(cv::Mat1f(3, 2, 3.0F)), 0);
}

TEST(CopiedBorder, LedsAreCounted) {
  EXPECT_EQ(CopiedLeds(0, {40, 30}), 0);
  EXPECT_EQ(CopiedLeds(4, {40, 30}), 40 * 30 - 32 * 22);
  EXPECT_EQ(CopiedLeds(4, {9, 9}), 80);
  EXPECT_EQ(CopiedLeds(4, {5, 3}), 15);
}

TEST(CopiedBorder, TextNamesWidthAndLeds) {
  EXPECT_EQ(CopiedBorderText(0, {40, 30}), "none");
  EXPECT_EQ(CopiedBorderText(4, {40, 30}),
            "the outer 4 LEDs on each side are copies of inner ones, 496 of 1200 LEDs");
}

}  // namespace
}  // namespace dravix::lab
