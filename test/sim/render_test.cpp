#include "sim/render.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

#include "base/bytes.h"
#include "sim/luminance.h"
#include "sim/projection.h"

namespace dravix::sim {
namespace {

/// A scene without noise and black level, so that the samples show the light alone.
Scene QuietScene() {
  Scene scene;
  scene.screen.ledWidth = 24;
  scene.screen.ledHeight = 16;
  scene.sensor.readNoise = 0;
  scene.sensor.fullWell = 0;
  scene.sensor.blackLevel = 0;
  scene.sensor.bits = 16;
  return scene;
}

/// Lights a single LED of the scene.
void LightOnly(cv::Point led, Scene& scene) {
  cv::Mat m = cv::Mat::zeros(scene.screen.ledHeight, scene.screen.ledWidth, CV_32FC1);
  m.at<float>(led) = 1.0F;
  scene.screen.luminance.matrix = m;
}

cv::Point2d CentroidOf(const cv::Mat& image) {
  double sum = 0;
  cv::Point2d c;
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      const double v = image.at<std::uint16_t>(y, x);
      sum += v;
      c += cv::Point2d(v * x, v * y);
    }
  }
  return {c.x / sum, c.y / sum};
}

double MeanAround(const cv::Mat& image, cv::Point2d at, int half) {
  const cv::Rect window(cvRound(at.x) - half, cvRound(at.y) - half, 2 * half + 1, 2 * half + 1);
  return cv::mean(image(window))[0];
}

std::uint64_t Fnv1a(const cv::Mat& image) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      const unsigned value = image.at<std::uint16_t>(y, x);
      for (const unsigned byte : {value & 0xFFU, value >> 8U}) {
        hash = (hash ^ byte) * 0x100000001B3U;
      }
    }
  }
  return hash;
}

TEST(Render, TheLightOfAnLedIsCenteredAtItsTruePlace) {
  for (const cv::Point led : {cv::Point(0, 0), cv::Point(23, 3), cv::Point(11, 15)}) {
    Scene scene = QuietScene();
    scene.pose.tiltX = 8;
    scene.pose.tiltY = -10;
    scene.pose.roll = 4;
    scene.pose.offset = {3.3, -2.7};
    scene.optics.distortion = 0.01;
    LightOnly(led, scene);
    const Photograph p = Render(scene);
    const cv::Point2d truth = LedCenterOf(scene, led);
    const cv::Point2d found = CentroidOf(p.shot.image);
    EXPECT_NEAR(found.x, truth.x, 0.04);
    EXPECT_NEAR(found.y, truth.y, 0.04);
  }
}

TEST(Render, FineSpotsAreCenteredTenTimesAsWell) {
  for (const cv::Point led : {cv::Point(0, 0), cv::Point(23, 3), cv::Point(11, 15)}) {
    Scene scene = QuietScene();
    scene.optics.fineSpots = true;
    scene.pose.tiltX = 8;
    scene.pose.tiltY = -10;
    scene.pose.roll = 4;
    scene.pose.offset = {3.3, -2.7};
    LightOnly(led, scene);
    const cv::Point2d truth = LedCenterOf(scene, led);
    const cv::Point2d found = CentroidOf(Render(scene).shot.image);
    EXPECT_NEAR(found.x, truth.x, 0.004);
    EXPECT_NEAR(found.y, truth.y, 0.004);
  }
}

TEST(Render, BlurMayGrowTowardTheCorner) {
  const auto varianceOf = [](const cv::Mat& image) {
    const cv::Point2d middle = CentroidOf(image);
    double sum = 0, light = 0;
    for (int y = 0; y < image.rows; ++y) {
      for (int x = 0; x < image.cols; ++x) {
        const double v = image.at<std::uint16_t>(y, x);
        light += v;
        sum += v * (x - middle.x) * (x - middle.x);
      }
    }
    return sum / light;
  };
  Scene scene = QuietScene();
  scene.optics.blur = 0.4;
  scene.optics.cornerBlur = 0.5;
  scene.screen.emitterFill = 0.3;
  // Without blur, the spot of an emitter of 2.4 pixels has this variance on sensor pixels.
  const double emitterAndPixel = (2.4 * 2.4 + 1.0) / 12.0;
  for (const cv::Point led : {cv::Point(12, 8), cv::Point(0, 0)}) {
    LightOnly(led, scene);
    const cv::Size size = PhotoSizeOf(scene);
    const cv::Point2d middle(0.5 * (size.width - 1), 0.5 * (size.height - 1));
    const cv::Point2d off = LedCenterOf(scene, led) - middle;
    const double sigma = 0.4 * 8 * (1.0 + 0.5 * off.dot(off) / middle.dot(middle));
    const double expected = sigma * sigma + emitterAndPixel;
    EXPECT_NEAR(varianceOf(Render(scene).shot.image) / expected, 1.0, 0.01);
  }
}

