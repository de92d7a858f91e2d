#include "shot/shot_picture.h"

#include <dravix/dravix.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "shot/sample_shot.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::shot::FullScale;
using dravix::shot::ToColorPicture;
using dravix::shot::ToGrayPicture;
using dravix::test::ColorShot;
using dravix::test::FullShot;
using dravix::test::LogCapture;
using dravix::test::SameBytes;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FullScale, IsNotKnownWithoutADevice) {
  EXPECT_EQ(FullScale(Shot()), -1);
  EXPECT_EQ(FullScale(FullShot()), 65535);
}

// --- pictures of shots ---

Shot Pixel(int type, const cv::Scalar& value) {
  Shot shot = FullShot();
  shot.image = cv::Mat(1, 1, type, value);
  return shot;
}

TEST(ToGrayPicture, WeighsPlanesAsRedGreenBlue) {
  const Shot shot = Pixel(CV_16UC3, {65535, 0, 0});
  EXPECT_TRUE(SameBytes(ToGrayPicture(shot), cv::Mat(1, 1, CV_8UC1, cv::Scalar(76))));  // 0.299
  const Shot blue = Pixel(CV_16UC3, {0, 0, 65535});
  EXPECT_TRUE(SameBytes(ToGrayPicture(blue), cv::Mat(1, 1, CV_8UC1, cv::Scalar(29))));  // 0.114
}

TEST(ToGrayPicture, ScalesOnePlaneByTheCamera) {
  Shot shot = Pixel(CV_16UC1, 2048);
  EXPECT_EQ(ToGrayPicture(shot).at<uchar>(0), 8);
  shot.device->cam_type = 320012;
  EXPECT_EQ(ToGrayPicture(shot).at<uchar>(0), 128);
  shot.device.reset();
  EXPECT_EQ(ToGrayPicture(shot).at<uchar>(0), 255);
}

TEST(ToColorPicture, PutsTheFirstPlaneLast) {
  const Shot shot = Pixel(CV_16UC3, {65535, 32768, 0});
  EXPECT_EQ(ToColorPicture(shot).at<cv::Vec3b>(0), cv::Vec3b(0, 128, 255));
}

TEST(ToColorPicture, ShowsOnePlaneInItsColor) {
  Shot shot = Pixel(CV_16UC1, 65535);
  EXPECT_EQ(ToColorPicture(shot).at<cv::Vec3b>(0), cv::Vec3b(0, 0, 255));
  shot.color = 3;
  EXPECT_EQ(ToColorPicture(shot).at<cv::Vec3b>(0), cv::Vec3b(255, 255, 0));
}

TEST(ToColorPicture, IsGrayInThreeChannelsWithoutAColor) {
  Shot shot = Pixel(CV_16UC1, 32768);
  shot.color = 0;
  EXPECT_EQ(ToColorPicture(shot).at<cv::Vec3b>(0), cv::Vec3b(128, 128, 128));
  shot.color.reset();
  EXPECT_EQ(ToColorPicture(shot).at<cv::Vec3b>(0), cv::Vec3b(128, 128, 128));
}

TEST(ToColorPicture, LeavesTheShotAlone) {
  const Shot shot = ColorShot();
  EXPECT_EQ(ToColorPicture(shot).size(), shot.image.size());
  EXPECT_EQ(ToGrayPicture(shot).size(), shot.image.size());
  EXPECT_TRUE(SameBytes(shot.image, ColorShot().image));
}

// --- exports ---

TEST(ExportImage, WritesGrayAndColor) {
  const TempDir dir;
  const LogCapture log;
  const Shot shot = ColorShot();
  EXPECT_EQ(shot.ExportGrayImage(dir.File("gray.png")), DRAVIX_OK);
  EXPECT_EQ(shot.ExportColorImage(dir.File("color.png")), DRAVIX_OK);
  EXPECT_TRUE(
      SameBytes(cv::imread(dir.File("gray.png"), cv::IMREAD_UNCHANGED), ToGrayPicture(shot)));
  EXPECT_TRUE(
      SameBytes(cv::imread(dir.File("color.png"), cv::IMREAD_UNCHANGED), ToColorPicture(shot)));
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::ExportGrayImage", "Shot::ExportColorImage"));
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(ExportImage, OfAnEmptyImageIsRefused) {
  const TempDir dir;
  const LogCapture log;
  EXPECT_EQ(Shot().ExportColorImage(dir.File("a.png")), DRAVIX_NO_RESULT);
  EXPECT_EQ(Shot().ExportGrayImage(dir.File("a.png")), DRAVIX_NO_RESULT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::ExportColorImage--Error :: empty",
                                        "Shot::ExportGrayImage--Error :: empty"));
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

TEST(ExportImage, FailsWhenTheWriterRefusesThePicture) {
  const TempDir dir;
  const LogCapture log;
  Shot shot = ColorShot();
  EXPECT_EQ(shot.ExportColorImage(dir.File("a.unknown")), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(shot.ExportGrayImage(dir.File("missing/a.png")), DRAVIX_CANNOT_WRITE);
  shot.image = cv::Mat(2, 2, CV_16UC2, cv::Scalar(1));  // no gray picture can be made of two planes
  EXPECT_EQ(shot.ExportGrayImage(dir.File("a.png")), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::ExportColorImage--Error :: imwrite",
                                        "Shot::ExportGrayImage--Error :: imwrite",
                                        "Shot::ExportGrayImage--Error :: imwrite"));
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

}  // namespace
