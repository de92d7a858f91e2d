#include <dravix/lab/assembly.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

/// A screen in partitions and phases, every result off by a gain of its own.
struct Screen {
  std::vector<PlacedResult> results;
  std::vector<double> factors;  ///< what each result's values were multiplied by
  cv::Mat1f truth;
};

struct Kind {
  cv::Size size{64, 48};
  cv::Size partition{16, 12};
  cv::Size interval{1, 1};
  int overlap = 0;  ///< LEDs that a partition is larger than its field, right and below
  double scatter = 0.03;
  double noise = 0;
  double gainSpread = 0.03;
};

Screen Simulated(const Kind& kind) {
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  Screen screen;
  screen.truth.create(kind.size);
  for (float& led : screen.truth) {
    led = static_cast<float>(1000 * (1 + kind.scatter * normal(random)));
  }
  for (int y = 0; y < kind.size.height; y += kind.partition.height) {
    for (int x = 0; x < kind.size.width; x += kind.partition.width) {
      const cv::Rect larger(x, y, kind.partition.width + kind.overlap,
                            kind.partition.height + kind.overlap);
      const cv::Rect part = larger & cv::Rect({0, 0}, kind.size);
      for (int phase = 0; phase < kind.interval.area(); ++phase) {
        const cv::Point loc(phase % kind.interval.width, phase / kind.interval.width);
        const Placement placement{kind.size, part, kind.interval, loc};
        cv::Mat1f values(LitLeds(placement));
        const double factor = std::exp(kind.gainSpread * normal(random));
        for (int i = 0; i < values.rows; ++i) {
          for (int j = 0; j < values.cols; ++j) {
            const float led = screen.truth(part.y + loc.y + i * kind.interval.height,
                                           part.x + loc.x + j * kind.interval.width);
            values(i, j) = static_cast<float>(led * factor * (1 + kind.noise * normal(random)));
          }
        }
        screen.results.push_back({std::to_string(screen.factors.size()), placement, values});
        screen.factors.push_back(factor);
      }
    }
  }
  return screen;
}

double LogMean(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += std::log(value);
  return sum / static_cast<double>(values.size());
}

std::vector<double> GainsOf(const PlaneFigures& figures) {
  std::vector<double> gains;
  for (const ResultGain& gain : figures.gains) gains.push_back(gain.gain);
  return gains;
}

/// The largest deviation of gain x factor from what all have in common.
double WorstGain(const Screen& screen, const PlaneFigures& figures) {
  const double common = std::exp(LogMean(screen.factors));
  double worst = 0;
  for (std::size_t i = 0; i < screen.factors.size(); ++i) {
    worst = std::max(worst, std::abs(figures.gains[i].gain * screen.factors[i] / common - 1));
  }
  return worst;
}

TEST(Gains, WithoutMatchingAreOne) {
  const Screen screen = Simulated({});
  const PlaneFigures figures = Assemble("p", screen.results).figures;
  EXPECT_THAT(GainsOf(figures), testing::Each(1.0));
  EXPECT_EQ(figures.seamRmsBefore, figures.seamRmsAfter);
}

TEST(Gains, FromOverlapsAreTheTrueOnes) {
  Kind kind;
  kind.overlap = 2;
  const Screen screen = Simulated(kind);
  const AssembledPlane plane = Assemble("p", screen.results, Match::kOverlap);
  EXPECT_LT(WorstGain(screen, plane.figures), 1e-6);
  EXPECT_NEAR(LogMean(GainsOf(plane.figures)), 0, 1e-12);
  const double common = std::exp(LogMean(screen.factors));
  EXPECT_LT(cv::norm(plane.values / common - screen.truth, cv::NORM_INF), 0.01);
}

TEST(Gains, FromSeamsOfAnEvenScreenAreTheTrueOnes) {
  Kind kind;
  kind.scatter = 0;
  kind.interval = {2, 3};
  const Screen screen = Simulated(kind);
  const PlaneFigures figures = Assemble("p", screen.results, Match::kSeams).figures;
  EXPECT_LT(WorstGain(screen, figures), 1e-6);
  EXPECT_NEAR(LogMean(GainsOf(figures)), 0, 1e-12);
  EXPECT_GT(figures.seamRmsBefore, 0.005);
  EXPECT_LT(figures.seamRmsAfter, 1e-6);
}

TEST(Gains, FromSeamsLeaveLittleStepsWithNoise) {
  Kind kind;
  kind.size = {640, 480};
  kind.partition = {160, 120};
  kind.interval = {2, 2};
  kind.scatter = 0;
  kind.noise = 0.01;
  const PlaneFigures figures = Assemble("p", Simulated(kind).results, Match::kSeams).figures;
  EXPECT_GT(figures.seamRmsBefore, 0.01);
  EXPECT_LT(figures.seamRmsAfter, 0.001);
}

