#include <dravix/region.h>
#include <gtest/gtest.h>

#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using Strings = std::vector<std::string>;

/// A lit rectangle of 300 x 240 in a photograph of 400 x 320.
Shot LitShot(int ledWidth = 20, int ledHeight = 16) {
  cv::Mat image(320, 400, CV_16UC1, cv::Scalar(20));
  image(cv::Rect(50, 40, 300, 240)) = 2000;
  return MakeShot(image, ledWidth, ledHeight, 12);
}
std::vector<cv::Point> LitCorners() { return {{50, 40}, {349, 40}, {349, 279}, {50, 279}}; }

class WholeExtraction : public testing::TestWithParam<int> {};

// Five scenes a case: 60 in all.
TEST_P(WholeExtraction, EqualsThePlainTranscriptionBitForBit) {
  for (int i = 0; i < 5; ++i) {
    const int seed = GetParam() * 5 + i;
    cv::RNG random(static_cast<std::uint64_t>(seed) * 31337 + 5);
    const cv::Size size(Between(random, 150, 300), Between(random, 150, 300));
    const int type =
        std::array<int, 3>{CV_8UC1, CV_16UC1, CV_32FC1}.at(static_cast<std::size_t>(seed % 3));
    std::vector<cv::Point> corners;
    const cv::Mat photo = LitScene(random, size, type, corners);
    const int bits = random.uniform(0, 2) * 12;
    const int ledWidth = Between(random, 9, 90);
    const Shot shot = MakeShot(photo, ledWidth, Between(random, 9, 70), bits);
    reference::Panel panel{ledWidth, shot.pattern->lighted_led_h, -1, {}};
    const int top = seed % 4 == 0 ? Between(random, 1, ledWidth) : 0;
    const int group = Between(random, 1, 20);
    if (top > 0) {
      panel.rowGroup = group;
      panel.rowLedNums = reference::RowLedNums(top, ledWidth, group, panel.ledHeight);
      // Rounding may lift the last entry above the width, which is refused.
      if (panel.rowLedNums.back() > ledWidth) continue;
    }
    std::swap(corners[0], corners[static_cast<std::size_t>(random.uniform(0, 4))]);
    const auto expected = reference::Extract(
        photo, corners, bits > 0 ? std::optional<int>(bits) : std::nullopt, panel);
    Dravix dravix;
    const std::int32_t code = dravix.Extract(&shot, corners, top, top > 0 ? ledWidth : 0, group);
    ASSERT_EQ(code, expected ? DRAVIX_OK : DRAVIX_BAD_ARGUMENT) << "scene " << seed;
    if (expected) {
      EXPECT_TRUE(SameBytes(dravix.lum, *expected)) << "scene " << seed;
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, WholeExtraction, testing::Range(0, 12));

TEST(Extract, MeasuresALitRectangle) {
  const Shot shot = LitShot();
  Dravix dravix;
  const LogCapture log;
  ASSERT_EQ(dravix.Extract(&shot, LitCorners(), 0, 0, 0), DRAVIX_OK);
  EXPECT_EQ(log.Infos(), (Strings{"Dravix::Extract", "Dravix::SetImage"}));
  EXPECT_TRUE(log.Errors().empty());
  EXPECT_EQ(dravix.lum.size(), cv::Size(20, 16));
  double low = 0;
  double high = 0;
  cv::minMaxLoc(dravix.lum, &low, &high);
  EXPECT_NEAR(low, 2000, 1);
  EXPECT_NEAR(high, 2000, 1);
  EXPECT_TRUE(SameBytes(dravix.resultImage, cv::Mat(16, 20, CV_8UC1, cv::Scalar(2))));
}

TEST(Extract, CornerOrderDoesNotMatter) {
  const Shot shot = LitShot();
  Dravix first;
  ASSERT_EQ(first.Extract(&shot, LitCorners(), 0, 0, 0), DRAVIX_OK);
  std::vector<cv::Point> corners = LitCorners();
  std::sort(corners.begin(), corners.end(),
            [](auto a, auto b) { return a.x * 1000 + a.y < b.x * 1000 + b.y; });
  do {
    Dravix other;
    ASSERT_EQ(other.Extract(&shot, corners, 0, 0, 0), DRAVIX_OK);
    EXPECT_TRUE(SameBytes(other.lum, first.lum));
  } while (std::next_permutation(corners.begin(), corners.end(), [](auto a, auto b) {
    return a.x * 1000 + a.y < b.x * 1000 + b.y;
  }));
}

TEST(Extract, ThreeCornersGiveTheFixedValueAndLeaveTheMarks) {
  const Shot shot = LitShot(64, 32);
  Dravix dravix;
  dravix.resultImage = cv::Mat(1, 1, CV_8UC1, cv::Scalar(7));
  ASSERT_EQ(dravix.Extract(&shot, {{0, 0}, {5, 0}, {5, 5}}, 0, 0, 0), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(dravix.lum, cv::Mat(32, 64, CV_32FC1, cv::Scalar(2048))));
  EXPECT_EQ(dravix.resultImage.at<uchar>(0, 0), 7);
}

TEST(Extract, OtherCornerCountsAreRefused) {
  const Shot shot = LitShot();
  for (const std::size_t count : {0U, 2U, 5U}) {
    Dravix dravix;
    const LogCapture log;
    EXPECT_EQ(dravix.Extract(&shot, std::vector<cv::Point>(count), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
    EXPECT_EQ(log.Errors(), Strings{"Dravix::Extract--Error ::  cornerPoints size error!!."});
  }
}

TEST(Extract, CornersThatAreNotTwoAboveAndTwoBelowAreRefused) {
  const Shot shot = LitShot();
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.Extract(&shot, {{10, 10}, {20, 10}, {30, 10}, {20, 200}}, 0, 0, 0),
            DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(), Strings{"Dravix::Extract--Error ::  cornerPoints size error!!."});
}

TEST(Extract, ThreeCornersOnALineOfFourAreRefused) {
  const Shot shot = LitShot();
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.Extract(&shot, {{10, 10}, {20, 20}, {30, 30}, {5, 200}}, 0, 0, 0),
            DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors().size(), 1U);
}

TEST(Extract, FailedRunsLeaveThePreviousResult) {
  const Shot good = LitShot();
  const Shot black = MakeShot(cv::Mat::zeros(320, 400, CV_16UC1), 20, 16, 12);
  const Shot tiny = LitShot(4, 4);
  const Shot color = MakeShot(cv::Mat(320, 400, CV_16UC3, cv::Scalar::all(100)), 20, 16, 12);
  Shot patternless = LitShot();
  patternless.pattern.reset();
  Dravix dravix;
  ASSERT_EQ(dravix.Extract(&good, LitCorners(), 0, 0, 0), DRAVIX_OK);
  const cv::Mat lum = dravix.lum.clone();
  EXPECT_EQ(dravix.Extract(nullptr, LitCorners(), 0, 0, 0), DRAVIX_NULL_ARGUMENT);
  for (const Shot* shot : std::initializer_list<const Shot*>{&black, &tiny, &color, &patternless}) {
    const LogCapture log;
    EXPECT_EQ(dravix.Extract(shot, LitCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
    ASSERT_FALSE(log.Errors().empty());
    EXPECT_EQ(log.Errors().back().rfind("Dravix::Extract--Error :: ", 0), 0U)
        << log.Errors().back();
    EXPECT_TRUE(SameBytes(dravix.lum, lum));
    EXPECT_EQ(dravix.resultImage.size(), lum.size());
  }
}

TEST(Extract, WhatTheMatrixLibraryRefusesIsLoggedInOneLine) {
  const Shot planes = MakeShot(cv::Mat(320, 400, CV_16UC2, cv::Scalar::all(100)), 20, 16, 12);
  const Shot tooFew = LitShot(4, 4);
  for (const Shot* shot : {&planes, &tooFew}) {
    Dravix dravix;
    const LogCapture log;
    EXPECT_EQ(dravix.Extract(shot, LitCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
    ASSERT_EQ(log.Errors().size(), 1U);
    EXPECT_EQ(log.Errors().front().find_first_of("\r\n"), std::string::npos)
        << log.Errors().front();
  }
}

TEST(Extract, WhatCannotBeMeasuredIsLoggedInWords) {
  const Shot black = MakeShot(cv::Mat::zeros(320, 400, CV_16UC1), 20, 16, 12);
  const Shot tooFew = LitShot(4, 4);
  Dravix dravix;
  LogCapture log;
  EXPECT_EQ(dravix.Extract(&black, LitCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&tooFew, LitCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(
      log.Errors(),
      (Strings{"Dravix::AutoBlurLocate--Error :: Cannot find led area.",
               "Dravix::Extract--Error :: the LED area has no columns",
               "Dravix::Extract--Error :: there are too few LEDs to replace those on the border"}));
}

TEST(Extract, LedCountsAboveTheRowAreRefused) {
  const Shot shot = LitShot();
  Dravix dravix;
  EXPECT_EQ(dravix.Extract(&shot, LitCorners(), 21, 20, 4), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitCorners(), 20, 21, 4), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitCorners(), 20, 20, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_TRUE(dravix.Empty());
}

TEST(Extract, CountOfZeroSkipsTheRowTableAndKeepsTheOldOne) {
  const Shot shot = LitShot();
  Dravix dravix;
  ASSERT_EQ(dravix.Extract(&shot, LitCorners(), 10, 20, 4), DRAVIX_OK);
  const std::vector<std::int32_t> table = dravix.rowLedNums;
  EXPECT_EQ(dravix.Extract(&shot, LitCorners(), 0, 9999, 7), DRAVIX_OK);
  EXPECT_EQ(dravix.rowLedNums, table);
  EXPECT_EQ(dravix.rowGroup, 4);
}

TEST(Extract, OldRowTableThatIsTooShortForTheNewShotIsRefused) {
  const Shot small = LitShot(20, 16);
  const Shot large = LitShot(20, 40);
  Dravix dravix;
  ASSERT_EQ(dravix.Extract(&small, LitCorners(), 10, 20, 4), DRAVIX_OK);
  EXPECT_EQ(dravix.Extract(&large, LitCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
}

TEST(Extract, MoreLedsThanAResultCanHoldAreRefusedBeforeMemoryIsTaken) {
  const Shot shot = LitShot(2000000000, 2000000000);
  Dravix dravix;
  EXPECT_EQ(dravix.Extract(&shot, {{0, 0}, {5, 0}, {5, 5}}, 0, 0, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitCorners(), 10, 20, 1), DRAVIX_BAD_ARGUMENT);
}

TEST(Extract, NegativeLedCountsAreRefused) {
  const Shot shot = LitShot(-1, -1);
  Dravix dravix;
  EXPECT_EQ(dravix.Extract(&shot, {{0, 0}, {5, 0}, {5, 5}}, 0, 0, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(dravix.Extract(&shot, LitCorners(), 0, 0, 0), DRAVIX_BAD_ARGUMENT);
}

TEST(WorkingSize, IsTruncated) {
  EXPECT_EQ(extractor::WorkingSize({1000, 800}, 1.3), cv::Size(1300, 1040));
  EXPECT_EQ(extractor::WorkingSize({7, 9}, 1.3), cv::Size(9, 11));
}

TEST(WorkingFromPhoto, MapsTheCornersOntoTheTarget) {
  const std::vector<cv::Point> corners = LitCorners();
  const auto target = Dravix().TargetRectangle({520, 416});
  const cv::Mat workingFromPhoto = extractor::WorkingFromPhoto(corners, target);
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Mat p = workingFromPhoto * (cv::Mat_<double>(3, 1) << corners[i].x, corners[i].y, 1);
    EXPECT_NEAR(p.at<double>(0) / p.at<double>(2), target.at(i).x, 1e-3);
    EXPECT_NEAR(p.at<double>(1) / p.at<double>(2), target.at(i).y, 1e-3);
  }
}

TEST(ExtractPro, EmptyRegionIsRefusedAfterTheBlocksAreStored) {
  const Shot shot = LitShot(20, 16);
  RegionOI region;
  Dravix dravix;
  for (int i = 0; i < 3; ++i) {
    if (i == 1) region.rect = cv::Rect(0, 0, 0, 10);
    if (i == 2) region.rect = cv::Rect(0, 0, 10, 10);
    const LogCapture log;
    EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {5, 4}, region, -1, -1), DRAVIX_NULL_ARGUMENT);
    EXPECT_EQ(log.Errors(), Strings{"Dravix::Extract--Error ::  roi empty !!."});
    EXPECT_EQ(log.Infos().front(), "Dravix::Extract");
    EXPECT_EQ(dravix.singleAreaSize, 4);
  }
}

TEST(ExtractPro, BlocksAreLookedAtBeforeTheRegion) {
  const Shot shot = LitShot(20, 16);
  Dravix dravix;
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {3, 4}, RegionOI(), -1, -1), DRAVIX_BAD_BLOCKS);
  EXPECT_EQ(dravix.ExtractPro(nullptr, &shot, {3, 4}, RegionOI(), -1, -1), DRAVIX_NULL_ARGUMENT);
}

TEST(ExtractPro, NegativeBlockCountsThatDivideTheLedsAreNoGrid) {
  const Shot shot = LitShot(20, 16);
  RegionOI region;
  ASSERT_EQ(region.ManualSet({400, 320}, LitCorners()), DRAVIX_OK);
  Dravix dravix;
  // 20 / -5 = -4, and (16 + 4) / (-4 - 1) = -4.
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {-5, -4}, region, -1, -1), DRAVIX_NO_GRID);
  EXPECT_EQ(dravix.singleAreaSize, -4);
  EXPECT_TRUE(dravix.Empty());
}

TEST(ExtractPro, BlocksAndRegionAreLookedAtBeforeTheSizeOfTheResult) {
  const Shot shot = LitShot(2000000000, 2000000000);
  Dravix dravix;
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {3, 3}, RegionOI(), -1, -1), DRAVIX_BAD_BLOCKS);
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {4, 4}, RegionOI(), -1, -1), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(dravix.singleAreaSize, 500000000);
  RegionOI region;
  ASSERT_EQ(region.ManualSet({400, 320}, LitCorners()), DRAVIX_OK);
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {4, 4}, region, -1, -1), DRAVIX_BAD_ARGUMENT);
}

