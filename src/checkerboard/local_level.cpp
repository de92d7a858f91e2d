#include "checkerboard/local_level.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "checkerboard/rectified.h"

namespace dravix::checkerboard {
namespace {

/// A blur of a third of a block makes the outline's edge rise over a sixth of one on either side.
constexpr double kRising = 0.2;  // blocks
/// As long as a block keeps enough pixels in the small picture.
constexpr int kLargestShrink = 8;
constexpr double kShrunkenCell = 6;
constexpr double kHalf = 0.5;
constexpr double kEnough = 0.02;  // of the window, that must be inside the area

int ShrinkFor(cv::Size2d cell) {
  const double room = std::min(cell.width, cell.height) / kShrunkenCell;
  return std::clamp(static_cast<int>(room), 1, kLargestShrink);
}

/// `box` and the window around it, in whole pixels of the small picture.
cv::Rect WholePixels(const cv::Rect& box, cv::Size2d cell, int shrink, cv::Size picture) {
  const cv::Size window(static_cast<int>(cell.width) + shrink,
                        static_cast<int>(cell.height) + shrink);
  cv::Rect part = GrownInside(box, window, picture);
  part.width -= part.width % shrink;
  part.height -= part.height % shrink;
  return part;
}

/// Zeros outside the picture.
cv::Mat Shrunken(const cv::Mat& picture, cv::Point origin, cv::Size small, int shrink) {
  const cv::Rect part(origin, small * shrink);
  cv::Mat shrunken;
  cv::resize(picture(part), shrunken, small, 0, 0, cv::INTER_AREA);
  return shrunken;
}

}  // namespace

InnerArea InnerOf(const cv::Mat& mask, const cv::Rect& box, cv::Size2d cell) {
  const int shrink = std::min({ShrinkFor(cell), mask.cols, mask.rows});
  const cv::Rect part = WholePixels(box, cell, shrink, mask.size());
  InnerArea inner{Shrunken(mask, part.tl(), part.size() / shrink, shrink), shrink, part.tl()};
  cv::threshold(inner.small, inner.small, 254, 255, cv::THRESH_BINARY);
  const auto side = [&](double length) {
    return 2 * static_cast<int>(kRising * length / shrink) + 1;
  };
  cv::erode(inner.small, inner.small,
            cv::getStructuringElement(cv::MORPH_RECT, {side(cell.width), side(cell.height)}));
  return inner;
}

LevelMap LocalLevel(const cv::Mat& picture, const InnerArea& inner, cv::Size2d cell) {
  const int shrink = inner.shrink;
  cv::Mat inside;
  const cv::Mat shrunken = Shrunken(picture, inner.origin, inner.small.size(), shrink);
  shrunken.copyTo(inside, inner.small);
  inside.convertTo(inside, CV_32F);
  cv::Mat weight;
  inner.small.convertTo(weight, CV_32F, 1.0 / 255);

  const auto side = [&](double length) { return static_cast<int>(length / shrink) | 1; };
  const cv::Size window(side(cell.width), side(cell.height));
  cv::boxFilter(inside, inside, -1, window, {-1, -1}, true, cv::BORDER_CONSTANT);
  cv::boxFilter(weight, weight, -1, window, {-1, -1}, true, cv::BORDER_CONSTANT);
  LevelMap level{{}, shrink, inner.origin};
  cv::divide(inside, weight, level.small);
  level.small.setTo(0, weight < kEnough);
  return level;
}

cv::Mat LevelMap::In(const cv::Rect& part) const {
  // One pixel of the map around it, so that all of it lies between pixels.
  const auto down = [&](int x) { return (x >= 0 ? x : x - shrink + 1) / shrink - 1; };
  const cv::Point first(down(part.x - origin.x), down(part.y - origin.y));
  const cv::Point past(down(part.br().x - 1 - origin.x) + 3, down(part.br().y - 1 - origin.y) + 3);
  const cv::Rect wanted(first, past);
  const cv::Rect there = wanted & cv::Rect({}, small.size());
  cv::Mat levels = cv::Mat::zeros(wanted.size(), CV_32FC1);
  if (!there.empty()) small(there).copyTo(levels(there - first));
  if (shrink > 1) {
    cv::resize(levels, levels, wanted.size() * shrink, 0, 0, cv::INTER_LINEAR);
  }
  return levels(part - origin - first * shrink);
}

double LevelMap::At(cv::Point place) const {
  const double x = (place.x - origin.x + kHalf) / shrink - kHalf;
  const double y = (place.y - origin.y + kHalf) / shrink - kHalf;
  const cv::Point first(static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y)));
  const auto level = [&](int dx, int dy) {
    const cv::Point p = first + cv::Point(dx, dy);
    return cv::Rect({}, small.size()).contains(p) ? static_cast<double>(small.at<float>(p)) : 0.0;
  };
  const double right = x - first.x;
  const double below = y - first.y;
  return (1 - below) * ((1 - right) * level(0, 0) + right * level(1, 0)) +
         below * ((1 - right) * level(0, 1) + right * level(1, 1));
}

cv::Rect RectangleInside(const InnerArea& inner) {
  cv::Rect r = cv::boundingRect(inner.small);
  const auto full = [&](const cv::Rect& line) {
    return cv::countNonZero(inner.small(line)) == line.area();
  };
  for (bool shrunk = true; shrunk && !r.empty();) {
    shrunk = false;
    if (!full({r.x, r.y, r.width, 1})) ++r.y, --r.height, shrunk = true;
    if (!r.empty() && !full({r.x, r.br().y - 1, r.width, 1})) --r.height, shrunk = true;
    if (!r.empty() && !full({r.x, r.y, 1, r.height})) ++r.x, --r.width, shrunk = true;
    if (!r.empty() && !full({r.br().x - 1, r.y, 1, r.height})) --r.width, shrunk = true;
  }
  if (r.empty() || !full(r)) return {};
  return {inner.origin + r.tl() * inner.shrink, r.size() * inner.shrink};
}

}  // namespace dravix::checkerboard
