// The outline profile where the level of the light is not the same everywhere, and where a wide
// blur makes the edge rise slowly.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "checkerboard/lit_area/outline_profile.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

/// A defocused screen at (150, 140) to (550, 460) whose level changes linearly. `blur` is the side
/// of a box, or the sigma of a Gaussian.
struct SlopingScreen {
  /// `acrossX`, `acrossY`: change of the level over 1000 pixels, as a share of that in the middle.
  SlopingScreen(int blur, double acrossX, double acrossY, double stray = 0, bool gaussian = false) {
    cv::Mat whole(600, 700, CV_32FC1);
    for (int y = 0; y < whole.rows; ++y) {
      for (int x = 0; x < whole.cols; ++x) {
        whole.at<float>(y, x) = static_cast<float>(
            8000 * (1 + acrossX * (x - 350) / 1000.0 + acrossY * (y - 300) / 1000.0));
      }
    }
    level = {whole, 1, {}};
    cv::Mat lit = cv::Mat::zeros(whole.size(), CV_32FC1);
    whole(truth).copyTo(lit(truth));
    if (gaussian) {
      cv::GaussianBlur(lit, lit, {}, blur);
    } else {
      cv::blur(lit, lit, {blur, blur});
    }
    lit += stray;
    lit.convertTo(light, CV_16U);
  }
  OutlineInput Input(const cv::Rect& box, const kernels::BitPicture& mask, cv::Size2d cell) const {
    return {light, mask, box, level, cell};
  }
  kernels::BitPicture Mask(const cv::Rect& box) const {
    cv::Mat mask = cv::Mat::zeros(light.size(), CV_8UC1);
    mask(box).setTo(255);
    return kernels::BitsOf(mask);
  }
  OutlineProfile Measured(const cv::Rect& box, double rise, cv::Size2d cell = {80, 80}) const {
    return MeasuredOutline(Input(box, Mask(box), cell), rise);
  }
  double Rise(cv::Size2d cell) const { return MeasuredRise(Input(truth, Mask(truth), cell)); }

  cv::Rect truth{150, 140, 400, 320};
  LevelMap level;
  cv::Mat light;
};

void ExpectExcess(const Sides& excess, double left, double right, double top, double bottom,
                  double tolerance) {
  EXPECT_NEAR(excess.left, left, tolerance);
  EXPECT_NEAR(excess.right, right, tolerance);
  EXPECT_NEAR(excess.top, top, tolerance);
  EXPECT_NEAR(excess.bottom, bottom, tolerance);
}

TEST(OutlineOnASlope, OfATrueMaskHasNoExcessWhereverTheLightFallsOff) {
  for (const double x : {-1.5, 0.0, 1.5}) {
    for (const double y : {-1.5, 0.0, 1.5}) {
      const SlopingScreen screen(13, x, y);
      SCOPED_TRACE(cv::format("slopes %g, %g", x, y));
      const OutlineProfile outline = screen.Measured(screen.truth, 13 / 4.0);
      ExpectExcess(outline.excess, 0, 0, 0, 0, 0.05);
      EXPECT_NEAR(outline.share, 0.5, 0.01);
    }
  }
}

TEST(OutlineOnASlope, SaysHowFarAMaskIsOff) {
  const SlopingScreen screen(13, 1.5, -1.5);
  // 3 pixels too far out on all sides, and 2 too far in.
  const OutlineProfile outside = screen.Measured({147, 137, 406, 326}, 13 / 4.0);
  ExpectExcess(outside.excess, 3, 3, 3, 3, 0.1);
  const OutlineProfile inside = screen.Measured({152, 142, 396, 316}, 13 / 4.0);
  ExpectExcess(inside.excess, -2, -2, -2, -2, 0.1);
}

TEST(OutlineOnASlope, DoesNotTakeStrayLightAllAroundForTheScreen) {
  const SlopingScreen screen(13, 0.0, 0.0, 300);
  const OutlineProfile outline = screen.Measured(screen.truth, 13 / 4.0);
  ExpectExcess(outline.excess, 0, 0, 0, 0, 0.05);
}

TEST(WideOutline, IsCountedAsFarOutAsItRises) {
  for (const int blur : {41, 61, 81}) {
    for (const double slope : {0.0, 0.6}) {
      const SlopingScreen screen(blur, slope, slope);
      SCOPED_TRACE(cv::format("blur %d, slope %g", blur, slope));
      // A box blur rises from half the level to three quarters within a quarter of its width. Where
      // the level changes, its middle is not quite where half of the light is.
      const double tolerance = slope > 0 ? 0.3 : 0.05;
      const OutlineProfile outline = screen.Measured(screen.truth, blur / 4.0);
      ExpectExcess(outline.excess, 0, 0, 0, 0, tolerance);
      EXPECT_NEAR(outline.share, 0.5, 0.02);
      const OutlineProfile outside = screen.Measured({145, 135, 410, 330}, blur / 4.0);
      ExpectExcess(outside.excess, 5, 5, 5, 5, tolerance + 0.05);
    }
  }
}

TEST(WideOutline, TailsOfAGaussianAreCountedToo) {
  for (const int sigma : {10, 20, 30}) {
    const SlopingScreen screen(sigma, 0, 0, 0, true);
    SCOPED_TRACE(sigma);
    // A Gaussian rises from half to three quarters within 0.674 sigma.
    const OutlineProfile outline = screen.Measured(screen.truth, 0.674 * sigma);
    ExpectExcess(outline.excess, 0, 0, 0, 0, 0.15);
    EXPECT_NEAR(outline.share, 0.5, 0.01);
  }
}

TEST(WideOutline, RiseOfAThirdOfABlocksBlurIsSeenToItsEnd) {
  const SlopingScreen screen(51, 0.0, 0.0);
  EXPECT_NEAR(screen.Rise({150, 150}), 51 / 4.0, 0.25);
}

TEST(WideOutline, RisesAboveTenPixelsAreMeasuredInBlocksThatAreLargeEnough) {
  for (const int blur : {25, 41, 61, 81}) {
    const SlopingScreen screen(blur, 0.0, 0.0);
    EXPECT_NEAR(screen.Rise({300, 300}), blur / 4.0, 0.25) << blur;
  }
}

TEST(WideOutline, TheShorterSideOfTheBlocksSaysHowFarToLook) {
  // The edge of a blur of 61 pixels rises over 30 on either side. Blocks of 60 pixels on their
  // shorter side are looked at over 18, where the light has not come to its end.
  const SlopingScreen screen(61, 0.0, 0.0);
  const double narrow = screen.Rise({60, 300});
  EXPECT_EQ(narrow, screen.Rise({300, 60}));
  EXPECT_EQ(narrow, screen.Rise({60, 60}));
  EXPECT_LT(narrow, 61 / 4.0 - 1);
}

TEST(WideOutline, LightIsCountedOverLongFlatPartsAndShortOnes) {
  const SlopingScreen screen(13, 1.2, 1.2);
  for (const cv::Size2d& cell :
       {cv::Size2d(12, 12), cv::Size2d(30, 200), cv::Size2d(200, 30), cv::Size2d(120, 120)}) {
    const OutlineProfile outline = screen.Measured({148, 138, 404, 324}, 13 / 4.0, cell);
    ExpectExcess(outline.excess, 2, 2, 2, 2, 0.15);
  }
}

}  // namespace
}  // namespace dravix::checkerboard
