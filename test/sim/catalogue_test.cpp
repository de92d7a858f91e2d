#include "sim/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "sim/luminance.h"
#include "sim/render.h"

namespace dravix::sim {
namespace {

std::vector<Scene> AllScenes() {
  std::vector<Scene> all = PlainScenes();
  for (const HardKind kind : kHardKinds) {
    const auto hard = HardScenes(kind);
    all.insert(all.end(), hard.begin(), hard.end());
  }
  const auto luminance = LuminanceScenes();
  all.insert(all.end(), luminance.begin(), luminance.end());
  return all;
}

TEST(Catalogue, HasTheExpectedNumberOfScenesEachWithItsOwnName) {
  const auto all = AllScenes();
  EXPECT_EQ(all.size(), 60U + 48U + 40U);
  std::set<std::string> names;
  for (const Scene& scene : all) names.insert(scene.name);
  EXPECT_EQ(names.size(), all.size());
}

TEST(Catalogue, EveryScreenLiesInsideItsPhotograph) {
  for (const Scene& scene : AllScenes()) {
    const cv::Size photo = PhotoSizeOf(scene);
    for (const cv::Point2d& p : TruthOf(scene).corners) {
      EXPECT_GT(std::min({p.x, p.y, photo.width - p.x, photo.height - p.y}), 15) << scene.name;
    }
  }
}

TEST(Catalogue, ScenesStayWithinTheirRanges) {
  cv::Size smallest(99, 99);
  cv::Size largest;
  for (const Scene& scene : PlainScenes()) {
    const cv::Size grid = GridOf(scene);
    smallest = {std::min(smallest.width, grid.width), std::min(smallest.height, grid.height)};
    largest = {std::max(largest.width, grid.width), std::max(largest.height, grid.height)};
    EXPECT_LE(std::hypot(scene.pose.tiltX, scene.pose.tiltY), 12.0001) << scene.name;
    EXPECT_LE(std::abs(scene.pose.roll), 5) << scene.name;
    EXPECT_LE(std::abs(scene.optics.distortion), 0.01) << scene.name;
    EXPECT_GE(scene.checkerboard.block, 4) << scene.name;
    EXPECT_LE(scene.checkerboard.block, 64) << scene.name;
    EXPECT_LE(PhotoSizeOf(scene).area(), 3000000) << scene.name;
  }
  EXPECT_EQ(smallest, cv::Size(2, 2));
  EXPECT_EQ(largest, cv::Size(24, 16));
}

TEST(Catalogue, HardScenesHaveTheirDifficulty) {
  for (const Scene& s : HardScenes(HardKind::kContrast)) EXPECT_LE(s.checkerboard.contrast, 8);
  EXPECT_EQ(HardScenes(HardKind::kContrast).back().checkerboard.contrast, 4);
  for (const Scene& s : HardScenes(HardKind::kDeadBlock)) {
    EXPECT_TRUE(IsLit(s, s.checkerboard.deadBlock.x, s.checkerboard.deadBlock.y)) << s.name;
  }
  for (const Scene& s : HardScenes(HardKind::kLitLevels)) EXPECT_EQ(s.checkerboard.levelRatio, 3);
  for (const Scene& s : HardScenes(HardKind::kReflection)) EXPECT_GE(s.reflection.level, 1);
  for (const Scene& s : HardScenes(HardKind::kDistortion)) {
    EXPECT_EQ(std::abs(s.optics.distortion), 0.02);
  }
  for (const Scene& s : HardScenes(HardKind::kBlur)) {
    EXPECT_GT(s.optics.blur, s.checkerboard.block / 8.0) << s.name;
  }
}

TEST(Catalogue, ReflectionsLieInsideThePhotographAndOffTheScreen) {
  for (const Scene& s : HardScenes(HardKind::kReflection)) {
    const cv::Size photo = PhotoSizeOf(s);
    const Reflection& r = s.reflection;
    EXPECT_GE(r.center.x, r.radius) << s.name;
    EXPECT_LE(r.center.x, photo.width - r.radius) << s.name;
    const Quad c = TruthOf(s).corners;
    const bool left = r.center.x + r.radius < std::min(c[0].x, c[3].x);
    const bool right = r.center.x - r.radius > std::max(c[1].x, c[2].x);
    EXPECT_TRUE(left || right) << s.name;
  }
}

TEST(Catalogue, TheDemoHasTwelveMegapixels) {
  EXPECT_EQ(PhotoSizeOf(DemoScene()).area(), 12000000);
  EXPECT_EQ(DemoScene().screen.ledWidth, 256);
}

TEST(Catalogue, SizedScenesHaveTheSizeThatWasAskedFor) {
  for (const double wanted : {1.0, 20.0, 31.0}) {
    const Scene scene = SizedScene(wanted);
    EXPECT_NEAR(PhotoSizeOf(scene).area() / 1e6, wanted, 0.02 * wanted);
    EXPECT_EQ(LastBlockOf(scene), cv::Size(32, 32));
    for (const cv::Point2d& p : TruthOf(scene).corners) {
      EXPECT_TRUE(cv::Rect2d(cv::Point2d(), cv::Size2d(PhotoSizeOf(scene))).contains(p));
    }
  }
}

}  // namespace
}  // namespace dravix::sim
