// What the pipelines and the steps refuse: with which code, and with which line in the log. A host
// reads these lines, and a check that has gone missing often fails one step later with another one.
#include <dravix/region.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using Corners = std::vector<cv::Point>;
using Strings = std::vector<std::string>;

constexpr auto kOnALine = "Dravix::Extract--Error :: three of the corners lie on one line";
constexpr auto kTooFewLeds =
    "Dravix::Extract--Error :: there are too few LEDs to replace those on the border";

Shot BlackShot(int ledWidth, int ledHeight) {
  return MakeShot(cv::Mat::zeros(64, 80, CV_16UC1), ledWidth, ledHeight, 12);
}

/// A lit rectangle of 300 x 240 in a photograph of 400 x 320.
Shot LitBlock(int ledWidth, int ledHeight) {
  cv::Mat image(320, 400, CV_16UC1, cv::Scalar(20));
  image(cv::Rect(50, 40, 300, 240)) = 2000;
  return MakeShot(image, ledWidth, ledHeight, 12);
}
Corners LitBlockCorners() { return {{50, 40}, {349, 40}, {349, 279}, {50, 279}}; }

// --- three corners on a line ---

/// Two corners above and two below their mean height, so that the order of corners exists. The
/// first three lie on one line: mirrored, they are another three of the ordered four.
Corners ThreeOnALine(bool mirrorX, bool mirrorY) {
  Corners corners = {{10, 10}, {20, 20}, {40, 40}, {60, 45}};
  for (cv::Point& corner : corners) {
    if (mirrorX) corner.x = 79 - corner.x;
    if (mirrorY) corner.y = 63 - corner.y;
  }
  return corners;
}

bool IsBefore(const cv::Point& a, const cv::Point& b) {
  return std::pair(a.x, a.y) < std::pair(b.x, b.y);
}

TEST(ThreeCornersOnALine, AreRefusedWhicheverTheyAreAndInAnyOrder) {
  const Shot shot = BlackShot(20, 16);
  for (const bool mirrorX : {false, true}) {
    for (const bool mirrorY : {false, true}) {
      Corners corners = ThreeOnALine(mirrorX, mirrorY);
      std::sort(corners.begin(), corners.end(), IsBefore);
      do {
        Dravix dravix;
        const LogCapture log;
        EXPECT_EQ(dravix.Extract(&shot, corners, 0, 0, 0), DRAVIX_BAD_ARGUMENT);
        EXPECT_EQ(log.Errors(), Strings{kOnALine}) << testing::PrintToString(corners);
      } while (std::next_permutation(corners.begin(), corners.end(), IsBefore));
    }
  }
}

TEST(ThreeCornersOnALine, AreRefusedOnAnUprightLineToo) {
  const Shot shot = BlackShot(20, 16);
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.Extract(&shot, {{30, 5}, {30, 20}, {30, 50}, {60, 55}}, 0, 0, 0),
            DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(), Strings{kOnALine});
}

TEST(ThreeCornersOnALine, AreNotThreeThatNearlyAre) {
  const Shot shot = BlackShot(20, 16);
  for (const cv::Point& third : {cv::Point(40, 41), cv::Point(41, 40), cv::Point(39, 40)}) {
    Dravix dravix;
    const LogCapture log;
    EXPECT_EQ(dravix.Extract(&shot, {{10, 10}, {20, 20}, third, {60, 45}}, 0, 0, 0),
              DRAVIX_BAD_ARGUMENT);
    EXPECT_EQ(log.Errors(), (Strings{"Dravix::AutoBlurLocate--Error :: Cannot find led area.",
                                     "Dravix::Extract--Error :: the LED area has no columns"}));
  }
}

TEST(ThreeCornersOnALine, AreToldFromThreeThatNearlyAreInLargePhotographsToo) {
  // The cross product of the first three is -1; its two terms are near 2^41.
  constexpr int n = 1 << 20;
  EXPECT_FALSE(extractor::AnyThreeOnALine({{0, 0}, {n + 1, n}, {2 * n + 1, 2 * n - 1}, {5, 9}}));
  EXPECT_TRUE(extractor::AnyThreeOnALine({{0, 0}, {n + 1, n}, {2 * n + 2, 2 * n}, {5, 9}}));
}

