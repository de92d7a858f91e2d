#include <dravix/lab/board_places.h>
#include <dravix/lab/spot_photograph.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "lab/unmix/simulated.h"

namespace dravix::lab {
namespace {

using test::BlurredScene;
using test::OptionsFor;
using test::RmsError;

/// The same screen in the same place with one LED of every `interval` lit.
sim::Scene SparseOf(const sim::Scene& scene, int interval, cv::Point phase) {
  sim::Scene sparse = scene;
  const cv::Size size = sim::PhotoSizeOf(scene);
  sparse.sensor.width = size.width;
  sparse.sensor.height = size.height;
  sparse.whole.ledWidth = scene.screen.ledWidth;
  sparse.whole.ledHeight = scene.screen.ledHeight;
  sparse.whole.intervalX = sparse.whole.intervalY = interval;
  sparse.whole.phaseX = phase.x;
  sparse.whole.phaseY = phase.y;
  return sparse;
}

struct Pair {
  sim::Photograph all;
  Shot sparse;
  UnmixOptions options;
};

Pair PairOf(const sim::Scene& scene, const sim::Scene& sparse) {
  Pair pair{sim::Render(scene), sim::Render(sparse).shot, {}};
  pair.options = OptionsFor(scene, pair.all.truth);
  return pair;
}

TEST(SpotPhotograph, ShowsTheSpotWhateverLedsAreLit) {
  const sim::Scene scene = BlurredScene();
  for (const auto& [interval, phase] :
       {std::pair(2, cv::Point(1, 0)), std::pair(3, cv::Point(0, 2))}) {
    const Pair pair = PairOf(scene, SparseOf(scene, interval, phase));
    const PhotographedSpot found = SpotOf(pair.sparse, pair.all.shot, pair.options);
    ASSERT_TRUE(found.spot) << found.refused;
    EXPECT_NEAR(found.sigma, 0.4, 0.01) << interval;
    EXPECT_NEAR(found.spot->variance, std::pow(0.4 * scene.pose.pitch, 2), 0.2) << interval;
  }
}

TEST(SpotPhotograph, ACheckerboardShowsTheSpotAtItsEdges) {
  sim::Scene scene = BlurredScene();
  scene.screen.ledHeight = 24;
  scene.checkerboard.block = 8;
  const sim::Photograph all = sim::Render(scene);
  const UnmixOptions options = OptionsFor(scene, all.truth);
  const Shot board = sim::RenderCheckerboard(scene);
  const BoardPlaces places = BoardPlacesOf(board, {options.corners, options.leds, {4, 3}});
  ASSERT_EQ(places.refused, "");
  ASSERT_EQ(places.lit.size(), options.leds);
  EXPECT_EQ(places.lit(0, 0), 255);
  EXPECT_EQ(places.lit(0, 8), 0);
  EXPECT_EQ(places.lit(23, 7), 255);
  const PhotographedSpot found = SpotOfBoard(board, places.lit, all.shot, options);
  ASSERT_TRUE(found.spot) << found.refused;
  EXPECT_NEAR(std::sqrt(found.spot->variance) / scene.pose.pitch, 0.4, 0.012);
  for (const int lit : {0, 255}) {
    const cv::Mat1b even(options.leds, static_cast<std::uint8_t>(lit));
    EXPECT_THROW((void)SpotOfBoard(board, even, all.shot, options), std::invalid_argument);
  }
}

TEST(SpotPhotograph, CornersMayBeOff) {
  const sim::Scene scene = BlurredScene();
  Pair pair = PairOf(scene, SparseOf(scene, 3, {1, 1}));
  for (cv::Point2d& corner : pair.options.corners) corner += cv::Point2d(2.0, -1.6);
  const PhotographedSpot found = SpotOf(pair.sparse, pair.all.shot, pair.options);
  ASSERT_TRUE(found.spot) << found.refused;
  EXPECT_NEAR(found.sigma, 0.4, 0.01);
}

TEST(SpotPhotograph, ASpotOfAnotherFocusIsRefused) {
  const sim::Scene scene = BlurredScene();
  sim::Scene sharper = SparseOf(scene, 3, {1, 1});
  sharper.optics.blur = 0.36;
  Pair pair = PairOf(scene, sharper);
  const PhotographedSpot found = SpotOf(pair.sparse, pair.all.shot, pair.options);
  ASSERT_TRUE(found.spot) << found.refused;
  pair.options.spot = found.spot;
  const Unmixed answer = Unmix(pair.all.shot.image, pair.options);
  ASSERT_TRUE(answer.refused);
  EXPECT_EQ(answer.refused->id, UnmixRefusal::kResidual);
  EXPECT_NE(answer.refused->message.find("narrower than that of the photograph"),
            std::string::npos);
  ASSERT_EQ(answer.refused->values[0].first, "wider");
  EXPECT_NEAR(answer.refused->values[0].second, 0.36 / 0.4 - 1.0, 0.03);
  EXPECT_TRUE(answer.luminances.empty());
}

TEST(SpotPhotograph, RefusesWhatShowsNoSpotsOfTheseLeds) {
  const sim::Scene scene = BlurredScene();
  const auto refusalOf = [&](const sim::Scene& sparse) {
    const Pair pair = PairOf(scene, sparse);
    const PhotographedSpot found = SpotOf(pair.sparse, pair.all.shot, pair.options);
    EXPECT_FALSE(found.spot);
    EXPECT_TRUE(std::isnan(found.sigma));
    return found.refused;
  };
  sim::Scene dark = SparseOf(scene, 3, {0, 0});
  dark.sensor.exposure = 0;
  EXPECT_NE(refusalOf(dark).find("no brighter than their surroundings"), std::string::npos);
  sim::Scene bright = SparseOf(scene, 3, {0, 0});
  bright.sensor.exposure = 2;
  EXPECT_NE(refusalOf(bright).find("samples saturated"), std::string::npos);
  sim::Scene moved = SparseOf(scene, 3, {0, 0});
  moved.pose.offset.x += 4;
  EXPECT_NE(refusalOf(moved).find("pitches from where the photograph"), std::string::npos);
}

TEST(SpotPhotograph, PatternsThatDoNotBelongTogetherAreNamed) {
  const sim::Scene scene = BlurredScene();
  const Pair pair = PairOf(scene, SparseOf(scene, 3, {0, 0}));
  const auto messageOf = [&](const Shot& sparse) -> std::string {
    try {
      (void)SpotOf(sparse, pair.all.shot, pair.options);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "";
  };
  Shot shot = pair.sparse;
  shot.pattern.reset();
  EXPECT_NE(messageOf(shot).find("has no pattern"), std::string::npos);
  EXPECT_NE(messageOf(pair.all.shot).find("interval of 1 x 1, expected more than the 1 x 1"),
            std::string::npos);
  shot = pair.sparse;
  shot.pattern->lighted_led_w = 3;
  EXPECT_NE(messageOf(shot).find("expected at least 4 x 4"), std::string::npos);
  shot = pair.sparse;
  shot.partition->x = 40;
  EXPECT_NE(messageOf(shot).find("outside of the part of the screen"), std::string::npos);
  shot = pair.sparse;
  shot.pattern->interval_y = 0;
  EXPECT_NE(messageOf(shot).find("interval below 1"), std::string::npos);
  shot = pair.sparse;
  shot.image = shot.image.rowRange(0, shot.image.rows - 1).clone();
  EXPECT_NE(messageOf(shot).find("pixels, expected"), std::string::npos);
}

}  // namespace
}  // namespace dravix::lab
