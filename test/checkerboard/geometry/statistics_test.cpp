#include "checkerboard/geometry/statistics.h"

#include <gtest/gtest.h>

namespace dravix::checkerboard {
namespace {

TEST(MiddleMean, LeavesOutTheSmallestAndTheLargestQuarter) {
  EXPECT_EQ(MiddleMean({900, 4, 1, 3, -500, 2, 8, 700}), (2 + 3 + 4 + 8) / 4.0);
}

TEST(MiddleMean, OfFewerThanFourValuesIsTheirMean) {
  EXPECT_EQ(MiddleMean({7}), 7);
  EXPECT_EQ(MiddleMean({1, 2, 6}), 3);
}

TEST(Median, IsTheUpperMiddleOfAnEvenNumberOfValues) {
  EXPECT_EQ(Median({5, 1, 9}), 5);
  EXPECT_EQ(Median({5, 1, 9, 7}), 7);
}

TEST(Median, OfNoValuesIsZero) { EXPECT_EQ(Median({}), 0); }

}  // namespace
}  // namespace dravix::checkerboard