TEST(ThreeCornersOnALine, AreFoundWhereDifferencesOfCoordinatesNeed33Bits) {
  EXPECT_TRUE(
      extractor::AnyThreeOnALine({{INT_MIN, 0}, {0, 1 << 30}, {INT_MAX - 1, INT_MAX}, {5, 9}}));
  EXPECT_TRUE(
      extractor::AnyThreeOnALine({{0, INT_MIN}, {1 << 30, 0}, {INT_MAX, INT_MAX - 1}, {5, 9}}));
}

// --- LED counts at the limit of a result ---

TEST(LedCountsAtTheLimit, ResultOf2GiBIsTheFirstThatIsRefused) {
  // 16384 x 32768 luminances of 4 bytes are 2^31 bytes.
  const Shot shot = BlackShot(16384, 32768);
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, {{0, 0}, {5, 0}, {5, 5}}, 0, 0, 0), DRAVIX_BAD_ARGUMENT);
  const std::string line =
      "Dravix::Extract--Error :: 16384 x 32768 LEDs are more than a result can hold";
  EXPECT_EQ(log.Errors(), (Strings{line, line}));
}

TEST(LedCountsAtTheLimit, ResultOf4BytesLessIsMeasuredIfThereIsAnArea) {
  // 256999 x 2089 = 2^29 - 1.
  const Shot shot = BlackShot(256999, 2089);
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.Extract(&shot, {{5, 5}, {70, 5}, {70, 60}, {5, 60}}, 0, 0, 0),
            DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(), (Strings{"Dravix::AutoBlurLocate--Error :: Cannot find led area.",
                                   "Dravix::Extract--Error :: the LED area has no columns"}));
}

TEST(LedCountsAtTheLimit, TheSameLimitHoldsWithACheckerboard) {
  RegionOI region;
  ASSERT_EQ(region.ManualSet({80, 64}, {{5, 5}, {70, 5}, {70, 60}, {5, 60}}), DRAVIX_OK);
  const Shot over = BlackShot(16384, 32768);
  const Shot within = BlackShot(2089, 256999);
  Dravix dravix;
  LogCapture log;
  EXPECT_EQ(dravix.ExtractPro(&over, &over, {1, 2}, region, -1, -1), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(),
            Strings{"Dravix::ExtractPro--Error :: 16384 x 32768 LEDs are more than a result can "
                    "hold"});
  log.Clear();
  // 123 blocks of 2089 LEDs and one of 52. The region is too small to have corners.
  EXPECT_EQ(dravix.ExtractPro(&within, &within, {1, 124}, region, -1, 52), DRAVIX_NO_CORNERS);
  EXPECT_EQ(log.Errors(),
            Strings{"RegionOI::GetPrecision4Corner--Error ::  cannot find 4 points !!."});
}

TEST(LedCountsAtTheLimit, CountsBelowOneAreTooFewRatherThanTooMany) {
  for (const cv::Size& leds : {cv::Size(-1, 16), cv::Size(20, -1), cv::Size(0, 16), cv::Size(20, 0),
                               cv::Size(-1, INT_MAX), cv::Size(INT_MIN, -1)}) {
    const Shot shot = LitBlock(leds.width, leds.height);
    Dravix dravix;
    const LogCapture log;
    EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
    EXPECT_EQ(log.Errors(), Strings{kTooFewLeds}) << leds;
  }
}

TEST(LedCountsAtTheLimit, MoreLedsThanTheFourBorderLinesAreNeededOnBothAxes) {
  for (const cv::Size& leds : {cv::Size(4, 16), cv::Size(20, 4)}) {
    const Shot shot = LitBlock(leds.width, leds.height);
    Dravix dravix;
    const LogCapture log;
    EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
    EXPECT_EQ(log.Errors(), Strings{kTooFewLeds}) << leds;
  }
  for (const cv::Size& leds : {cv::Size(5, 16), cv::Size(20, 5)}) {
    const Shot shot = LitBlock(leds.width, leds.height);
    Dravix dravix;
    EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 0, 0, 0), DRAVIX_OK) << leds;
  }
}

