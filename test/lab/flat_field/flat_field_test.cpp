#include <dravix/lab/flat_field.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>

#include "lab/unmix/simulated.h"
#include "sim/render.h"

namespace dravix::lab {
namespace {

using test::BlurredScene;
using test::RmsError;

/// A photograph behind a lens that loses a third of the light in its corners.
sim::Scene DarkCorners(double vignetting = 0.35) {
  sim::Scene scene = BlurredScene();
  scene.optics.vignetting = vignetting;
  scene.optics.strayLight = 0;
  scene.sensor.margin = 40;
  return scene;
}

/// The luminances without vignetting, which belongs to the lens.
cv::Mat1f ScreenOf(const sim::Scene& scene) { return sim::TruthOf(scene).luminances; }

FlatFieldArea AreaOf(const sim::Scene& scene) {
  return {sim::TruthOf(scene).corners, {scene.screen.ledWidth, scene.screen.ledHeight}};
}

/// What the same camera sees of an evenly lit wall: its vignetting, black level and noise.
Shot BlankOf(const sim::Scene& scene, double exposure = 0.6) {
  const cv::Size size = sim::PhotoSizeOf(scene);
  const double top = (1 << scene.sensor.bits) - 1;
  cv::Mat1f level(size);
  const cv::Point2d middle(0.5 * (size.width - 1), 0.5 * (size.height - 1));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const cv::Point2d at = cv::Point2d(x, y) - middle;
      const double loss = scene.optics.vignetting * at.dot(at) / middle.dot(middle);
      level(y, x) = static_cast<float>(scene.sensor.blackLevel + exposure * top * (1 - loss));
    }
  }
  cv::Mat1f noise(size);
  cv::RNG(7).fill(noise, cv::RNG::NORMAL, 0.0, 15.0);
  Shot blank;
  cv::Mat1f samples(level + noise);
  cv::min(samples, top, samples);
  samples.convertTo(blank.image, CV_16U);
  blank.type = CIE_Y;
  Shot::Device device;
  device.cam_type = 120000 + scene.sensor.bits;
  blank.SetDevice(device);
  return blank;
}

Unmixed UnmixedOf(const sim::Scene& scene, const Shot& shot) {
  return Unmix(shot.image, test::OptionsFor(scene, sim::TruthOf(scene)));
}

std::string RefusalOf(const FlatField& field) {
  return field.refused ? NameOf(field.refused->id) : "";
}

TEST(FlatField, ABlankBringsVignettingToTheNoise) {
  for (const double vignetting : {0.09, 0.20, 0.35}) {
    const sim::Scene scene = DarkCorners(vignetting);
    const sim::Photograph photo = sim::Render(scene);
    const Unmixed unmixed = UnmixedOf(scene, photo.shot);
    ASSERT_FALSE(unmixed.refused) << unmixed.refused->message;
    const FlatField field = FlatFieldFromBlank(BlankOf(scene), photo.shot, AreaOf(scene));
    ASSERT_FALSE(field.refused) << field.refused->message;
    const Unmixed flat = Flattened(unmixed, field);
    const double before = RmsError(unmixed.luminances, ScreenOf(scene));
    const double after = RmsError(flat.luminances, ScreenOf(scene));
    RecordProperty("before" + std::to_string(vignetting), std::to_string(before));
    RecordProperty("after" + std::to_string(vignetting), std::to_string(after));
    EXPECT_GT(before, 0.12 * vignetting);
    EXPECT_LT(after, 0.003);
    EXPECT_NEAR(flat.mean, unmixed.mean, 0.01 * unmixed.mean);
    EXPECT_GT(field.lost, 0.5 * vignetting);
  }
}

TEST(FlatField, AScreenThatIsDarkerAtItsEdgesStaysSo) {
  sim::Scene scene = DarkCorners(0.2);
  cv::Mat1f luminances(scene.screen.ledHeight, scene.screen.ledWidth);
  for (int y = 0; y < luminances.rows; ++y) {
    for (int x = 0; x < luminances.cols; ++x) {
      const cv::Point2d at((x - 15.5) / 16, (y - 12.5) / 13);
      luminances(y, x) = static_cast<float>(1.0 - 0.15 * at.dot(at) + 0.05 * ((x + y) % 2));
    }
  }
  scene.screen.luminance.matrix = luminances;
  const sim::Photograph photo = sim::Render(scene);
  const Unmixed flat = Flattened(UnmixedOf(scene, photo.shot),
                                 FlatFieldFromBlank(BlankOf(scene), photo.shot, AreaOf(scene)));
  EXPECT_LT(RmsError(flat.luminances, luminances), 0.004);
}

