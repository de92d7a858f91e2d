#include <dravix/lab/assembly.h>
#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "lab/analysis/matrix.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace dravix::lab {
namespace {

constexpr std::size_t kMostListed = 1000;

/// A result that shows a whole partition.
PlacedResult Whole(cv::Size screen, cv::Point at, const cv::Mat& values) {
  return {"r", {screen, cv::Rect(at, values.size()), {1, 1}, {0, 0}}, values};
}

std::uint32_t BitsOf(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::string RefusalOf(const std::vector<Placement>& placements, Match match = Match::kNone) {
  try {
    Check(placements, match);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

TEST(Assemble, LedsLieWherePartitionIntervalAndPhaseSay) {
  const Placement placement{{10, 6}, {2, 1, 7, 4}, {3, 2}, {1, 1}};
  ASSERT_EQ(LitLeds(placement), cv::Size(2, 2));
  const AssembledPlane plane = Assemble("p", {{"r", placement, Matrix({{1, 2}, {3, 4}})}});
  EXPECT_EQ(plane.values(2, 3), 1);
  EXPECT_EQ(plane.values(2, 6), 2);
  EXPECT_EQ(plane.values(4, 3), 3);
  EXPECT_EQ(plane.values(4, 6), 4);
  EXPECT_EQ(plane.figures.measured, 4);
  EXPECT_EQ(plane.figures.missing, 56);
  EXPECT_EQ(cv::countNonZero(plane.counts), 4);
  EXPECT_TRUE(std::isnan(plane.values(0, 0)));
}

TEST(Assemble, ValueMeasuredOnceKeepsItsBits) {
  const cv::Mat values = Matrix({{-0.0F, std::numeric_limits<float>::denorm_min(), 0.1F,
                                  std::numeric_limits<float>::max(), -3.5F}});
  const AssembledPlane plane = Assemble("p", {Whole({5, 1}, {0, 0}, values)});
  for (int x = 0; x < 5; ++x) {
    EXPECT_EQ(BitsOf(plane.values(0, x)), BitsOf(values.at<float>(0, x))) << x;
  }
}

TEST(Assemble, LedMeasuredMoreThanOnceHasTheMeanInDoublePrecision) {
  const cv::Size one(1, 1);
  const AssembledPlane plane =
      Assemble("p", {Whole(one, {0, 0}, Matrix({{16777216.0F}})),
                     Whole(one, {0, 0}, Matrix({{1.0F}})), Whole(one, {0, 0}, Matrix({{1.0F}}))});
  // In single precision the ones would be lost.
  EXPECT_EQ(plane.values(0, 0), static_cast<float>(16777218.0 / 3));
  EXPECT_EQ(plane.counts(0, 0), 3);
  EXPECT_EQ(plane.figures.doubled, 1);
}

TEST(Assemble, OnlyFiniteValuesCount) {
  const AssembledPlane plane =
      Assemble("p", {Whole({3, 1}, {0, 0}, Matrix({{kNaN, kInfinity, 5.0F}})),
                     Whole({3, 1}, {0, 0}, Matrix({{7.0F, kNaN, -kInfinity}}))});
  EXPECT_EQ(plane.values(0, 0), 7);
  EXPECT_TRUE(std::isnan(plane.values(0, 1)));
  EXPECT_EQ(plane.values(0, 2), 5);
  EXPECT_EQ(plane.figures.measured, 2);
  EXPECT_EQ(plane.figures.missing, 1);
  EXPECT_EQ(plane.figures.doubled, 0);
}

TEST(Assemble, CountsEndAt255AndMeansDoNot) {
  std::vector<PlacedResult> results(299, Whole({1, 1}, {0, 0}, Matrix({{0.0F}})));
  results.push_back(Whole({1, 1}, {0, 0}, Matrix({{300.0F}})));
  const AssembledPlane plane = Assemble("p", results);
  EXPECT_EQ(plane.counts(0, 0), 255);
  EXPECT_EQ(plane.values(0, 0), 1);
}

TEST(Assemble, ResultsMayBeOfDoubles) {
  cv::Mat1d doubles(1, 1);
  doubles << 0.1;
  EXPECT_EQ(Assemble("p", {Whole({1, 1}, {0, 0}, doubles)}).values(0, 0), 0.1F);
}

TEST(Assemble, MissingLedsAreRectanglesTheLargestFirst) {
  const AssembledPlane plane = Assemble("p", {Whole({6, 4}, {2, 0}, cv::Mat1f(4, 1, 1.0F)),
                                              Whole({6, 4}, {3, 3}, cv::Mat1f(1, 2, 1.0F))});
  EXPECT_THAT(plane.figures.missingRectangles,
              ElementsAre(cv::Rect(3, 0, 3, 3), cv::Rect(0, 0, 2, 4), cv::Rect(5, 3, 1, 1)));
}

TEST(Assemble, OfManyGapsTheLargestAreListed) {
  // Of every two LEDs one is missing, and a whole block in the middle.
  cv::Mat1f values(60, 100, 1.0F);
  for (int y = 0; y < values.rows; ++y) {
    for (int x = y % 2; x < values.cols; x += 2) values(y, x) = kNaN;
  }
  values(cv::Rect(40, 20, 5, 4)) = kNaN;
  const PlaneFigures figures = Assemble("p", {Whole({100, 60}, {0, 0}, values)}).figures;
  ASSERT_EQ(figures.missingRectangles.size(), kMostListed);
  // Rows of the block are alternately as wide as it and one LED wider on each side.
  EXPECT_EQ(figures.missingRectangles.front().area(), 7);
  cv::Mat1b covered(values.size(), static_cast<unsigned char>(0));
  for (const cv::Rect& r : figures.missingRectangles) {
    EXPECT_EQ(cv::countNonZero(covered(r)), 0);
    covered(r) = 1;
  }
  for (int y = 0; y < values.rows; ++y) {
    for (int x = 0; x < values.cols; ++x) {
      EXPECT_TRUE(covered(y, x) == 0 || std::isnan(values(y, x)));
    }
  }
}

TEST(Assemble, PlacementsThatCannotBeAreRefused) {
  const struct {
    Placement placement;
    std::string message;
  } cases[] = {
      {{{0, 9}, {0, 0, 1, 1}, {1, 1}, {0, 0}}, "screen: found 0 x 9 LEDs, expected 1 to 150000000"},
      {{{2147483647, 2147483647}, {0, 0, 1, 1}, {1, 1}, {0, 0}}, "screen: found 2147483647 x"},
      {{{9, 9}, {0, 0, 0, 1}, {1, 1}, {0, 0}}, "partition: found 0 x 1 LEDs"},
      {{{9, 9}, {-1, 0, 1, 1}, {1, 1}, {0, 0}}, "partition: found 1 x 1 LEDs at -1,0"},
      {{{9, 9}, {8, 0, 2, 1}, {1, 1}, {0, 0}},
       "partition: found 2 x 1 LEDs at 8,0, expected a part of the screen of 9 x 9"},
      {{{9, 9}, {2147483647, 0, 2147483647, 1}, {1, 1}, {0, 0}}, "a part of the screen"},
      {{{9, 9}, {0, 0, 9, 9}, {0, 1}, {0, 0}}, "interval: found 0 x 1"},
      {{{9, 9}, {0, 0, 9, 9}, {2, 2}, {2, 0}}, "place of the lit LED: found 2,0"},
      {{{9, 9}, {0, 0, 9, 9}, {2, 2}, {0, -1}}, "place of the lit LED: found 0,-1"},
      {{{9, 9}, {0, 0, 3, 9}, {5, 5}, {3, 0}}, "one within the partition of 3 x 9 LEDs"},
  };
  for (const auto& c : cases) EXPECT_THAT(RefusalOf({c.placement}), HasSubstr(c.message));
  const Placement fine{{9, 9}, {0, 0, 9, 9}, {2147483647, 1}, {8, 0}};
  EXPECT_EQ(RefusalOf({fine}), "");
  EXPECT_EQ(LitLeds(fine), cv::Size(1, 9));
}

TEST(Assemble, WhatDoesNotGoTogetherIsRefused) {
  const Placement one{{9, 9}, {0, 0, 9, 9}, {1, 1}, {0, 0}};
  Placement other = one;
  other.screen.width = 10;
  EXPECT_THAT(RefusalOf({one, other}), HasSubstr("screen: found 10 x 9, expected 9 x 9"));
  EXPECT_THROW(static_cast<void>(Assemble("p", {})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(Assemble("p", {{"r", one, cv::Mat1f(9, 8)}})),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(Assemble("p", {{"r", one, cv::Mat1b(9, 9)}})),
               std::invalid_argument);
}

TEST(Assemble, CostsAreBoundedByThePlacementsAlone) {
  const Placement small{{9, 9}, {0, 0, 9, 9}, {1, 1}, {0, 0}};
  const std::vector<Placement> repeated(1500, small);
  EXPECT_EQ(RefusalOf(repeated), "");
  EXPECT_THAT(RefusalOf(repeated, Match::kOverlap), HasSubstr("1000000 pairs of results"));
  EXPECT_THAT(RefusalOf(repeated, Match::kSeams), HasSubstr("1000000 pairs of results"));
  const Placement large{{12000, 12000}, {0, 0, 12000, 12000}, {1, 1}, {0, 0}};
  EXPECT_THAT(RefusalOf(std::vector<Placement>(5, large)), HasSubstr("720000000 values"));
  const Placement quarter{{12000, 12000}, {0, 0, 6000, 6000}, {1, 1}, {0, 0}};
  EXPECT_THAT(RefusalOf(std::vector<Placement>(16, quarter), Match::kOverlap),
              HasSubstr("4320000000 LEDs to compare"));
}

TEST(AssemblyJson, HasTheKeysInOrderAndNullWithoutBorders) {
  const auto json = nlohmann::ordered_json::parse(
      ToJson({Assemble("CIE_Y", {Whole({3, 2}, {1, 0}, Matrix({{1}, {2}}))}).figures}));
  EXPECT_EQ(json.dump(),
            R"({"planes":{"CIE_Y":{"size":[3,2],"measured":2,"missing":4,"doubled":0,)"
            R"("missing_rectangles":[[0,0,1,2],[2,0,1,2]],"gains":[{"result":"r","gain":1.0}],)"
            R"("seam_rms":{"before":null,"after":null}}}})");
}

}  // namespace
}  // namespace dravix::lab
