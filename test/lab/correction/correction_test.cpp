#include <dravix/lab/correction.h>
#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "lab/analysis/matrix.h"
#include "lab/correction/square_means.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace dravix::lab {
namespace {

CorrectionOptions ToLevel(double level) {
  CorrectionOptions options;
  options.target = {CorrectionTarget::Kind::kLevel, level};
  return options;
}

std::string RefusalOf(const CorrectionOptions& options) {
  try {
    Check(options);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

TEST(Correct, DimsToTheTargetAndLeavesDarkerLedsAsTheyAre) {
  const Correction correction = Correct(Matrix({{100, 80, 160, 125}}), ToLevel(100));
  EXPECT_THAT(std::vector<float>(correction.gains.begin(), correction.gains.end()),
              ElementsAre(1, 1, 0.625F, 0.8F));
  const CorrectionFigures& figures = correction.figures;
  EXPECT_EQ(figures.target, 100);
  EXPECT_EQ(figures.good, 4);
  EXPECT_DOUBLE_EQ(figures.clipped, 0.25);  // 100 reaches its target exactly
  EXPECT_DOUBLE_EQ(figures.lightLost, 1 - 380.0 / 465);
  EXPECT_NEAR(figures.cvExpected, std::sqrt(75.0) / 95, 1e-15);
}

TEST(Correct, TargetIsAPercentileTenByDefaultOrTheMean) {
  const cv::Mat values = Matrix({{10, 11, 12, 13, 14}, {15, 16, 17, 18, 19}});
  EXPECT_DOUBLE_EQ(Correct(values).figures.target, 10.9);
  CorrectionOptions options;
  options.target.value = 50;
  EXPECT_DOUBLE_EQ(Correct(values, options).figures.target, 14.5);
  options.target.value = 100;
  EXPECT_DOUBLE_EQ(Correct(values, options).figures.target, 19);
  options.target.kind = CorrectionTarget::Kind::kMean;
  EXPECT_DOUBLE_EQ(Correct(values, options).figures.target, 14.5);
}

TEST(Correct, LedsThatAreNotGoodStayAsTheyAreAndCountNowhere) {
  cv::Mat1f values(5, 6, 100.0F);
  values(0, 1) = kNaN;
  values(1, 4) = kInfinity;
  values(2, 3) = 40;  // dead beside its neighbors
  values(3, 0) = 0;
  values(4, 5) = -7;
  const Correction correction = Correct(values, ToLevel(50));
  EXPECT_THAT(correction.figures.dead,
              ElementsAre(cv::Point(3, 2), cv::Point(0, 3), cv::Point(5, 4)));
  EXPECT_EQ(correction.figures.good, 25);
  EXPECT_EQ(correction.figures.cvBefore, 0);
  EXPECT_DOUBLE_EQ(correction.figures.lightLost, 0.5);
  for (const cv::Point led : {cv::Point(1, 0), cv::Point(4, 1), cv::Point(3, 2), cv::Point(0, 3)}) {
    EXPECT_EQ(correction.gains(led), 1) << led;
  }
  EXPECT_EQ(correction.gains(0, 0), 0.5F);
}

TEST(Correct, IntegerGainsAreRoundedFromDoublePrecision) {
  CorrectionOptions options = ToLevel(1);
  EXPECT_EQ(Correct(Matrix({{2}}), options).integerGains(0, 0), 8192);  // 8191.5 + 0.5
  for (int bits = 1; bits <= 16; ++bits) {
    options.bits = bits;
    const double gain = 1 / static_cast<double>(3.1F);
    const Correction correction = Correct(Matrix({{3.1F, 1}}), options);
    EXPECT_EQ(correction.integerGains(0, 0), std::floor(gain * ((1 << bits) - 1) + 0.5)) << bits;
    EXPECT_EQ(correction.integerGains(0, 1), (1 << bits) - 1) << bits;
  }
}

TEST(Correct, KeptGradientIsNoDeviation) {
  cv::Mat1f values(9, 41);
  for (int y = 0; y < values.rows; ++y) {
    for (int x = 0; x < values.cols; ++x) values(y, x) = 100.0F + static_cast<float>(x);
  }
  CorrectionOptions options;
  options.target.kind = CorrectionTarget::Kind::kMean;
  EXPECT_GT(Correct(values, options).figures.lightLost, 0.03);
  options.keepGradient = 5;
  // Squares are cut at the border, so that the outer LEDs deviate from theirs.
  EXPECT_LT(Correct(values, options).figures.lightLost, 0.001);
  options.keepGradient = 1;
  EXPECT_NEAR(Correct(values, options).figures.lightLost, 0, 1e-12);
}

TEST(Correct, WithoutAGoodLedThereAreNoFigures) {
  const Correction correction = Correct(Matrix({{0, kNaN}}));
  EXPECT_EQ(correction.figures.good, 0);
  EXPECT_TRUE(std::isnan(correction.figures.target));
  EXPECT_EQ(correction.gains(0, 0), 1);
  EXPECT_THAT(ToJson({correction.figures}), HasSubstr("\"light_lost\": null"));
}

TEST(Correct, OptionsOutOfRangeAreRefused) {
  CorrectionOptions options;
  options.bits = 17;
  EXPECT_THAT(RefusalOf(options), HasSubstr("bits: found 17, expected 1 to 16"));
  options.bits = 0;
  EXPECT_THAT(RefusalOf(options), HasSubstr("bits: found 0"));
  options = {};
  for (const int side : {-3, 4, 2}) {
    options.keepGradient = side;
    EXPECT_THAT(RefusalOf(options), HasSubstr("keep-gradient: found " + std::to_string(side)));
  }
  options = {};
  for (const double percentile : {-0.1, 100.5, std::nan("")}) {
    options.target.value = percentile;
    EXPECT_THAT(RefusalOf(options), HasSubstr("target: found percentile"));
  }
  for (const double level : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
    EXPECT_THAT(RefusalOf(ToLevel(level)), HasSubstr("target: found level"));
  }
  EXPECT_THROW(static_cast<void>(Correct(cv::Mat())), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(Correct(cv::Mat1b(1, 1))), std::invalid_argument);
}

TEST(Correct, JsonHasTheKeysInOrder) {
  CorrectionFigures figures = Correct(Matrix({{100, 0, 100}}), ToLevel(50)).figures;
  figures.file = "CIE_Y.lum";
  EXPECT_EQ(nlohmann::ordered_json::parse(ToJson({figures})).dump(),
            R"({"planes":[{"file":"CIE_Y.lum","target":50.0,"clipped":0.0,"light_lost":0.5,)"
            R"("cv_before":0.0,"cv_expected":0.0,"good":2,"dead":[[1,0]]}]})");
}

double DirectMean(const cv::Mat1f& values, int x, int y, int reach) {
  const cv::Rect square = cv::Rect(x - reach, y - reach, 2 * reach + 1, 2 * reach + 1) &
                          cv::Rect({0, 0}, values.size());
  long double sum = 0;
  int count = 0;
  for (const float value : cv::Mat1f(values(square))) {
    if (std::isnan(value)) continue;
    sum += static_cast<long double>(value);
    ++count;
  }
  return count > 0 ? static_cast<double>(sum / count) : std::nan("");
}

TEST(SquareMeans, AreThoseOfDirectSums) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> uniform(1, 2);
  for (const cv::Size size : {cv::Size(37, 23), cv::Size(1, 9), cv::Size(8, 1), cv::Size(16, 40)}) {
    cv::Mat1f values(size);
    for (float& value : values) value = random() % 7 == 0 ? kNaN : uniform(random);
    // A running sum would carry this one's rounding error on.
    values(size.height / 2, size.width / 2) = 1e30F;
    for (const int side : {1, 3, 5, 9, 21, 45, 999, 2147483647}) {
      const cv::Mat1d means = SquareMeans(values, side);
      const int reach = std::min(side / 2, 50);
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
          const double expected = DirectMean(values, x, y, reach);
          if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(means(y, x)));
          } else {
            ASSERT_NEAR(means(y, x) / expected, 1, 1e-12) << side << " at " << x << "," << y;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace dravix::lab
