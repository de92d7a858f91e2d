#include "lab/check/outline.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace dravix::lab {

Outline StraightOutline(const Corners& corners) {
  Outline outline{corners, {}, 1};
  for (std::size_t i = 0; i < 4; ++i)
    outline.sides.at(i) = {corners.at(i), corners.at((i + 1) % 4)};
  return outline;
}

cv::Size2d MeanSides(const Corners& c) {
  return {(cv::norm(c[1] - c[0]) + cv::norm(c[2] - c[3])) / 2,
          (cv::norm(c[3] - c[0]) + cv::norm(c[2] - c[1])) / 2};
}

cv::Matx33d PhotoFromUnit(const Corners& corners) {
  const std::array<cv::Point2f, 4> unit = {cv::Point2f(0, 0), cv::Point2f(1, 0), cv::Point2f(1, 1),
                                           cv::Point2f(0, 1)};
  std::array<cv::Point2f, 4> photo;
  std::copy(corners.begin(), corners.end(), photo.begin());
  return cv::getPerspectiveTransform(unit.data(), photo.data());
}

cv::Point2d Mapped(const cv::Matx33d& map, cv::Point2d point) {
  const cv::Vec3d v = map * cv::Vec3d(point.x, point.y, 1);
  return {v[0] / v[2], v[1] / v[2]};
}

bool OrderedAround(std::vector<cv::Point2d> points, Corners& corners) {
  if (points.size() != 4) return false;
  const cv::Point2d middle = (points[0] + points[1] + points[2] + points[3]) * 0.25;
  std::sort(points.begin(), points.end(), [middle](const cv::Point2d& a, const cv::Point2d& b) {
    return std::atan2(a.y - middle.y, a.x - middle.x) < std::atan2(b.y - middle.y, b.x - middle.x);
  });
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Point2d a = points[(i + 1) % 4] - points[i];
    const cv::Point2d b = points[(i + 2) % 4] - points[(i + 1) % 4];
    if (a.cross(b) <= 0) return false;
  }
  const auto first = std::min_element(
      points.begin(), points.end(),
      [](const cv::Point2d& a, const cv::Point2d& b) { return a.x + a.y < b.x + b.y; });
  std::rotate(points.begin(), first, points.end());
  std::copy(points.begin(), points.end(), corners.begin());
  return true;
}

double AreaOf(const Corners& c) { return std::abs((c[2] - c[0]).cross(c[3] - c[1])) / 2; }

}  // namespace dravix::lab