TEST(Render, DefocusKeepsTheTotalLight) {
  Scene scene = QuietScene();
  LightOnly({12, 8}, scene);
  scene.sensor.exposure = 0.1;
  const double expected = 0.1 * 65535 * 8 * 8;  // exposure, full scale, area of one LED's field
  for (const double blur : {0.3, 0.6, 1.2}) {
    for (const Defocus defocus : {Defocus::kDisk, Defocus::kGaussian}) {
      scene.optics.blur = blur;
      scene.optics.defocus = defocus;
      EXPECT_NEAR(cv::sum(Render(scene).shot.image)[0] / expected, 1.0, 0.003);
    }
  }
}

TEST(Render, AnEvenScreenIsAsBrightAsTheTruthSaysAtAnyTilt) {
  Scene scene = QuietScene();
  scene.optics.blur = 1.0;
  for (const double tilt : {0.0, 12.0}) {
    scene.pose.tiltY = tilt;
    const Photograph p = Render(scene);
    for (const cv::Point led : {cv::Point(5, 8), cv::Point(12, 8), cv::Point(18, 8)}) {
      EXPECT_NEAR(
          MeanAround(p.shot.image, LedCenterOf(scene, led), 3) / p.truth.samplesPerLuminance, 1.0,
          0.01);
    }
  }
}

TEST(Render, DistortionMovesACornerAsItsFormulaSays) {
  Scene scene = QuietScene();
  scene.sensor.width = 400;
  scene.sensor.height = 300;
  const Quad straight = TruthOf(scene).corners;
  scene.optics.distortion = 0.01;
  const Quad pincushion = TruthOf(scene).corners;
  const cv::Point2d middle(199.5, 149.5);
  const double r = cv::norm(straight[0] - middle);
  const double corner = cv::norm(middle);
  EXPECT_NEAR(cv::norm(pincushion[0] - middle), r * (1 + 0.01 * r * r / corner / corner), 1e-9);
  scene.optics.distortion = -0.01;
  EXPECT_LT(cv::norm(TruthOf(scene).corners[2] - middle), r);
}

TEST(Render, CornersAreInOrderAndRoundedForTheHost) {
  Scene scene = QuietScene();
  scene.pose.roll = 5;
  const Truth truth = TruthOf(scene);
  EXPECT_LT(truth.corners[0].x, truth.corners[1].x);
  EXPECT_LT(truth.corners[1].y, truth.corners[2].y);
  EXPECT_GT(truth.corners[2].x, truth.corners[3].x);
  EXPECT_GT(truth.corners[3].y, truth.corners[0].y);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(truth.cornerPixels[i].x, truth.corners[i].x, 0.5);
    EXPECT_NEAR(truth.cornerPixels[i].y, truth.corners[i].y, 0.5);
  }
}

TEST(Render, TheScreensMiddleIsWhereThePosePutsIt) {
  Scene scene = QuietScene();
  scene.sensor.width = 401;
  scene.sensor.height = 301;
  scene.pose.offset = {7, -5};
  scene.pose.tiltX = 9;
  const cv::Point2d middle = Projection(scene).ToPhoto({12, 8});
  EXPECT_NEAR(middle.x, 207, 1e-9);
  EXPECT_NEAR(middle.y, 145, 1e-9);
}

TEST(Render, PositiveTiltYBringsTheRightSideNearer) {
  Scene scene = QuietScene();
  scene.pose.tiltY = 10;
  const Quad c = TruthOf(scene).corners;
  EXPECT_GT(c[2].y - c[1].y, c[3].y - c[0].y + 1);
}

