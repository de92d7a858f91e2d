#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

/// An even matrix with one LED of that value at (3, 2).
cv::Mat1f Odd(float value) {
  cv::Mat1f values(6, 7, 100.0F);
  values(2, 3) = value;
  return values;
}

TEST(Defects, EvenScreenHasNone) { EXPECT_THAT(Analyze(cv::Mat1f(6, 7, 1.0F)).defects, IsEmpty()); }

TEST(Defects, AreDeadDimOrBright) {
  const struct {
    float value;
    DefectKind kind;
  } cases[] = {{0, DefectKind::kDead},
               {49.9F, DefectKind::kDead},
               {50, DefectKind::kDim},
               {79.9F, DefectKind::kDim},
               {125.1F, DefectKind::kBright}};
  for (const auto& c : cases) {
    const Analysis analysis = Analyze(Odd(c.value));
    ASSERT_THAT(analysis.defects, SizeIs(1)) << c.value;
    EXPECT_EQ(analysis.defects[0].kind, c.kind) << c.value;
    EXPECT_EQ(analysis.defects[0].position, cv::Point(3, 2));
    EXPECT_DOUBLE_EQ(analysis.defects[0].ratio, static_cast<double>(c.value) / 100);
    EXPECT_DOUBLE_EQ(analysis.defects[0].value, static_cast<double>(c.value));
  }
}

TEST(Defects, LimitsThemselvesAreSound) {
  EXPECT_THAT(Analyze(Odd(80)).defects, IsEmpty());
  EXPECT_THAT(Analyze(Odd(125)).defects, IsEmpty());
}

TEST(Defects, LimitsCanBeSet) {
  AnalysisOptions options;
  options.dead = 0.1;
  options.dim = 0.2;
  options.bright = 3;
  EXPECT_THAT(Analyze(Odd(25), options).defects, IsEmpty());
  EXPECT_THAT(Analyze(Odd(299), options).defects, IsEmpty());
  EXPECT_EQ(Analyze(Odd(15), options).counts.dim, 1);
  EXPECT_EQ(Analyze(Odd(301), options).counts.bright, 1);
}

TEST(Defects, AreCountedByKind) {
  cv::Mat1f values(20, 20, 100.0F);
  values(2, 2) = values(10, 2) = 0;
  values(2, 10) = 60;
  values(10, 10) = values(15, 15) = values(18, 3) = 200;
  const DefectCounts counts = Analyze(values).counts;
  EXPECT_EQ(counts.dead, 2);
  EXPECT_EQ(counts.dim, 1);
  EXPECT_EQ(counts.bright, 3);
}

TEST(Defects, AreListedByRowThenColumn) {
  cv::Mat1f values(20, 20, 100.0F);
  values(10, 2) = values(2, 10) = values(10, 9) = 0;
  const std::vector<Defect> defects = Analyze(values).defects;
  ASSERT_THAT(defects, SizeIs(3));
  EXPECT_EQ(defects[0].position, cv::Point(10, 2));
  EXPECT_EQ(defects[1].position, cv::Point(2, 10));
  EXPECT_EQ(defects[2].position, cv::Point(9, 10));
}

TEST(Defects, NameModuleAndCabinetOnTheScreen) {
  AnalysisOptions options;
  options.module = {2, 2};
  options.at = {100, 50};
  const Analysis analysis = Analyze(Odd(0), options);
  ASSERT_THAT(analysis.defects, SizeIs(1));
  EXPECT_EQ(analysis.defects[0].position, cv::Point(103, 52));
  EXPECT_EQ(*analysis.defects[0].module, cv::Point(51, 26));
  EXPECT_FALSE(analysis.defects[0].cabinet);
  options.cabinet = {10, 20};
  EXPECT_EQ(*Analyze(Odd(0), options).defects[0].cabinet, cv::Point(10, 2));
}

TEST(Defects, SurroundingsStopAtTheBorder) {
  // The four neighbors of the right end are 1, 1 and nothing more; their median is 1.
  const Analysis analysis = Analyze(Matrix({{9, 9, 9, 1, 1, 4}}));
  ASSERT_FALSE(analysis.defects.empty());
  EXPECT_EQ(analysis.defects.back().position, cv::Point(5, 0));
  EXPECT_DOUBLE_EQ(analysis.defects.back().ratio, 4);
}

TEST(Defects, MedianOfAnEvenNumberIsTheMeanOfTheMiddleTwo) {
  const Analysis analysis = Analyze(Matrix({{1, 2, 30, 4, 5}}));
  const auto at = std::find_if(analysis.defects.begin(), analysis.defects.end(),
                               [](const Defect& d) { return d.position.x == 2; });
  ASSERT_NE(at, analysis.defects.end());
  EXPECT_DOUBLE_EQ(at->ratio, 10);
}

