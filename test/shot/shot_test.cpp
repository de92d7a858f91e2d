#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <opencv2/imgproc.hpp>
#include <ostream>
#include <type_traits>
#include <utility>

#include "shot/sample_shot.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace {

using dravix::test::ColorShot;
using dravix::test::FullShot;
using dravix::test::LogCapture;
using dravix::test::Mosaic;
using dravix::test::SameBytes;
using dravix::test::SameShot;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kMost = INT32_MAX;
constexpr int kLeast = INT32_MIN;

// --- values ---

TEST(ShotType, CombinesItsPlanes) {
  EXPECT_EQ(CIE_X | CIE_Y | CIE_Z, CIE_XYZ);
  EXPECT_EQ(CAM_R | CAM_G | CAM_B, CAM_RGB);
  EXPECT_EQ(CIE_XYZ, 0x07U);
  EXPECT_EQ(CAM_RGB, 0x70U);
}

TEST(ShotGroups, HaveTheirFieldsWithoutGaps) {
  EXPECT_EQ(sizeof(Shot::Partition), 24U);
  EXPECT_EQ(sizeof(Shot::LedPanel), 24U);
  EXPECT_EQ(sizeof(Shot::Layer), 12U);
  EXPECT_EQ(sizeof(Shot::Pattern), 28U);
  EXPECT_EQ(sizeof(Shot::Device), 136U);
  EXPECT_EQ(sizeof(Shot::Capture), 20U);
}

TEST(ShotGroups, AreZeroWhenDefaultMade) {
  const Shot::Device device;
  EXPECT_STREQ(device.id, "");
  EXPECT_EQ(device.cam_type, 0);
  EXPECT_EQ(Shot::LedPanel{}.pixel_pitch, 0.0F);
}

// --- copying and moving ---

TEST(Shot, StartsWithoutGroupsAndPixels) {
  const Shot shot;
  EXPECT_FALSE(shot.partition || shot.panel || shot.layer || shot.pattern || shot.color ||
               shot.device || shot.capture);
  EXPECT_EQ(shot.type, 0U);
  EXPECT_TRUE(shot.image.empty());
}

TEST(Shot, ACopyIsEqualWithPixelsOfItsOwn) {
  const Shot shot = FullShot();
  const Shot copy = shot;
  EXPECT_TRUE(SameShot(copy, shot));
  EXPECT_NE(copy.image.data, shot.image.data);
  Shot assigned;
  assigned = shot;
  EXPECT_TRUE(SameShot(assigned, shot));
  EXPECT_NE(assigned.image.data, shot.image.data);
}

TEST(Shot, AssigningReplacesAllGroups) {
  Shot shot = FullShot();
  shot = Shot();
  EXPECT_TRUE(SameShot(shot, Shot()));
}

TEST(Shot, AssigningItToItselfChangesNothing) {
  Shot shot = FullShot();
  Shot& same = shot;
  shot = same;
  EXPECT_TRUE(SameShot(shot, FullShot()));
  shot = std::move(same);
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(Shot, MovingTakesThePixelsAndLeavesAnEmptyShot) {
  Shot shot = FullShot();
  const uchar* const pixels = shot.image.data;
  Shot moved = std::move(shot);
  EXPECT_EQ(moved.image.data, pixels);
  EXPECT_TRUE(SameShot(moved, FullShot()));
  EXPECT_TRUE(SameShot(shot, Shot()));  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(shot.SetImageSingle(Mosaic(), CIE_X), DRAVIX_OK);
  static_assert(std::is_nothrow_move_constructible_v<Shot>);
  static_assert(std::is_nothrow_move_assignable_v<Shot>);
}

// --- plain groups ---

TEST(ShotSetters, StorePlainGroupsAndLogTheirName) {
  const LogCapture log;
  const Shot full = FullShot();
  Shot shot;
  EXPECT_EQ(shot.SetCapture(*full.capture), DRAVIX_OK);
  EXPECT_EQ(shot.SetColor(-5), DRAVIX_OK);
  EXPECT_EQ(shot.SetDevice(*full.device), DRAVIX_OK);
  EXPECT_EQ(shot.SetLayer(*full.layer), DRAVIX_OK);
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::SetCapture", "Shot::SetColor", "Shot::SetDevice",
                                       "Shot::SetLayer"));
  EXPECT_THAT(log.Errors(), IsEmpty());
  EXPECT_TRUE(dravix::test::SameGroup(shot.capture, full.capture));
  EXPECT_EQ(shot.color, -5);
  EXPECT_TRUE(dravix::test::SameGroup(shot.device, full.device));
  EXPECT_TRUE(dravix::test::SameGroup(shot.layer, full.layer));
}

