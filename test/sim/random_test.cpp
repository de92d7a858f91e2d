#include "sim/random.h"

#include <gtest/gtest.h>

#include <cmath>

#include "sim/fixed_math.h"

namespace dravix::sim {
namespace {

TEST(FixedMath, AgreesWithTheStandardLibrary) {
  for (double x = -50; x <= 5; x += 0.37) EXPECT_NEAR(FixedExp(x) / std::exp(x), 1.0, 1e-11) << x;
  for (double degrees = -360; degrees <= 360; degrees += 7.3) {
    const double radians = degrees * std::acos(-1.0) / 180.0;
    EXPECT_NEAR(FixedSinCos(degrees).sin, std::sin(radians), 1e-13) << degrees;
    EXPECT_NEAR(FixedSinCos(degrees).cos, std::cos(radians), 1e-13) << degrees;
  }
}

TEST(Random, GivesThePublishedSequence) {
  Random random(1234567);
  EXPECT_EQ(random.Next(), 6457827717110365317U);
  EXPECT_EQ(random.Next(), 3203168211198807973U);
}

TEST(Random, PartsOfASceneAreIndependent) {
  EXPECT_NE(Random(1, 1).Next(), Random(1, 2).Next());
  EXPECT_NE(Random(1, 1).Next(), Random(2, 1).Next());
  EXPECT_EQ(Random(1, 1).Next(), Random(1, 1).Next());
}

TEST(Random, BetweenReachesBothEnds) {
  Random random(7);
  int counts[3] = {};
  for (int i = 0; i < 3000; ++i) {
    const int value = random.Between(-1, 1);
    ASSERT_GE(value, -1);
    ASSERT_LE(value, 1);
    ++counts[value + 1];
  }
  for (const int count : counts) EXPECT_NEAR(count, 1000, 120);
}

TEST(Random, ChanceComesTrueInItsShareOfDraws) {
  Random random(8);
  int hits = 0;
  for (int i = 0; i < 10000; ++i) hits += random.Chance(0.2) ? 1 : 0;
  EXPECT_NEAR(hits, 2000, 160);
}

TEST(Random, NormalHasTheMomentsOfTheNormalDistribution) {
  Random random(3);
  constexpr int kCount = 200000;
  double sum = 0;
  double squares = 0;
  double fourth = 0;
  int beyondTwo = 0;
  for (int i = 0; i < kCount; ++i) {
    const double x = random.Normal();
    sum += x;
    squares += x * x;
    fourth += x * x * x * x;
    beyondTwo += std::abs(x) > 2 ? 1 : 0;
  }
  EXPECT_NEAR(sum / kCount, 0, 0.01);
  EXPECT_NEAR(squares / kCount, 1, 0.015);
  EXPECT_NEAR(fourth / kCount, 3, 0.12);
  EXPECT_NEAR(static_cast<double>(beyondTwo) / kCount, 0.0455, 0.002);
}

TEST(Random, AfterSkipsSoManyNumbers) {
  Random random(11, 4);
  EXPECT_EQ(random.After(0).Next(), Random(random).Next());
  const Random later = random.After(1000);
  for (int i = 0; i < 1000; ++i) random.Next();
  EXPECT_EQ(Random(later).Next(), random.Next());
}

}  // namespace
}  // namespace dravix::sim
