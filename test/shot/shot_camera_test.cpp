#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <opencv2/imgproc.hpp>

#include "raw/camera_bytes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::DngOf;
using dravix::test::LogCapture;
using dravix::test::LowFirst;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::Spill;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

class CameraFile : public testing::Test {
 protected:
  const cv::Size size_{12, 10};
  const cv::Mat mosaic_ = RandomMat(size_, CV_16UC1, 21, 0, 65536);
  TempDir dir_;
  std::string raw_ = dir_.File("shot.raw");
  std::string dng_ = dir_.File("shot.dng");
  std::string toup_ = dir_.File("toup.dng");
  std::string missing_ = dir_.File("missing");
  Shot shot_;
  LogCapture log_;

  CameraFile() {
    Spill(raw_, LowFirst(mosaic_));
    Spill(dng_, DngOf(size_, LowFirst(mosaic_), true).Bytes());
    Spill(toup_, DngOf(size_, LowFirst(mosaic_), false).Bytes());
    shot_.SetImageSingle(cv::Mat(1, 1, CV_16UC1, cv::Scalar(7)), CIE_Z);
    shot_.SetColor(5);
    log_.Clear();
  }
  /// Expects the shot to be as the fixture made it.
  [[nodiscard]] bool Unchanged() const {
    return shot_.type == CIE_Z && shot_.color == 5 && shot_.image.size() == cv::Size(1, 1) &&
           shot_.image.at<std::uint16_t>(0) == 7;
  }
  [[nodiscard]] cv::Mat Demosaiced() const {
    cv::Mat color;
    cv::demosaicing(mosaic_, color, cv::COLOR_BayerRG2BGR);
    return color;
  }
};

TEST_F(CameraFile, ARawDumpWithoutACodeIsOnePlane) {
  EXPECT_EQ(shot_.CreateFromRaw(raw_, CAM_G, 12, 10, 0), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot_.image, mosaic_));
  EXPECT_EQ(shot_.type, CAM_G);
  EXPECT_EQ(shot_.color, 5);
  EXPECT_THAT(log_.Infos(), ElementsAre("Shot::CreateFromRaw", "Shot::SetImageSingle"));
}

TEST_F(CameraFile, ARawDumpWithACodeIsDemosaiced) {
  EXPECT_EQ(shot_.CreateFromRaw(raw_, CAM_RGB, 12, 10, cv::COLOR_BayerRG2BGR), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot_.image, Demosaiced()));
  EXPECT_THAT(log_.Infos(), ElementsAre("Shot::CreateFromRaw", "Shot::SetImageColor"));
}

TEST_F(CameraFile, ARawDumpThatCannotBeReadIsReported) {
  EXPECT_EQ(shot_.CreateFromRaw(missing_, CAM_G, 12, 10, 0), DRAVIX_CANNOT_READ);
  EXPECT_EQ(shot_.CreateFromRaw(raw_, CAM_G, 10, 11, 0), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(),
              ElementsAre("BImage::ReadOrvelRaw -- Open file failure, fullname = " + missing_,
                          "Shot::CreateFromRaw -- Error Read raw file = " + missing_,
                          "BImage::ReadOrvelRaw -- Check file size, fullname = " + raw_,
                          "Shot::CreateFromRaw -- Error Read raw file = " + raw_));
  EXPECT_TRUE(Unchanged());
}

TEST_F(CameraFile, TheSettersCodesPassThrough) {
  EXPECT_EQ(shot_.CreateFromRaw(raw_, CAM_RGB, 12, 10, 0), DRAVIX_BAD_TYPE);
  EXPECT_EQ(shot_.CreateFromRaw(raw_, CIE_Y, 12, 10, cv::COLOR_BayerRG2BGR), DRAVIX_BAD_TYPE);
  EXPECT_EQ(shot_.CreateFromRaw(raw_, CAM_R, 12, 10, 9999), DRAVIX_NO_MOSAIC_CODE);
  EXPECT_EQ(shot_.ReadDng(dng_, CAM_RGB, 0), DRAVIX_BAD_TYPE);
  EXPECT_EQ(shot_.ReadDng(dng_, CAM_RGB, -1), DRAVIX_NO_MOSAIC_CODE);
  EXPECT_EQ(shot_.ReadDngToupTek(toup_, CAM_RGB), DRAVIX_BAD_TYPE);
  EXPECT_TRUE(Unchanged());
}

