#include "lab/unmix/model/grid.h"

#include <gtest/gtest.h>

#include <cmath>

#include "lab/unmix/model/binned.h"
#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/outline.h"
#include "lab/unmix/simulated.h"
#include "sim/render.h"

namespace dravix::lab::unmix {
namespace {

double FarthestOff(const Grid& grid, const sim::Scene& scene) {
  double farthest = 0;
  for (int y = 0; y < scene.screen.ledHeight; ++y) {
    for (int x = 0; x < scene.screen.ledWidth; ++x) {
      const cv::Point2d off = grid.At(x + 0.5, y + 0.5) - sim::LedCenterOf(scene, {x, y});
      farthest = std::max(farthest, cv::norm(off));
    }
  }
  return farthest;
}

TEST(UnmixGrid, TrueCornersPutTheLedsInTheirPlaces) {
  const sim::Scene scene = test::BlurredScene();
  const Grid grid(sim::TruthOf(scene).corners, {32, 26});
  EXPECT_LT(FarthestOff(grid, scene), 0.01);
  EXPECT_NEAR(grid.Pitch(), scene.pose.pitch, 0.05);
}

TEST(UnmixGrid, ThePolynomialAddsToTheHomography) {
  Grid grid({cv::Point2d(0, 0), {80, 0}, {80, 40}, {0, 40}}, {10, 5});
  const cv::Point2d before = grid.At(2.5, 2.5);
  grid.X()[0] = 3.0;  // the term of degree 0
  grid.Y()[4] = 1.0;  // grows across from -1 to 1
  const cv::Point2d after = grid.At(2.5, 2.5);
  EXPECT_NEAR(after.x - before.x, 3.0, 1e-9);
  EXPECT_NEAR(after.y - before.y, -0.5, 1e-9);
}

TEST(UnmixGrid, TheOutlineMendsCornersThatAreOneLedOff) {
  const sim::Scene scene = test::BlurredScene();
  const sim::Photograph photograph = sim::Render(scene);
  cv::Mat1f photo;
  photograph.shot.image.convertTo(photo, CV_32F);
  std::array<cv::Point2d, 4> corners = photograph.truth.corners;
  for (cv::Point2d& corner : corners) corner += cv::Point2d(8, -6);
  Grid grid(corners, {32, 26});
  ASSERT_GT(FarthestOff(grid, scene), 9.0);
  AlignOutline(photo, BackgroundOf(photo, grid), grid);
  EXPECT_LT(FarthestOff(grid, scene), 2.0);
}

}  // namespace
// LEDs of a sparse photograph are those of the whole grid that are lit, with the same polynomial.
TEST(Grid, ASparseGridHasTheLedsThatAreLit) {
  Grid all({cv::Point2d(50, 40), {470, 45}, {460, 340}, {55, 330}}, {42, 30});
  all.X()[2] = 3.0;
  all.Y()[7] = -2.0;
  const cv::Point2d first(1, 2);
  const cv::Point2d step(3, 4);
  Grid sparse = all.Sparse(first, step, {13, 7});
  EXPECT_EQ(sparse.Leds(), cv::Size(13, 7));
  for (const cv::Point led : {cv::Point(0, 0), cv::Point(12, 0), cv::Point(5, 6)}) {
    const cv::Point2d expected =
        all.At(first.x + step.x * led.x + 0.5, first.y + step.y * led.y + 0.5);
    EXPECT_LT(cv::norm(sparse.At(led.x + 0.5, led.y + 0.5) - expected), 1e-9);
    EXPECT_NEAR(cv::norm(sparse.Moved(led.x + 0.5, led.y + 0.5)), 0.0, 1e-12);
  }
  EXPECT_NEAR(sparse.Pitch() / all.Pitch(), std::sqrt(12.0), 0.05);
  // A move of the sparse grid is the same move of the whole one.
  sparse.X()[4] = 1.5;
  Grid moved = all;
  moved.X()[4] += 1.5;
  EXPECT_LT(cv::norm(sparse.At(2.5, 3.5) - moved.At(1 + 3 * 2 + 0.5, 2 + 4 * 3 + 0.5)), 1e-9);
  // Again sparser.
  const Grid twice = all.Sparse({1, 0}, {2, 2}, {20, 15}).Sparse({0, 1}, {2, 1}, {10, 14});
  EXPECT_LT(cv::norm(twice.At(1.5, 0.5) - all.At(1 + 2 * 2 + 0.5, 2 + 0.5)), 1e-9);
}

TEST(Grid, BendsToKnownPlacesAndCountsMovesFromThere) {
  const std::array<cv::Point2d, 4> corners = {cv::Point2d(50, 40), cv::Point2d(470, 40),
                                              cv::Point2d(470, 340), cv::Point2d(50, 340)};
  const cv::Size leds(42, 30);
  const Grid straight(corners, leds);
  // A barrel of several pitches about the screen's middle.
  const auto bent = [&](cv::Point2d led) {
    const cv::Point2d r = straight.At(led.x, led.y) - cv::Point2d(260, 190);
    return r + cv::Point2d(260, 190) - r * (r.dot(r) / (200.0 * 200.0) * 0.1);
  };
  std::vector<KnownPlace> places;
  for (int y = 0; y <= 30; y += 6) {
    for (int x = 0; x <= 42; x += 6) places.push_back({cv::Point(x, y), bent(cv::Point(x, y))});
  }
  Grid grid = straight;
  ASSERT_TRUE(grid.Bend(places));
  EXPECT_GT(cv::norm(grid.At(1, 1) - straight.At(1, 1)), 20);
  for (const cv::Point2d led : {cv::Point2d(1, 1), cv::Point2d(20.5, 3.5), cv::Point2d(41, 29)}) {
    EXPECT_LT(cv::norm(grid.At(led.x, led.y) - bent(led)), 1e-6);
    EXPECT_EQ(grid.Moved(led.x, led.y), cv::Point2d(0, 0));
  }
}

TEST(Grid, IsTheSameInAPhotographWithLargerPixels) {
  Grid grid({cv::Point2d(3, 5), {95, 1}, {99, 78}, {1, 83}}, {10, 8});
  grid.X()[2] = 1.5;
  grid.Y()[7] = -0.5;
  const Grid binned = grid.Binned(3);
  for (const cv::Point2d led : {cv::Point2d(0.5, 0.5), cv::Point2d(4, 6.5)}) {
    const cv::Point2d fine = grid.At(led.x, led.y);
    const cv::Point2d coarse = binned.At(led.x, led.y);
    EXPECT_NEAR(3 * coarse.x + 1, fine.x, 1e-9);
    EXPECT_NEAR(3 * coarse.y + 1, fine.y, 1e-9);
    EXPECT_NEAR(9 * binned.CellArea(led.x, led.y), grid.CellArea(led.x, led.y), 1e-9);
  }
}

TEST(Binned, IsTheMeanOverSquaresWithoutTheRest) {
  cv::Mat1f photo(5, 8);
  for (int i = 0; i < 40; ++i) photo(i / 8, i % 8) = static_cast<float>(i * i);
  const cv::Mat1f binned = Binned(photo, 3);
  ASSERT_EQ(binned.size(), cv::Size(2, 1));
  for (int x = 0; x < 2; ++x) {
    EXPECT_FLOAT_EQ(binned(0, x), static_cast<float>(cv::mean(photo(cv::Rect(3 * x, 0, 3, 3)))[0]));
  }
}

TEST(Grid, IsNotBentByPlacesOnALine) {
  Grid grid({cv::Point2d(0, 0), cv::Point2d(100, 0), cv::Point2d(100, 80), cv::Point2d(0, 80)},
            {10, 8});
  std::vector<KnownPlace> places;
  for (int i = 0; i < 20; ++i) places.push_back({{0.5 * i, 4}, {5.0 * i, 41}});
  EXPECT_FALSE(grid.Bend(places));
  EXPECT_EQ(grid.At(5, 4), cv::Point2d(50, 40));
}

}  // namespace dravix::lab::unmix