TEST(ExtractPro, RegionWithoutCornersPassesItsCodeOn) {
  const Shot shot = LitShot(20, 16);
  RegionOI region;
  region.frameWidth = 400;
  region.frameHeight = 320;
  region.rect = cv::Rect(0, 0, 400, 320);
  region.mask = cv::Mat(320, 400, CV_8UC1, cv::Scalar(255));
  Dravix dravix;
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {5, 4}, region, -1, -1), DRAVIX_NO_CORNERS);
}

TEST(ExtractPro, RegionThatLeavesItsFrameEndsInACode) {
  const Shot shot = LitShot(20, 16);
  RegionOI region;
  region.frameWidth = 100;
  region.frameHeight = 100;
  region.rect = cv::Rect(50, 50, 400, 320);
  region.mask = cv::Mat(320, 400, CV_8UC1, cv::Scalar(255));
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.ExtractPro(&shot, &shot, {5, 4}, region, -1, -1), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(),
            Strings{"Dravix::ExtractPro--Error :: the region's rectangle leaves its frame"});
}

TEST(ExtractPro, MissingCheckerboardIsReportedByTheDetector) {
  const Shot shot = LitShot(20, 16);
  RegionOI region;
  ASSERT_EQ(region.ManualSet({400, 320}, LitCorners()), DRAVIX_OK);
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.ExtractPro(&shot, nullptr, {5, 4}, region, -1, -1), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(log.Errors(), Strings{"CheckerboardDetector::SetImage--Error :: input nullptr."});
}

