#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <cmath>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using testing::ElementsAre;

std::vector<cv::Point> PlacesOf(const Uniformity& uniformity) {
  std::vector<cv::Point> places;
  for (const UniformityPoint& point : uniformity.points) places.push_back(point.position);
  return places;
}

TEST(Uniformity, HasFiveNineThirteenAndTwentyFivePoints) {
  const Analysis analysis = Analyze(cv::Mat1f(20, 30, 1.0F));
  EXPECT_EQ(analysis.uniformity[0].points.size(), 5U);
  EXPECT_EQ(analysis.uniformity[1].points.size(), 9U);
  EXPECT_EQ(analysis.uniformity[2].points.size(), 13U);
  EXPECT_EQ(analysis.uniformity[3].points.size(), 25U);
}

TEST(Uniformity, PointsLieAtTenthsOfTheScreen) {
  // 0.1, 0.5 and 0.9 of 20 across and of 10 down.
  const Analysis analysis = Analyze(cv::Mat1f(11, 21, 1.0F));
  EXPECT_THAT(PlacesOf(analysis.uniformity[1]),
              ElementsAre(cv::Point(2, 1), cv::Point(10, 1), cv::Point(18, 1), cv::Point(2, 5),
                          cv::Point(10, 5), cv::Point(18, 5), cv::Point(2, 9), cv::Point(10, 9),
                          cv::Point(18, 9)));
}

TEST(Uniformity, FivePointsAreTheCenterAndTheCornersOfTheNine) {
  const Analysis analysis = Analyze(cv::Mat1f(11, 21, 1.0F));
  EXPECT_THAT(PlacesOf(analysis.uniformity[0]),
              ElementsAre(cv::Point(10, 5), cv::Point(2, 1), cv::Point(18, 1), cv::Point(2, 9),
                          cv::Point(18, 9)));
}

TEST(Uniformity, HalvesAreRoundedUpExactly) {
  // 0.7 of 45 is 31.5, and a little less than that in floating point.
  const Analysis analysis = Analyze(cv::Mat1f(46, 46, 1.0F));
  EXPECT_EQ(analysis.uniformity[2].points.back().position, cv::Point(32, 32));
}

TEST(Uniformity, ValueIsTheMeanOfASmallSquare) {
  // 2 % of 50 rows reach one LED in each direction.
  cv::Mat1f values(50, 60, 1.0F);
  values(cv::Rect(29, 24, 3, 3)) = 10.0F;  // around (30, 25)
  EXPECT_DOUBLE_EQ(Analyze(values).uniformity[0].points[0].value, 10);
  values(24, 29) = kNaN;
  values(25, 30) = 2;
  EXPECT_DOUBLE_EQ(Analyze(values).uniformity[0].points[0].value, 9);
}

TEST(Uniformity, FiguresAreOfTheExtremePointsAndTheCenter) {
  cv::Mat1f values(11, 11, 8.0F);
  values(1, 1) = 5;
  values(9, 9) = 10;
  const Uniformity uniformity = Analyze(values).uniformity[0];
  EXPECT_DOUBLE_EQ(uniformity.minOverMax, 0.5);
  EXPECT_DOUBLE_EQ(uniformity.maxOverMin, 2);
  EXPECT_DOUBLE_EQ(uniformity.nonuniformity, 0.5);
  EXPECT_DOUBLE_EQ(uniformity.worstOverCenter, 0.625);
}

TEST(Uniformity, PointsWithoutAnLedAreLeftOut) {
  cv::Mat1f values(11, 11, 8.0F);
  values(5, 5) = kNaN;
  const Uniformity uniformity = Analyze(values).uniformity[0];
  EXPECT_TRUE(std::isnan(uniformity.points[0].value));
  EXPECT_DOUBLE_EQ(uniformity.minOverMax, 1);
  EXPECT_TRUE(std::isnan(uniformity.worstOverCenter));
}

TEST(Uniformity, OfADarkScreenIsNotKnown) {
  const Uniformity uniformity = Analyze(cv::Mat1f(11, 11, 0.0F)).uniformity[1];
  EXPECT_TRUE(std::isnan(uniformity.minOverMax));
  EXPECT_TRUE(std::isnan(uniformity.maxOverMin));
  EXPECT_TRUE(std::isnan(uniformity.nonuniformity));
}

TEST(Uniformity, PlacesAreThoseOfTheScreen) {
  AnalysisOptions options;
  options.at = {100, -20};
  EXPECT_EQ(Analyze(cv::Mat1f(11, 21, 1.0F), options).uniformity[0].points[0].position,
            cv::Point(110, -15));
}

}  // namespace
}  // namespace dravix::lab
