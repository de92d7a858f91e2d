/// Measures photographs of a real LED wall of 384 x 256 LEDs, taken in 8-bit sRGB. The photographs
/// are not part of the project; without them the tests are skipped.
#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "extractor/extractor.h"

namespace dravix::test {
namespace {

constexpr int kWallWidth = 384;
constexpr int kWallHeight = 256;
constexpr int kBlue = 0;  // OpenCV's order
constexpr int kRed = 2;

/// The wall's outer corners, good to about two pixels; the lens bends the edges by a few.
const std::array<cv::Point2f, 4> kWallCorners{cv::Point2f(195, 189), cv::Point2f(2772, 96),
                                              cv::Point2f(2832, 1819), cv::Point2f(244, 1895)};

std::string Photo(const char* name) { return std::string(DRAVIX_PHOTOS_DIR) + "/" + name; }

#define SKIP_WITHOUT_PHOTOS()                                  \
  if (!std::filesystem::exists(Photo("wall-chart.jpg"))) {     \
    GTEST_SKIP() << "no photographs in " << DRAVIX_PHOTOS_DIR; \
  }                                                            \
  static_assert(true, "takes the semicolon")

/// Linear light of an sRGB value (IEC 61966-2-1), 0 to 1.
double Linear(int value) {
  const double v = value / 255.0;
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

/// One channel in linear light, full scale 65535.
cv::Mat LinearChannel(const cv::Mat& bgr, int channel) {
  cv::Mat plane;
  cv::extractChannel(bgr, plane, channel);
  cv::Mat table(1, 256, CV_16UC1);
  for (int i = 0; i < 256; ++i)
    table.at<ushort>(0, i) = cv::saturate_cast<ushort>(Linear(i) * 65535);
  cv::Mat linear(plane.size(), CV_16UC1);
  for (int y = 0; y < plane.rows; ++y) {
    for (int x = 0; x < plane.cols; ++x) {
      linear.at<ushort>(y, x) = table.at<ushort>(0, plane.at<uchar>(y, x));
    }
  }
  return linear;
}

/// Photograph pixels of a rectangle in LED units, which may reach beyond the wall by a margin.
std::vector<cv::Point> PhotoQuad(const cv::Rect2f& leds) {
  const std::array<cv::Point2f, 4> wall{cv::Point2f(0, 0), cv::Point2f(kWallWidth, 0),
                                        cv::Point2f(kWallWidth, kWallHeight),
                                        cv::Point2f(0, kWallHeight)};
  const cv::Mat photoFromWall = cv::getPerspectiveTransform(wall.data(), kWallCorners.data());
  std::vector<cv::Point2f> corners{
      leds.tl(), {leds.br().x, leds.tl().y}, leds.br(), {leds.tl().x, leds.br().y}};
  cv::perspectiveTransform(corners, corners, photoFromWall);
  return {corners.begin(), corners.end()};
}

/// The light inside a quadrilateral; 0 outside.
cv::Mat CutOut(const cv::Mat& image, const std::vector<cv::Point>& quad) {
  cv::Mat inside = cv::Mat::zeros(image.size(), CV_8UC1);
  cv::fillConvexPoly(inside, quad, cv::Scalar(255));
  cv::Mat cut = cv::Mat::zeros(image.size(), image.type());
  image.copyTo(cut, inside);
  return cut;
}

/// Root mean square of the difference from LED to its right neighbor, relative to the mean.
double LedToLed(const cv::Mat& lum) {
  const cv::Mat difference = lum.colRange(1, lum.cols) - lum.colRange(0, lum.cols - 1);
  return cv::norm(difference, cv::NORM_L2) / std::sqrt(static_cast<double>(difference.total())) /
         cv::mean(lum)[0];
}

TEST(RealWall, RedBlockIsMeasuredEvenlyEndToEnd) {
  SKIP_WITHOUT_PHOTOS();
  const cv::Mat photo = cv::imread(Photo("wall-chart.jpg"), cv::IMREAD_COLOR);
  ASSERT_EQ(photo.size(), cv::Size(3008, 2000));
  constexpr float kMargin = 2;  // LEDs; the neighbors in red light begin to show beyond
  Shot shot;
  shot.image = CutOut(LinearChannel(photo, kRed),
                      PhotoQuad({-kMargin, -kMargin, 128 + 2 * kMargin, 128 + 2 * kMargin}));
  shot.type = CAM_R;
  shot.pattern = Shot::Pattern{1, 1, 1, 0, 0, 128, 128};
  std::vector<std::int32_t> corners;
  for (const cv::Point& p : PhotoQuad({0, 0, 128, 128})) corners.insert(corners.end(), {p.x, p.y});

  DravixHandle handle = nullptr;
  ASSERT_EQ(DravixCreateHandle(&handle), DRAVIX_OK);
  ASSERT_EQ(DravixExtract(handle, &shot, corners.data(), 4, 0, 0, 0), DRAVIX_OK);
  const cv::Mat lum = handle->lum.clone();
  delete handle;

  cv::Scalar mean;
  cv::Scalar sigma;
  double low = 0;
  double high = 0;
  cv::meanStdDev(lum, mean, sigma);
  cv::minMaxLoc(lum, &low, &high);
  std::cout << "red block: mean " << mean[0] << ", sigma " << 100 * sigma[0] / mean[0] << " %, "
            << low << " to " << high << ", LED to LED " << 100 * LedToLed(lum) << " %\n";
  // A calibrated wall, seen through a lens that darkens toward its corners: smooth, and even to a
  // few per cent.
  EXPECT_LT(sigma[0] / mean[0], 0.06);
  EXPECT_GT(low, 0.8 * mean[0]);
  EXPECT_LT(high, 1.2 * mean[0]);
  EXPECT_LT(LedToLed(lum), 0.02);
}

/// Luminances of the whole wall in one channel, sampled by its corners.
cv::Mat WallLuminances(const cv::Mat& photo, int channel) {
  constexpr int kPixelsPerLed = 7;  // the photograph has 6.8
  const cv::Size size(kWallWidth * kPixelsPerLed, kWallHeight * kPixelsPerLed);
  const auto w = static_cast<float>(size.width);
  const auto h = static_cast<float>(size.height);
  // Edges of the wall lie half a pixel outside the outer pixels' centers.
  const std::array<cv::Point2f, 4> target{cv::Point2f(-0.5F, -0.5F), cv::Point2f(w - 0.5F, -0.5F),
                                          cv::Point2f(w - 0.5F, h - 0.5F),
                                          cv::Point2f(-0.5F, h - 0.5F)};
  cv::Mat upright;
  cv::warpPerspective(LinearChannel(photo, channel), upright,
                      cv::getPerspectiveTransform(kWallCorners.data(), target.data()), size,
                      cv::INTER_CUBIC);
  Dravix dravix;
  dravix.ledWidth = kWallWidth;
  dravix.ledHeight = kWallHeight;
  EXPECT_EQ(dravix.CalLum(upright, cv::Mat(size, CV_8UC1, cv::Scalar(255)), cv::Rect({0, 0}, size)),
            DRAVIX_OK);
  return dravix.lum;
}

double Correlation(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat result;
  cv::matchTemplate(a, b, result, cv::TM_CCOEFF_NORMED);
  return result.at<float>(0, 0);
}

TEST(RealWall, PictureCorrelatesWithWhatWasShown) {
  SKIP_WITHOUT_PHOTOS();
  const cv::Mat photo = cv::imread(Photo("wall-picture.jpg"), cv::IMREAD_COLOR);
  const cv::Mat shown = cv::imread(Photo("wall-picture-displayed.png"), cv::IMREAD_COLOR);
  ASSERT_EQ(shown.size(), cv::Size(kWallWidth, kWallHeight));
  const std::array<const char*, 3> names{"blue", "green", "red"};
  for (int channel = kBlue; channel <= kRed; ++channel) {
    cv::Mat truth;
    cv::extractChannel(shown, truth, channel);
    truth.convertTo(truth, CV_32F, 1.0 / 255);
    cv::pow(truth, 2.2, truth);  // the wall's own transfer curve
    const double correlation = Correlation(WallLuminances(photo, channel), truth);
    std::cout << names.at(static_cast<std::size_t>(channel)) << ": correlation " << correlation
              << "\n";
    EXPECT_GT(correlation, channel == kBlue ? 0.96 : 0.91);
  }
}

}  // namespace
}  // namespace dravix::test
