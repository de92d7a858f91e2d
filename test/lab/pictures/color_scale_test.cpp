#include <dravix/lab/color_scale.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <opencv2/imgproc.hpp>

namespace dravix::lab {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr int kMargin = 14;  // pixels around a picture of up to 1024 values a side

/// Values from `level` to 2 `level`, from left to right.
cv::Mat1f Slope(cv::Size size, double level) {
  cv::Mat1f values(size);
  for (int x = 0; x < size.width; ++x) {
    const double share = static_cast<double>(x) / std::max(size.width - 1, 1);
    values.col(x) = static_cast<float>(level * (1 + share));
  }
  return values;
}

/// The rectangle around all that is not white.
cv::Rect Inked(const cv::Mat& picture) {
  cv::Mat ink;
  cv::inRange(picture, cv::Scalar::all(0), cv::Scalar::all(254), ink);
  // inRange asks all three channels at once: a pure blue or red would be missed, black letters not.
  return cv::boundingRect(ink);
}

TEST(ColorScale, NumbersOfEverySizeHaveTheRoomThatTheyNeed) {
  for (const double level : {1e-9, 1e-7, 0.0003, 0.5, 1000.0, 123456.0, 3e9, 1e30}) {
    const cv::Mat1f values = Slope({40, 30}, level);
    FalseColor how = ScaleOf(values, "luminance");
    how.unit = " %";
    const cv::Mat picture = FalseColorPicture(values, how);
    EXPECT_LE(Inked(picture).br().x, picture.cols - kMargin / 2) << level;
  }
}

TEST(ColorScale, TitleAndMarksOfSmallPicturesAreNotCutOff) {
  const cv::Mat1f values = Slope({1, 900}, 5);
  FalseColor how = ScaleOf(values, "a title that is longer than the picture is wide");
  how.copied = 0;
  const cv::Mat picture = FalseColorPicture(values, how);
  EXPECT_LE(Inked(picture).br().x, picture.cols - kMargin / 2);
  const cv::Mat titled = Titled(cv::Mat3b(20, 20, cv::Vec3b()), how.title);
  EXPECT_LE(Inked(titled).br().x, titled.cols - kMargin / 2);
}

/// The height in pixels of the letters of the title.
int TitleHeight(cv::Size leds) {
  const cv::Mat1f values = Slope(leds, 5);
  const cv::Mat picture = FalseColorPicture(values, ScaleOf(values, "HHHH"));
  // The frame around the values is the first dark line over the whole width of the values.
  cv::Mat gray;
  cv::cvtColor(picture, gray, cv::COLOR_BGR2GRAY);
  int frame = 0;
  while (cv::countNonZero(gray.row(frame).colRange(gray.cols / 8, gray.cols / 2) > 60) > 0) ++frame;
  return Inked(picture.rowRange(0, frame).colRange(0, picture.cols / 2)).height;
}

TEST(ColorScale, LettersGrowWithThePicture) {
  const int small = TitleHeight({1024, 100});
  EXPECT_GE(small, 12);  // readable at one pixel of the picture per pixel of the monitor
  EXPECT_NEAR(TitleHeight({1536, 100}), 1.5 * small, 3);
  EXPECT_NEAR(TitleHeight({4096, 100}), 4 * small, 6);
  EXPECT_EQ(TitleHeight({5, 3}), small);
}

TEST(ColorScale, WhatIsNotFiniteIsGray) {
  cv::Mat1f values = Slope({20, 10}, 5);
  values(3, 4) = kNaN;
  values(5, 6) = std::numeric_limits<float>::infinity();
  const cv::Mat3b colors = FalseColors(values, ScaleOf(values, ""));
  const auto isGray = [](cv::Vec3b color) { return color[0] == color[1] && color[1] == color[2]; };
  for (int y = 0; y < values.rows; ++y) {
    for (int x = 0; x < values.cols; ++x) {
      const bool measured = !(y == 3 && x == 4) && !(y == 5 && x == 6);
      EXPECT_EQ(isGray(colors(y, x)), !measured) << x << ", " << y;
    }
  }
}

TEST(ColorScale, ALineSaysWhatGrayMeans) {
  cv::Mat1f values = Slope({1024, 200}, 5);
  const FalseColor how = ScaleOf(values, "luminance");
  const int without = FalseColorPicture(values, how).rows;
  values(100, 100) = kNaN;
  EXPECT_GT(FalseColorPicture(values, how).rows, without);
}

TEST(ColorScale, EndsLeaveOutTheOutermostThousandth) {
  cv::Mat1f values(50, 50, 10.0F);
  values(0, 0) = 0;
  values(1, 1) = 1000;
  values(2, 2) = kNaN;
  values.row(10) = 8.0F;
  values.row(20) = 13.0F;
  const FalseColor how = ScaleOf(values, "");
  EXPECT_DOUBLE_EQ(how.low, 8);
  EXPECT_DOUBLE_EQ(how.high, 13);
}

}  // namespace
}  // namespace dravix::lab
