#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "extractor/extractor.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace dravix::test {
namespace {

using Strings = std::vector<std::string>;

Dravix WithLum(const cv::Mat& lum) {
  Dravix dravix;
  dravix.lum = lum;
  return dravix;
}

cv::Mat Exported(const Dravix& dravix, bool colored) {
  const TempDir dir;
  EXPECT_EQ(dravix.ExportImage(dir.File("lum.png"), colored), DRAVIX_OK);
  return cv::imread(dir.File("lum.png"), cv::IMREAD_UNCHANGED);
}

TEST(ResultPicture, FixedValueResultIsWhite) {
  EXPECT_TRUE(SameBytes(Exported(WithLum(cv::Mat(4, 6, CV_32FC1, cv::Scalar(2048))), false),
                        cv::Mat(4, 6, CV_8UC1, cv::Scalar(255))));
}

TEST(ResultPicture, LargestAbsoluteValueSetsTheScale) {
  const cv::Mat lum = (cv::Mat_<float>(1, 2) << -10, 5);
  EXPECT_TRUE(SameBytes(Exported(WithLum(lum), false), (cv::Mat_<uchar>(1, 2) << 0, 128)));
}

TEST(ResultPicture, ScreenColorGoesIntoItsChannels) {
  const cv::Mat lum = (cv::Mat_<float>(1, 2) << 100, 50);
  for (int color = 1; color < 8; ++color) {
    Shot shot;
    shot.color = color;
    Dravix dravix = WithLum(lum);
    dravix.shot = &shot;
    const cv::Mat picture = Exported(dravix, true);
    ASSERT_EQ(picture.type(), CV_8UC3);
    for (int channel = 0; channel < 3; ++channel) {
      const bool lit = (color >> channel & 1) != 0;
      EXPECT_EQ(picture.at<cv::Vec3b>(0, 0)[channel], lit ? 255 : 0) << color << channel;
      EXPECT_EQ(picture.at<cv::Vec3b>(0, 1)[channel], lit ? 128 : 0) << color << channel;
    }
    EXPECT_EQ(Exported(dravix, false).type(), CV_8UC1);
  }
}

TEST(ResultPicture, WithoutAScreenColorItIsGrayInThreeChannels) {
  Shot colorless;
  Shot black;
  black.color = 0;
  for (const Shot* shot :
       {static_cast<const Shot*>(nullptr), &std::as_const(colorless), &std::as_const(black)}) {
    Dravix dravix = WithLum((cv::Mat_<float>(1, 2) << 100, 50));
    dravix.shot = shot;
    const cv::Mat picture = Exported(dravix, true);
    ASSERT_EQ(picture.type(), CV_8UC3);
    EXPECT_EQ(picture.at<cv::Vec3b>(0, 1), cv::Vec3b(128, 128, 128));
  }
}

TEST(ResultPicture, OnlyTheThreeLowestBitsOfAColorAreLookedAt) {
  Shot shot;
  shot.color = -8;
  Dravix dravix = WithLum((cv::Mat_<float>(1, 1) << 100));
  dravix.shot = &shot;
  EXPECT_EQ(Exported(dravix, true).at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0));
}

TEST(ResultPicture, GrayPictureDoesNotLookAtTheShot) {
  Dravix dravix = WithLum((cv::Mat_<float>(1, 2) << 100, 50));
  // As left behind by a host that has let go of its shot; reading there ends the program.
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  dravix.shot = reinterpret_cast<const Shot*>(std::uintptr_t{alignof(Shot)});
  EXPECT_EQ(Exported(dravix, false).type(), CV_8UC1);
}

TEST(ResultPicture, WithoutAResultNothingIsWritten) {
  const TempDir dir;
  const LogCapture log;
  EXPECT_EQ(Dravix().ExportImage(dir.File("lum.png"), true), DRAVIX_NO_RESULT);
  EXPECT_EQ(log.Infos(), Strings{"Dravix::ExportImage"});
  EXPECT_EQ(log.Errors(), Strings{"Error in Semtor::ExportImage input lum empty!"});
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "lum.png"));
}

TEST(ResultPicture, WriterThatFailsIsReportedByCodeAlone) {
  const TempDir dir;
  const Dravix dravix = WithLum(cv::Mat(4, 6, CV_32FC1, cv::Scalar(1)));
  const LogCapture log;
  EXPECT_EQ(dravix.ExportImage(dir.File("lum.unknown"), false), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(dravix.ExportImage(dir.File("lum"), true), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(dravix.ExportImage(dir.File("no/such/folder.png"), false), DRAVIX_CANNOT_WRITE);
  EXPECT_TRUE(log.Errors().empty());
}

}  // namespace
}  // namespace dravix::test
