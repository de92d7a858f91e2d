#include "checkerboard/geometry/robust_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dravix::checkerboard {
namespace {

using ::testing::DoubleNear;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The place at block `i` of a line that the lens bends by some pixels.
double Bent(int i) { return 100 + 0.5 * i + 0.04 * i * i; }

/// The extent of block `i` of a line of blocks of 20 pixels.
Span Block(int i) { return {20 * i, 20 * i + 20}; }

std::vector<LinePoint> BentLine(int count) {
  std::vector<LinePoint> points;
  for (int i = 0; i < count; ++i) points.push_back({Block(i), Bent(i)});
  return points;
}

TEST(WithoutOutliers, ALineThatTheLensBendsStaysAsMeasured) {
  const auto places = WithoutOutliers(BentLine(12));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(places.at(static_cast<std::size_t>(i)), Bent(i));
}

TEST(WithoutOutliers, PointsOffTheLineAreReplacedByTheCurveThroughTheOthers) {
  auto points = BentLine(12);
  points[0].place = Bent(0) + 3;
  points[7].place = Bent(7) - 2;
  const auto places = WithoutOutliers(points);
  EXPECT_NEAR(places[0], Bent(0), 0.3);
  EXPECT_NEAR(places[7], Bent(7), 0.1);
  EXPECT_EQ(places[6], Bent(6));
}

TEST(WithoutOutliers, AnUnseenPointIsTakenFromTheCurve) {
  auto points = BentLine(12);
  points[5].place.reset();
  EXPECT_NEAR(WithoutOutliers(points)[5], Bent(5), 1e-6);
}

TEST(WithoutOutliers, ANarrowLastBlockDoesNotDrawTheCurveToItself) {
  std::vector<LinePoint> points = BentLine(12);
  points[11] = {{20 * 11 + 9, 20 * 11 + 11}, Bent(11) + 4};
  EXPECT_NEAR(WithoutOutliers(points)[11], Bent(11), 0.3);
}

TEST(WithoutOutliers, ThreePointsAreTooFewToCallOneWrong) {
  const std::vector<LinePoint> points{
      {Block(0), 10.0}, {Block(1), 15.0}, {Block(2), std::nullopt}, {Block(3), 11.0}};
  const auto places = WithoutOutliers(points);
  EXPECT_EQ(places[0], 10);
  EXPECT_EQ(places[1], 15);
  EXPECT_EQ(places[3], 11);
}

TEST(WithoutOutliers, ASingleSeenPointGivesThePlaceOfAll) {
  EXPECT_THAT(
      WithoutOutliers({{Block(0), std::nullopt}, {Block(1), 7.0}, {Block(2), std::nullopt}}),
      ElementsAre(DoubleNear(7, 1e-9), 7.0, DoubleNear(7, 1e-9)));
  EXPECT_THAT(WithoutOutliers({{Block(5), 7.0}, {Block(5), 9.0}}), ElementsAre(7.0, 9.0));
}

TEST(WithoutOutliers, IsEmptyWhenNoPointWasSeen) {
  EXPECT_THAT(WithoutOutliers({}), IsEmpty());
  EXPECT_THAT(WithoutOutliers({{Block(0), std::nullopt}, {Block(1), std::nullopt}}), IsEmpty());
}

TEST(WithoutOutliers, PointsOfTheSameBlockGiveALineWithoutSlope) {
  std::vector<LinePoint> points(7, {Block(5), 10.0});
  points.push_back({Block(5), std::nullopt});
  EXPECT_THAT(WithoutOutliers(points), Each(DoubleNear(10, 1e-9)));
  points[0].place = 30.0;
  EXPECT_THAT(WithoutOutliers(points), Each(DoubleNear(10, 0.1)));
}

}  // namespace
}  // namespace dravix::checkerboard
