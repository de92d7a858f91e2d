#include "checkerboard/edge_share.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

namespace dravix::checkerboard {
namespace {

const cv::Size2d kCell(60, 60);

/// A screen of level 1000 at (60, 60) to (360, 300), defocused.
struct Screen {
  explicit Screen(int blur) {
    light(truth).setTo(1000);
    cv::blur(light, light, {blur, blur});
  }
  Outline Measured(const cv::Rect& mask) const {
    cv::Mat filled = cv::Mat::zeros(light.size(), CV_8UC1);
    filled(mask).setTo(255);
    return MeasuredOutline(light, filled, cv::Mat(light.size(), CV_32FC1, cv::Scalar(1000)), kCell,
                           5);
  }
  cv::Rect truth{60, 60, 300, 240};
  cv::Mat light = cv::Mat::zeros(360, 420, CV_16UC1);
};

TEST(MeasuredOutline, OfATrueMaskHasNoExcessAndHalfTheLevel) {
  const Screen screen(9);
  const Outline outline = screen.Measured(screen.truth);
  EXPECT_NEAR(outline.excess.x, 0, 0.1);
  EXPECT_NEAR(outline.excess.y, 0, 0.1);
  EXPECT_NEAR(outline.share, 0.5, 0.03);
}

TEST(MeasuredOutline, SaysHowFarAMaskIsOffAlongEachAxis) {
  const Screen screen(9);
  const Outline outline = screen.Measured({57, 61, 306, 238});
  EXPECT_NEAR(outline.excess.x, 3, 0.1);
  EXPECT_NEAR(outline.excess.y, -1, 0.1);
  EXPECT_NEAR(outline.share, 0.5, 0.03);
}

TEST(MeasuredOutline, WithoutLightOrRoomSaysNothing) {
  const Screen screen(9);
  const Outline whole = screen.Measured({0, 0, 420, 360});
  EXPECT_EQ(whole.excess, cv::Point2d());
  EXPECT_EQ(whole.share, 0.5);
  const Outline tiny = screen.Measured({60, 60, 12, 12});
  EXPECT_EQ(tiny.share, 0.5);
  Screen dark(9);
  dark.light.setTo(0);
  EXPECT_EQ(dark.Measured(dark.truth).excess, cv::Point2d());
}

}  // namespace
}  // namespace dravix::checkerboard