TEST(FlatField, ABlankMayBeOfAnotherExposure) {
  const sim::Scene scene = DarkCorners();
  const Shot photo = sim::Render(scene).shot;
  const FlatField bright = FlatFieldFromBlank(BlankOf(scene, 0.8), photo, AreaOf(scene));
  const FlatField dim = FlatFieldFromBlank(BlankOf(scene, 0.3), photo, AreaOf(scene));
  ASSERT_FALSE(bright.refused || dim.refused);
  const cv::Point2d corner(60, 60);
  EXPECT_NEAR(bright.At(corner), dim.At(corner), 0.004);
}

TEST(FlatField, ABlankIsRefusedWithTheShareThatIsWrong) {
  const sim::Scene scene = DarkCorners(0.1);
  const Shot photo = sim::Render(scene).shot;
  const FlatFieldArea area = AreaOf(scene);

  Shot clipped = BlankOf(scene);
  const cv::Rect tenth(0, 0, clipped.image.cols, clipped.image.rows / 2);
  clipped.image(tenth) = 4095;
  const FlatField a = FlatFieldFromBlank(clipped, photo, area);
  EXPECT_EQ(RefusalOf(a), "clipped");
  EXPECT_NEAR(a.refused->values.front().second, 0.5, 0.05);
  EXPECT_TRUE(a.gains.empty());

  EXPECT_EQ(RefusalOf(FlatFieldFromBlank(BlankOf(scene, 0.02), photo, area)), "dark");

  Shot half = BlankOf(scene);
  cv::Mat darker = half.image.colRange(0, half.image.cols / 2);
  darker *= 0.9;
  const FlatField structured = FlatFieldFromBlank(half, photo, area);
  EXPECT_EQ(RefusalOf(structured), "structured");
  EXPECT_GT(structured.refused->values.front().second, 0.01);
  EXPECT_NE(structured.refused->message.find(" % of the area"), std::string::npos);
}

TEST(FlatField, ABlankThatShowsLedsOrASlopeIsRefused) {
  const sim::Scene scene = DarkCorners(0.1);
  const Shot photo = sim::Render(scene).shot;
  EXPECT_TRUE(FlatFieldFromBlank(photo, photo, AreaOf(scene)).refused);
  Shot slope = BlankOf(scene);
  for (int x = 0; x < slope.image.cols; ++x) {
    cv::Mat column = slope.image.col(x);
    column *= 0.8 + 0.4 * x / slope.image.cols;
  }
  EXPECT_EQ(RefusalOf(FlatFieldFromBlank(slope, photo, AreaOf(scene))), "structured");
}

TEST(FlatField, RefusesImagesItCannotUse) {
  const sim::Scene scene = DarkCorners();
  const Shot photo = sim::Render(scene).shot;
  Shot small = BlankOf(scene);
  small.image = small.image(cv::Rect(0, 0, 100, 100)).clone();
  EXPECT_THROW(static_cast<void>(FlatFieldFromBlank(small, photo, AreaOf(scene))),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(FlatFieldFromBlank(Shot(), photo, AreaOf(scene))),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(FlatFieldFromBlank(photo, photo, {{}, {32, 26}})),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(FlatFieldFromShifted(small, photo, AreaOf(scene))),
               std::invalid_argument);
}

/// The screen in a larger picture, moved from its middle by (x, y) pixels.
sim::Scene Moved(double x, double y, double vignetting = 0.35) {
  sim::Scene scene = DarkCorners(vignetting);
  scene.screen.ledWidth = 48;
  scene.screen.ledHeight = 36;
  scene.sensor.width = 640;
  scene.sensor.height = 500;
  scene.pose.offset = {x, y};
  scene.pose.roll = 0.5;
  return scene;
}

TEST(FlatField, TwoShiftedPhotographsBringVignettingToTheNoise) {
  for (const double vignetting : {0.09, 0.20, 0.35}) {
    const sim::Scene scene = Moved(-60, -35, vignetting);
    const sim::Photograph photo = sim::Render(scene);
    const sim::Photograph other = sim::Render(Moved(60, 35, vignetting));
    const FlatField field = FlatFieldFromShifted(photo.shot, other.shot, AreaOf(scene));
    ASSERT_FALSE(field.refused) << field.refused->message;
    const Unmixed unmixed = UnmixedOf(scene, photo.shot);
    ASSERT_FALSE(unmixed.refused) << unmixed.refused->message;
    const Unmixed flat = Flattened(unmixed, field);
    const double before = RmsError(unmixed.luminances, ScreenOf(scene));
    const double after = RmsError(flat.luminances, ScreenOf(scene));
    RecordProperty("before" + std::to_string(vignetting), std::to_string(before));
    RecordProperty("after" + std::to_string(vignetting), std::to_string(after));
    RecordProperty("stated" + std::to_string(vignetting), std::to_string(field.deviation));
    EXPECT_GT(before, 0.12 * vignetting);
    EXPECT_LT(after, 0.005);
    EXPECT_LT(field.deviation, 0.005);
  }
}

