/// The outline of a lit area: four sides that may be bowed by the lens.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// Corners top-left first and clockwise; side i runs from corner i to the next one.
using Corners = std::array<cv::Point2d, 4>;

/// A side from one corner to the next. Its points lie at from + t (to - from) + Bow(t) outward.
struct Side {
  cv::Point2d from, to;
  std::array<double, 3> bow = {0, 0, 0};  ///< polynomial in t, pixels to the outside

  [[nodiscard]] double Length() const { return cv::norm(to - from); }
  /// Unit vector to the outside of an area whose corners run clockwise in the picture.
  [[nodiscard]] cv::Point2d Outward() const {
    const cv::Point2d along = (to - from) * (1.0 / std::max(Length(), 1e-9));
    return {along.y, -along.x};
  }
  [[nodiscard]] double Bow(double t) const { return bow[0] + t * (bow[1] + t * bow[2]); }
  [[nodiscard]] cv::Point2d At(double t) const {
    return from + t * (to - from) + Bow(t) * Outward();
  }
};

struct Outline {
  Corners corners;
  std::array<Side, 4> sides;
  double seen = 1;  ///< the least share of a side along which an edge was seen where the side is
};

/// Straight sides between the corners.
[[nodiscard]] Outline StraightOutline(const Corners& corners);
/// The mean lengths of the upper and lower and of the left and right sides, pixels.
[[nodiscard]] cv::Size2d MeanSides(const Corners& corners);
/// Maps the unit square to the area: (0, 0) is the first corner, (1, 0) the second.
[[nodiscard]] cv::Matx33d PhotoFromUnit(const Corners& corners);
[[nodiscard]] cv::Point2d Mapped(const cv::Matx33d& map, cv::Point2d point);
/// Four points in the order of Corners. They are ordered around their middle, and begin with the
/// one that is nearest to the upper left. False when they do not form a convex quadrilateral.
[[nodiscard]] bool OrderedAround(std::vector<cv::Point2d> points, Corners& corners);
[[nodiscard]] double AreaOf(const Corners& corners);

}  // namespace dravix::lab
