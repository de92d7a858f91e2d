#include "checkerboard/rectified.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "checkerboard/edge_share.h"
#include "shot/lit_area.h"
#include "shot/picture.h"

namespace dravix::checkerboard {
namespace {

constexpr int kSmoothing = 5;  // side of the Gaussian, pixels
/// Beyond the expected rectangle the lens may still move the outline a little; 1 % keeps such
/// outlines and cuts off reflections beside the screen.
constexpr double kClipMargin = 0.01;
/// A blur of a third of a block makes the outline's edge rise over a sixth of one on either side.
constexpr double kRising = 0.2;  // blocks
constexpr double kThreeQuarters = 0.75;
/// Levels change slowly: they are computed in a picture this many times smaller at most, as long as
/// a block keeps enough pixels there.
constexpr int kLargestShrink = 8;
constexpr double kShrunkenCell = 6;

cv::Mat Warped(const cv::Mat& image, const RectifyParams& params) {
  cv::Mat warped;
  cv::warpPerspective(image, warped, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
  return warped;
}

cv::Mat Smoothed(const cv::Mat& picture, float sigma) {
  cv::Mat smooth;
  cv::GaussianBlur(picture, smooth, {kSmoothing, kSmoothing}, static_cast<double>(sigma), 0);
  return smooth;
}

/// Where LEDs may be: the expected rectangle in the middle and a margin around it.
cv::Rect ExpectedArea(const RectifyParams& params) {
  const auto along = [&](int length) {
    const double share = std::min(1.0, params.areaScale + 2 * kClipMargin);
    return std::clamp(static_cast<int>(std::lround(length * share)), 1, length);
  };
  const cv::Size size(along(params.imageSize.width), along(params.imageSize.height));
  return {(params.imageSize.width - size.width) / 2, (params.imageSize.height - size.height) / 2,
          size.width, size.height};
}

cv::Mat ClosedThenOpened(const cv::Mat& binary, int side) {
  const cv::Mat square = cv::getStructuringElement(cv::MORPH_RECT, {side, side});
  cv::Mat clean;
  cv::morphologyEx(binary, clean, cv::MORPH_CLOSE, square);
  cv::morphologyEx(clean, clean, cv::MORPH_OPEN, square);
  return clean;
}

cv::Mat OnlyExpected(const cv::Mat& binary, const RectifyParams& params) {
  const cv::Rect area = ExpectedArea(params);
  cv::Mat kept = cv::Mat::zeros(binary.size(), CV_8UC1);
  binary(area).copyTo(kept(area));
  return kept;
}

cv::Mat LargestFilled(const cv::Mat& binary) {
  const shot::Contours outlines = shot::OuterContours(binary);
  if (outlines.empty()) return {};
  return shot::Filled(outlines, shot::LargestByMinAreaRect(outlines), binary.size());
}

int ShrinkFor(cv::Size2d cell) {
  const double room = std::min(cell.width, cell.height) / kShrunkenCell;
  return std::clamp(static_cast<int>(room), 1, kLargestShrink);
}

/// The area without the part along its outline where a defocused edge is still rising.
cv::Mat Inner(const cv::Mat& area, cv::Size2d cell) {
  const auto side = [](double length) { return 2 * static_cast<int>(kRising * length) + 1; };
  cv::Mat inner;
  cv::erode(area, inner,
            cv::getStructuringElement(cv::MORPH_RECT, {side(cell.width), side(cell.height)}));
  return inner;
}

/// Mean of `picture` inside `area` over a window of about one block, CV_32FC1, of their size; 0
/// where the window holds no part of the area.
cv::Mat LocalLevel(const cv::Mat& picture, const cv::Mat& area, cv::Size2d cell) {
  const int shrink = ShrinkFor(cell);
  const cv::Size small(std::max(1, picture.cols / shrink), std::max(1, picture.rows / shrink));
  cv::Mat inside;
  picture.copyTo(inside, area);
  cv::resize(inside, inside, small, 0, 0, cv::INTER_AREA);
  inside.convertTo(inside, CV_32F);
  cv::Mat weight;
  cv::resize(area, weight, small, 0, 0, cv::INTER_AREA);
  weight.convertTo(weight, CV_32F, 1.0 / 255);

  const auto side = [&](double length) { return static_cast<int>(length / shrink) | 1; };
  const cv::Size window(side(cell.width), side(cell.height));
  cv::boxFilter(inside, inside, -1, window, {-1, -1}, true, cv::BORDER_CONSTANT);
  cv::boxFilter(weight, weight, -1, window, {-1, -1}, true, cv::BORDER_CONSTANT);
  constexpr double kEnough = 0.02;  // of the window
  cv::Mat level;
  cv::divide(inside, weight, level);
  level.setTo(0, weight < kEnough);
  cv::resize(level, level, picture.size(), 0, 0, cv::INTER_LINEAR);
  return level;
}

/// What is brighter than a share of the level around; gaps closed, specks removed, filled.
cv::Mat AboveShare(const cv::Mat& measured, const cv::Mat& level, double share,
                   const RectifyParams& params) {
  cv::Mat threshold;
  level.convertTo(threshold, measured.type(), share);
  const cv::Mat lit = (measured > threshold) & (level > 0);
  return LargestFilled(OnlyExpected(ClosedThenOpened(lit, params.kernel), params));
}

/// How far the outline of `inner` lies inside that of `outer`.
double MeanDistance(const cv::Mat& outer, const cv::Mat& inner) {
  const cv::Rect box = cv::boundingRect(outer);
  const int between = cv::countNonZero(outer) - (inner.empty() ? 0 : cv::countNonZero(inner));
  return between / (2.0 * (box.width + box.height));
}

/// The same area with its outline where the light falls to a share of the level around there:
/// vignetting and gradients shift the outline that one level for the whole picture gives.
Area AtLocalLevel(const cv::Mat& measured, const cv::Mat& area, const RectifyParams& params) {
  const cv::Mat level = LocalLevel(measured, Inner(area, params.cell), params.cell);
  const cv::Mat rough = AboveShare(measured, level, params.edgeLevelPercent / 100.0, params);
  if (rough.empty()) return {area, {}};
  const cv::Mat inner = AboveShare(measured, level, kThreeQuarters, params);
  const double rise = MeanDistance(rough, inner);
  const double share = MeasuredOutline(measured, rough, level, params.cell, rise).share;
  const cv::Mat mask = AboveShare(measured, level, share, params);
  if (mask.empty()) return {area, {}};
  // What is left comes from the closing, which bridges the gaps between the outermost LEDs.
  return {mask, MeasuredOutline(measured, mask, level, params.cell, rise).excess};
}

}  // namespace

Rectified Rectify(const cv::Mat& board, const cv::Mat& measured, const RectifyParams& params) {
  const bool wide = board.type() == CV_16UC1 && measured.type() == CV_16UC1;
  const auto ready = [&](const cv::Mat& image) {
    const cv::Mat warped = Warped(image, params);
    return Smoothed(wide ? warped : EightBits(warped), params.blurSigma);
  };
  return {ready(board), ready(measured)};
}

cv::Mat EightBits(const cv::Mat& picture) { return shot::ToImage(picture, 0, 1); }

cv::Mat LitParts(const cv::Mat& grey, const RectifyParams& params) {
  cv::Mat lit;
  cv::threshold(grey, lit, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  return OnlyExpected(ClosedThenOpened(lit, params.kernel), params);
}

Area LedArea(const cv::Mat& measured, const RectifyParams& params) {
  const cv::Mat first = LargestFilled(LitParts(EightBits(measured), params));
  if (first.empty()) return {};
  return AtLocalLevel(measured, first, params);
}

}  // namespace dravix::checkerboard
