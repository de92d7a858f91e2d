/// Parts of a larger screen: which LEDs are lit, how bright they are, and where their light lands.
#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <vector>

#include "sim/luminance.h"
#include "sim/render.h"

namespace dravix::sim {
namespace {

/// A screen whose LEDs differ in every way, of which one part is photographed.
Scene PartScene() {
  Scene scene;
  Luminance& l = scene.screen.luminance;
  l.scatter = 0.08;
  l.moduleSpread = 0.03;
  l.moduleWidth = 12;
  l.moduleHeight = 9;
  l.gradientX = 0.2;
  l.gradientY = -0.1;
  l.deadShare = 0.02;
  l.hotShare = 0.02;
  l.dead = {{31, 20}, {5, 5}};
  scene.whole.ledWidth = 70;
  scene.whole.ledHeight = 50;
  return scene;
}

/// The same with the part of 21 x 17 LEDs from (20, 12) on, one of 3 x 2 lit.
Scene PhaseScene(cv::Point phase) {
  Scene scene = PartScene();
  scene.whole = {70, 50, 20, 12, 21, 17, 3, 2, phase.x, phase.y};
  return scene;
}

/// No noise, no black level: the samples show the light alone.
void Quiet(Scene& scene) {
  scene.sensor.readNoise = 0;
  scene.sensor.fullWell = 0;
  scene.sensor.blackLevel = 0;
  scene.sensor.bits = 16;
}

bool AreSame(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && cv::norm(a, b, cv::NORM_INF) == 0;
}

const std::vector<cv::Point> kPhases = {{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}};

TEST(Part, AWholeScreenHasTheLuminancesOfASceneOfItsSize) {
  Scene scene = PartScene();
  const cv::Mat whole = LuminancesOf(scene);
  scene.screen.ledWidth = 70;
  scene.screen.ledHeight = 50;
  scene.whole = {};
  EXPECT_TRUE(AreSame(LuminancesOf(scene), whole));
}

TEST(Part, AnLedIsTheSameInEveryPartPhaseAndCamera) {
  const cv::Mat whole = LuminancesOf(PartScene());
  for (const cv::Point phase : kPhases) {
    Scene scene = PhaseScene(phase);
    scene.pose.pitch = 5;
    scene.pose.tiltX = 8;
    scene.sensor.bits = 14;
    scene.optics.vignetting = 0.3;
    const cv::Mat lit = Render(scene).truth.luminances;
    ASSERT_EQ(lit.size(), cv::Size(7, phase.y == 0 ? 9 : 8));
    for (int row = 0; row < lit.rows; ++row) {
      for (int column = 0; column < lit.cols; ++column) {
        EXPECT_EQ(lit.at<float>(row, column),
                  whole.at<float>(12 + phase.y + 2 * row, 20 + phase.x + 3 * column));
      }
    }
  }
}

TEST(Part, NamedDeadLedsArePlacesOnTheScreen) {
  Scene scene = PhaseScene({2, 0});  // lights (31, 20) as its fourth LED in the fifth row
  scene.screen.luminance.deadShare = 0;
  const cv::Mat lit = LuminancesOf(scene);
  EXPECT_EQ(lit.at<float>(4, 3), 0);
  EXPECT_EQ(cv::countNonZero(lit), static_cast<int>(lit.total()) - 1);
  scene.whole.phaseX = 1;
  EXPECT_EQ(cv::countNonZero(LuminancesOf(scene)), 7 * 9);
}

TEST(Part, GainsMultiplyTheTruthInSinglePrecision) {
  Scene scene = PhaseScene({1, 1});
  const cv::Mat before = LuminancesOf(scene);
  cv::Mat1f gains(50, 70);
  for (int y = 0; y < gains.rows; ++y) {
    for (int x = 0; x < gains.cols; ++x) {
      gains(y, x) = 1.0F / (1.0F + 0.01F * static_cast<float>(x + y));
    }
  }
  scene.screen.luminance.gains = gains;
  const cv::Mat after = Render(scene).truth.luminances;
  for (int row = 0; row < after.rows; ++row) {
    for (int column = 0; column < after.cols; ++column) {
      const float gain = gains(13 + 2 * row, 21 + 3 * column);
      EXPECT_EQ(after.at<float>(row, column), before.at<float>(row, column) * gain);
    }
  }
}

TEST(Part, GainsHoldForASceneWithoutALargerScreen) {
  Scene scene;
  scene.screen.luminance.scatter = 0.1;
  const cv::Mat before = LuminancesOf(scene);
  scene.screen.luminance.gains = cv::Mat(48, 64, CV_32FC1, cv::Scalar(0.5));
  EXPECT_TRUE(AreSame(LuminancesOf(scene), 0.5 * before));
}

TEST(Part, PrimariesHaveLevelsAndScatterOfTheirOwn) {
  Scene scene = PartScene();
  scene.whole.ledWidth = 200;
  scene.whole.ledHeight = 150;
  scene.screen.luminance.deadShare = 0;
  scene.screen.luminance.dead.clear();
  scene.screen.luminance.hotShare = 0;
  scene.screen.luminance.moduleSpread = 0;
  scene.metadata.type = CIE_Y;
  const cv::Mat green = LuminancesOf(scene);
  for (const auto& [type, camera, level] :
       {std::tuple(CIE_X, CAM_R, 0.577), std::tuple(CIE_Z, CAM_B, 1.329)}) {
    scene.metadata.type = type;
    const cv::Mat other = LuminancesOf(scene);
    EXPECT_NEAR(cv::mean(other)[0] / cv::mean(green)[0], level, 0.002 * level);
    cv::Mat ratio = other / green;
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(ratio, mean, deviation);
    EXPECT_NEAR(deviation[0] / mean[0], 0.08 * std::sqrt(2), 0.005);
    scene.metadata.type = camera;
    EXPECT_TRUE(AreSame(LuminancesOf(scene), other));
  }
}

TEST(Part, MetadataSayPartPatternPlaneAndColor) {
  Scene scene = PhaseScene({2, 1});
  scene.metadata.type = CIE_Z;
  scene.metadata.intervalX = 7;  // of no account beside the part's own
  for (const Shot& shot : {Render(scene).shot, RenderCheckerboard(scene)}) {
    EXPECT_EQ(shot.type, CIE_Z);
    EXPECT_EQ(shot.color, 1);
    ASSERT_TRUE(shot.partition && shot.pattern);
    EXPECT_EQ(shot.partition->x, 20);
    EXPECT_EQ(shot.partition->y, 12);
    EXPECT_EQ(shot.partition->w, 21);
    EXPECT_EQ(shot.partition->h, 17);
    EXPECT_EQ(shot.partition->screen_w, 70);
    EXPECT_EQ(shot.partition->screen_h, 50);
    EXPECT_EQ(shot.pattern->interval_x, 3);
    EXPECT_EQ(shot.pattern->interval_y, 2);
    EXPECT_EQ(shot.pattern->loc_x, 2);
    EXPECT_EQ(shot.pattern->loc_y, 1);
    EXPECT_EQ(shot.pattern->lighted_led_w, 7);
    EXPECT_EQ(shot.pattern->lighted_led_h, 8);
    Shot copy = shot;
    EXPECT_EQ(copy.SetPartition(*shot.partition), 0);
    EXPECT_EQ(copy.SetPattern(*shot.pattern), 0);  // the counts are those of the partition
  }
}

TEST(Part, APartWithoutASizeReachesToTheScreensEdge) {
  Scene scene = PartScene();
  scene.whole.partX = 60;
  scene.whole.partY = 45;
  EXPECT_EQ(PartOf(scene), cv::Rect(60, 45, 10, 5));
  EXPECT_EQ(LuminancesOf(scene).size(), cv::Size(10, 5));
}

// --- the photograph ---

TEST(Part, TheCameraStaysInPlaceFromPhaseToPhase) {
  const Scene first = PhaseScene({0, 0});
  const cv::Point2d origin = LedCenterOf(first, {0, 0});
  for (const cv::Point phase : kPhases) {
    const Scene scene = PhaseScene(phase);
    EXPECT_EQ(PhotoSizeOf(scene), PhotoSizeOf(first));
    const cv::Point2d moved = LedCenterOf(scene, {0, 0}) - origin;
    EXPECT_NEAR(moved.x, 8 * phase.x, 1e-9);  // the pitch, which is that of all LEDs
    EXPECT_NEAR(moved.y, 8 * phase.y, 1e-9);
    const cv::Point2d next = LedCenterOf(scene, {1, 1}) - LedCenterOf(scene, {0, 0});
    EXPECT_NEAR(next.x, 3 * 8, 1e-9);
    EXPECT_NEAR(next.y, 2 * 8, 1e-9);
  }
}

TEST(Part, TheCornersSpanTheCellsOfTheLitLeds) {
  for (const cv::Point phase : kPhases) {
    const Scene scene = PhaseScene(phase);
    const Truth truth = TruthOf(scene);
    const cv::Size lit = truth.luminances.size();
    const cv::Point2d cell((truth.corners[2].x - truth.corners[0].x) / lit.width,
                           (truth.corners[2].y - truth.corners[0].y) / lit.height);
    EXPECT_NEAR(cell.x, 24, 1e-9);
    EXPECT_NEAR(cell.y, 16, 1e-9);
    for (const cv::Point led : {cv::Point(0, 0), cv::Point(lit.width - 1, lit.height - 1)}) {
      const cv::Point2d center = LedCenterOf(scene, led);
      EXPECT_NEAR(center.x, truth.corners[0].x + (led.x + 0.5) * cell.x, 1e-9);
      EXPECT_NEAR(center.y, truth.corners[0].y + (led.y + 0.5) * cell.y, 1e-9);
    }
    const cv::Rect photo({0, 0}, PhotoSizeOf(scene));
    for (const cv::Point& corner : truth.cornerPixels) EXPECT_TRUE(photo.contains(corner));
  }
}

TEST(Part, OnlyLitLedsShine) {
  Scene scene = PhaseScene({1, 1});
  Quiet(scene);
  scene.screen.luminance = {};
  scene.optics.blur = 0.1;  // spots that end before the next LED
  scene.screen.emitterFill = 0.3;
  const cv::Mat image = Render(scene).shot.image;
  // In the grid of all LEDs, which the scene with interval 1 has.
  Scene all = scene;
  all.whole.intervalX = all.whole.intervalY = 1;
  all.whole.phaseX = all.whole.phaseY = 0;
  all.sensor.width = image.cols;
  all.sensor.height = image.rows;
  for (int y = 0; y < 17; ++y) {
    for (int x = 0; x < 21; ++x) {
      const bool isLit = x % 3 == 1 && y % 2 == 1;
      const cv::Point at = LedCenterOf(all, {x, y});
      EXPECT_EQ(image.at<std::uint16_t>(at) > 0, isLit) << x << "," << y;
    }
  }
}

TEST(Part, PhasesAddUpToThePhotographOfAllLeds) {
  Scene all = PhaseScene({0, 0});
  Quiet(all);
  all.sensor.exposure = 0.2;
  all.pose.tiltY = 6;
  all.optics.vignetting = 0.3;
  all.sensor.width = 300;
  all.sensor.height = 260;
  Scene phase = all;
  all.whole.intervalX = all.whole.intervalY = 1;
  cv::Mat sum = cv::Mat::zeros(260, 300, CV_32FC1);
  for (const cv::Point at : kPhases) {
    phase.whole.phaseX = at.x;
    phase.whole.phaseY = at.y;
    cv::Mat image;
    Render(phase).shot.image.convertTo(image, CV_32F);
    sum += image;
  }
  cv::Mat whole;
  Render(all).shot.image.convertTo(whole, CV_32F);
  EXPECT_GT(cv::norm(whole, cv::NORM_INF), 5000);
  // Each photograph is rounded to whole samples.
  EXPECT_LE(cv::norm(whole, sum, cv::NORM_INF), 4);
}

TEST(Part, TheScaleOfTheTruthIsTheMeanOverACell) {
  Scene scene = PhaseScene({1, 1});
  Quiet(scene);
  scene.screen.luminance = {};
  const Photograph p = Render(scene);
  const double cells = 24.0 * 16.0 * static_cast<double>(p.truth.luminances.total());
  EXPECT_NEAR(cv::sum(p.shot.image)[0] / cells / p.truth.samplesPerLuminance, 1.0, 0.003);
}

TEST(Part, NoiseDiffersFromPhotographToPhotograph) {
  Scene scene;
  scene.screen.luminance.mean = 0;
  scene.whole = {70, 50, 0, 0, 20, 20, 2, 2, 0, 0};
  const cv::Mat first = Render(scene).shot.image;
  EXPECT_TRUE(AreSame(Render(scene).shot.image, first));
  Scene phase = scene;
  phase.whole.phaseX = 1;
  EXPECT_FALSE(AreSame(Render(phase).shot.image, first));
  Scene plane = scene;
  plane.metadata.type = CIE_X;
  EXPECT_FALSE(AreSame(Render(plane).shot.image, first));
  scene.sensor.noiseSeed = 1;
  EXPECT_FALSE(AreSame(Render(scene).shot.image, first));
}

TEST(Part, ANoiseSeedChangesTheNoiseAlone) {
  Scene scene;
  scene.screen.luminance.scatter = 0.05;
  const Photograph first = Render(scene);
  scene.sensor.noiseSeed = 9;
  const Photograph again = Render(scene);
  EXPECT_FALSE(AreSame(again.shot.image, first.shot.image));
  EXPECT_TRUE(AreSame(again.truth.luminances, first.truth.luminances));
}

TEST(Part, ABoardOfAPartDividesItsLitLeds) {
  Scene scene = PhaseScene({0, 0});
  scene.checkerboard.block = 4;
  const Truth truth = TruthOf(scene);
  EXPECT_EQ(truth.grid, cv::Size(2, 3));
  EXPECT_EQ(LastBlockOf(scene), cv::Size(3, 1));
  EXPECT_EQ(truth.cells.front()[0], truth.corners[0]);
  EXPECT_EQ(truth.cells.back()[2], truth.corners[2]);
  EXPECT_EQ(RenderCheckerboard(scene).image.size(), PhotoSizeOf(scene));
}

}  // namespace
}  // namespace dravix::sim
