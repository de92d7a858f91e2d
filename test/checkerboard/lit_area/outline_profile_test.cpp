#include "checkerboard/lit_area/outline_profile.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

const cv::Size2d kProfileCell(60, 60);
const LevelMap kLevel{cv::Mat(360, 420, CV_32FC1, cv::Scalar(1000)), 1, {}};

/// A defocused screen of level 1000 at (60, 60) to (360, 300).
struct Screen {
  explicit Screen(int blur) {
    light(truth).setTo(1000);
    cv::blur(light, light, {blur, blur});
  }
  OutlineProfile Measured(const cv::Rect& mask) const {
    cv::Mat filled = cv::Mat::zeros(light.size(), CV_8UC1);
    filled(mask).setTo(255);
    return MeasuredOutline({light, kernels::BitsOf(filled), mask, kLevel, kProfileCell}, 5);
  }
  cv::Rect truth{60, 60, 300, 240};
  cv::Mat light = cv::Mat::zeros(360, 420, CV_16UC1);
};

TEST(MeasuredOutline, OfATrueMaskSaysNoExcessAndHalfTheLevel) {
  const Screen screen(9);
  const OutlineProfile outline = screen.Measured(screen.truth);
  EXPECT_NEAR(outline.excess.left, 0, 0.1);
  EXPECT_NEAR(outline.excess.bottom, 0, 0.1);
  EXPECT_NEAR(outline.share, 0.5, 0.03);
}

TEST(MeasuredOutline, SaysHowFarAMaskIsOffAtEachOfItsSides) {
  const Screen screen(9);
  const OutlineProfile outline = screen.Measured({57, 61, 304, 241});
  // A side that differs from the one across from it is followed half-way.
  EXPECT_NEAR(outline.excess.left, 2.5, 0.1);
  EXPECT_NEAR(outline.excess.right, 1.5, 0.1);
  EXPECT_NEAR(outline.excess.top, -0.25, 0.1);
  EXPECT_NEAR(outline.excess.bottom, 1.25, 0.1);
  EXPECT_NEAR(outline.share, 0.5, 0.03);
}

TEST(MeasuredRise, IsTheWayFromHalfToThreeQuartersOfTheLevel) {
  const Screen screen(21);
  cv::Mat filled = cv::Mat::zeros(screen.light.size(), CV_8UC1);
  filled(screen.truth).setTo(255);
  EXPECT_NEAR(
      MeasuredRise({screen.light, kernels::BitsOf(filled), screen.truth, kLevel, kProfileCell}),
      21 / 4.0, 0.3);
}

TEST(MeasuredOutline, WithoutLightOrRoomSaysNoExcessAndHalfTheLevel) {
  const Screen screen(9);
  const OutlineProfile whole = screen.Measured({0, 0, 420, 360});
  EXPECT_EQ(whole.excess.left, 0);
  EXPECT_EQ(whole.excess.top, 0);
  EXPECT_EQ(whole.share, 0.5);
  const OutlineProfile tiny = screen.Measured({60, 60, 12, 12});
  EXPECT_EQ(tiny.share, 0.5);
  Screen dark(9);
  dark.light.setTo(0);
  EXPECT_EQ(dark.Measured(dark.truth).excess.right, 0);
}

}  // namespace
}  // namespace dravix::checkerboard
