#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using testing::IsEmpty;
using testing::StartsWith;
using testing::ThrowsMessage;

TEST(Analyze, RefusesOtherTypes) {
  EXPECT_THAT(
      [] { static_cast<void>(Analyze(cv::Mat(2, 3, CV_8UC1))); },
      ThrowsMessage<std::invalid_argument>("values: found CV_8UC1, expected CV_32FC1 or CV_64FC1"));
  EXPECT_THROW(static_cast<void>(Analyze(cv::Mat(2, 3, CV_32FC3))), std::invalid_argument);
}

TEST(Analyze, RefusesAnEmptyMatrix) {
  EXPECT_THAT([] { static_cast<void>(Analyze(cv::Mat())); },
              ThrowsMessage<std::invalid_argument>(StartsWith("values: found a matrix of 0 x 0")));
}

TEST(Analyze, RefusesOptionsOutOfRange) {
  const struct {
    std::function<void(AnalysisOptions&)> change;
    std::string message;
  } cases[] = {
      {[](auto& o) { o.edge = -1; }, "edge: found -1, expected 0 or more"},
      {[](auto& o) {
         o.module = {0, 4};
       },
       "module: found 0 x 4, expected at least 1 x 1"},
      {[](auto& o) {
         o.cabinet = {4, -4};
       },
       "cabinet: found 4 x -4, expected at least 1 x 1"},
      {[](auto& o) { o.at.x = 2'000'000'000; }, "at: found 2000000000,0"},
      {[](auto& o) { o.at.y = std::numeric_limits<int>::min(); }, "at: found 0,-2147483648"},
      {[](auto& o) { o.dead = -0.5; }, "dead: found -0.5"},
      {[](auto& o) { o.dim = std::nan(""); }, "dim: found nan"},
      {[](auto& o) { o.bright = HUGE_VAL; }, "bright: found inf"},
  };
  for (const auto& c : cases) {
    AnalysisOptions options;
    c.change(options);
    EXPECT_THAT([&] { static_cast<void>(Analyze(cv::Mat1f(3, 3, 1.0F), options)); },
                ThrowsMessage<std::invalid_argument>(StartsWith(c.message)));
  }
}

TEST(Analyze, WhereNothingCountsNoFigureIsKnown) {
  AnalysisOptions options;
  options.module = {2, 2};
  for (const int edge : {0, 2, 100, std::numeric_limits<int>::max()}) {
    options.edge = edge;
    const Analysis analysis = Analyze(cv::Mat1f(3, 4, edge == 0 ? kNaN : 1.0F), options);
    EXPECT_EQ(analysis.counted, 0);
    EXPECT_TRUE(std::isnan(analysis.level.mean));
    EXPECT_TRUE(std::isnan(analysis.level.p99));
    EXPECT_TRUE(std::isnan(analysis.uniformity[0].minOverMax));
    EXPECT_TRUE(std::isnan(analysis.modules->cv));
    EXPECT_TRUE(std::isnan(analysis.modules->largestStep));
    EXPECT_TRUE(std::isnan(analysis.seamRms));
    EXPECT_THAT(analysis.defects, IsEmpty());
  }
}

TEST(Analyze, TakesAPartOfALargerMatrix) {
  cv::Mat1f large(20, 30, 7.0F);
  large(cv::Rect(3, 4, 10, 8)) = 2.0F;
  const Analysis analysis = Analyze(large(cv::Rect(3, 4, 10, 8)));
  EXPECT_EQ(analysis.size, cv::Size(10, 8));
  EXPECT_DOUBLE_EQ(analysis.level.maximum, 2);
}

}  // namespace
}  // namespace dravix::lab