TEST(Render, PositiveTiltXMovesTheBottomAway) {
  Scene scene = QuietScene();
  scene.pose.tiltX = 10;
  const Quad c = TruthOf(scene).corners;
  EXPECT_LT(c[2].x - c[3].x, c[1].x - c[0].x - 1);
}

TEST(Render, VignettingTakesItsShareOfLightAtTheCorner) {
  Scene scene = QuietScene();
  scene.screen.ledWidth = 60;
  scene.screen.ledHeight = 40;
  scene.optics.blur = 1.0;
  scene.sensor.width = 420;  // the screen covers the whole photograph
  scene.sensor.height = 280;
  const cv::Mat clear = Render(scene).shot.image;
  scene.optics.vignetting = 0.4;
  const cv::Mat dim = Render(scene).shot.image;
  EXPECT_NEAR(dim.at<std::uint16_t>(0, 0) / (1.0 * clear.at<std::uint16_t>(0, 0)), 0.6, 0.001);
  EXPECT_NEAR(MeanAround(dim, {210, 140}, 2) / MeanAround(clear, {210, 140}, 2), 1.0, 0.001);
}

TEST(Render, DarkPixelsShowBlackLevelAndStrayLight) {
  Scene scene = QuietScene();
  scene.sensor.bits = 12;
  scene.sensor.blackLevel = 64;
  EXPECT_EQ(Render(scene).shot.image.at<std::uint16_t>(0, 0), 64);
  scene.optics.strayLight = 0.01;  // of half of 4095
  EXPECT_EQ(Render(scene).shot.image.at<std::uint16_t>(0, 0), 84);
}

TEST(Render, ReadNoiseHasTheGivenStandardDeviation) {
  Scene scene = QuietScene();
  scene.sensor.bits = 12;
  scene.sensor.blackLevel = 100;
  scene.sensor.readNoise = 4;
  LightOnly({0, 0}, scene);
  const cv::Mat image = Render(scene).shot.image;
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(image(cv::Rect(100, 100, 150, 70)), mean, deviation);
  EXPECT_NEAR(mean[0], 100, 0.2);
  EXPECT_NEAR(deviation[0], 4, 0.12);
}

TEST(Render, PhotonNoiseGrowsWithTheRootOfTheLight) {
  Scene scene = QuietScene();
  scene.screen.ledWidth = 60;
  scene.screen.ledHeight = 40;
  scene.optics.blur = 1.2;
  scene.sensor.width = 300;
  scene.sensor.height = 200;
  scene.sensor.bits = 12;
  scene.sensor.fullWell = 10000;
  for (const double exposure : {0.2, 0.8}) {
    scene.sensor.exposure = exposure;
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(Render(scene).shot.image, mean, deviation);
    EXPECT_NEAR(deviation[0], std::sqrt(mean[0] * 4095 / 10000), 0.3);
  }
}

TEST(Render, SamplesStayWithinTheSensorsBits) {
  for (const int bits : {8, 12, 16}) {
    Scene scene = QuietScene();
    scene.sensor.bits = bits;
    scene.sensor.exposure = 2;
    const Photograph p = Render(scene);
    double largest = 0;
    cv::minMaxLoc(p.shot.image, nullptr, &largest);
    EXPECT_EQ(largest, (1 << bits) - 1);
    EXPECT_EQ(p.shot.image.type(), CV_16UC1);
    EXPECT_EQ(p.shot.device->cam_type % 100, bits);
  }
}

