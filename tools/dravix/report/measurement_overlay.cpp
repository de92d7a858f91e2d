#include "report/measurement_overlay.h"

#include <dravix/lab/color_scale.h>

#include <algorithm>
#include <array>
#include <opencv2/imgproc.hpp>
#include <string>

namespace dravix::tool {
namespace {

constexpr double kLongestSide = 1100;  // pixels; three such pictures fit side by side on a screen
const cv::Scalar kOutline(60, 200, 255);
const cv::Scalar kLines(230, 140, 60);
const cv::Scalar kCopiedLine(255, 255, 255);

/// The photograph scaled down, with three channels of 8 bits and its brightest sample white.
cv::Mat Visible(const cv::Mat& photo, double scale) {
  cv::Mat small;
  cv::resize(photo, small, {}, scale, scale, cv::INTER_AREA);
  cv::Mat gray;
  cv::normalize(small, gray, 255, 0, cv::NORM_INF, CV_8U);
  cv::Mat color;
  if (gray.channels() == 3) return gray;
  cv::cvtColor(gray, color, cv::COLOR_GRAY2BGR);
  return color;
}

/// The screen on a picture that is the photograph scaled down.
struct Drawing {
  const ScreenInPhoto& screen;
  double scale;

  [[nodiscard]] cv::Point2d At(cv::Point2d led) const { return scale * screen.At(led); }
};

/// A line between two places of the screen, as the lens bends it.
void DrawLine(cv::Mat& picture, const Drawing& drawing, cv::Point2d from, cv::Point2d to,
              const cv::Scalar& color, int thickness) {
  constexpr int kParts = 64;
  std::vector<cv::Point> points;
  for (int i = 0; i <= kParts; ++i) {
    points.emplace_back(drawing.At(from + (to - from) * (1.0 / kParts * i)));
  }
  cv::polylines(picture, points, false, color, thickness, cv::LINE_AA);
}

/// The outline of the LEDs that are left inside a border.
void DrawLedOutline(cv::Mat& picture, const Drawing& drawing, int border, const cv::Scalar& color,
                    int thickness) {
  const cv::Size leds = drawing.screen.Leds();
  const double near = border;
  const double right = leds.width - border;
  const double bottom = leds.height - border;
  const std::array<cv::Point2d, 4> corners = {cv::Point2d(near, near), cv::Point2d(right, near),
                                              cv::Point2d(right, bottom),
                                              cv::Point2d(near, bottom)};
  for (std::size_t i = 0; i < corners.size(); ++i) {
    DrawLine(picture, drawing, corners.at(i), corners.at((i + 1) % 4), color, thickness);
  }
}

void DrawGrid(cv::Mat& picture, const Drawing& drawing, const BlockGrid& grid) {
  const cv::Size leds = drawing.screen.Leds();
  for (const int x : BlockEdges(leds.width, grid.blocks.width, grid.last.width)) {
    DrawLine(picture, drawing, cv::Point(x, 0), cv::Point(x, leds.height), kLines, 1);
  }
  for (const int y : BlockEdges(leds.height, grid.blocks.height, grid.last.height)) {
    DrawLine(picture, drawing, cv::Point(0, y), cv::Point(leds.width, y), kLines, 1);
  }
  DrawLedOutline(picture, drawing, 0, kOutline, 2);
  for (const cv::Point corner : {cv::Point(0, 0), cv::Point(leds.width, 0),
                                 cv::Point(leds.width, leds.height), cv::Point(0, leds.height)}) {
    cv::circle(picture, drawing.At(corner), 6, kOutline, 2, cv::LINE_AA);
  }
}

/// Colors the pixels of one patch by the LEDs that they show.
void DrawLeds(cv::Mat& picture, const ScreenPatch& patch, double scale, const cv::Mat& colors) {
  const cv::Matx33d scaled(scale, 0, 0, 0, scale, 0, 0, 0, 1);
  const cv::Matx33d ledsFromPicture = (scaled * patch.photoFromLeds).inv();
  const cv::Point2d first = patch.leds.tl();
  const cv::Point2d last = patch.leds.br();
  std::vector<cv::Point> corners;
  for (const cv::Point2d led :
       {first, cv::Point2d(last.x, first.y), last, cv::Point2d(first.x, last.y)}) {
    corners.emplace_back(scale * Mapped(patch.photoFromLeds, led));
  }
  const cv::Rect around = cv::boundingRect(corners);
  const cv::Rect shown =
      cv::Rect(around.tl(), around.br() + cv::Point(1, 1)) & cv::Rect({0, 0}, picture.size());
  for (int y = shown.y; y < shown.y + shown.height; ++y) {
    for (int x = shown.x; x < shown.x + shown.width; ++x) {
      const cv::Point2d led = Mapped(ledsFromPicture, cv::Point(x, y));
      if (!patch.leds.contains(led)) continue;
      picture.at<cv::Vec3b>(y, x) =
          colors.at<cv::Vec3b>(std::min(static_cast<int>(led.y), colors.rows - 1),
                               std::min(static_cast<int>(led.x), colors.cols - 1));
    }
  }
}

/// The line between measured LEDs and the border of copies.
void DrawCopiedBorder(cv::Mat& picture, const Drawing& drawing, int copied) {
  const cv::Size leds = drawing.screen.Leds();
  if (copied == 0 || std::min(leds.width, leds.height) <= 2 * copied) return;
  DrawLedOutline(picture, drawing, copied, kCopiedLine, 1);
}

}  // namespace

std::vector<int> BlockEdges(int count, int blocks, int last) {
  constexpr int kParts = 8;
  std::vector<int> edges;
  if (blocks < 2) {
    for (int i = 0; i <= kParts; ++i) edges.push_back(count * i / kParts);
    return edges;
  }
  const int side = last > 0 ? (count - last) / (blocks - 1) : count / blocks;
  for (int i = 0; i < blocks; ++i) edges.push_back(i * side);
  edges.push_back(count);
  return edges;
}

cv::Mat MeasurementOverlay(const cv::Mat& photo, const cv::Mat& board, const ScreenInPhoto& screen,
                           const cv::Mat& luminances, const BlockGrid& grid) {
  const double scale = std::min(1.0, kLongestSide / std::max(photo.cols, photo.rows));
  const Drawing drawing = {screen, scale};
  cv::Mat measured = Visible(photo, scale);
  DrawGrid(measured, drawing, grid);
  std::vector<cv::Mat> pictures = {lab::Titled(measured, "photograph, lit area and grid")};
  if (!board.empty()) {
    cv::Mat shown = Visible(board, scale);
    DrawGrid(shown, drawing, grid);
    pictures.push_back(lab::Titled(shown, "checkerboard, the same grid"));
  }
  cv::Mat inPose(measured.size(), CV_8UC3, cv::Scalar::all(0));
  const cv::Mat colors = lab::FalseColors(luminances, lab::ScaleOf(luminances, ""));
  for (const ScreenPatch& patch : screen.Patches()) DrawLeds(inPose, patch, scale, colors);
  DrawCopiedBorder(inPose, drawing, grid.copied);
  const std::string copied = grid.copied > 0 ? "; outside the line: copies of inner LEDs" : "";
  pictures.push_back(lab::Titled(inPose, "measured luminance in the same pose" + copied));
  return lab::SideBySide(pictures);
}

}  // namespace dravix::tool
