#include "region/region_picture.h"

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "image/picture.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::region::CheckPicture;
using dravix::test::LogCapture;
using dravix::test::LogLevel;
using dravix::test::LogLine;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::TempDir;
using ::testing::ElementsAre;

const cv::Vec3b kGreen(0, 255, 0);
const cv::Vec3b kMagenta(255, 0, 255);
const cv::Vec3b kRed(0, 0, 255);

/// A gray photograph with a lit quadrilateral, and its region.
struct Scene {
  Shot shot;
  RegionOI region;
};

Scene SceneOf(cv::Size size) {
  const auto at = [size](double x, double y) {
    return cv::Point(static_cast<int>(x * size.width), static_cast<int>(y * size.height));
  };
  const std::vector<cv::Point> corners = {at(0.2, 0.25), at(0.75, 0.2), at(0.8, 0.8),
                                          at(0.15, 0.75)};
  Scene scene;
  scene.shot.type = CIE_Y;
  scene.shot.image = cv::Mat(size, CV_16UC1, cv::Scalar(8000));
  cv::fillPoly(scene.shot.image, std::vector<std::vector<cv::Point>>{corners}, cv::Scalar(60000));
  EXPECT_EQ(scene.region.ManualSet(size, corners), DRAVIX_OK);
  return scene;
}

cv::Vec3b Pixel(const cv::Mat& picture, cv::Point at) { return picture.at<cv::Vec3b>(at); }

TEST(RegionPicture, IsWrittenAsTheCheckPicture) {
  const TempDir dir;
  const Scene scene = SceneOf({640, 480});
  const LogCapture log;
  ASSERT_EQ(scene.region.ExportImage(dir.File("check.png"), scene.shot), DRAVIX_OK);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::ExportImage"}}));
  const std::string bytes = Slurp(dir.File("check.png"));
  std::vector<uchar> expected;
  ASSERT_TRUE(cv::imencode(".png", CheckPicture(scene.region, scene.shot), expected));
  EXPECT_EQ(bytes, std::string(expected.begin(), expected.end()));
}

TEST(RegionPicture, HasThreeChannelsAndTheShotsSize) {
  const Scene scene = SceneOf({640, 480});
  const cv::Mat picture = CheckPicture(scene.region, scene.shot);
  EXPECT_EQ(picture.type(), CV_8UC3);
  EXPECT_EQ(picture.size(), cv::Size(640, 480));
}

TEST(RegionPicture, ContourIsGreenAndOnePixelWide) {
  Scene scene = SceneOf({640, 480});
  ASSERT_EQ(scene.region.ManualSet({640, 480}, {{100, 100}, {500, 140}, {480, 400}, {120, 380}}),
            DRAVIX_OK);
  const cv::Mat picture = CheckPicture(scene.region, scene.shot);
  // Down along a column through the upper edge: exactly one green pixel in the upper half.
  int green = 0;
  for (int y = 105; y < 130; ++y) green += Pixel(picture, {300, y}) == kGreen ? 1 : 0;
  EXPECT_EQ(green, 1);
}