TEST(Render, AMosaicDimsEachColorByItsFilter) {
  struct Case {
    Mosaic mosaic;
    double expected[2][2];
  };
  const double r = 0.25, g = 1.0, b = 0.5;
  for (const Case& c :
       {Case{Mosaic::kRggb, {{r, g}, {g, b}}}, Case{Mosaic::kBggr, {{b, g}, {g, r}}},
        Case{Mosaic::kGrbg, {{g, r}, {b, g}}}, Case{Mosaic::kGbrg, {{g, b}, {r, g}}}}) {
    Scene scene = QuietScene();
    scene.optics.blur = 1.2;
    scene.sensor.mosaic = c.mosaic;
    scene.sensor.blue = b;
    const Photograph p = Render(scene);
    const cv::Point middle(p.shot.image.cols / 2 & ~1, p.shot.image.rows / 2 & ~1);
    for (int y = 0; y < 2; ++y) {
      for (int x = 0; x < 2; ++x) {
        EXPECT_NEAR(p.shot.image.at<std::uint16_t>(middle.y + y, middle.x + x) /
                        p.truth.samplesPerLuminance,
                    c.expected[y][x], 0.01);
      }
    }
    EXPECT_NE(BayerCodeOf(c.mosaic), 0);
  }
  EXPECT_EQ(BayerCodeOf(Mosaic::kNone), 0);
}

TEST(Render, AReflectionIsBrightInItsMiddleAndEndsAtItsRadius) {
  Scene scene = QuietScene();
  scene.sensor.width = 600;
  scene.sensor.height = 300;
  scene.reflection = {1.5, {80, 150}, 40};
  const Photograph p = Render(scene);
  EXPECT_NEAR(p.shot.image.at<std::uint16_t>(150, 80), 1.5 * p.truth.samplesPerLuminance, 1);
  EXPECT_EQ(p.shot.image.at<std::uint16_t>(150, 121), 0);
}

TEST(Render, AScreenLargerThanThePhotographIsCutOff) {
  Scene scene = QuietScene();
  scene.sensor.width = 100;
  scene.sensor.height = 60;
  const cv::Mat image = Render(scene).shot.image;
  EXPECT_EQ(image.size(), cv::Size(100, 60));
  EXPECT_GT(image.at<std::uint16_t>(0, 0), 0);
}

TEST(Render, AScreenOfMoreThanFourMillionLedsIsPhotographed) {
  Scene scene = QuietScene();
  scene.screen.ledWidth = 2600;
  scene.screen.ledHeight = 1600;
  scene.screen.luminance.dead = {{0, 0}, {2599, 1599}};
  scene.pose.pitch = 1;
  scene.optics.blur = 1;
  scene.sensor.width = 80;  // the screen's last corner and the dark beside it
  scene.sensor.height = 60;
  scene.pose.offset = {-1300, -800};
  const Photograph p = Render(scene);
  EXPECT_EQ(p.truth.luminances.size(), cv::Size(2600, 1600));
  EXPECT_EQ(p.truth.luminances.at<float>(1599, 2599), 0);
  const cv::Point2d lit = LedCenterOf(scene, {2580, 1585});
  EXPECT_NEAR(MeanAround(p.shot.image, lit, 5) / p.truth.samplesPerLuminance, 1.0, 0.01);
  EXPECT_EQ(p.shot.image.at<std::uint16_t>(59, 79), 0);
  const cv::Mat board = RenderCheckerboard(scene).image;
  EXPECT_GT(MeanAround(board, LedCenterOf(scene, {2580, 1588}), 1),
            p.truth.samplesPerLuminance / 2);
}

TEST(Render, ASceneAlwaysGivesTheSameBytesAndAnotherSeedGivesOthers) {
  Scene scene;
  scene.screen.ledWidth = 20;
  scene.screen.ledHeight = 10;
  const std::uint64_t first = Fnv1a(Render(scene).shot.image);
  EXPECT_EQ(Fnv1a(Render(scene).shot.image), first);
  EXPECT_NE(Fnv1a(RenderCheckerboard(scene).image), first);
  scene.seed = 2;
  EXPECT_NE(Fnv1a(Render(scene).shot.image), first);
}

