#include <dravix/lab/unmix.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "lab/unmix/simulated.h"

namespace dravix::lab {
namespace {

using test::BlurredScene;
using test::OptionsFor;
using test::RmsError;

Unmixed Answer(const sim::Scene& scene) {
  const sim::Photograph photograph = sim::Render(scene);
  return Unmix(photograph.shot.image, OptionsFor(scene, photograph.truth));
}

double ErrorOf(const sim::Scene& scene, const Unmixed& answer) {
  return RmsError(answer.luminances, sim::TruthOf(scene).luminances);
}

TEST(Unmix, FindsEachLedsOwnLightToTheNoise) {
  const sim::Scene scene = BlurredScene();
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  EXPECT_LT(ErrorOf(scene, answer), 0.003);
  EXPECT_GT(answer.plainError, 0.02);  // what neighbors would have added
  EXPECT_NEAR(answer.spotSigma, 0.4, 0.02);
  EXPECT_GT(answer.noiseGain, 1.3);
  EXPECT_LT(answer.noiseGain, 2.0);
}

TEST(Unmix, LedsMayBeManyPixelsApart) {
  sim::Scene scene = BlurredScene();
  scene.pose.pitch = 16;
  scene.sensor.margin = 130;
  scene.screen.ledWidth = 20;
  scene.screen.ledHeight = 16;
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  EXPECT_LT(ErrorOf(scene, answer), 0.002);
  EXPECT_NEAR(answer.spotSigma, 0.4, 0.02);
  for (const cv::Point& led : {cv::Point(0, 0), cv::Point(12, 9)}) {
    const cv::Point2d found(answer.places(led)[0], answer.places(led)[1]);
    EXPECT_LT(cv::norm(found - sim::LedCenterOf(scene, led)), 0.2);
  }
}

TEST(Unmix, OuterRowsAreAsTrueAsTheOthers) {
  const sim::Scene scene = BlurredScene();
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused);
  cv::Mat truth = sim::TruthOf(scene).luminances;
  EXPECT_LT(RmsError(answer.luminances.row(0), truth.row(0)), 0.005);
  EXPECT_LT(RmsError(answer.luminances.col(31), truth.col(31)), 0.005);
}

TEST(Unmix, KnowsADiskFromAGaussian) {
  sim::Scene scene = BlurredScene();
  scene.optics.defocus = sim::Defocus::kDisk;
  scene.optics.blur = 0.9;
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  EXPECT_NEAR(answer.spotDisk, 0.9, 0.02);
  EXPECT_LT(answer.spotSigma, 0.1);
  EXPECT_LT(ErrorOf(scene, answer), 0.005);
}

// One mean spot would leave over more than three times the noise.
TEST(Unmix, TheSpotMayWidenTowardThePhotographsCorners) {
  sim::Scene scene = BlurredScene();
  scene.optics.defocus = sim::Defocus::kDisk;
  scene.optics.blur = 0.6;
  scene.optics.cornerBlur = 0.3;
  scene.screen.ledWidth = 44;
  scene.screen.ledHeight = 36;
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  const double error = ErrorOf(scene, answer);
  EXPECT_LT(error, 0.003);
  EXPECT_LT(answer.sigma, 2 * error);
  EXPECT_GT(answer.sigma, 0.5 * error);
  // Where spots are wider, neighbors are harder to tell apart.
  EXPECT_GT(answer.deviations(1, 1), 1.03F * answer.deviations(18, 22));
}

TEST(Unmix, SaysHowFarItIsOff) {
  for (const double blur : {0.3, 0.5}) {
    sim::Scene scene = BlurredScene();
    scene.optics.blur = blur;
    const Unmixed answer = Answer(scene);
    ASSERT_FALSE(answer.refused) << answer.refused->message;
    const double ratio = answer.sigma / ErrorOf(scene, answer);
    EXPECT_GT(ratio, 0.5);
    EXPECT_LT(ratio, 2.0);
  }
}

TEST(Unmix, ADeadLedIsDark) {
  sim::Scene scene = BlurredScene();
  scene.screen.luminance.dead = {{10, 10}, {0, 5}, {31, 25}};
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  for (const cv::Point& led : scene.screen.luminance.dead) {
    EXPECT_LT(std::abs(answer.luminances(led)), 0.025 * answer.mean);
  }
}

TEST(Unmix, AnEvenScreenStaysEven) {
  sim::Scene scene = BlurredScene();
  scene.screen.luminance.scatter = 0;
  const Unmixed answer = Answer(scene);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  EXPECT_LT(ErrorOf(scene, answer), 0.0015);
}

TEST(Unmix, CornersMayBeOffAndTheirMoveIsReported) {
  const sim::Scene scene = BlurredScene();
  const sim::Photograph photograph = sim::Render(scene);
  UnmixOptions options = OptionsFor(scene, photograph.truth);
  for (cv::Point2d& corner : options.corners) corner += cv::Point2d(1.6, -1.2);
  const Unmixed answer = Unmix(photograph.shot.image, options);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  EXPECT_NEAR(answer.shift.x, -0.2, 0.01);
  EXPECT_NEAR(answer.shift.y, 0.15, 0.01);
  EXPECT_LT(ErrorOf(scene, answer), 0.003);
}

TEST(Unmix, RefusesCornersThatAreHalfAPitchOff) {
  const sim::Scene scene = BlurredScene();
  const sim::Photograph photograph = sim::Render(scene);
  for (const cv::Point2d off : {cv::Point2d(4, 0), cv::Point2d(-4, 4), cv::Point2d(0, -8)}) {
    UnmixOptions options = OptionsFor(scene, photograph.truth);
    for (cv::Point2d& corner : options.corners) corner += off;
    const Unmixed answer = Unmix(photograph.shot.image, options);
    ASSERT_TRUE(answer.refused);
    EXPECT_EQ(answer.refused->id, UnmixRefusal::kGrid);
    ASSERT_EQ(answer.refused->values[0].first, "move");
    EXPECT_NEAR(answer.refused->values[0].second, std::max(std::abs(off.x), std::abs(off.y)) / 8,
                0.03);
    EXPECT_TRUE(answer.luminances.empty());
  }
}

TEST(Unmix, RefusesSpotsThatOverlapTooMuch) {
  sim::Scene scene = BlurredScene();
  scene.optics.blur = 0.7;
  const Unmixed answer = Answer(scene);
  ASSERT_TRUE(answer.refused);
  EXPECT_EQ(answer.refused->id, UnmixRefusal::kNoiseGain);
  EXPECT_GT(answer.noiseGain, 6);
}

TEST(Unmix, RefusesSaturatedPeaks) {
  sim::Scene scene = BlurredScene();
  scene.optics.blur = 0.25;
  scene.sensor.exposure = 0.7;
  const sim::Photograph photograph = sim::Render(scene);
  UnmixOptions options = OptionsFor(scene, photograph.truth);
  for (const double top : {4095.0, 0.0}) {
    options.sensorTop = top;
    const Unmixed answer = Unmix(photograph.shot.image, options);
    ASSERT_TRUE(answer.refused);
    EXPECT_EQ(answer.refused->id, UnmixRefusal::kSaturated);
    EXPECT_TRUE(std::isnan(answer.noiseGain));
  }
}

TEST(Unmix, RefusesSamplesThatWereSmoothed) {
  const sim::Scene scene = BlurredScene();
  const sim::Photograph photograph = sim::Render(scene);
  cv::Mat half;
  cv::resize(photograph.shot.image, half, {}, 0.7, 0.7, cv::INTER_AREA);
  cv::Mat back;
  cv::resize(half, back, photograph.shot.image.size(), 0, 0, cv::INTER_CUBIC);
  const Unmixed answer = Unmix(back, OptionsFor(scene, photograph.truth));
  ASSERT_TRUE(answer.refused);
  EXPECT_EQ(answer.refused->id, UnmixRefusal::kResidual);
}

TEST(Unmix, LedsBeyondThePhotographAreUnknown) {
  const sim::Scene scene = BlurredScene();
  const sim::Photograph photograph = sim::Render(scene);
  UnmixOptions options = OptionsFor(scene, photograph.truth);
  const int cut = static_cast<int>(sim::LedCenterOf(scene, {1, 12}).x);
  for (cv::Point2d& corner : options.corners) corner.x -= cut;
  const cv::Mat image = photograph.shot.image.colRange(cut, photograph.shot.image.cols).clone();
  const Unmixed answer = Unmix(image, options);
  ASSERT_FALSE(answer.refused) << answer.refused->message;
  EXPECT_TRUE(std::isnan(answer.luminances(12, 0)));
  EXPECT_TRUE(std::isnan(answer.deviations(12, 0)));
  EXPECT_TRUE(std::isfinite(answer.luminances(12, 4)));
}

TEST(Unmix, IsTheSameOnAnyNumberOfThreads) {
  const sim::Scene scene = BlurredScene();
  const int before = cv::getNumThreads();
  cv::setNumThreads(1);
  const Unmixed one = Answer(scene);
  cv::setNumThreads(3);
  const Unmixed three = Answer(scene);
  cv::setNumThreads(before);
  EXPECT_EQ(cv::norm(one.luminances, three.luminances, cv::NORM_INF), 0.0);
  EXPECT_EQ(ToJson(one), ToJson(three));
}

TEST(Unmix, JsonHasTheKeysAndNullForTheUnknown) {
  const auto json = nlohmann::json::parse(ToJson(Answer(BlurredScene())));
  EXPECT_EQ(json["leds"], nlohmann::json({32, 26}));
  EXPECT_TRUE(json["spot"]["sigma"].is_number());
  EXPECT_TRUE(json["spot"]["disk"].is_number());
  EXPECT_EQ(json["shift"].size(), 2U);
  for (const char* key : {"noise_gain", "contrast_seen", "plain_error", "sigma"}) {
    EXPECT_TRUE(json[key].is_number()) << key;
  }
  EXPECT_TRUE(json["refused"].is_null());

  sim::Scene saturated = BlurredScene();
  saturated.sensor.exposure = 1.5;
  const auto refused = nlohmann::json::parse(ToJson(Answer(saturated)));
  EXPECT_EQ(refused["refused"]["id"], "saturated");
  EXPECT_GT(refused["refused"]["values"]["share"], 0.001);
  EXPECT_TRUE(refused["noise_gain"].is_null());
}

TEST(Unmix, BadArgumentsAreNamed) {
  UnmixOptions options;
  options.corners = {cv::Point2d(10, 10), {110, 10}, {110, 90}, {10, 90}};
  options.leds = {10, 8};
  const cv::Mat photo(100, 120, CV_16UC1, cv::Scalar(5));
  EXPECT_THROW((void)Unmix(cv::Mat(), options), std::invalid_argument);
  EXPECT_THROW((void)Unmix(cv::Mat(100, 120, CV_8UC3), options), std::invalid_argument);
  UnmixOptions few = options;
  few.leds = {7, 8};
  EXPECT_THROW((void)Unmix(photo, few), std::invalid_argument);
  UnmixOptions mirrored = options;
  std::swap(mirrored.corners[1], mirrored.corners[3]);
  EXPECT_THROW((void)Unmix(photo, mirrored), std::invalid_argument);
  UnmixOptions outside = options;
  for (cv::Point2d& corner : outside.corners) corner.x += 500;
  EXPECT_THROW((void)Unmix(photo, outside), std::invalid_argument);
}

TEST(Unmix, ADarkPhotographIsRefused) {
  UnmixOptions options;
  options.corners = {cv::Point2d(20, 20), {180, 20}, {180, 140}, {20, 140}};
  options.leds = {20, 15};
  options.sensorTop = 4095;
  cv::Mat photo(160, 200, CV_16UC1, cv::Scalar(0));
  EXPECT_TRUE(Unmix(photo, options).refused);
  cv::RNG random(3);
  random.fill(photo, cv::RNG::NORMAL, 40, 3);
  EXPECT_TRUE(Unmix(photo, options).refused);
}

}  // namespace
}  // namespace dravix::lab