// --- log lines of refused measurements ---

TEST(RefusedRowTables, SayWhatIsWrong) {
  const Shot shot = LitBlock(20, 16);
  Dravix dravix;
  LogCapture log;
  EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 21, 20, 4), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 20, 21, 4), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 20, 20, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 20, 20, -7), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(
      log.Errors(),
      (Strings{"Dravix::GetRowLedNums -- topLedNum or bottomLedNum is greater than led width.",
               "Dravix::GetRowLedNums -- topLedNum or bottomLedNum is greater than led width.",
               "Dravix::GetRowLedNums -- rowGroup is 0, at least 1 is needed.",
               "Dravix::GetRowLedNums -- rowGroup is -7, at least 1 is needed."}));
}

TEST(RefusedRowTables, CountAtTheLedWidthIsMeasured) {
  const Shot shot = LitBlock(20, 16);
  Dravix dravix;
  EXPECT_EQ(dravix.Extract(&shot, LitBlockCorners(), 20, 20, 1), DRAVIX_OK);
  EXPECT_EQ(dravix.rowLedNums, std::vector<std::int32_t>(16, 20));
}

/// What the library says when it refuses to measure the area.
std::string Refusal(Dravix& dravix, const cv::Mat& mask, const cv::Rect& rect) {
  const cv::Mat image(mask.size(), CV_16UC1, cv::Scalar(7));
  try {
    const std::int32_t code = dravix.CalLum(image, mask, rect);
    return "code " + std::to_string(code);
  } catch (const cv::Exception& refused) {
    return refused.err;
  }
}

TEST(RefusedAreas, SayWhatIsWrong) {
  Dravix dravix;
  dravix.ledWidth = 10;
  dravix.ledHeight = 10;
  const cv::Mat mask(20, 30, CV_8UC1, cv::Scalar(255));
  EXPECT_EQ(Refusal(dravix, mask, {0, 0, 0, 20}), "the LED area has no columns");
  EXPECT_EQ(Refusal(dravix, mask, {0, 0, -1, 20}), "the LED area has no columns");
  for (const cv::Rect& rect : {cv::Rect(-1, 0, 9, 20), cv::Rect(30, 0, 9, 20),
                               cv::Rect(INT_MAX, 0, INT_MAX, 20), cv::Rect(22, 0, 9, 20)}) {
    EXPECT_EQ(Refusal(dravix, mask, rect), "the LED area's rectangle leaves its mask") << rect;
  }
  EXPECT_EQ(Refusal(dravix, mask, {21, 0, 9, 20}), "code 0");
  EXPECT_EQ(Refusal(dravix, mask, {29, 0, 1, 20}), "code 0");
}

TEST(RefusedAreas, RowOfNoLedOrOfMoreThanTheWidestIsNamed) {
  Dravix dravix;
  dravix.ledWidth = 10;
  dravix.ledHeight = 10;
  dravix.rowGroup = 5;
  const cv::Mat mask(20, 30, CV_8UC1, cv::Scalar(255));
  const cv::Rect all(0, 0, 30, 20);
  dravix.rowLedNums = {10, 0};
  EXPECT_NE(Refusal(dravix, mask, all).find("a row needs an LED"), std::string::npos);
  dravix.rowLedNums = {11, 10};
  EXPECT_NE(Refusal(dravix, mask, all).find("a row has more LEDs than the widest"),
            std::string::npos);
  dravix.rowLedNums = {10};
  EXPECT_NE(Refusal(dravix, mask, all).find("group < rowLedNums.size()"), std::string::npos);
  dravix.rowLedNums = {10, 10};
  dravix.rowGroup = 0;
  EXPECT_NE(Refusal(dravix, mask, all).find("rowGroup >= 1"), std::string::npos);
  dravix.rowGroup = 5;
  dravix.rowLedNums = {1, 10};
  EXPECT_EQ(Refusal(dravix, mask, all), "code 0");
}

}  // namespace
}  // namespace dravix::test
