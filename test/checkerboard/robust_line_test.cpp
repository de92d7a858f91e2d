#include "checkerboard/robust_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dravix::checkerboard {
namespace {

using ::testing::DoubleNear;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A line that the lens bends by some pixels.
double Bent(int i) { return 100 + 0.5 * i + 0.04 * i * i; }

std::vector<LinePoint> BentLine(int count) {
  std::vector<LinePoint> points;
  for (int i = 0; i < count; ++i) points.push_back({20.0 * i, Bent(i)});
  return points;
}

TEST(WithoutOutliers, LeavesABentLineAsItIs) {
  const auto places = WithoutOutliers(BentLine(12));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(places.at(static_cast<std::size_t>(i)), Bent(i));
}

TEST(WithoutOutliers, APointOffTheLineIsTakenFromTheOthers) {
  auto points = BentLine(12);
  points[0].place = Bent(0) + 3;
  points[7].place = Bent(7) - 2;
  const auto places = WithoutOutliers(points);
  EXPECT_NEAR(places[0], Bent(0), 0.3);
  EXPECT_NEAR(places[7], Bent(7), 0.1);
  EXPECT_EQ(places[6], Bent(6));
}

TEST(WithoutOutliers, APointThatWasNotSeenIsFilledIn) {
  auto points = BentLine(12);
  points[5].place.reset();
  EXPECT_NEAR(WithoutOutliers(points)[5], Bent(5), 1e-6);
}

TEST(WithoutOutliers, ALightPointGivesWay) {
  std::vector<LinePoint> points = BentLine(12);
  points[11] = {20.0 * 11, Bent(11) + 4, 0.1};
  EXPECT_NEAR(WithoutOutliers(points)[11], Bent(11), 0.3);
}

TEST(WithoutOutliers, TooFewPointsStay) {
  const std::vector<LinePoint> points{{0, 10.0}, {10, 15.0}, {20, std::nullopt}, {30, 11.0}};
  const auto places = WithoutOutliers(points);
  EXPECT_EQ(places[0], 10);
  EXPECT_EQ(places[1], 15);
  EXPECT_EQ(places[3], 11);
}

TEST(WithoutOutliers, OneSeenPointSpeaksForAll) {
  EXPECT_THAT(WithoutOutliers({{0, std::nullopt}, {10, 7.0}, {20, std::nullopt}}),
              ElementsAre(DoubleNear(7, 1e-9), 7.0, DoubleNear(7, 1e-9)));
  EXPECT_THAT(WithoutOutliers({{5, 7.0}, {5, 9.0}}), ElementsAre(7.0, 9.0));
}

TEST(WithoutOutliers, NothingSeenIsNothing) {
  EXPECT_THAT(WithoutOutliers({}), IsEmpty());
  EXPECT_THAT(WithoutOutliers({{0, std::nullopt}, {1, std::nullopt}}), IsEmpty());
}

TEST(WithoutOutliers, PointsAtOnePlaceAlongTheLineDrawNoSlope) {
  std::vector<LinePoint> points(7, {5, 10.0});
  points.push_back({5, std::nullopt});
  EXPECT_THAT(WithoutOutliers(points), Each(DoubleNear(10, 1e-9)));
  points[0].place = 30.0;
  EXPECT_THAT(WithoutOutliers(points), Each(DoubleNear(10, 0.1)));
}

}  // namespace
}  // namespace dravix::checkerboard
