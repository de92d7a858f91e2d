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

using Quad = std::array<cv::Point2f, 4>;

Quad RectQuad(double width, double height) {
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);
  return {cv::Point2f(0, 0), cv::Point2f(w, 0), cv::Point2f(w, h), cv::Point2f(0, h)};
}

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

std::vector<cv::Point> Mapped(const std::vector<cv::Point2f>& points, const cv::Mat& map) {
  std::vector<cv::Point2f> mapped;
  cv::perspectiveTransform(points, mapped, map);
  return {mapped.begin(), mapped.end()};
}

void DrawLine(cv::Mat& picture, const cv::Mat& photoFromLeds, cv::Point2f from, cv::Point2f to,
              const cv::Scalar& color, int thickness) {
  const auto ends = Mapped({from, to}, photoFromLeds);
  cv::line(picture, ends[0], ends[1], color, thickness, cv::LINE_AA);
}

void DrawGrid(cv::Mat& picture, const cv::Mat& photoFromLeds, const BlockGrid& grid) {
  const auto width = static_cast<float>(grid.leds.width);
  const auto height = static_cast<float>(grid.leds.height);
  for (const int edge : BlockEdges(grid.leds.width, grid.blocks.width, grid.last.width)) {
    const auto x = static_cast<float>(edge);
    DrawLine(picture, photoFromLeds, {x, 0}, {x, height}, kLines, 1);
  }
  for (const int edge : BlockEdges(grid.leds.height, grid.blocks.height, grid.last.height)) {
    const auto y = static_cast<float>(edge);
    DrawLine(picture, photoFromLeds, {0, y}, {width, y}, kLines, 1);
  }
  const Quad corners = RectQuad(width, height);
  for (std::size_t i = 0; i < corners.size(); ++i) {
    DrawLine(picture, photoFromLeds, corners[i], corners[(i + 1) % 4], kOutline, 2);
    cv::circle(picture, Mapped({corners[i]}, photoFromLeds)[0], 6, kOutline, 2, cv::LINE_AA);
  }
}

/// The line between measured LEDs and the border of copies.
void DrawCopiedBorder(cv::Mat& picture, const cv::Mat& photoFromLeds, const BlockGrid& grid) {
  const cv::Size inner = grid.leds - cv::Size(2 * grid.copied, 2 * grid.copied);
  if (grid.copied == 0 || inner.width < 1 || inner.height < 1) return;
  Quad corners = RectQuad(inner.width, inner.height);
  const auto offset = static_cast<float>(grid.copied);
  for (cv::Point2f& corner : corners) corner += cv::Point2f(offset, offset);
  for (std::size_t i = 0; i < corners.size(); ++i) {
    DrawLine(picture, photoFromLeds, corners[i], corners[(i + 1) % 4], kCopiedLine, 1);
  }
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

cv::Mat MeasurementOverlay(const cv::Mat& photo, const cv::Mat& board,
                           const std::vector<cv::Point>& corners, const cv::Mat& luminances,
                           const BlockGrid& grid) {
  const double scale = std::min(1.0, kLongestSide / std::max(photo.cols, photo.rows));
  std::vector<cv::Mat> pictures;
  cv::Mat measured = Visible(photo, scale);
  cv::Mat inPose(measured.size(), CV_8UC3, cv::Scalar::all(0));
  cv::Mat shown = board.empty() ? cv::Mat() : Visible(board, scale);
  if (corners.size() == 4) {
    Quad target;
    for (std::size_t i = 0; i < 4; ++i) target.at(i) = cv::Point2f(corners[i]) * scale;
    const Quad leds = RectQuad(grid.leds.width, grid.leds.height);
    const cv::Mat photoFromLeds = cv::getPerspectiveTransform(leds.data(), target.data());
    DrawGrid(measured, photoFromLeds, grid);
    if (!shown.empty()) DrawGrid(shown, photoFromLeds, grid);
    const cv::Mat colors = lab::FalseColors(luminances, lab::ScaleOf(luminances, ""));
    // Pixel centers lie at integers, but LED number n reaches from n to n + 1: half a pixel apart.
    const cv::Mat ledsFromPixels = (cv::Mat_<double>(3, 3) << 1, 0, 0.5, 0, 1, 0.5, 0, 0, 1);
    cv::warpPerspective(colors, inPose, photoFromLeds * ledsFromPixels, inPose.size(),
                        cv::INTER_NEAREST);
    DrawCopiedBorder(inPose, photoFromLeds, grid);
  }
  pictures.push_back(lab::Titled(measured, "photograph, lit area and grid"));
  if (!shown.empty()) pictures.push_back(lab::Titled(shown, "checkerboard, the same grid"));
  const std::string copied = grid.copied > 0 ? "; outside the line: copies of inner LEDs" : "";
  pictures.push_back(lab::Titled(inPose, "measured luminance in the same pose" + copied));
  return lab::SideBySide(pictures);
}

}  // namespace dravix::tool