TEST(Render, EveryCompilerAndPlatformGivesTheseBytes) {
  Scene scene;
  scene.seed = 77;
  scene.screen.ledWidth = 30;
  scene.screen.ledHeight = 20;
  scene.screen.luminance.scatter = 0.05;
  scene.screen.luminance.moduleSpread = 0.03;
  scene.screen.luminance.gradientX = 0.2;
  scene.screen.luminance.deadShare = 0.02;
  scene.screen.luminance.hotShare = 0.02;
  scene.pose = {6.3, {1.2, 3.4}, 7.0, -9.0, 3.0, 2.5};
  scene.optics.distortion = -0.01;
  scene.optics.vignetting = 0.3;
  scene.optics.strayLight = 0.01;
  scene.checkerboard.levelRatio = 3;
  scene.reflection = {1.0, {30, 30}, 25};
  EXPECT_EQ(Fnv1a(Render(scene).shot.image), 13898039718091767332U);
  scene.optics.defocus = Defocus::kDisk;
  scene.optics.blur = 0.9;
  EXPECT_EQ(Fnv1a(RenderCheckerboard(scene).image), 16141280439805094238U);
}

TEST(Render, MetadataSayHowThePhotographWasTaken) {
  Scene scene = QuietScene();
  scene.metadata.intervalX = 2;
  scene.metadata.partitionX = 100;
  scene.metadata.screenWidth = 400;
  scene.metadata.type = CAM_G;
  const Photograph p = Render(scene);
  const Shot& shot = p.shot;
  EXPECT_EQ(shot.type, CAM_G);
  ASSERT_TRUE(shot.pattern && shot.partition && shot.device && shot.panel && shot.capture);
  EXPECT_EQ(shot.pattern->lighted_led_w, 24);
  EXPECT_EQ(shot.pattern->lighted_led_h, 16);
  EXPECT_EQ(shot.pattern->interval_x, 2);
  EXPECT_EQ(shot.partition->x, 100);
  EXPECT_EQ(shot.partition->w, 48);
  EXPECT_EQ(shot.partition->screen_w, 400);
  EXPECT_EQ(shot.partition->screen_h, 16);
  EXPECT_EQ(shot.device->cam_type, 120016);
  EXPECT_STREQ(shot.device->id, "simulated camera");
}

// --- luminances ---

TEST(Luminances, SpreadFromLedToLedAsTheSceneSays) {
  Scene scene;
  scene.screen.ledWidth = 200;
  scene.screen.ledHeight = 100;
  scene.screen.luminance.mean = 2;
  scene.screen.luminance.scatter = 0.05;
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(LuminancesOf(scene), mean, deviation);
  EXPECT_NEAR(mean[0], 2, 0.01);
  EXPECT_NEAR(deviation[0], 0.1, 0.003);
}

TEST(Luminances, AGradientRunsFromEdgeToEdge) {
  Scene scene;
  scene.screen.luminance.gradientX = 0.2;
  scene.screen.luminance.gradientY = -0.4;
  const cv::Mat m = LuminancesOf(scene);
  EXPECT_NEAR(m.at<float>(24, 63), 1.1F, 0.01);
  EXPECT_NEAR(m.at<float>(0, 32), 1.2F, 0.01);
}

TEST(Luminances, ModulesDifferFromEachOtherAndAreEvenInside) {
  Scene scene;
  scene.screen.luminance.moduleSpread = 0.1;
  const cv::Mat m = LuminancesOf(scene);
  EXPECT_EQ(m.at<float>(0, 0), m.at<float>(15, 15));
  EXPECT_NE(m.at<float>(0, 15), m.at<float>(0, 16));
  EXPECT_NE(m.at<float>(15, 0), m.at<float>(16, 0));
}

TEST(Luminances, DeadAndHotLedsHaveTheirShares) {
  Scene scene;
  scene.screen.ledWidth = 200;
  scene.screen.ledHeight = 100;
  scene.screen.luminance.deadShare = 0.05;
  scene.screen.luminance.hotShare = 0.1;
  scene.screen.luminance.dead = {{3, 4}, {-1, 0}, {200, 0}};
  const cv::Mat m = LuminancesOf(scene);
  EXPECT_EQ(m.at<float>(4, 3), 0);
  EXPECT_NEAR(cv::countNonZero(m == 0), 1000, 120);
  EXPECT_NEAR(cv::countNonZero(m == 1.5F), 2000, 170);
}

TEST(Luminances, AGivenMatrixReplacesEverythingElse) {
  Scene scene = QuietScene();
  LightOnly({1, 2}, scene);
  const cv::Mat m = LuminancesOf(scene);
  EXPECT_EQ(cv::countNonZero(m), 1);
  EXPECT_EQ(m.at<float>(2, 1), 1.0F);
}