TEST(ExtractPro, DarkCheckerboardPassesTheDetectorsCodeOnAndTheResultStays) {
  const Shot shot = LitShot(20, 16);
  const Shot dark = MakeShot(cv::Mat::zeros(320, 400, CV_16UC1), 20, 16, 12);
  RegionOI region;
  ASSERT_EQ(region.ManualSet({400, 320}, LitCorners()), DRAVIX_OK);
  Dravix dravix;
  ASSERT_EQ(dravix.Extract(&shot, LitCorners(), 0, 0, 0), DRAVIX_OK);
  const cv::Mat lum = dravix.lum.clone();
  EXPECT_EQ(dravix.ExtractPro(&shot, &dark, {5, 4}, region, -1, -1), DRAVIX_NO_LED_AREA);
  EXPECT_TRUE(SameBytes(dravix.lum, lum));
}

TEST(ExtractPro, ShotWithoutLedsEndsInACode) {
  Shot shot = LitShot();
  shot.pattern.reset();
  RegionOI region;
  ASSERT_EQ(region.ManualSet({400, 320}, LitCorners()), DRAVIX_OK);
  Dravix dravix;
  EXPECT_NE(dravix.ExtractPro(&shot, &shot, {5, 4}, region, -1, -1), 0);
}

}  // namespace
}  // namespace dravix::test
