// A measuring point lies at a tenth of the width and height or a multiple of it. Its value is the
// mean over a small square of LEDs around it, as a hand-held meter would see it.
#include "lab/analysis/uniformity.h"

#include <algorithm>
#include <vector>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

/// Where a point lies, in tenths of the width and the height.
struct Tenths {
  int x, y;
};

constexpr Tenths kCenter{5, 5};

std::vector<Tenths> Grid(const std::vector<int>& tenths) {
  std::vector<Tenths> points;
  for (const int y : tenths) {
    for (const int x : tenths) points.push_back({x, y});
  }
  return points;
}

std::vector<Tenths> Joined(std::vector<Tenths> points, const std::vector<Tenths>& more) {
  points.insert(points.end(), more.begin(), more.end());
  return points;
}

/// Whole numbers keep places exact: 0.7 * 45 + 0.5 is 32, but not in floating point.
int PlaceOf(int tenths, int length) { return (tenths * (length - 1) + 5) / 10; }

/// Half the side, rounded down, of the square that a point's value is taken from: 2 % of the
/// shorter side.
int ReachOf(cv::Size size) { return std::min(size.width, size.height) / 50; }

double MeanAround(const CountedRows& rows, cv::Point center) {
  const int reach = ReachOf(rows.Size());
  const cv::Rect square =
      cv::Rect(center.x - reach, center.y - reach, 2 * reach + 1, 2 * reach + 1) &
      cv::Rect(cv::Point(), rows.Size());
  Mean mean;
  for (int y = square.y; y < square.y + square.height; ++y) {
    for (int x = square.x; x < square.x + square.width; ++x) mean.Add(rows.At({x, y}));
  }
  return mean.Value();
}

cv::Point PlaceOf(Tenths point, cv::Size size) {
  return {PlaceOf(point.x, size.width), PlaceOf(point.y, size.height)};
}

void SetFigures(double center, Uniformity& uniformity) {
  std::vector<double> known;
  for (const UniformityPoint& point : uniformity.points) {
    if (IsKnown(point.value)) known.push_back(point.value);
  }
  const auto [low, high] = std::minmax_element(known.begin(), known.end());
  const double smallest = known.empty() ? kNotKnown : *low;
  const double largest = known.empty() ? kNotKnown : *high;
  uniformity.minOverMax = Quotient(smallest, largest);
  uniformity.maxOverMin = Quotient(largest, smallest);
  uniformity.nonuniformity = 1 - uniformity.minOverMax;
  uniformity.worstOverCenter = Quotient(smallest, center);
}

Uniformity Over(const std::vector<Tenths>& points, const CountedRows& rows, cv::Point at) {
  Uniformity uniformity;
  for (const Tenths& point : points) {
    const cv::Point place = PlaceOf(point, rows.Size());
    uniformity.points.push_back({place + at, MeanAround(rows, place)});
  }
  SetFigures(MeanAround(rows, PlaceOf(kCenter, rows.Size())), uniformity);
  return uniformity;
}

}  // namespace

std::array<Uniformity, 4> UniformityOf(const CountedRows& rows, cv::Point at) {
  const std::vector<Tenths> nine = Grid({1, 5, 9});
  return {Over(Joined({kCenter}, Grid({1, 9})), rows, at), Over(nine, rows, at),
          Over(Joined(nine, Grid({3, 7})), rows, at), Over(Grid({1, 3, 5, 7, 9}), rows, at)};
}

}  // namespace dravix::lab
