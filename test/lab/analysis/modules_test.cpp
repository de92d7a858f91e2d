#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <limits>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

AnalysisOptions WithModules(int width, int height, cv::Point at = {}, int edge = 0) {
  AnalysisOptions options;
  options.module = {width, height};
  options.at = at;
  options.edge = edge;
  return options;
}

std::vector<int> PlacesOf(const std::vector<Seam>& seams, SeamDirection direction) {
  std::vector<int> places;
  for (const Seam& seam : seams) {
    if (seam.direction == direction) places.push_back(seam.at);
  }
  return places;
}

TEST(Modules, AreAbsentWithoutTheirSize) {
  const Analysis analysis = Analyze(cv::Mat1f(8, 8, 1.0F));
  EXPECT_FALSE(analysis.modules);
  EXPECT_THAT(analysis.seams, IsEmpty());
}

TEST(Modules, AreCutFromTheScreensOrigin) {
  // Columns 3 to 9 of the screen touch modules 0, 1 and 2 of 4 columns.
  const Analysis analysis = Analyze(cv::Mat1f(2, 7, 1.0F), WithModules(4, 4, {3, 8}));
  EXPECT_EQ(analysis.modules->first, cv::Point(0, 2));
  EXPECT_EQ(analysis.modules->count, cv::Size(3, 1));
}

TEST(Modules, BelowZeroAreCountedOn) {
  const Analysis analysis = Analyze(cv::Mat1f(1, 6, 1.0F), WithModules(4, 4, {-5, -1}));
  EXPECT_EQ(analysis.modules->first, cv::Point(-2, -1));
  EXPECT_EQ(analysis.modules->count, cv::Size(3, 1));
}

TEST(Modules, MayBeFarLargerThanTheMatrix) {
  constexpr int kLargest = std::numeric_limits<int>::max();
  const Analysis analysis =
      Analyze(Matrix({{1, 2, 3, 6}}), WithModules(kLargest, kLargest, {-2, -1'000'000'000}));
  EXPECT_EQ(analysis.modules->count, cv::Size(2, 1));
  EXPECT_DOUBLE_EQ(analysis.modules->means(0, 0), 1.5);
  EXPECT_DOUBLE_EQ(analysis.modules->means(0, 1), 4.5);
}

TEST(Modules, MeansAreOverTheLedsThatCount) {
  const Analysis analysis = Analyze(
      Matrix({{1, 3, 5, 7, kNaN}, {1, kNaN, 5, 7, kNaN}, {9, 9, 9, 9, kNaN}}), WithModules(2, 2));
  const cv::Mat1d& means = analysis.modules->means;
  ASSERT_EQ(means.size(), cv::Size(3, 2));
  EXPECT_DOUBLE_EQ(means(0, 0), 5.0 / 3);
  EXPECT_DOUBLE_EQ(means(0, 1), 6);
  EXPECT_DOUBLE_EQ(means(1, 0), 9);
  EXPECT_TRUE(std::isnan(means(0, 2)));
}

TEST(Modules, VariationIsThatOfTheirMeans) {
  const Analysis analysis = Analyze(Matrix({{1, 1, 3, 3}}), WithModules(2, 1));
  EXPECT_DOUBLE_EQ(analysis.modules->cv, 0.5);
}

TEST(Modules, LargestStepIsBetweenNeighborsOverTheLevel) {
  // Steps of 2 across and 5 down; the diagonal one of 7 is none.
  const Analysis analysis = Analyze(Matrix({{1, 3}, {6, 8}}), WithModules(1, 1, {10, 20}));
  EXPECT_DOUBLE_EQ(analysis.modules->largestStep, 5 / 4.5);
  EXPECT_EQ(*analysis.modules->between,
            (std::array<cv::Point, 2>{cv::Point(10, 20), cv::Point(10, 21)}));
}

TEST(Modules, OneModuleHasNoStep) {
  const Analysis analysis = Analyze(Matrix({{1, 3}, {6, 8}}), WithModules(2, 2));
  EXPECT_TRUE(std::isnan(analysis.modules->largestStep));
  EXPECT_FALSE(analysis.modules->between);
}

TEST(Seams, LieWhereAModuleBegins) {
  const Analysis analysis = Analyze(cv::Mat1f(6, 9, 1.0F), WithModules(4, 3, {2, 0}));
  EXPECT_THAT(PlacesOf(analysis.seams, SeamDirection::kVertical), ElementsAre(4, 8));
  EXPECT_THAT(PlacesOf(analysis.seams, SeamDirection::kHorizontal), ElementsAre(3));
  EXPECT_EQ(analysis.seams.front().direction, SeamDirection::kVertical);
}

TEST(Seams, HaveLedsThatCountOnBothSides) {
  // Seams at 2, 4, 6 and 8; only columns 2 to 7 count.
  const Analysis analysis = Analyze(cv::Mat1f(10, 10, 1.0F), WithModules(2, 100, {}, 2));
  EXPECT_THAT(PlacesOf(analysis.seams, SeamDirection::kVertical), ElementsAre(4, 6));
}

TEST(Seams, StepIsTheDifferenceOverTheMeanOfBothSides) {
  const Analysis analysis = Analyze(Matrix({{2, 2, 4, 4}, {2, 2, 4, 4}}), WithModules(2, 2));
  ASSERT_EQ(analysis.seams.size(), 1U);
  EXPECT_DOUBLE_EQ(analysis.seams[0].step, 2.0 / 3);
  EXPECT_DOUBLE_EQ(analysis.seamRms, 2.0 / 3);
}

TEST(Seams, AreTakenOverAtMostFourColumns) {
  const Analysis analysis =
      Analyze(Matrix({{50, 1, 1, 1, 1, 3, 3, 3, 3, 50}}), WithModules(5, 1, {-5, 0}));
  // The seam at screen position 0 is column 5 of the matrix.
  ASSERT_EQ(PlacesOf(analysis.seams, SeamDirection::kVertical), std::vector<int>{0});
  // Half a module of 5 reaches 2 columns.
  EXPECT_DOUBLE_EQ(analysis.seams[0].step, 1);
  const Analysis wide =
      Analyze(Matrix({{50, 1, 1, 1, 1, 3, 3, 3, 3, 50}}), WithModules(100, 1, {95, 0}));
  EXPECT_DOUBLE_EQ(wide.seams[0].step, 1);
}

TEST(Seams, TakeWhatTheMatrixHas) {
  // The seam has one column on its left.
  const Analysis analysis = Analyze(Matrix({{1, 3, 9, 9, 9}}), WithModules(100, 1, {99, 0}));
  ASSERT_EQ(analysis.seams.size(), 1U);
  EXPECT_DOUBLE_EQ(analysis.seams[0].step, 1);
}

TEST(Seams, WithoutLedsOnASideAreNotKnown) {
  const Analysis analysis = Analyze(Matrix({{kNaN, 3, 1, 3}}), WithModules(1, 1));
  ASSERT_EQ(analysis.seams.size(), 3U);
  EXPECT_TRUE(std::isnan(analysis.seams[0].step));
  EXPECT_DOUBLE_EQ(analysis.seamRms, 1);
}

}  // namespace
}  // namespace dravix::lab
