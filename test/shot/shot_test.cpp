#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <opencv2/imgproc.hpp>
#include <utility>

#include "support/log_capture.h"
#include "support/mats.h"

namespace {

using dravix::test::LogCapture;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using testing::ElementsAre;
using testing::IsEmpty;

cv::Mat Mosaic(cv::Size size = {12, 10}) { return RandomMat(size, CV_16UC1, 3, 0, 65536); }

Shot FullShot() {
  Shot shot;
  shot.SetPartition({0, 0, 8, 6, 8, 6});
  shot.SetLedPanel({1, 2, 3, 4, 5, 1.5F});
  shot.SetLayer({1, 0.5F, 255});
  shot.SetPattern({1, 3, 2, 1, 0, -1, -1});
  shot.SetColor(4);
  shot.SetDevice({"camera", 120016, "lens", 7});
  shot.SetCapture({1, 2, 3, 4, 5});
  shot.SetImageSingle(Mosaic(), CIE_Y);
  return shot;
}

// --- copying and moving ---

TEST(Shot, StartsWithoutGroupsAndPixels) {
  const Shot shot;
  EXPECT_FALSE(shot.partition || shot.panel || shot.layer || shot.pattern || shot.color ||
               shot.device || shot.capture);
  EXPECT_EQ(shot.type, 0U);
  EXPECT_TRUE(shot.image.empty());
}

TEST(Shot, ACopyHasItsOwnPixelsAndAllGroups) {
  const Shot shot = FullShot();
  Shot copy = shot;
  EXPECT_TRUE(SameBytes(copy.image, shot.image));
  EXPECT_NE(copy.image.data, shot.image.data);
  EXPECT_EQ(copy.type, shot.type);
  EXPECT_EQ(copy.partition->w, 8);
  EXPECT_EQ(copy.panel->pixel_pitch, 1.5F);
  EXPECT_EQ(copy.layer->value, 255);
  EXPECT_EQ(copy.pattern->lighted_led_w, 3);
  EXPECT_EQ(copy.color, 4);
  EXPECT_STREQ(copy.device->id, "camera");
  EXPECT_EQ(copy.capture->filter, 5);
  Shot assigned;
  assigned = shot;
  EXPECT_NE(assigned.image.data, shot.image.data);
  EXPECT_TRUE(SameBytes(assigned.image, shot.image));
}

TEST(Shot, AssigningItToItselfChangesNothing) {
  Shot shot = FullShot();
  const cv::Mat before = shot.image.clone();
  Shot& same = shot;
  shot = same;
  shot = std::move(same);
  EXPECT_TRUE(SameBytes(shot.image, before));
  EXPECT_TRUE(shot.device.has_value());
}

TEST(Shot, MovingTakesThePixelsAndLeavesAnEmptyShot) {
  Shot shot = FullShot();
  const uchar* pixels = shot.image.data;
  Shot moved = std::move(shot);
  EXPECT_EQ(moved.image.data, pixels);
  EXPECT_TRUE(moved.capture.has_value());
  EXPECT_EQ(moved.type, CIE_Y);
  EXPECT_TRUE(shot.image.empty());  // NOLINT(bugprone-use-after-move)
  EXPECT_FALSE(shot.capture.has_value());
  EXPECT_EQ(shot.type, 0U);
  EXPECT_EQ(shot.SetImageSingle(Mosaic(), CIE_X), 0);
}

// --- groups ---

TEST(SetPartition, TheWholeScreenIsAcceptedOneLedFurtherIsNot) {
  LogCapture log;
  Shot shot;
  EXPECT_EQ(shot.SetPartition({0, 0, 16, 9, 16, 9}), 0);
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::SetPartition"));
  EXPECT_THAT(log.Errors(), IsEmpty());
  EXPECT_EQ(shot.SetPartition({1, 0, 16, 9, 16, 9}), DRAVIX_BAD_PARTITION);
  EXPECT_THAT(log.Errors(),
              ElementsAre("Shot::SetPartition--Error :: invalid screen wh or partition xywh"));
  EXPECT_EQ(shot.partition->x, 0);
}

TEST(SetPattern, CountsTheLitLedsOfThePartition) {
  Shot shot;
  ASSERT_EQ(shot.SetPartition({0, 0, 8, 8, 8, 8}), 0);
  EXPECT_EQ(shot.SetPattern({1, 3, 3, 2, 1, 0, 0}), 0);
  EXPECT_EQ(shot.pattern->lighted_led_w, 2);
  EXPECT_EQ(shot.pattern->lighted_led_h, 3);
}

TEST(SetImageColor, KeepsAllPlanesAsOpenCvDemosaicsThem) {
  Shot shot;
  cv::Mat expected;
  cv::demosaicing(Mosaic(), expected, cv::COLOR_BayerBG2BGR);
  EXPECT_EQ(shot.SetImageColor(Mosaic(), cv::COLOR_BayerBG2BGR, CAM_RGB), 0);
  EXPECT_TRUE(SameBytes(shot.image, expected));
  EXPECT_EQ(shot.type, CAM_RGB);
}

TEST(Check, AsksForAnExistingShotWithPixels) {
  LogCapture log;
  const Shot empty;
  EXPECT_EQ(Shot::Check(CHECK_NOT_NULL | CHECK_IMAGE, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(Shot::Check(CHECK_NOT_NULL | CHECK_IMAGE, &empty), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error in Shot input is nullptr",
                                        "Shot::Check--Error shot.image is empty"));
}

}  // namespace
