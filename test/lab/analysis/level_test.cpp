#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <cmath>
#include <stdexcept>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(Level, MeanAndDeviationAreThoseOfThePopulation) {
  const Analysis analysis = Analyze(Matrix({{1, 2, 3, 6}}));
  EXPECT_DOUBLE_EQ(analysis.level.mean, 3);
  EXPECT_DOUBLE_EQ(analysis.level.minimum, 1);
  EXPECT_DOUBLE_EQ(analysis.level.maximum, 6);
  EXPECT_DOUBLE_EQ(analysis.level.standardDeviation, std::sqrt(14.0 / 4));
}

TEST(Values, OfAnotherTypeAreRefused) {
  const auto analyze = [] { static_cast<void>(Analyze(cv::Mat(2, 3, CV_8UC1))); };
  EXPECT_THAT(analyze,
              ThrowsMessage<std::invalid_argument>(HasSubstr("found 3 x 2 of CV_8UC1, expected")));
}

}  // namespace
}  // namespace dravix::lab