TEST(Gains, AreOneOnTheMeanOfEachLinkedGroup) {
  const cv::Size screen(20, 1);
  const auto part = [&](int x, float value) {
    return PlacedResult{"r", {screen, {x, 0, 2, 1}, {1, 1}, {0, 0}}, Matrix({{value, value}})};
  };
  // Two that overlap, two others that do, and one alone.
  const PlaneFigures figures =
      Assemble("p", {part(0, 1), part(10, 5), part(1, 4), part(11, 45), part(18, 7)},
               Match::kOverlap)
          .figures;
  const std::vector<double> expected = {2, 3, 0.5, 1 / 3.0, 1};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(figures.gains[i].gain, expected[i], 1e-12);
  }
}

TEST(Gains, ValuesNotAboveZeroTakeNoPart) {
  const cv::Size screen(4, 1);
  const Placement all{screen, {0, 0, 4, 1}, {1, 1}, {0, 0}};
  const std::vector<PlacedResult> results = {{"a", all, Matrix({{1, 0, kNaN, -5}})},
                                             {"b", all, Matrix({{4, 9, 9, 9}})}};
  EXPECT_NEAR(Assemble("p", results, Match::kOverlap).figures.gains[0].gain, 2, 1e-12);
  // Means over 1, and over 4, 9, 9, 9.
  EXPECT_NEAR(Assemble("p", results, Match::kSeams).figures.gains[0].gain, std::sqrt(7.75), 1e-12);
  const std::vector<PlacedResult> dark = {{"a", all, cv::Mat1f(1, 4, 0.0F)},
                                          {"b", all, cv::Mat1f(1, 4, 1.0F)}};
  for (const Match match : {Match::kOverlap, Match::kSeams}) {
    EXPECT_THAT(GainsOf(Assemble("p", dark, match).figures), testing::Each(1.0));
  }
}

TEST(Gains, OtherPhasesDoNotMeetAtABorder) {
  const cv::Size screen(8, 2);
  const Placement left{screen, {0, 0, 4, 2}, {2, 1}, {0, 0}};
  const Placement right{screen, {4, 0, 4, 2}, {2, 1}, {1, 0}};
  const PlaneFigures figures =
      Assemble("p", {{"a", left, cv::Mat1f(2, 2, 1.0F)}, {"b", right, cv::Mat1f(2, 2, 4.0F)}},
               Match::kSeams)
          .figures;
  EXPECT_THAT(GainsOf(figures), testing::Each(1.0));
  // The partitions share a border all the same: 1 beside 4.
  EXPECT_NEAR(figures.seamRmsAfter, 3 / 2.5, 1e-12);
}

TEST(Gains, StepsAreMeasuredOverFourLinesAndWhatPartitionsShare) {
  // The right partition begins a row further down. Only rows 1 and 2 are shared.
  const cv::Size screen(12, 4);
  cv::Mat1f left(3, 6, 10.0F);
  left.row(0) = 1000;  // not shared
  left.col(1) = 1000;  // five lines away from the border
  cv::Mat1f right(3, 6, 30.0F);
  right.row(2) = 1000;  // not shared
  const PlaneFigures figures = Assemble("p",
                                        {{"a", {screen, {0, 0, 6, 3}, {1, 1}, {0, 0}}, left},
                                         {"b", {screen, {6, 1, 6, 3}, {1, 1}, {0, 0}}, right}},
                                        Match::kSeams)
                                   .figures;
  EXPECT_NEAR(figures.seamRmsBefore, 1, 1e-12);
  EXPECT_NEAR(figures.gains[0].gain, std::sqrt(3.0), 1e-12);
  EXPECT_NEAR(figures.seamRmsAfter, 0, 1e-6);
}

// 7680 x 4320 LEDs from 64 partitions x 4 phases, one plane of a large screen.
TEST(LargeScreen, SeamsThatRemainAreBelowOneThousandth) {
  Kind kind;
  kind.size = {7680, 4320};
  kind.partition = {960, 540};
  kind.interval = {2, 2};
  kind.scatter = 0;
  kind.noise = 0.01;
  const PlaneFigures figures = Assemble("p", Simulated(kind).results, Match::kSeams).figures;
  EXPECT_EQ(figures.measured, 7680 * 4320);
  EXPECT_GT(figures.seamRmsBefore, 0.01);
  EXPECT_LT(figures.seamRmsAfter, 0.001);
}

}  // namespace
}  // namespace dravix::lab