TEST(RegionPicture, EveryPixelOfTheOutlineIsDrawn) {
  const Scene scene = SceneOf({640, 480});
  const cv::Mat picture = CheckPicture(scene.region, scene.shot);
  std::vector<std::vector<cv::Point>> outlines;
  cv::findContours(scene.region.mask, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  ASSERT_EQ(outlines.size(), 1U);
  const cv::Mat before = dravix::image::ToImage(scene.shot.image, -1, 3);
  for (const cv::Point& point : outlines[0]) {
    const cv::Point at = point + scene.region.rect.tl();
    EXPECT_NE(Pixel(picture, at), Pixel(before, at)) << at;
  }
}

TEST(RegionPicture, PinsStandOutsideTheOutline) {
  Scene scene = SceneOf({640, 480});
  ASSERT_EQ(scene.region.ManualSet({640, 480}, {{100, 100}, {500, 100}, {500, 400}, {100, 400}}),
            DRAVIX_OK);
  cv::Mat pins;
  cv::inRange(CheckPicture(scene.region, scene.shot), cv::Scalar(0, 200, 0), cv::Scalar(0, 200, 0),
              pins);
  EXPECT_GT(cv::countNonZero(pins), 48 * 4);
  EXPECT_EQ(cv::countNonZero(pins(cv::Rect(98, 98, 405, 305))), 0) << "nothing near the edge";
}

TEST(RegionPicture, RotatedBoxIsMagenta) {
  const Scene scene = SceneOf({640, 480});
  const cv::Mat picture = CheckPicture(scene.region, scene.shot);
  cv::Mat magenta;
  cv::inRange(picture, kMagenta, kMagenta, magenta);
  std::vector<std::vector<cv::Point>> outlines;
  cv::findContours(scene.region.mask, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  const cv::RotatedRect box = cv::minAreaRect(outlines.at(0));
  // Brackets and labels hide some of it.
  EXPECT_GT(cv::countNonZero(magenta), box.size.width + box.size.height);
}

TEST(RegionPicture, CirclesOfRadiusThreeMarkTheRectanglesCorners) {
  const Scene scene = SceneOf({640, 480});
  const cv::Mat picture = CheckPicture(scene.region, scene.shot);
  for (const cv::Point& corner : RectToCorners(scene.region.rect)) {
    for (const cv::Point step :
         {cv::Point(3, 0), cv::Point(-3, 0), cv::Point(0, 3), cv::Point(0, -3)}) {
      EXPECT_EQ(Pixel(picture, corner + step), kRed) << corner << step;
    }
  }
}

TEST(RegionPicture, EveryCornerHasALabelInsideThePicture) {
  const Scene scene = SceneOf({640, 480});
  const cv::Mat picture = CheckPicture(scene.region, scene.shot);
  cv::Mat yellow;
  cv::inRange(picture, cv::Scalar(0, 250, 250), cv::Scalar(5, 255, 255), yellow);
  for (const cv::Point& corner : RectToCorners(scene.region.rect)) {
    const cv::Rect around =
        cv::Rect(corner.x - 160, corner.y - 40, 320, 80) & cv::Rect(0, 0, 640, 480);
    EXPECT_GT(cv::countNonZero(yellow(around)), 80) << corner;  // the bracket alone has 70
  }
}

TEST(RegionPicture, LettersGrowWithThePicture) {
  const auto yellowShare = [](cv::Size size) {
    const Scene scene = SceneOf(size);
    cv::Mat yellow;
    cv::inRange(CheckPicture(scene.region, scene.shot), cv::Scalar(0, 250, 250),
                cv::Scalar(5, 255, 255), yellow);
    return static_cast<double>(cv::countNonZero(yellow)) / size.area();
  };
  const double large = yellowShare({4000, 3000});
  const double small = yellowShare({640, 480});
  EXPECT_GT(large, small / 3) << "letters of fixed size would be a fortieth";
}

TEST(RegionPicture, ShotAndRegionStayAsTheyWere) {
  const Scene scene = SceneOf({640, 480});
  const cv::Mat image = scene.shot.image.clone();
  const cv::Mat mask = scene.region.mask.clone();
  (void)CheckPicture(scene.region, scene.shot);
  EXPECT_TRUE(SameBytes(scene.shot.image, image));
  EXPECT_TRUE(SameBytes(scene.region.mask, mask));
}

TEST(RegionPicture, ColorShotIsShownBlueFirst) {
  Scene scene = SceneOf({640, 480});
  Shot color;
  color.type = CAM_RGB;
  color.image = cv::Mat(480, 640, CV_16UC3, cv::Scalar(60000, 6000, 600));  // red
  EXPECT_EQ(Pixel(CheckPicture(scene.region, color), {2, 470}), cv::Vec3b(3, 26, 255));
}

TEST(RegionPicture, OnePlaneIsShownGrayWhateverTheScreenShowed) {
  Scene scene = SceneOf({640, 480});
  scene.shot.color = 1;
  const cv::Vec3b pixel = Pixel(CheckPicture(scene.region, scene.shot), {2, 470});
  EXPECT_EQ(pixel, cv::Vec3b(34, 34, 34));  // 8000 of 60000
}

TEST(RegionPicture, EmptyRegionIsRefused) {
  const TempDir dir;
  const Scene scene = SceneOf({64, 48});
  RegionOI region = scene.region;
  region.mask.release();
  const LogCapture log;
  EXPECT_EQ(region.ExportImage(dir.File("check.png"), scene.shot), DRAVIX_NO_RESULT);
  EXPECT_EQ(RegionOI().ExportImage(dir.File("check.png"), scene.shot), DRAVIX_NO_RESULT);
  region = scene.region;
  region.rect.height = 0;
  EXPECT_EQ(region.ExportImage(dir.File("check.png"), scene.shot), DRAVIX_NO_RESULT);
  EXPECT_THAT(log.Errors(), ElementsAre("RegionOI::ExportImage--Error :: empty RegionOI",
                                        "RegionOI::ExportImage--Error :: empty RegionOI",
                                        "RegionOI::ExportImage--Error :: empty RegionOI"));
  EXPECT_FALSE(std::filesystem::exists(dir.File("check.png")));
}

TEST(RegionPicture, PictureThatCannotBeWrittenIsAFailure) {
  const TempDir dir;
  const Scene scene = SceneOf({64, 48});
  const LogCapture log;
  EXPECT_EQ(scene.region.ExportImage(dir.File("none") + "/check.png", scene.shot),
            DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(scene.region.ExportImage(dir.File("check.unknown"), scene.shot), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(scene.region.ExportImage(dir.File("check"), scene.shot), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log.Errors(), ElementsAre("RegionOI::ExportImage--Error :: imwrite",
                                        "RegionOI::ExportImage--Error :: imwrite",
                                        "RegionOI::ExportImage--Error :: imwrite"));
}

TEST(RegionPicture, ShotWithoutPixelsGivesNoPicture) {
  const TempDir dir;
  const LogCapture log;
  EXPECT_EQ(SceneOf({64, 48}).region.ExportImage(dir.File("check.png"), Shot()),
            DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log.Errors(), ElementsAre("RegionOI::ExportImage--Error :: imwrite"));
}

TEST(RegionPicture, MaskThatIsNoMaskIsAFailureAndNoException) {
  const TempDir dir;
  Scene scene = SceneOf({64, 48});
  scene.region.mask = cv::Mat::ones(scene.region.mask.size(), CV_16UC1);
  const LogCapture log;
  EXPECT_EQ(scene.region.ExportImage(dir.File("check.png"), scene.shot), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log.Errors(), ElementsAre("RegionOI::ExportImage--Error :: imwrite"));
}

TEST(RegionPicture, RegionsAnywhereAreDrawnWithoutHarm) {
  const TempDir dir;
  const Scene scene = SceneOf({320, 240});
  const cv::Size size = scene.region.rect.size();
  for (const cv::Point at :
       {cv::Point(-50, -50), cv::Point(250, 200), cv::Point(320, 240), cv::Point(-5000, 10),
        cv::Point(INT_MAX, INT_MAX), cv::Point(INT_MIN, INT_MIN), cv::Point(INT_MAX, INT_MIN)}) {
    RegionOI region = scene.region;
    region.rect = cv::Rect(at, size);
    EXPECT_EQ(region.ExportImage(dir.File("check.png"), scene.shot), DRAVIX_OK) << at;
    region.rect = cv::Rect(at, cv::Size(INT_MAX, INT_MAX));
    EXPECT_EQ(region.ExportImage(dir.File("check.png"), scene.shot), DRAVIX_OK) << at;
  }
}

TEST(RegionPicture, MaskWithoutLedAreaIsDrawnWithoutOutline) {
  Scene scene = SceneOf({320, 240});
  scene.region.mask.setTo(0);
  cv::Mat green;
  cv::inRange(CheckPicture(scene.region, scene.shot), kGreen, kGreen, green);
  EXPECT_EQ(cv::countNonZero(green), 0);
}

TEST(RegionPicture, PicturesOfAFewPixelsAreDrawn) {
  for (int side = 1; side < 12; ++side) {
    Shot shot;
    shot.type = CIE_Y;
    shot.image = cv::Mat(side, side, CV_16UC1, cv::Scalar(500));
    RegionOI region;
    region.rect = cv::Rect(0, 0, side, side);
    region.mask = cv::Mat(side, side, CV_8UC1, cv::Scalar(255));
    EXPECT_EQ(CheckPicture(region, shot).size(), cv::Size(side, side));
  }
}

}  // namespace
