#include <dravix/lab/repeatability.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace dravix::lab {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// `count` results of a screen of level 1000 with noise, each times its level.
std::vector<cv::Mat> Noisy(int count, double noise, const std::vector<double>& levels = {}) {
  cv::RNG random(11);
  std::vector<cv::Mat> results;
  for (int k = 0; k < count; ++k) {
    cv::Mat1f result(60, 80);
    random.fill(result, cv::RNG::NORMAL, 1000.0, noise);
    if (!levels.empty()) result *= levels.at(static_cast<std::size_t>(k));
    results.push_back(result);
  }
  return results;
}

TEST(Repeatability, MeanAndDeviationOfEachLed) {
  const cv::Mat a = (cv::Mat1f(1, 3) << 10, 20, 30);
  const cv::Mat b = (cv::Mat1f(1, 3) << 14, 20, 33);
  const cv::Mat c = (cv::Mat1d(1, 3) << 12, 20, 36);
  const Repeatability r = RepeatabilityOf({a, b, c});
  EXPECT_FLOAT_EQ(r.means(0, 0), 12);
  EXPECT_FLOAT_EQ(r.deviations(0, 0), 2);
  EXPECT_FLOAT_EQ(r.deviations(0, 1), 0);
  EXPECT_FLOAT_EQ(r.deviations(0, 2), 3);
  EXPECT_EQ(r.size, cv::Size(3, 1));
  EXPECT_EQ(r.results, 3);
  EXPECT_NEAR(r.mean, (12 + 20 + 33) / 3.0, 1e-6);
  EXPECT_NEAR(r.asMeasured.deviation, std::sqrt((8 + 0 + 18) / 6.0) / r.mean, 1e-9);
}

TEST(Repeatability, MissingValuesAreLeftOut) {
  const cv::Mat a = (cv::Mat1f(1, 4) << 10, kNan, kNan, 5);
  const cv::Mat b = (cv::Mat1f(1, 4) << 12, 7, kNan, 5);
  const Repeatability r = RepeatabilityOf({a, b});
  EXPECT_FLOAT_EQ(r.means(0, 1), 7);
  EXPECT_TRUE(std::isnan(r.deviations(0, 1)));
  EXPECT_TRUE(std::isnan(r.means(0, 2)));
  EXPECT_EQ(r.unmeasured, 1);
  EXPECT_EQ(r.partly, 1);
  EXPECT_NEAR(r.mean, (11 + 7 + 5) / 3.0, 1e-6);
}

TEST(Repeatability, TheRealDifferenceHoldsNineteenOfTwentyEqualLeds) {
  const Repeatability r = RepeatabilityOf(Noisy(6, 8));
  EXPECT_NEAR(r.leveled.deviation, 0.008, 0.0002);
  EXPECT_NEAR(r.leveled.single, 1.96 * std::sqrt(2.0) * r.leveled.deviation, 2e-5);
  EXPECT_NEAR(r.leveled.means, r.leveled.single / std::sqrt(6.0), 1e-12);
  EXPECT_GT(r.leveled.anywhere, 1.8 * r.leveled.single);
  const std::vector<cv::Mat> pair = Noisy(8, 8);
  const cv::Mat difference = cv::abs(pair[6] - pair[7]);
  const double beyond = cv::countNonZero(difference > r.leveled.single * r.mean) / 4800.0;
  EXPECT_NEAR(beyond, 0.05, 0.012);
  EXPECT_EQ(cv::countNonZero(difference > r.leveled.anywhere * r.mean), 0);
}

TEST(Repeatability, DriftOfTheLevelIsToldFromNoise) {
  const Repeatability r = RepeatabilityOf(Noisy(4, 1, {1.00, 1.02, 0.98, 1.01}));
  ASSERT_EQ(r.levels.size(), 4U);
  EXPECT_NEAR(r.levels[1] / r.levels[2], 1.02 / 0.98, 1e-3);
  EXPECT_NEAR(r.levelDeviation, 0.017, 0.001);
  EXPECT_NEAR(r.asMeasured.deviation, 0.017, 0.001);
  EXPECT_NEAR(r.leveled.deviation, 0.001, 1e-4);
  EXPECT_DOUBLE_EQ(r.asMeasured.freedom, 3);
  EXPECT_DOUBLE_EQ(r.leveled.freedom, 3 * 4800 - 3);
}

TEST(Repeatability, FactorsAreThoseOfTheTables) {
  EXPECT_NEAR(StudentFactor(0.95, 1), 12.706, 1e-3);
  EXPECT_NEAR(StudentFactor(0.95, 2), 4.303, 1e-3);
  EXPECT_NEAR(StudentFactor(0.95, 5), 2.571, 1e-3);
  EXPECT_NEAR(StudentFactor(0.99, 10), 3.169, 1e-3);
  EXPECT_NEAR(StudentFactor(0.95, 1999), 1.9612, 1e-3);
  EXPECT_NEAR(StudentFactor(0.95, 1e6), 1.95996, 1e-4);
}

TEST(Repeatability, RefusesWhatIsNoRepetition) {
  const cv::Mat one = cv::Mat1f(2, 2, 1.0F);
  EXPECT_THROW(static_cast<void>(RepeatabilityOf({one})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RepeatabilityOf({one, cv::Mat1f(2, 3, 1.0F)})),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RepeatabilityOf({one, cv::Mat1b(2, 2)})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RepeatabilityOf({one, cv::Mat1f(2, 2, kNan)})),
               std::invalid_argument);
}

TEST(Repeatability, JsonHasNullForWhatIsNotKnown) {
  const cv::Mat zero = cv::Mat1f(2, 2, 0.0F);
  const auto json = nlohmann::json::parse(ToJson(RepeatabilityOf({zero, zero})));
  EXPECT_TRUE(json["as_measured"]["deviation"].is_null());
  EXPECT_TRUE(json["levels"][0].is_null());
  EXPECT_EQ(json["size"], nlohmann::json({2, 2}));
  EXPECT_EQ(json["results"], 2);
  EXPECT_EQ(json["confidence"], 0.95);
}

}  // namespace
}  // namespace dravix::lab