TEST(FlatField, AShortMoveIsEnoughWithoutLightThatDependsOnTheDirection) {
  const sim::Scene scene = Moved(-5.2, -3);
  const FlatField field =
      FlatFieldFromShifted(sim::Render(scene).shot, sim::Render(Moved(5.2, 3)).shot, AreaOf(scene));
  ASSERT_FALSE(field.refused) << field.refused->message;
  cv::Mat1f departures(36, 48);
  for (int y = 0; y < departures.rows; ++y) {
    for (int x = 0; x < departures.cols; ++x) {
      const cv::Point2d at = sim::LedCenterOf(scene, {x, y});
      const cv::Point2d middle(319.5, 249.5);
      const double share = (at - middle).dot(at - middle) / middle.dot(middle);
      departures(y, x) = static_cast<float>(std::log(field.At(at) / (1 - 0.35 * share)));
    }
  }
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(departures, mean, deviation);
  RecordProperty("off", std::to_string(deviation[0]));
  RecordProperty("stated", std::to_string(field.deviation));
  EXPECT_LT(deviation[0], 2 * field.deviation);
  EXPECT_LT(deviation[0], 0.002);
}

TEST(FlatField, PhotographsThatHardlyMoveAreRefusedWithNumbers) {
  const sim::Scene scene = Moved(0, 0);
  const Shot photo = sim::Render(scene).shot;
  sim::Scene near = Moved(4, 1);
  near.sensor.fullWell = 15000;  // other noise
  const FlatField field = FlatFieldFromShifted(photo, sim::Render(near).shot, AreaOf(scene));
  ASSERT_TRUE(field.refused);
  EXPECT_EQ(RefusalOf(field), "shift");
  EXPECT_EQ(field.refused->values.at(0).first, "deviation");
  EXPECT_NEAR(field.refused->values.at(1).second, 2 * 4.1 / std::hypot(640, 500), 0.003);
}

TEST(FlatField, PhotographsOfTwoPicturesAreRefused) {
  const sim::Scene scene = Moved(-60, -35);
  sim::Scene other = Moved(60, 35);
  other.screen.luminance.moduleSpread = 0.1;
  EXPECT_EQ(RefusalOf(FlatFieldFromShifted(sim::Render(scene).shot, sim::Render(other).shot,
                                           AreaOf(scene))),
            "disagree");
}

TEST(FlatField, AScreenThatIsCutOffIsNoArea) {
  const sim::Scene scene = Moved(0, 0);
  const Shot photo = sim::Render(scene).shot;
  EXPECT_EQ(RefusalOf(FlatFieldFromShifted(photo, sim::Render(Moved(250, 0)).shot, AreaOf(scene))),
            "no-area");
}

TEST(FlatField, LedsFartherOutThanThePairsAreRefused) {
  const Shot a = sim::Render(Moved(-60, -35)).shot;
  const Shot b = sim::Render(Moved(60, 35)).shot;
  const FlatFieldArea wide = {
      {cv::Point2d(5, 5), cv::Point2d(634, 5), cv::Point2d(634, 494), cv::Point2d(5, 494)},
      {48, 36}};
  EXPECT_EQ(RefusalOf(FlatFieldFromShifted(a, b, wide)), "reach");
}

TEST(FlatField, DeviationOfTheGainJoinsThatOfTheLuminance) {
  Unmixed unmixed;
  unmixed.luminances = cv::Mat1f(1, 2, 100.0F);
  unmixed.deviations = cv::Mat1f(1, 2, 3.0F);
  unmixed.places = cv::Mat2f(1, 2, cv::Vec2f(5, 5));
  unmixed.mean = 100;
  unmixed.sigma = 0.03;
  unmixed.luminances(0, 1) = unmixed.deviations(0, 1) = std::nanf("");
  FlatField field;
  field.photo = {10, 10};
  field.gains = cv::Mat1f(2, 2, 0.5F);
  field.deviation = 0.04;
  const Unmixed flat = Flattened(unmixed, field);
  EXPECT_FLOAT_EQ(flat.luminances(0, 0), 200.0F);
  EXPECT_FLOAT_EQ(flat.deviations(0, 0), 10.0F);  // 6 and 8
  EXPECT_TRUE(std::isnan(flat.luminances(0, 1)));
  EXPECT_DOUBLE_EQ(flat.mean, 200);
  EXPECT_NEAR(flat.sigma, 0.05, 1e-9);
  EXPECT_FLOAT_EQ(unmixed.luminances(0, 0), 100.0F);
}

TEST(FlatField, ARefusedOneChangesNothing) {
  Unmixed unmixed;
  unmixed.mean = 7;
  FlatField field;
  field.refused = FlatFieldRefused{};
  EXPECT_EQ(Flattened(unmixed, field).mean, 7);
}

TEST(FlatField, JsonHasLossAndDeviation) {
  FlatField field;
  field.lost = 0.25;
  field.deviation = 0.001;
  EXPECT_EQ(nlohmann::json::parse(ToJson(field)),
            nlohmann::json({{"lost", 0.25}, {"deviation", 0.001}}));
}

}  // namespace
}  // namespace dravix::lab
