// Where pictures of a measurement draw the screen, without the program around.
#include "report/screen_in_photo.h"

#include <dravix/lab/board_places.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "sim/render.h"

namespace dravix::tool {
namespace {

const std::array<cv::Point2d, 4> kCorners = {cv::Point2d(10, 20), cv::Point2d(210, 30),
                                             cv::Point2d(200, 180), cv::Point2d(20, 170)};

TEST(ScreenInPhoto, OfFourCornersIsFlat) {
  const ScreenInPhoto screen({40, 30}, kCorners);
  EXPECT_EQ(screen.Patches().size(), 1U);
  EXPECT_LT(cv::norm(screen.At({0, 0}) - kCorners[0]), 0.01);
  EXPECT_LT(cv::norm(screen.At({40, 0}) - kCorners[1]), 0.01);
  EXPECT_LT(cv::norm(screen.At({40, 30}) - kCorners[2]), 0.01);
  EXPECT_LT(cv::norm(screen.At({0, 30}) - kCorners[3]), 0.01);
  // Straight lines stay straight.
  const cv::Point2d side = kCorners[1] - kCorners[0];
  EXPECT_NEAR(side.cross(screen.At({15, 0}) - kCorners[0]) / cv::norm(side), 0, 0.01);
}

TEST(ScreenInPhoto, GoesThroughAllItsPlaces) {
  std::vector<lab::KnownPlace> places;
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 4; ++x) {
      places.push_back(
          {cv::Point2d(10 * x, 7 * y), cv::Point2d(100 * x + 9 * y * y, 70 * y - x * x)});
    }
  }
  const ScreenInPhoto screen({30, 14}, places);
  EXPECT_EQ(screen.Patches().size(), 6U);
  for (const lab::KnownPlace& place : places) {
    EXPECT_LT(cv::norm(screen.At(place.led) - place.photo), 0.01) << place.led;
  }
}

double FarthestOff(const ScreenInPhoto& screen, const sim::Truth& truth, int block) {
  double farthest = 0;
  for (int row = 0; row < truth.grid.height; ++row) {
    for (int column = 0; column < truth.grid.width; ++column) {
      const sim::Quad& cell =
          truth.cells[static_cast<std::size_t>(row * truth.grid.width + column)];
      const cv::Point2d led(column * block, row * block);
      farthest = std::max(farthest, cv::norm(screen.At(led) - cell[0]));
    }
  }
  return farthest;
}

// With a lens that bends the screen, straight lines between its corners miss the blocks.
TEST(ScreenInPhoto, OfABoardsPlacesLiesOnItsBlocks) {
  sim::Scene scene;
  scene.screen.ledWidth = 64;
  scene.screen.ledHeight = 48;
  scene.pose.tiltX = 6;
  scene.optics.distortion = 0.03;
  scene.checkerboard.block = 8;
  const sim::Truth truth = sim::TruthOf(scene);
  const lab::BoardPlaces found =
      lab::BoardPlacesOf(sim::RenderCheckerboard(scene), {truth.corners, {64, 48}, {8, 6}});
  ASSERT_EQ(found.refused, "");
  EXPECT_LT(FarthestOff(ScreenInPhoto({64, 48}, found.places), truth, 8), 1.0);
  EXPECT_GT(FarthestOff(ScreenInPhoto({64, 48}, truth.corners), truth, 8), 2.0);
}

}  // namespace
}  // namespace dravix::tool
