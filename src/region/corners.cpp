/// The order that every list of corners has, and the corner lists of rectangles.
#include <dravix/region.h>

#include <array>
#include <cstddef>
#include <utility>

#include "region/rounding.h"

namespace {

using dravix::region::ClampToInt32;
using dravix::region::RoundPixel;

constexpr std::size_t kCorners = 4;

/// Mean of the y coordinates, each divided first and summed in single precision and in input order.
/// The last bit of the mean decides to which half a corner close to it belongs, so the order of the
/// operations must stay.
float MeanY(const std::vector<cv::Point>& points) {
  const auto count = static_cast<float>(points.size());
  float mean = 0.0F;
  for (const cv::Point& point : points) mean += static_cast<float>(point.y) / count;
  return mean;
}

}  // namespace

std::vector<cv::Point> OrderCorners(const std::vector<cv::Point>& corners) {
  if (corners.size() != kCorners) return {};
  const float meanY = MeanY(corners);
  std::array<cv::Point, 2> top;
  std::array<cv::Point, 2> bottom;
  std::size_t above = 0;
  std::size_t below = 0;
  for (const cv::Point& corner : corners) {
    const bool isAbove = meanY > static_cast<float>(corner.y);
    std::size_t& taken = isAbove ? above : below;
    if (taken == 2) return {};
    (isAbove ? top : bottom).at(taken++) = corner;
  }
  if (top[0].x > top[1].x) std::swap(top[0], top[1]);
  if (bottom[0].x < bottom[1].x) std::swap(bottom[0], bottom[1]);
  return {top[0], top[1], bottom[0], bottom[1]};
}

std::vector<cv::Point> RectToCorners(const cv::Rect& rect) {
  const int right = ClampToInt32(std::int64_t{rect.x} + rect.width - 1);
  const int bottom = ClampToInt32(std::int64_t{rect.y} + rect.height - 1);
  return {{rect.x, rect.y}, {right, rect.y}, {right, bottom}, {rect.x, bottom}};
}

std::vector<cv::Point> RectToCorners(const cv::RotatedRect& rect) {
  std::array<cv::Point2f, kCorners> points;
  rect.points(points.data());
  std::vector<cv::Point> corners;
  corners.reserve(points.size());
  for (const cv::Point2f& point : points) {
    corners.emplace_back(RoundPixel(point.x), RoundPixel(point.y));
  }
  return corners;
}
