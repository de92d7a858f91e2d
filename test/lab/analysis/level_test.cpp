#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <cmath>
#include <vector>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using testing::DoubleNear;

Level LevelOf(std::initializer_list<std::initializer_list<float>> rows) {
  return Analyze(Matrix(rows)).level;
}

TEST(Level, DeviationIsThatOfThePopulation) {
  const Level level = LevelOf({{1, 2}, {3, 6}});
  EXPECT_DOUBLE_EQ(level.mean, 3);
  EXPECT_DOUBLE_EQ(level.minimum, 1);
  EXPECT_DOUBLE_EQ(level.maximum, 6);
  EXPECT_DOUBLE_EQ(level.standardDeviation, std::sqrt(14.0 / 4));
  EXPECT_DOUBLE_EQ(level.cv, std::sqrt(14.0 / 4) / 3);
}

TEST(Level, MedianOfAnEvenNumberIsTheMeanOfTheMiddleTwo) {
  EXPECT_DOUBLE_EQ(LevelOf({{7, 1, 2, 9}}).median, 4.5);
}

TEST(Level, MedianOfAnOddNumberIsTheMiddleOne) { EXPECT_DOUBLE_EQ(LevelOf({{7, 1, 2}}).median, 2); }

TEST(Level, NegativeValuesKeepTheirOrder) {
  EXPECT_DOUBLE_EQ(LevelOf({{-7, 1, -2, 0, 5}}).median, 0);
  EXPECT_DOUBLE_EQ(LevelOf({{-7, -1, -2}}).median, -2);
}

TEST(Level, PercentilesLieBetweenOrderStatistics) {
  // Positions 0.01 * 4 = 0.04 and 0.99 * 4 = 3.96.
  const Level level = LevelOf({{10, 20, 30, 40, 50}});
  EXPECT_THAT(level.p01, DoubleNear(10.4, 1e-12));
  EXPECT_THAT(level.p99, DoubleNear(49.6, 1e-12));
}

TEST(Level, OneValueIsAllOrderStatistics) {
  const Level level = LevelOf({{3}});
  EXPECT_DOUBLE_EQ(level.p01, 3);
  EXPECT_DOUBLE_EQ(level.median, 3);
  EXPECT_DOUBLE_EQ(level.p99, 3);
  EXPECT_DOUBLE_EQ(level.standardDeviation, 0);
}

TEST(Level, EqualValuesHaveNoDeviation) {
  const Level level = Analyze(cv::Mat1f(37, 41, 0.1F)).level;
  EXPECT_EQ(level.mean, static_cast<double>(0.1F));
  EXPECT_EQ(level.standardDeviation, 0);
}

TEST(Level, ValuesThatAreNotFiniteDoNotCount) {
  const Analysis analysis = Analyze(Matrix({{kNaN, 1, kInfinity}, {3, -kInfinity, 5}}));
  EXPECT_EQ(analysis.counted, 3);
  EXPECT_DOUBLE_EQ(analysis.level.mean, 3);
  EXPECT_DOUBLE_EQ(analysis.level.maximum, 5);
}

TEST(Level, EdgeDoesNotCount) {
  AnalysisOptions options;
  options.edge = 1;
  const Analysis analysis = Analyze(Matrix({{9, 9, 9, 9}, {9, 1, 3, 9}, {9, 9, 9, 9}}), options);
  EXPECT_EQ(analysis.counted, 2);
  EXPECT_DOUBLE_EQ(analysis.level.mean, 2);
  EXPECT_DOUBLE_EQ(analysis.level.maximum, 3);
}

TEST(Level, VariationAroundZeroIsNotKnown) { EXPECT_TRUE(std::isnan(LevelOf({{-1, 1}}).cv)); }

TEST(Level, DoublesKeepTheirDigits) {
  const cv::Mat1d values = (cv::Mat_<double>(1, 2) << 1.0000000001, 1.0000000003);
  EXPECT_DOUBLE_EQ(Analyze(values).level.mean, 1.0000000002);
}

/// Order statistics are found without sorting; sorting says what they are.
TEST(Level, OrderStatisticsAreThoseOfSortedValues) {
  for (const double spread : {0.0, 1e-9, 0.02, 1.0, 1e12}) {
    cv::Mat1d values(61, 53);
    cv::RNG(7).fill(values, cv::RNG::NORMAL, 1.0, spread);
    std::vector<double> sorted(values.begin(), values.end());
    std::sort(sorted.begin(), sorted.end());
    const Level level = Analyze(values).level;
    // 3233 values: the middle one has rank 1616, the percentiles ranks 32.32 and 3199.68.
    EXPECT_DOUBLE_EQ(level.median, sorted[1616]);
    EXPECT_DOUBLE_EQ(level.p01, sorted[32] + (sorted[33] - sorted[32]) * (0.01 * 3232 - 32));
    EXPECT_DOUBLE_EQ(level.p99,
                     sorted[3199] + (sorted[3200] - sorted[3199]) * (0.99 * 3232 - 3199));
  }
}

}  // namespace
}  // namespace dravix::lab
