// The input is the picture of the screen with all LEDs lit and the mask of a first search. The
// level at a place is the mean of the pixels within half a block that surely belong to the screen:
// those of the mask without the strip along its outline, where the light is still rising. Dividing
// a box filter of the masked picture by that of the mask itself gives this mean, also near the
// outline, where only a part of the window is inside. The output is a map of the levels, several
// times smaller than the picture. It is too coarse to show single LEDs, and more than half a block
// outside the area it knows nothing.
#include "checkerboard/lit_area/local_level.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "checkerboard/pictures/rectified.h"
#include "checkerboard/pictures/shrink.h"
#include "image/large_mat.h"
#include "kernels/bits/bit_parts.h"
#include "kernels/shrink.h"

namespace dravix::checkerboard {
namespace {

/// Width of the strip along the outline that is left out, in blocks. A blur of a third of a block
/// makes the edge rise over a sixth of one on either side; this leaves a little room.
constexpr double kRising = 0.2;
/// Pixels that a block's shorter side keeps in the map: enough for a strip of one pixel.
constexpr double kShrunkenCell = 6;
constexpr double kHalf = 0.5;
/// Share of the window that must be inside the area. A mean over less would be that of a few pixels
/// at a corner of the window.
constexpr double kEnough = 0.02;

/// `box` and the window around it, cut to whole pixels of the smaller picture.
cv::Rect WholePixels(const cv::Rect& box, cv::Size2d cell, int shrink, cv::Size picture) {
  const cv::Size window(static_cast<int>(cell.width) + shrink,
                        static_cast<int>(cell.height) + shrink);
  cv::Rect part = GrownInside(box, window, picture);
  part.width -= part.width % shrink;
  part.height -= part.height % shrink;
  return part;
}

/// A part of `picture`, shrunk.
cv::Mat Shrunken(const cv::Mat& picture, const cv::Rect& part, int shrink) {
  if (picture.type() == CV_16UC1) return kernels::MeansOfSquares(picture(part), shrink);
  cv::Mat shrunken;
  cv::resize(picture(part), shrunken, part.size() / shrink, 0, 0, cv::INTER_AREA);
  return shrunken;
}

/// The smaller picture where it lies in the area, CV_32FC1, 0 elsewhere.
cv::Mat ShrunkenInside(const cv::Mat& picture, const InnerArea& inner) {
  cv::Mat inside = cv::Mat::zeros(inner.small.size(), CV_32FC1);
  const cv::Rect box = cv::boundingRect(inner.small);
  if (box.empty()) return inside;
  const cv::Rect part(inner.origin + box.tl() * inner.shrink, box.size() * inner.shrink);
  cv::Mat shrunken;
  Shrunken(picture, part, inner.shrink).convertTo(shrunken, CV_32F);
  shrunken.copyTo(inside(box), inner.small(box));
  return inside;
}

}  // namespace

InnerArea InnerOf(const kernels::BitPicture& mask, const cv::Rect& box, cv::Size2d cell) {
  const cv::Size size = mask.Size();
  const int shrink = std::min({ShrinkFor(cell, kShrunkenCell), size.width, size.height});
  const cv::Rect part = WholePixels(box, cell, shrink, size);
  // Only pixels that are all inside the mask count.
  InnerArea inner{kernels::AllWhite(mask, part, shrink), shrink, part.tl()};
  const auto side = [&](double length) {
    return 2 * static_cast<int>(kRising * length / shrink) + 1;
  };
  cv::erode(inner.small, inner.small,
            cv::getStructuringElement(cv::MORPH_RECT, {side(cell.width), side(cell.height)}));
  return inner;
}

LevelMap LocalLevel(const cv::Mat& picture, const InnerArea& inner, cv::Size2d cell) {
  const int shrink = inner.shrink;
  cv::Mat inside = ShrunkenInside(picture, inner);
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
  // The map's pixels that cover the part and one more on each side, so that every pixel of the part
  // lies between the centers of two of the map's and is interpolated as it is in the whole map.
  const auto down = [&](int x) { return (x >= 0 ? x : x - shrink + 1) / shrink - 1; };
  const cv::Point first(down(part.x - origin.x), down(part.y - origin.y));
  const cv::Point past(down(part.br().x - 1 - origin.x) + 3, down(part.br().y - 1 - origin.y) + 3);
  const cv::Rect wanted(first, past);
  const cv::Rect there = wanted & cv::Rect({}, small.size());
  cv::Mat levels = cv::Mat::zeros(wanted.size(), CV_32FC1);
  if (!there.empty()) small(there).copyTo(levels(there - first));
  if (shrink > 1) {
    cv::Mat large = image::LargeZeros(wanted.size() * shrink, CV_32FC1);
    cv::resize(levels, large, large.size(), 0, 0, cv::INTER_LINEAR);
    levels = large;
  }
  return levels(part - origin - first * shrink);
}

double LevelMap::At(cv::Point place) const {
  // Bilinear between the map's pixels. Their centers lie half a pixel of the map from its origin,
  // and those of the working image's pixels half a pixel of that.
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
  // From the bounding rectangle, every side that is not all inside moves in by one pixel, until all
  // four are.
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
