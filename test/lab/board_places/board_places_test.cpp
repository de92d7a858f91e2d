#include <dravix/lab/board_places.h>
#include <gtest/gtest.h>

#include <cmath>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/simulated.h"
#include "sim/render.h"

namespace dravix::lab {
namespace {

/// A screen that the lens bends by more than a pitch.
sim::Scene Bent() {
  sim::Scene scene = test::BlurredScene();
  scene.screen.ledWidth = 96;
  scene.screen.ledHeight = 64;
  scene.optics.distortion = 0.05;
  scene.checkerboard.block = 8;
  return scene;
}

BoardGrid BoardOf(const sim::Scene& scene) {
  const sim::Truth truth = sim::TruthOf(scene);
  return {truth.corners, {scene.screen.ledWidth, scene.screen.ledHeight}, truth.grid};
}

/// The farthest LED from where it is expected, pitches.
double FarthestOff(const unmix::Grid& grid, const sim::Scene& scene) {
  double farthest = 0;
  for (int y = 0; y < scene.screen.ledHeight; ++y) {
    for (int x = 0; x < scene.screen.ledWidth; ++x) {
      const cv::Point2d off = grid.At(x + 0.5, y + 0.5) - sim::LedCenterOf(scene, {x, y});
      farthest = std::max(farthest, cv::norm(off) / grid.Pitch());
    }
  }
  return farthest;
}

TEST(BoardPlaces, FollowTheLensWhereCornersCannot) {
  const sim::Scene scene = Bent();
  const BoardGrid grid = BoardOf(scene);
  const BoardPlaces found = BoardPlacesOf(sim::RenderCheckerboard(scene), grid);
  ASSERT_EQ(found.refused, "");
  unmix::Grid byCorners(grid.corners, grid.leds);
  EXPECT_GT(FarthestOff(byCorners, scene), 0.5);
  unmix::Grid placed = byCorners;
  ASSERT_TRUE(placed.Bend(found.places));
  EXPECT_LT(FarthestOff(placed, scene), 0.1);
  EXPECT_LT(found.scatter, 0.1);
}

// Corners alone leave the middle of a side more than half a pitch off, which may be refused or
// found, but never taken for another LED.
TEST(BoardPlaces, LetUnmixAnswerWhereCornersMayNot) {
  const sim::Scene scene = Bent();
  const sim::Photograph photo = sim::Render(scene);
  UnmixOptions options = test::OptionsFor(scene, photo.truth);
  const Unmixed alone = Unmix(photo.shot.image, options);
  if (alone.refused) {
    EXPECT_EQ(alone.refused->id, UnmixRefusal::kGrid);
  } else {
    EXPECT_LT(test::RmsError(alone.luminances, photo.truth.luminances), 0.006);
  }
  options.places = BoardPlacesOf(sim::RenderCheckerboard(scene), BoardOf(scene)).places;
  const Unmixed placed = Unmix(photo.shot.image, options);
  ASSERT_FALSE(placed.refused) << placed.refused->message;
  EXPECT_LT(test::RmsError(placed.luminances, photo.truth.luminances), 0.006);
}

TEST(BoardPlaces, CornersMayBeOff) {
  const sim::Scene scene = Bent();
  BoardGrid grid = BoardOf(scene);
  const Shot board = sim::RenderCheckerboard(scene);
  for (cv::Point2d& corner : grid.corners) corner += cv::Point2d(9, -7);
  const BoardPlaces found = BoardPlacesOf(board, grid);
  ASSERT_EQ(found.refused, "");
  unmix::Grid placed(grid.corners, grid.leds);
  ASSERT_TRUE(placed.Bend(found.places));
  EXPECT_LT(FarthestOff(placed, scene), 0.1);
}

TEST(BoardPlaces, ADarkFirstBlockAndADeadOneDoNotMatter) {
  sim::Scene scene = Bent();
  scene.checkerboard.firstLit = false;
  scene.checkerboard.deadBlock = {3, 2};
  scene.checkerboard.levelRatio = 1.5;
  const BoardGrid grid = BoardOf(scene);
  const BoardPlaces found = BoardPlacesOf(sim::RenderCheckerboard(scene), grid);
  ASSERT_EQ(found.refused, "");
  unmix::Grid placed(grid.corners, grid.leds);
  ASSERT_TRUE(placed.Bend(found.places));
  EXPECT_LT(FarthestOff(placed, scene), 0.15);
}

TEST(BoardPlaces, ANarrowerLastColumnIsTold) {
  sim::Scene scene = Bent();
  scene.screen.ledWidth = 92;
  BoardGrid grid = BoardOf(scene);
  const Shot board = sim::RenderCheckerboard(scene);
  EXPECT_THROW(static_cast<void>(BoardPlacesOf(board, grid)), std::invalid_argument);
  grid.last = sim::LastBlockOf(scene);
  EXPECT_EQ(BoardPlacesOf(board, grid).refused, "");
}

TEST(BoardPlaces, RefusesOtherBlocksAndNoCheckerboard) {
  const sim::Scene scene = Bent();
  BoardGrid grid = BoardOf(scene);
  EXPECT_NE(BoardPlacesOf(sim::Render(scene).shot, grid).refused, "");
  grid.blocks = {6, 4};
  const BoardPlaces other = BoardPlacesOf(sim::RenderCheckerboard(scene), grid);
  EXPECT_NE(other.refused.find("6 x 4"), std::string::npos) << other.refused;
  EXPECT_TRUE(other.places.empty());
}

TEST(BoardPlaces, RefusesArgumentsThatFitNothing) {
  const sim::Scene scene = Bent();
  BoardGrid grid = BoardOf(scene);
  EXPECT_THROW(static_cast<void>(BoardPlacesOf(Shot(), grid)), std::invalid_argument);
  grid.blocks = {1, 8};
  EXPECT_THROW(static_cast<void>(BoardPlacesOf(sim::Render(scene).shot, grid)),
               std::invalid_argument);
}

}  // namespace
}  // namespace dravix::lab