TEST(Defects, NeighborsThatDoNotCountAreLeftOut) {
  AnalysisOptions options;
  options.edge = 1;
  cv::Mat1f values(5, 5, 1000.0F);  // the edge would make all others dim
  values(cv::Rect(1, 1, 3, 3)) = 100.0F;
  values(2, 2) = 10;
  values(1, 1) = kNaN;
  values(1, 2) = kInfinity;
  const Analysis analysis = Analyze(values, options);
  ASSERT_THAT(analysis.defects, SizeIs(1));
  EXPECT_DOUBLE_EQ(analysis.defects[0].ratio, 0.1);
}

TEST(Defects, WithoutNeighborsThereIsNone) {
  EXPECT_THAT(Analyze(Matrix({{5}})).defects, IsEmpty());
  EXPECT_THAT(Analyze(Matrix({{5, kNaN, kNaN}})).defects, IsEmpty());
}

TEST(Defects, InTheDarkThereIsNone) {
  for (const float dark : {0.0F, -1.0F}) {
    cv::Mat1f values(7, 7, dark);
    values(3, 3) = 7;
    EXPECT_THAT(Analyze(values).defects, IsEmpty());
  }
}

TEST(Defects, NegativeValueAmongLitOnesIsDead) { EXPECT_EQ(Analyze(Odd(-1)).counts.dead, 1); }

/// The ratio as it is defined, without any shortcut; NaN where there is none.
double PlainRatio(const cv::Mat1f& values, int x, int y) {
  std::vector<double> around;
  for (int v = std::max(y - 2, 0); v <= std::min(y + 2, values.rows - 1); ++v) {
    for (int u = std::max(x - 2, 0); u <= std::min(x + 2, values.cols - 1); ++u) {
      if ((u != x || v != y) && std::isfinite(values(v, u))) {
        around.push_back(static_cast<double>(values(v, u)));
      }
    }
  }
  if (around.empty() || !std::isfinite(values(y, x))) return std::nan("");
  std::sort(around.begin(), around.end());
  const std::size_t half = around.size() / 2;
  const double median =
      around.size() % 2 != 0 ? around[half] : (around[half - 1] + around[half]) / 2;
  return median > 0 ? static_cast<double>(values(y, x)) / median : std::nan("");
}

TEST(Defects, ShortcutsMissNoneAndAddNone) {
  for (int seed = 1; seed <= 20; ++seed) {
    cv::RNG rng(static_cast<std::uint64_t>(seed));
    cv::Mat1f values(rng.uniform(1, 30), rng.uniform(1, 30));
    // From quiet screens, on which nearly all LEDs are plainly sound, to noise.
    rng.fill(values, cv::RNG::NORMAL, 10.0,
             std::array{0.1, 1.0, 2.0, 8.0}.at(static_cast<std::size_t>(seed % 4)));
    for (float& value : values) {
      if (rng.uniform(0, 12) == 0) value = rng.uniform(0, 2) == 0 ? kNaN : 0.0F;
    }
    const Analysis analysis = Analyze(values);
    auto next = analysis.defects.begin();
    for (int y = 0; y < values.rows; ++y) {
      for (int x = 0; x < values.cols; ++x) {
        const double ratio = PlainRatio(values, x, y);
        if (!(ratio < 0.8 || ratio > 1.25)) continue;
        ASSERT_NE(next, analysis.defects.end()) << "missing: " << x << ", " << y;
        EXPECT_EQ(next->position, cv::Point(x, y)) << "seed " << seed;
        EXPECT_EQ(next->ratio, ratio);
        ++next;
      }
    }
    EXPECT_EQ(next, analysis.defects.end()) << "seed " << seed;
  }
}

TEST(DefectsCsv, HasOneLineForEachDefect) {
  AnalysisOptions options;
  options.module = {2, 2};
  options.cabinet = {4, 4};
  options.at = {10, 20};
  EXPECT_EQ(DefectsCsv(Analyze(Odd(0.1F), options)),
            "x,y,kind,value,ratio,module_column,module_row,cabinet_column,cabinet_row\n"
            "13,22,dead,0.1,0.0010000000149011613,6,11,3,5\n");
}

TEST(DefectsCsv, FieldsThatAreNotKnownAreEmpty) {
  EXPECT_EQ(DefectsCsv(Analyze(Odd(60))),
            "x,y,kind,value,ratio,module_column,module_row,cabinet_column,cabinet_row\n"
            "3,2,dim,60,0.6,,,,\n");
}

TEST(DefectsCsv, ValueOfADoubleKeepsItsDigits) {
  cv::Mat1d values(5, 5, 1.0);
  values(2, 2) = 0.1;
  EXPECT_THAT(DefectsCsv(Analyze(values)), testing::HasSubstr("2,2,dead,0.1,0.1,,,,\n"));
}

}  // namespace
}  // namespace dravix::lab