TEST_F(CameraFile, AnUnknownCameraIsRefused) {
  for (const int camera : {0, -1, 120012, 320016, 120015, 120017}) {
    log_.Clear();
    EXPECT_EQ(shot_.CreateFromRaw(raw_, camera, CAM_G), DRAVIX_UNKNOWN_CAMERA) << camera;
    EXPECT_THAT(log_.Infos(), ElementsAre("Shot::CreateFromRaw"));
    EXPECT_THAT(log_.Errors(), ElementsAre("Shot::CreateFromRaw -- Error CameraType"));
  }
  EXPECT_TRUE(Unchanged());
}

TEST_F(CameraFile, ADumpOfAnotherSizeThanTheCamerasCannotBeRead) {
  EXPECT_EQ(shot_.CreateFromRaw(raw_, 120016, CAM_G), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(),
              ElementsAre("BImage::ReadOrvelRaw -- Check file size, fullname = " + raw_,
                          "Shot::CreateFromRaw -- Error Read raw file=" + raw_));
  EXPECT_TRUE(Unchanged());
}

TEST_F(CameraFile, KnownCamerasHaveTheirSizes) {
  struct Known {
    int camera;
    cv::Size size;
    std::uintmax_t bytes;
  };
  for (const Known& known :
       {Known{120016, {4250, 2838}, 24'123'000}, Known{320012, {6464, 4852}, 62'726'656}}) {
    const std::string name = dir_.File("known.raw");
    Spill(name, "\x34\x12");
    std::filesystem::resize_file(dir_.Path() / "known.raw", known.bytes);
    EXPECT_EQ(shot_.CreateFromRaw(name, known.camera, CAM_B), DRAVIX_OK);
    EXPECT_EQ(shot_.image.size(), known.size);
    EXPECT_EQ(shot_.image.at<std::uint16_t>(0, 0), 0x1234);
    EXPECT_EQ(shot_.type, CAM_B);
    EXPECT_EQ(shot_.CreateFromRaw(name, known.camera, CIE_XYZ), DRAVIX_BAD_TYPE);
  }
}

TEST_F(CameraFile, ADngIsReadWithAndWithoutACode) {
  EXPECT_EQ(shot_.ReadDng(dng_, CIE_X, 0), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot_.image, mosaic_));
  EXPECT_THAT(log_.Infos(), ElementsAre("Shot::ReadDng", "Shot::SetImageSingle"));
  EXPECT_EQ(shot_.ReadDng(dng_, CAM_B, cv::COLOR_BayerRG2BGR), DRAVIX_OK);
  cv::Mat expected;
  cv::extractChannel(Demosaiced(), expected, 2);
  EXPECT_TRUE(SameBytes(shot_.image, expected));
}

TEST_F(CameraFile, ADngOfTheOtherMakerIsTurnedTheRightWayUp) {
  EXPECT_EQ(shot_.ReadDngToupTek(toup_, CAM_R), DRAVIX_OK);
  cv::Mat expected;
  cv::flip(mosaic_, expected, 0);
  EXPECT_TRUE(SameBytes(shot_.image, expected));
  EXPECT_EQ(shot_.type, CAM_R);
  EXPECT_THAT(log_.Infos(), ElementsAre("Shot::ReadDngToupTek", "Shot::SetImageSingle"));
}

TEST_F(CameraFile, ADngThatCannotBeReadIsReported) {
  EXPECT_EQ(shot_.ReadDng(missing_, CAM_G, 0), DRAVIX_CANNOT_READ);
  EXPECT_EQ(shot_.ReadDngToupTek(missing_, CAM_G), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(),
              ElementsAre("BImage::ReadRggbDng -- Failed to Open file. fullname = " + missing_,
                          "Shot::ReadDng--Error ::Error Read dng file = " + missing_,
                          "BImage::ReadDngToup -- Failed to Open file. fullname = " + missing_,
                          "Shot::ReadDng--Error ::Error Read dng file = " + missing_));
  EXPECT_TRUE(Unchanged());
}

}  // namespace