// --- checkerboard ---

Scene BoardScene() {
  Scene scene = QuietScene();
  scene.screen.ledWidth = 44;   // 6 blocks, the last one 4 LEDs wide
  scene.screen.ledHeight = 30;  // 4 blocks, the last one 6 LEDs high
  scene.pose.tiltY = 8;
  scene.pose.roll = 3;
  scene.optics.distortion = 0.01;
  return scene;
}

cv::Point2d MiddleOf(const Quad& q) { return (q[0] + q[1] + q[2] + q[3]) * 0.25; }

TEST(Checkerboard, BlocksAreLitAndDarkWhereTheTruthSays) {
  for (const bool firstLit : {true, false}) {
    Scene scene = BoardScene();
    scene.checkerboard.firstLit = firstLit;
    const Truth truth = TruthOf(scene);
    EXPECT_EQ(truth.grid, cv::Size(6, 4));
    EXPECT_EQ(LastBlockOf(scene), cv::Size(4, 6));
    ASSERT_EQ(truth.cells.size(), 24U);
    EXPECT_EQ(truth.cellLit[0] != 0, firstLit);
    const cv::Mat image = RenderCheckerboard(scene).image;
    for (std::size_t i = 0; i < truth.cells.size(); ++i) {
      const double level = MeanAround(image, MiddleOf(truth.cells[i]), 4);
      if (truth.cellLit[i] != 0) {
        EXPECT_NEAR(level / truth.samplesPerLuminance, 1, 0.05) << i;
      } else {
        EXPECT_LT(level / truth.samplesPerLuminance, 0.05) << i;
      }
    }
  }
}

TEST(Checkerboard, CellsCoverTheLitAreaWithoutGaps) {
  const Truth truth = TruthOf(BoardScene());
  EXPECT_EQ(truth.cells.front()[0], truth.corners[0]);
  EXPECT_EQ(truth.cells[5][1], truth.corners[1]);
  EXPECT_EQ(truth.cells.back()[2], truth.corners[2]);
  EXPECT_EQ(truth.cells[18][3], truth.corners[3]);
  EXPECT_EQ(truth.cells[0][2], truth.cells[7][0]);
}

TEST(Checkerboard, DarkBlocksGlowAsTheContrastSays) {
  Scene scene = BoardScene();
  scene.checkerboard.block =
      15;  // large enough that no light of other blocks reaches a block's middle
  scene.checkerboard.contrast = 4;
  const Truth truth = TruthOf(scene);
  const cv::Mat image = RenderCheckerboard(scene).image;
  EXPECT_NEAR(MeanAround(image, MiddleOf(truth.cells[1]), 4) / truth.samplesPerLuminance, 0.25,
              0.01);
}

TEST(Checkerboard, ADeadBlockStaysDarkThoughThePatternLightsIt) {
  Scene scene = BoardScene();
  scene.checkerboard.deadBlock = {2, 2};
  const Truth truth = TruthOf(scene);
  EXPECT_EQ(truth.cellLit[14], 1);
  EXPECT_LT(MeanAround(RenderCheckerboard(scene).image, MiddleOf(truth.cells[14]), 4),
            0.05 * truth.samplesPerLuminance);
}

TEST(Checkerboard, LitLevelsDifferByNoMoreThanTheRatio) {
  Scene scene = BoardScene();
  scene.checkerboard.levelRatio = 3;
  scene.checkerboard.contrast = 1e9;
  const cv::Mat m = CheckerboardLuminancesOf(scene);
  double smallest = 2;
  double largest = 0;
  for (int y = 0; y < m.rows; y += 8) {
    for (int x = (y / 8) % 2 * 8; x < m.cols; x += 16) {
      smallest = std::min(smallest, double{m.at<float>(y, x)});
      largest = std::max(largest, double{m.at<float>(y, x)});
    }
  }
  EXPECT_GE(smallest, 1.0 / 3 - 1e-6);
  EXPECT_LE(largest, 1.0);
  EXPECT_GT(largest / smallest, 1.5);
}

}  // namespace
}  // namespace dravix::sim
