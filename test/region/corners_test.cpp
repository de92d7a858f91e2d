#include <dravix/region.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <numeric>

#include "region/rounding.h"

namespace {

using Corners = std::vector<cv::Point>;

const Corners kTrapezium = {{10, 5}, {90, 12}, {95, 70}, {4, 66}};

TEST(OrderCorners, EveryPermutationOfAConvexAreaGivesTheSameOrder) {
  std::vector<std::size_t> order = {0, 1, 2, 3};
  do {
    Corners shuffled;
    for (const std::size_t i : order) shuffled.push_back(kTrapezium[i]);
    EXPECT_EQ(OrderCorners(shuffled), kTrapezium);
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(OrderCorners, ThreeAboveTheMeanHeightAreRefused) {
  EXPECT_TRUE(OrderCorners({{50, 0}, {0, 10}, {90, 12}, {50, 100}}).empty());
}

TEST(OrderCorners, ThreeAtOrBelowTheMeanHeightAreRefused) {
  EXPECT_TRUE(OrderCorners({{50, 0}, {0, 90}, {90, 92}, {50, 100}}).empty());
}

TEST(OrderCorners, CornerOnTheMeanHeightCountsAsBelow) {
  // The mean height is 10 exactly.
  EXPECT_EQ(OrderCorners({{0, 10}, {30, 0}, {0, 5}, {30, 25}}),
            (Corners{{0, 5}, {30, 0}, {30, 25}, {0, 10}}));
  EXPECT_TRUE(OrderCorners({{0, 10}, {30, 10}, {0, 0}, {30, 20}}).empty());
}

TEST(OrderCorners, AllAtOneHeightAreRefused) {
  EXPECT_TRUE(OrderCorners({{0, 7}, {1, 7}, {2, 7}, {3, 7}}).empty());
}

TEST(OrderCorners, EqualXKeepsTheOrderOfTheInput) {
  const Corners upright = {{5, 1}, {5, 2}, {5, 8}, {5, 9}};
  EXPECT_EQ(OrderCorners(upright), upright);
  EXPECT_EQ(OrderCorners({{5, 2}, {5, 1}, {5, 9}, {5, 8}}),
            (Corners{{5, 2}, {5, 1}, {5, 9}, {5, 8}}));
}

TEST(OrderCorners, MeanHeightIsSummedInSinglePrecisionInInputOrder) {
  // In exact arithmetic the mean is 2^24 + 0.75, and three corners lie above it. In single
  // precision 2^24 + 1 is 2^24, so that the mean of the heights is 2^24 and nothing is above it.
  constexpr int kHigh = 1 << 24;
  EXPECT_TRUE(OrderCorners({{0, kHigh}, {1, kHigh + 1}, {2, kHigh + 1}, {3, kHigh + 1}}).empty());
  // 4 * (y / 4) is exact: corners at one height are never above their mean.
  EXPECT_TRUE(OrderCorners({{0, 3}, {1, 3}, {2, 3}, {3, 3}}).empty());
}

TEST(OrderCorners, OtherCountsThanFourGiveNothing) {
  EXPECT_TRUE(OrderCorners({}).empty());
  EXPECT_TRUE(OrderCorners({{0, 0}, {9, 0}, {9, 9}}).empty());
  EXPECT_TRUE(OrderCorners({{0, 0}, {9, 0}, {9, 9}, {0, 9}, {4, 4}}).empty());
}

TEST(OrderCorners, ExtremeCoordinatesAreOrdered) {
  const Corners widest = {
      {INT_MIN, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MAX}};
  EXPECT_EQ(OrderCorners({widest[2], widest[1], widest[3], widest[0]}), widest);
}

TEST(RectToCorners, UprightRectangleGivesItsOwnCornerPixels) {
  EXPECT_EQ(RectToCorners(cv::Rect(3, 4, 10, 20)), (Corners{{3, 4}, {12, 4}, {12, 23}, {3, 23}}));
}

TEST(RectToCorners, OnePixelIsFourTimesItself) {
  EXPECT_EQ(RectToCorners(cv::Rect(3, 4, 1, 1)), Corners(4, cv::Point(3, 4)));
}

TEST(RectToCorners, FarEndDoesNotOverflow) {
  EXPECT_EQ(
      RectToCorners(cv::Rect(INT_MAX, INT_MIN, INT_MAX, INT_MIN)),
      (Corners{{INT_MAX, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MIN}}));
}

TEST(RectToCorners, RotatedRectangleGivesThePointsInTheOrderOfOpenCv) {
  const cv::RotatedRect upright(cv::Point2f(10, 20), cv::Size2f(8, 4), 0);
  // OpenCV starts at the bottom left and goes clockwise.
  EXPECT_EQ(RectToCorners(upright), (Corners{{6, 22}, {6, 18}, {14, 18}, {14, 22}}));
}

TEST(RectToCorners, HalfPixelsOfARotatedRectangleGoUp) {
  const cv::RotatedRect half(cv::Point2f(10, 20), cv::Size2f(5, 3), 0);
  EXPECT_EQ(RectToCorners(half), (Corners{{8, 22}, {8, 19}, {13, 19}, {13, 22}}));
}

TEST(RectToCorners, NegativeCoordinatesTruncateTowardZeroAfterAddingAHalf) {
  const cv::RotatedRect negative(cv::Point2f(-10, -20), cv::Size2f(5, 3), 0);
  // -12.5 + 0.5 = -12; -18.5 + 0.5 = -18; -7.5 + 0.5 = -7; -21.5 + 0.5 = -21.
  EXPECT_EQ(RectToCorners(negative), (Corners{{-12, -18}, {-12, -21}, {-7, -21}, {-7, -18}}));
  const cv::RotatedRect small(cv::Point2f(-10.75F, 0), cv::Size2f(0, 0), 0);
  EXPECT_EQ(RectToCorners(small), Corners(4, cv::Point(-10, 0)));  // -10.25 truncates to -10
}

TEST(RectToCorners, HugeRotatedRectanglesStopAtTheIntegerRange) {
  const cv::RotatedRect huge(cv::Point2f(0, 0), cv::Size2f(1e30F, 1e30F), 0);
  EXPECT_EQ(
      RectToCorners(huge),
      (Corners{{INT_MIN, INT_MAX}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MAX}}));
}

TEST(RoundPixel, WhatIsNoNumberIsZero) {
  EXPECT_EQ(dravix::region::RoundPixel(std::numeric_limits<double>::quiet_NaN()), 0);
}

}  // namespace
