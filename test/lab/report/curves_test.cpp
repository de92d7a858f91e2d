#include "lab/report/curves.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "test/lab/report/screens.h"

namespace dravix::lab {
namespace {

using testing::ElementsAre;
using testing::IsNan;

constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();

TEST(Profiles, AreMeansOfTheLedsThatCount) {
  const cv::Mat1f values = (cv::Mat1f(2, 3) << 1, 2, kMissing, 5, 6, kMissing);
  const Profiles profiles = ProfilesOf(InputOf(values));
  EXPECT_THAT(profiles.columns, ElementsAre(3, 4, IsNan()));
  EXPECT_THAT(profiles.rows, ElementsAre(1.5F, 5.5F));
}

TEST(Profiles, LeaveOutTheEdge) {
  const cv::Mat1f values = (cv::Mat1f(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 9);
  AnalysisOptions options;
  options.edge = 1;
  const Profiles profiles = ProfilesOf(InputOf(values, "a", options));
  EXPECT_THAT(profiles.columns, ElementsAre(IsNan(), 5, IsNan()));
}

TEST(Histograms, CountEveryLedOnce) {
  cv::Mat1f values = Noise({200, 150}, 1000, 50);
  values(0, 0) = 0;
  values(0, 1) = 5000;
  values(0, 2) = kMissing;
  const std::vector<ReportInput> inputs = {InputOf(values)};
  const Histogram histogram = HistogramsOf(inputs)[0];
  EXPECT_GE(histogram.below, 1);
  EXPECT_GE(histogram.above, 1);
  EXPECT_EQ(std::accumulate(histogram.counts.begin(), histogram.counts.end(), std::int64_t{0}) +
                histogram.below + histogram.above,
            inputs[0].analysis.counted);
}

TEST(Histograms, ShareTheirBins) {
  const std::vector<ReportInput> inputs = {InputOf(Noise({50, 40}, 1000, 50)),
                                           InputOf(Noise({50, 40}, 1500, 50))};
  const std::vector<Histogram> histograms = HistogramsOf(inputs);
  EXPECT_EQ(histograms[0].low, histograms[1].low);
  EXPECT_EQ(histograms[0].high, histograms[1].high);
}

TEST(Histograms, OneValueEverywhereHasBinsToo) {
  const std::vector<ReportInput> inputs = {InputOf(cv::Mat1f(4, 4, 7.0F))};
  const Histogram histogram = HistogramsOf(inputs)[0];
  EXPECT_LT(histogram.low, 7);
  EXPECT_GT(histogram.high, 7);
  EXPECT_EQ(histogram.below + histogram.above, 0);
}

TEST(PercentileScale, SpansAllResults) {
  const std::vector<ReportInput> inputs = {InputOf(Noise({50, 40}, 1000, 50)),
                                           InputOf(Noise({50, 40}, 1500, 50))};
  const ReportScale scale = PercentileScale(inputs);
  EXPECT_EQ(scale.low, inputs[0].analysis.level.p01);
  EXPECT_EQ(scale.high, inputs[1].analysis.level.p99);
}

}  // namespace
}  // namespace dravix::lab