TEST(SetLedPanel, NeedsOneLedAcrossAndOneDown) {
  LogCapture log;
  Shot shot;
  EXPECT_EQ(shot.SetLedPanel({1, 2, 3, 1, 1, 0.5F}), DRAVIX_OK);
  EXPECT_THAT(log.Errors(), IsEmpty());
  for (const Shot::LedPanel& bad :
       {Shot::LedPanel{0, 0, 0, 0, 1, 0}, Shot::LedPanel{0, 0, 0, 1, 0, 0},
        Shot::LedPanel{0, 0, 0, -1, 1, 0}, Shot::LedPanel{0, 0, 0, kLeast, kLeast, 0}}) {
    log.Clear();
    EXPECT_EQ(shot.SetLedPanel(bad), DRAVIX_BAD_PANEL);
    EXPECT_THAT(log.Infos(), ElementsAre("Shot::SetLedPanel"));
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetLedPanel--Error :: invalid panel_wh"));
  }
  EXPECT_EQ(shot.panel->type, 1);
}

// --- partition ---

TEST(SetPartition, AcceptsWhatLiesOnTheScreen) {
  const LogCapture log;
  Shot shot;
  for (const Shot::Partition& good :
       {Shot::Partition{0, 0, 16, 9, 16, 9}, Shot::Partition{15, 8, 1, 1, 16, 9},
        Shot::Partition{1, 1, 15, 8, 16, 9}, Shot::Partition{0, 0, kMost, kMost, kMost, kMost},
        Shot::Partition{kMost - 1, 0, 1, 1, kMost, 1}}) {
    EXPECT_EQ(shot.SetPartition(good), DRAVIX_OK);
    EXPECT_EQ(shot.partition->x, good.x);
  }
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(SetPartition, RefusesWhatLeavesTheScreenOrHasNoArea) {
  LogCapture log;
  Shot shot;
  ASSERT_EQ(shot.SetPartition({0, 0, 16, 9, 16, 9}), DRAVIX_OK);
  for (const Shot::Partition& bad :
       {Shot::Partition{1, 0, 16, 9, 16, 9}, Shot::Partition{0, 1, 16, 9, 16, 9},
        Shot::Partition{-1, 0, 1, 1, 16, 9}, Shot::Partition{0, -1, 1, 1, 16, 9},
        Shot::Partition{16, 0, 1, 1, 16, 9}, Shot::Partition{0, 9, 1, 1, 16, 9},
        Shot::Partition{0, 0, 0, 1, 16, 9}, Shot::Partition{0, 0, 1, 0, 16, 9},
        Shot::Partition{0, 0, 1, 1, 0, 9}, Shot::Partition{0, 0, 1, 1, 16, 0},
        Shot::Partition{0, 0, 1, 1, -16, -9}, Shot::Partition{5, 0, kMost, 1, 16, 9},
        Shot::Partition{kMost, kMost, kMost, kMost, kMost, kMost},
        Shot::Partition{0, 0, kLeast, kLeast, 16, 9}}) {
    log.Clear();
    EXPECT_EQ(shot.SetPartition(bad), DRAVIX_BAD_PARTITION);
    EXPECT_THAT(log.Infos(), ElementsAre("Shot::SetPartition"));
    EXPECT_THAT(log.Errors(),
                ElementsAre("Shot::SetPartition--Error :: invalid screen wh or partition xywh"));
  }
  EXPECT_EQ(shot.partition->w, 16);
}

TEST(SetPartition, DoesNotLookAtThePattern) {
  Shot shot;
  ASSERT_EQ(shot.SetPattern({1, 1, 1, 0, 0, 99, 99}), DRAVIX_OK);
  EXPECT_EQ(shot.SetPartition({0, 0, 16, 9, 16, 9}), DRAVIX_OK);
  EXPECT_EQ(shot.pattern->lighted_led_w, 99);
}

// --- pattern ---

TEST(SetPattern, WithoutAPartitionIsStoredAsGiven) {
  const LogCapture log;
  Shot shot;
  EXPECT_EQ(shot.SetPattern({-7, 3, 2, 2, 1, -1, 0}), DRAVIX_OK);
  EXPECT_EQ(shot.pattern->type, -7);
  EXPECT_EQ(shot.pattern->lighted_led_w, -1);
  EXPECT_EQ(shot.pattern->lighted_led_h, 0);
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::SetPattern"));
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(SetPattern, RefusesALocationOutsideTheIntervalAndKeepsTheOldPattern) {
  LogCapture log;
  Shot shot;
  ASSERT_EQ(shot.SetPattern({5, 1, 1, 0, 0, 1, 1}), DRAVIX_OK);
  for (const Shot::Pattern& bad :
       {Shot::Pattern{1, 0, 1, 0, 0, 0, 0}, Shot::Pattern{1, 1, 0, 0, 0, 0, 0},
        Shot::Pattern{1, -2, 1, 0, 0, 0, 0}, Shot::Pattern{1, 3, 3, 3, 0, 0, 0},
        Shot::Pattern{1, 3, 3, 0, 3, 0, 0}, Shot::Pattern{1, 3, 3, -1, 0, 0, 0},
        Shot::Pattern{1, 3, 3, 0, -1, 0, 0}}) {
    log.Clear();
    EXPECT_EQ(shot.SetPattern(bad), DRAVIX_BAD_PATTERN);
    EXPECT_THAT(log.Errors(),
                ElementsAre("Shot::SetPattern--Error :: invalid pattern_type pattern_loc_xy"));
  }
  EXPECT_EQ(shot.pattern->type, 5);
}

TEST(SetPattern, CountsTheLitLedsOfThePartition) {
  for (int length = 1; length < 12; ++length) {
    for (int interval = 1; interval < 6; ++interval) {
      for (int loc = 0; loc < interval; ++loc) {
        int lit = 0;
        for (int led = loc; led < length; led += interval) ++lit;
        Shot shot;
        ASSERT_EQ(shot.SetPartition({0, 0, length, 4, length, 4}), DRAVIX_OK);
        EXPECT_EQ(shot.SetPattern({1, interval, 3, loc, 2, 0, 0}), DRAVIX_OK);
        EXPECT_EQ(shot.pattern->lighted_led_w, lit) << length << ' ' << interval << ' ' << loc;
        EXPECT_EQ(shot.pattern->lighted_led_h, 1);
      }
    }
  }
}

TEST(SetPattern, CountsTwoOfEightLedsFromTheThirdAndThreeFromTheSecond) {
  Shot shot;
  ASSERT_EQ(shot.SetPartition({0, 0, 8, 8, 8, 8}), DRAVIX_OK);
  EXPECT_EQ(shot.SetPattern({1, 3, 3, 2, 1, 0, 0}), DRAVIX_OK);
  EXPECT_EQ(shot.pattern->lighted_led_w, 2);
  EXPECT_EQ(shot.pattern->lighted_led_h, 3);
}

TEST(SetPattern, ReplacesBothCountsWhenOneIsBelowOne) {
  Shot shot;
  ASSERT_EQ(shot.SetPartition({0, 0, 8, 8, 8, 8}), DRAVIX_OK);
  EXPECT_EQ(shot.SetPattern({1, 2, 2, 0, 0, 99, 0}), DRAVIX_OK);
  EXPECT_EQ(shot.pattern->lighted_led_w, 4);
  EXPECT_EQ(shot.SetPattern({1, 2, 2, 0, 0, 0, 99}), DRAVIX_OK);
  EXPECT_EQ(shot.pattern->lighted_led_h, 4);
}

TEST(SetPattern, TakesTheStoredPatternItself) {
  Shot shot;
  ASSERT_EQ(shot.SetPartition({0, 0, 8, 6, 8, 6}), DRAVIX_OK);
  ASSERT_EQ(shot.SetPattern({1, 2, 3, 0, 0, -1, -1}), DRAVIX_OK);
  shot.pattern->interval_x = 4;
  shot.pattern->lighted_led_w = -1;
  EXPECT_EQ(shot.SetPattern(*shot.pattern), DRAVIX_OK);
  EXPECT_EQ(shot.pattern->interval_x, 4);
  EXPECT_EQ(shot.pattern->lighted_led_w, 2);
  EXPECT_EQ(shot.pattern->lighted_led_h, 2);
}

TEST(SetPattern, AcceptsEqualCountsAndReportsOthersThatItStores) {
  LogCapture log;
  Shot shot;
  ASSERT_EQ(shot.SetPartition({0, 0, 8, 8, 8, 8}), DRAVIX_OK);
  EXPECT_EQ(shot.SetPattern({1, 2, 2, 0, 0, 4, 4}), DRAVIX_OK);
  EXPECT_THAT(log.Errors(), IsEmpty());
  for (const auto& [across, down] : {std::pair{5, 4}, std::pair{4, 3}}) {
    log.Clear();
    EXPECT_EQ(shot.SetPattern({9, 2, 2, 0, 0, across, down}), DRAVIX_PATTERN_MISMATCH);
    EXPECT_THAT(
        log.Errors(),
        ElementsAre(
            "Shot::SetPattern or SetPartition --Error :: mismatch pattern and partition info"));
    EXPECT_EQ(shot.pattern->type, 9);
    EXPECT_EQ(shot.pattern->lighted_led_w, across);
    EXPECT_EQ(shot.pattern->lighted_led_h, down);
  }
}

// --- pixels ---

TEST(SetImageSingle, CopiesOnePlaneOfEachSingleType) {
  const LogCapture log;
  for (const std::uint32_t type : {CIE_X, CIE_Y, CIE_Z, CAM_R, CAM_G, CAM_B}) {
    Shot shot;
    const cv::Mat pixels = Mosaic();
    EXPECT_EQ(shot.SetImageSingle(pixels, type), DRAVIX_OK);
    EXPECT_TRUE(SameBytes(shot.image, pixels));
    EXPECT_NE(shot.image.data, pixels.data);
    EXPECT_EQ(shot.type, type);
  }
  EXPECT_THAT(log.Errors(), IsEmpty());
  EXPECT_EQ(log.Infos().front(), "Shot::SetImageSingle");
}

TEST(SetImageSingle, LooksAtTheTypeFirst) {
  const LogCapture log;
  Shot shot = FullShot();
  for (const std::uint32_t type : {0U, 0x07U, 0x70U, 0x03U, 0x08U, 0x80U, 0x11U, 0xffffffffU}) {
    EXPECT_EQ(shot.SetImageSingle(cv::Mat(1, 1, CV_8UC1), type), DRAVIX_BAD_TYPE) << type;
  }
  EXPECT_EQ(
      log.Errors().front(),
      "Shot::SetImageSingle--Error :: in_cie_type!= CIE_Y && in_cie_type != CIE_X && in_cie_type "
      "!= CIE_Z&&in_cie_type != CAM_R && in_cie_type != CAM_G && in_cie_type != CAM_B");
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(SetImageSingle, RefusesOtherPixels) {
  LogCapture log;
  Shot shot = FullShot();
  for (const int type : {CV_8UC1, CV_16UC3, CV_16SC1, CV_32FC1}) {
    log.Clear();
    EXPECT_EQ(shot.SetImageSingle(cv::Mat(2, 2, type), CIE_Y), DRAVIX_BAD_IMAGE);
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetImageSingle--Error :: data and type mismatch"));
  }
  EXPECT_EQ(shot.SetImageSingle(cv::Mat(), CIE_Y), DRAVIX_BAD_IMAGE);
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(SetImageSingle, TakesAPartOfItsOwnImage) {
  Shot shot = FullShot();
  const cv::Mat expected = shot.image(cv::Rect(2, 3, 4, 5)).clone();
  EXPECT_EQ(shot.SetImageSingle(shot.image(cv::Rect(2, 3, 4, 5)), CAM_R), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot.image, expected));
  EXPECT_TRUE(shot.image.isContinuous());
}

class MosaicCode : public testing::TestWithParam<int> {};

TEST_P(MosaicCode, GivesThePlanesThatOpenCvDemosaics) {
  const LogCapture log;
  cv::Mat expected;
  cv::demosaicing(Mosaic(), expected, GetParam());
  Shot shot;
  EXPECT_EQ(shot.SetImageColor(Mosaic(), GetParam(), CAM_RGB), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot.image, expected));
  EXPECT_EQ(shot.type, CAM_RGB);
  int plane = 0;
  for (const std::uint32_t type : {CAM_R, CAM_G, CAM_B}) {
    EXPECT_EQ(shot.SetImageColor(Mosaic(), GetParam(), type), DRAVIX_OK);
    cv::Mat single;
    cv::extractChannel(expected, single, plane++);
    EXPECT_TRUE(SameBytes(shot.image, single));
    EXPECT_EQ(shot.type, type);
  }
  EXPECT_THAT(log.Errors(), IsEmpty());
  EXPECT_EQ(log.Infos().front(), "Shot::SetImageColor");
}

INSTANTIATE_TEST_SUITE_P(SetImageColor, MosaicCode,
                         testing::Values(cv::COLOR_BayerBG2BGR, cv::COLOR_BayerGB2BGR,
                                         cv::COLOR_BayerRG2BGR, cv::COLOR_BayerGR2BGR,
                                         cv::COLOR_BayerBG2BGR_EA, cv::COLOR_BayerGR2RGB_EA));

TEST(SetImageColor, ChecksTypeThenPixelsThenCode) {
  LogCapture log;
  Shot shot = FullShot();
  const cv::Mat wrong(2, 2, CV_8UC1);
  for (const std::uint32_t type : {0U, 0x02U, 0x07U, 0x30U, 0xffffffffU}) {
    log.Clear();
    EXPECT_EQ(shot.SetImageColor(wrong, 0, type), DRAVIX_BAD_TYPE) << type;
    EXPECT_THAT(
        log.Errors(),
        ElementsAre("Shot::SetImage--Error :: in_cie_type != CAM_R && in_cie_type != CAM_G && "
                    "in_cie_type != CAM_B && in_cie_type != CAM_RGB"));
  }
  log.Clear();
  EXPECT_EQ(shot.SetImageColor(wrong, 0, CAM_RGB), DRAVIX_BAD_IMAGE);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetImageColor--Error :: data and type mismatch"));
  log.Clear();
  EXPECT_EQ(shot.SetImageColor(Mosaic(), 0, CAM_RGB), DRAVIX_NO_MOSAIC_CODE);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetImageColor--Error :: in_bayer_type"));
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(SetImageColor, CodesThatOpenCvRefusesAreLikeAMissingOne) {
  LogCapture log;
  Shot shot = FullShot();
  for (const int code :
       {-1, 1, 9999, kMost, kLeast, int{cv::COLOR_BGR2GRAY}, int{cv::COLOR_BayerBG2BGR_VNG}}) {
    log.Clear();
    EXPECT_EQ(shot.SetImageColor(Mosaic(), code, CAM_R), DRAVIX_NO_MOSAIC_CODE) << code;
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetImageColor--Error :: in_bayer_type")) << code;
  }
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(SetImageColor, ACodeThatGivesASinglePlaneServesOnlyTheFirstType) {
  LogCapture log;
  cv::Mat gray;
  cv::demosaicing(Mosaic(), gray, cv::COLOR_BayerBG2GRAY);
  Shot shot = FullShot();
  for (const ShotType type : {CAM_G, CAM_B, CAM_RGB}) {
    log.Clear();
    EXPECT_EQ(shot.SetImageColor(Mosaic(), cv::COLOR_BayerBG2GRAY, type), DRAVIX_NO_MOSAIC_CODE);
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetImageColor--Error :: in_bayer_type"));
    EXPECT_TRUE(SameShot(shot, FullShot()));
  }
  log.Clear();
  EXPECT_EQ(shot.SetImageColor(Mosaic(), cv::COLOR_BayerBG2GRAY, CAM_R), DRAVIX_OK);
  EXPECT_THAT(log.Errors(), IsEmpty());
  EXPECT_TRUE(SameBytes(shot.image, gray));
  EXPECT_EQ(shot.type, CAM_R);
}

TEST(SetImageColor, OfACodeThatAddsAnOpaquePlaneTheThreeColorsCount) {
  cv::Mat opaque;
  cv::demosaicing(Mosaic(), opaque, cv::COLOR_BayerBG2BGRA);
  ASSERT_EQ(opaque.channels(), 4);
  int plane = 0;
  for (const ShotType type : {CAM_R, CAM_G, CAM_B}) {
    Shot shot;
    EXPECT_EQ(shot.SetImageColor(Mosaic(), cv::COLOR_BayerBG2BGRA, type), DRAVIX_OK);
    cv::Mat expected;
    cv::extractChannel(opaque, expected, plane++);
    EXPECT_TRUE(SameBytes(shot.image, expected));
  }
  Shot shot;
  EXPECT_EQ(shot.SetImageColor(Mosaic(), cv::COLOR_BayerBG2BGRA, CAM_RGB), DRAVIX_OK);
  cv::Mat expected;
  cv::demosaicing(Mosaic(), expected, cv::COLOR_BayerBG2BGR);
  EXPECT_TRUE(SameBytes(shot.image, expected));
}

TEST(SetImageColor, AnEmptyMosaicIsRefusedAfterAMissingCode) {
  LogCapture log;
  Shot shot = FullShot();
  EXPECT_EQ(shot.SetImageColor(cv::Mat(0, 5, CV_16UC1), 0, CAM_RGB), DRAVIX_NO_MOSAIC_CODE);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::SetImageColor--Error :: in_bayer_type"));
  EXPECT_EQ(shot.SetImageColor(cv::Mat(0, 5, CV_16UC1), cv::COLOR_BayerBG2BGR, CAM_RGB),
            DRAVIX_BAD_IMAGE);
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(SetImageColor, TinyMosaicsAreSurvived) {
  for (int rows = 1; rows < 5; ++rows) {
    for (int cols = 1; cols < 5; ++cols) {
      Shot shot;
      const std::int32_t code =
          shot.SetImageColor(Mosaic({cols, rows}), cv::COLOR_BayerBG2BGR, CAM_RGB);
      EXPECT_TRUE(code == 0 ? shot.image.size() == cv::Size(cols, rows) : shot.image.empty());
    }
  }
}

// --- point locator ---

TEST(SetPointLocatorMeta, FillsInFixedGroupsThroughTheSetters) {
  const LogCapture log;
  Shot shot;
  const int screen[2] = {10, 7};
  const int interval[2] = {4, 3};
  EXPECT_EQ(shot.SetPointLocatorMeta(120016, screen, interval, 6, 9), DRAVIX_OK);
  EXPECT_STREQ(shot.device->id, "custom :: ForPointLocator");
  EXPECT_STREQ(shot.device->lens_id, "custom :: ForPointLocator");
  EXPECT_EQ(shot.device->cam_type, 120016);
  EXPECT_EQ(shot.device->lens_type, 9);
  const Shot::Partition whole{0, 0, 10, 7, 10, 7};
  EXPECT_TRUE(dravix::test::SameGroup(shot.partition, std::optional(whole)));
  const Shot::Pattern seventh{1, 4, 3, 2, 1, 2, 2};  // columns 2 and 6, rows 1 and 4
  EXPECT_TRUE(dravix::test::SameGroup(shot.pattern, std::optional(seventh)));
  const Shot::LedPanel panel{1, 4, 0, 1, 1, -1.0F};
  EXPECT_TRUE(dravix::test::SameGroup(shot.panel, std::optional(panel)));
  EXPECT_EQ(shot.color, 2);
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::SetDevice", "Shot::SetPartition", "Shot::SetPattern",
                                       "Shot::SetLedPanel", "Shot::SetColor"));
}

TEST(SetPointLocatorMeta, WithoutAScreenLeavesPartitionAndPatternAlone) {
  const int interval[2] = {4, 3};
  for (const auto& screen : {std::array{0, 7}, std::array{10, 0}, std::array{-1, -1}}) {
    Shot shot;
    EXPECT_EQ(shot.SetPointLocatorMeta(1, screen.data(), interval, 6, 9), DRAVIX_OK);
    EXPECT_FALSE(shot.partition || shot.pattern);
    EXPECT_TRUE(shot.device && shot.panel && shot.color);
  }
}

TEST(SetPointLocatorMeta, AnImpossibleIntervalOrIndexLeavesThePatternOut) {
  const int screen[2] = {10, 7};
  for (const auto& interval : {std::array{0, 3}, std::array{-1, 3}, std::array{3, 0},
                               std::array{kLeast, kLeast}, std::array{4, 3}}) {
    LogCapture log;
    Shot shot;
    const int index = interval[0] == 4 ? 12 : kLeast;
    EXPECT_EQ(shot.SetPointLocatorMeta(1, screen, interval.data(), index, 9), DRAVIX_OK);
    EXPECT_FALSE(shot.pattern);
    EXPECT_TRUE(shot.partition && shot.panel && shot.color);
    EXPECT_EQ(log.Errors().size(), 1U);
  }
}

TEST(SetPointLocatorMeta, NullIsRefused) {
  const int two[2] = {4, 3};
  Shot shot;
  EXPECT_EQ(shot.SetPointLocatorMeta(1, nullptr, two, 0, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(shot.SetPointLocatorMeta(1, two, nullptr, 0, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_FALSE(shot.device);
}

// --- checks ---

struct CheckCase {
  std::uint32_t flag;
  std::int32_t code;
  const char* message;
  void (*spoil)(Shot&);
};
// Names of tests show it.
void PrintTo(const CheckCase& check, std::ostream* out) { *out << check.message; }

class ShotCheckFlag : public testing::TestWithParam<CheckCase> {
 protected:
  static constexpr std::uint32_t kAll = 0x111137;
};

TEST_P(ShotCheckFlag, FailsWhenAskedForAndMissing) {
  const LogCapture log;
  Shot shot = FullShot();
  GetParam().spoil(shot);
  EXPECT_EQ(Shot::Check(GetParam().flag, &shot), GetParam().code);
  EXPECT_EQ(Shot::Check(kAll, &shot), GetParam().code);
  EXPECT_THAT(log.Errors(), ElementsAre(GetParam().message, GetParam().message));
  EXPECT_EQ(log.Formats(), log.Errors());
  EXPECT_THAT(log.Infos(), IsEmpty());
}

TEST_P(ShotCheckFlag, IsNotLookedAtWhenNotAskedFor) {
  const LogCapture log;
  Shot shot = FullShot();
  GetParam().spoil(shot);
  EXPECT_EQ(Shot::Check(kAll & ~GetParam().flag, &shot), DRAVIX_OK);
  EXPECT_EQ(Shot::Check(GetParam().flag, std::make_unique<Shot>(FullShot()).get()), DRAVIX_OK);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Check, ShotCheckFlag,
    testing::Values(CheckCase{CHECK_IMAGE, DRAVIX_NULL_ARGUMENT,
                              "Shot::Check--Error shot.image is empty",
                              [](Shot& s) { s.image.release(); }},
                    CheckCase{CHECK_IMAGE, DRAVIX_NULL_ARGUMENT,
                              "Shot::Check--Error shot.image is empty",
                              [](Shot& s) { s.image = cv::Mat(0, 9, CV_16UC1); }},
                    CheckCase{CHECK_SINGLE, DRAVIX_BAD_TYPE,
                              "Shot::Check--Error ::  only support single channel",
                              [](Shot& s) { s.type = 0; }},
                    CheckCase{CHECK_SINGLE, DRAVIX_BAD_TYPE,
                              "Shot::Check--Error ::  only support single channel",
                              [](Shot& s) { s.type = CIE_XYZ; }},
                    CheckCase{CHECK_SINGLE, DRAVIX_BAD_TYPE,
                              "Shot::Check--Error ::  only support single channel",
                              [](Shot& s) { s.type = CAM_RGB; }},
                    CheckCase{CHECK_COLOR, DRAVIX_NO_COLOR,
                              "Shot::Check--Error :: meta::color info incompleted.",
                              [](Shot& s) { s.color.reset(); }},
                    CheckCase{CHECK_DEVICE, DRAVIX_NO_DEVICE,
                              "Shot::Check--Error :: meta::device info incompleted.",
                              [](Shot& s) { s.device.reset(); }},
                    CheckCase{CHECK_PATTERN, DRAVIX_BAD_PATTERN,
                              "Shot::Check--Error ::  pattern meta info incompleted.",
                              [](Shot& s) { s.pattern.reset(); }},
                    CheckCase{CHECK_PANEL, DRAVIX_BAD_PANEL,
                              "Shot::Check--Error ::  panel meta info incompleted.",
                              [](Shot& s) { s.panel.reset(); }}));

TEST(Check, StopsAtTheFirstFailureInItsOrder) {
  const LogCapture log;
  Shot shot;  // lacks everything
  std::vector<std::int32_t> codes;
  for (std::uint32_t flags = 0x111107; flags != 1;) {
    codes.push_back(Shot::Check(flags, &shot));
    for (const std::uint32_t next : {0x2U, 0x4U, 0x100U, 0x1000U, 0x10000U, 0x100000U}) {
      if ((flags & next) == 0) continue;
      flags &= ~next;
      break;
    }
  }
  EXPECT_THAT(codes, ElementsAre(1, 110, 111, 105, 104, 106));
  EXPECT_EQ(Shot::Check(1, &shot), DRAVIX_OK);
}

TEST(Check, AMissingShotIsReportedWhateverIsAsked) {
  LogCapture log;
  for (const std::uint32_t flags : {1U, 3U, 2U, 4U, 0x111137U}) {
    log.Clear();
    EXPECT_EQ(Shot::Check(flags, nullptr), DRAVIX_NULL_ARGUMENT) << flags;
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error in Shot input is nullptr"));
  }
  EXPECT_EQ(Shot::Check(0, nullptr), DRAVIX_OK);
}

TEST(Check, NeverAsksForPartitionLayerOrCapture) {
  Shot shot = FullShot();
  shot.partition.reset();
  shot.layer.reset();
  shot.capture.reset();
  EXPECT_EQ(Shot::Check(0xffffffff, &shot), DRAVIX_OK);
}

TEST(CheckPair, TestsTheSecondBeforeTheFirst) {
  const LogCapture log;
  Shot a;  // empty image
  Shot b = FullShot();
  b.color.reset();
  EXPECT_EQ(Shot::Check(CHECK_IMAGE | CHECK_COLOR, &a, &b), DRAVIX_NO_COLOR);
  b.color = 1;
  EXPECT_EQ(Shot::Check(CHECK_IMAGE | CHECK_COLOR, &a, &b), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(Shot::Check(3, &b, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(Shot::Check(3, nullptr, &b), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(Shot::Check(CHECK_SAME_TYPE, nullptr, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(Shot::Check(0, nullptr, nullptr), DRAVIX_OK);
  EXPECT_EQ(Shot::Check(CHECK_SAME_TYPE | CHECK_SAME_SIZE, &b, &b), DRAVIX_OK);
}

TEST(CheckPair, TypeAndSizeAreComparedWhenAskedFor) {
  LogCapture log;
  const Shot a = FullShot();
  Shot b = FullShot();
  b.type = CIE_X;
  EXPECT_EQ(Shot::Check(CHECK_SAME_TYPE, &a, &b), DRAVIX_SHOT_MISMATCH);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error :: meta::type mismatch."));
  EXPECT_EQ(Shot::Check(CHECK_SAME_SIZE, &a, &b), DRAVIX_OK);
  for (const cv::Size size : {cv::Size(12, 11), cv::Size(11, 10), cv::Size(10, 12)}) {
    log.Clear();
    b.image = Mosaic(size);
    EXPECT_EQ(Shot::Check(CHECK_SAME_SIZE, &a, &b), DRAVIX_SHOT_MISMATCH);
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error :: image size mismatch."));
    EXPECT_EQ(Shot::Check(3, &a, &b), DRAVIX_OK);
  }
}

}  // namespace
