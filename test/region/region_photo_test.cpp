/// Photographs of a real LED wall, where they are present (DRAVIX_PHOTOS_DIR).
///
/// What holds here is what the method can do with contents other than an evenly lit screen: the
/// outline is that of the bright part, and it is the wall's where the bright part touches the
/// wall's border.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::LogCapture;
using dravix::test::TempDir;
using ::testing::ElementsAre;
using Corners = std::vector<cv::Point>;

constexpr auto kNoOrder =
    "RegionOI::GetPrecision4Corner--Error ::  cannot find Correct 4 points !!.";

// The wall's outer corners in every one of the photographs, good to about two pixels.
const cv::Point kTopLeft(195, 189);
const cv::Point kTopRight(2772, 96);
const cv::Point kBottomRight(2832, 1819);
const cv::Point kBottomLeft(244, 1895);

/// Linear light of an sRGB sample (IEC 61966-2-1).
double LinearOf(double coded) {
  return coded <= 0.04045 ? coded / 12.92 : std::pow((coded + 0.055) / 1.055, 2.4);
}

/// The photograph's luminance in 16 bits; empty when the file is not there.
Shot LinearShot(const std::string& name) {
  const cv::Mat coded =
      cv::imread((std::filesystem::path(DRAVIX_PHOTOS_DIR) / name).string(), cv::IMREAD_COLOR);
  Shot shot;
  shot.type = CIE_Y;
  if (coded.empty()) return shot;
  cv::Mat linearOf(1, 256, CV_32FC1);
  for (int i = 0; i < 256; ++i) linearOf.at<float>(i) = static_cast<float>(LinearOf(i / 255.0));
  cv::Mat linear;
  cv::LUT(coded, linearOf, linear);
  cv::Mat luminance;
  cv::transform(linear, luminance, cv::Matx13f(0.0722F, 0.7152F, 0.2126F));
  luminance.convertTo(shot.image, CV_16U, 65535);
  return shot;
}

double Off(const cv::Point& found, const cv::Point& truth) { return cv::norm(found - truth); }

class WallPhoto : public ::testing::Test {
 protected:
  /// Ends the test when the photographs are not there.
  void Open(const std::string& name) {
    shot_ = LinearShot(name);
    if (shot_.image.empty()) GTEST_SKIP() << "no photograph " << name << " in " DRAVIX_PHOTOS_DIR;
    ASSERT_EQ(region_.SetShot(&shot_), DRAVIX_OK);
  }
  void ExpectCheckPicture(const std::string& name) {
    const TempDir dir;
    ASSERT_EQ(region_.ExportImage(dir.File(name), shot_), DRAVIX_OK);
    EXPECT_EQ(cv::imread(dir.File(name)).size(), shot_.image.size());
  }

  Shot shot_;
  RegionOI region_;
};

TEST_F(WallPhoto, OverexposedChartGivesTheWallsUpperCornersAfterComputeBlur) {
  Open("wall-chart-overexposed.jpg");
  if (IsSkipped()) return;
  ASSERT_EQ(region_.ComputeBlur(), DRAVIX_OK);
  Corners corners;
  ASSERT_EQ(region_.GetPrecision4Corner(corners), DRAVIX_OK);
  EXPECT_LT(Off(corners[0], kTopLeft), 15);
  EXPECT_LT(Off(corners[1], kTopRight), 15);
  // The block at the lower left is black: its two inner corners are stronger than the wall's own.
  EXPECT_GT(Off(corners[2], kBottomRight), 500);
  EXPECT_GT(Off(corners[3], kBottomLeft), 500);
  ExpectCheckPicture("blur.png");
}

TEST_F(WallPhoto, OverexposedChartGivesOneDiagonalOfTheWallAfterAutoSet) {
  Open("wall-chart-overexposed.jpg");
  if (IsSkipped()) return;
  ASSERT_EQ(region_.AutoSet(), DRAVIX_OK);
  Corners corners;
  ASSERT_EQ(region_.GetPrecision4Corner(corners), DRAVIX_OK);
  EXPECT_LT(Off(corners[0], kTopLeft), 15);
  EXPECT_LT(Off(corners[2], kBottomRight), 35);  // bent by the lens, then grown by the dilation
  EXPECT_GT(Off(corners[1], kTopRight), 500);
  EXPECT_GT(Off(corners[3], kBottomLeft), 500);
  ExpectCheckPicture("auto.png");
}

TEST_F(WallPhoto, OverexposedChartsRectangleIsTheWallsOnThreeSides) {
  Open("wall-chart-overexposed.jpg");
  if (IsSkipped()) return;
  ASSERT_EQ(region_.ComputeBlur(), DRAVIX_OK);
  EXPECT_NEAR(region_.rect.x, kTopLeft.x, 5);
  EXPECT_NEAR(region_.rect.y, kTopRight.y, 20);
  EXPECT_NEAR(region_.rect.br().x, kBottomRight.x, 25);
  EXPECT_EQ(region_.rect.br().y, shot_.image.rows) << "light on the floor, down to the border";
}

TEST_F(WallPhoto, PictureOnTheWallHasNoFourCorners) {
  Open("wall-picture.jpg");
  if (IsSkipped()) return;
  const Corners inner = {{300, 200}, {2707, 200}, {2707, 1800}, {300, 1800}};
  for (const bool automatic : {false, true}) {
    ASSERT_EQ(automatic ? region_.AutoSet() : region_.ComputeBlur(), DRAVIX_OK);
    Corners corners;
    const LogCapture log;
    EXPECT_EQ(region_.GetPrecision4Corner(corners), DRAVIX_NO_CORNERS);
    EXPECT_THAT(log.Errors(), ElementsAre(kNoOrder));
    EXPECT_EQ(corners, inner);
    ExpectCheckPicture("picture.png");
  }
}

}  // namespace
