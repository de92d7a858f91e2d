/// Along many lines across a side the light falls from the lit to the dark level; where it crosses
/// the half of the two lies the side. A parabola is laid through these places, since lenses bow the
/// sides of a screen, and corners are where two parabolas meet. Places off the parabola (a dead
/// module, a reflection) lose their weight step by step.
#include "lab/check/side_fit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

namespace dravix::lab {
namespace {

constexpr int kLines = 64;              // across each side
constexpr double kCornerMargin = 0.06;  // of a side near the corners, where two edges melt together
constexpr double kLineStep = 0.25;      // pixels along a line

/// Bilinear; nothing outside the picture.
std::optional<double> At(const cv::Mat1f& picture, cv::Point2d p) {
  if (!(p.x >= 0 && p.y >= 0 && p.x <= picture.cols - 1 && p.y <= picture.rows - 1)) {
    return std::nullopt;
  }
  const int x = std::min(static_cast<int>(p.x), std::max(0, picture.cols - 2));
  const int y = std::min(static_cast<int>(p.y), std::max(0, picture.rows - 2));
  const int right = std::min(x + 1, picture.cols - 1);
  const int below = std::min(y + 1, picture.rows - 1);
  const double fx = p.x - x;
  const double fy = p.y - y;
  const double upper = picture(y, x) * (1 - fx) + picture(y, right) * fx;
  const double lower = picture(below, x) * (1 - fx) + picture(below, right) * fx;
  return upper * (1 - fy) + lower * fy;
}

/// How far outside the side the light crosses its half on the line at `t`; nothing where it does
/// not, or where the line leaves the picture before.
std::optional<double> Crossing(const cv::Mat1f& picture, const Side& side, double t, double reach,
                               double dark, double leastStep = 0) {
  const cv::Point2d foot = side.At(t);
  const cv::Point2d outward = side.Outward();
  const int count = static_cast<int>(2 * reach / kLineStep) + 1;
  std::vector<double> line;
  line.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    const auto value = At(picture, foot + (i * kLineStep - reach) * outward);
    if (!value) break;
    line.push_back(*value);
  }
  const std::size_t third = static_cast<std::size_t>(count) / 3;
  if (line.size() < third + 2) return std::nullopt;
  double inside = 0;
  for (std::size_t i = 0; i < third; ++i) inside += line[i] / static_cast<double>(third);
  double outside = dark;
  if (line.size() == static_cast<std::size_t>(count)) {
    outside = *std::min_element(line.begin() + static_cast<std::ptrdiff_t>(third), line.end());
  }
  if (inside - outside <= leastStep) return std::nullopt;
  const double half = (inside + outside) / 2;
  for (std::size_t i = 1; i < line.size(); ++i) {
    if (line[i - 1] >= half && line[i] < half) {
      const double part = (line[i - 1] - half) / (line[i - 1] - line[i]);
      return (static_cast<double>(i - 1) + part) * kLineStep - reach;
    }
  }
  return std::nullopt;
}

struct EdgePlace {
  double t, off;
};

/// Least squares with weights that fall with the distance from the last parabola (Tukey's).
std::array<double, 3> Parabola(const std::vector<EdgePlace>& places) {
  std::array<double, 3> fit = {0, 0, 0};
  std::vector<double> weights(places.size(), 1);
  for (int round = 0; round < 6; ++round) {
    cv::Matx33d normal = cv::Matx33d::zeros();
    cv::Vec3d right(0, 0, 0);
    for (std::size_t i = 0; i < places.size(); ++i) {
      const cv::Vec3d powers(1, places[i].t, places[i].t * places[i].t);
      normal += weights[i] * (powers * powers.t());
      right += weights[i] * places[i].off * powers;
    }
    cv::Vec3d solution;
    if (!cv::solve(normal, right, solution, cv::DECOMP_CHOLESKY)) return fit;
    fit = {solution[0], solution[1], solution[2]};
    std::vector<double> residuals;
    for (const EdgePlace& p : places) {
      residuals.push_back(std::abs(p.off - (fit[0] + p.t * (fit[1] + p.t * fit[2]))));
    }
    std::vector<double> sorted = residuals;
    std::nth_element(sorted.begin(),
                     sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2), sorted.end());
    const double cut = 6 * std::max(sorted[sorted.size() / 2], 0.02);
    for (std::size_t i = 0; i < places.size(); ++i) {
      const double r = residuals[i] / cut;
      weights[i] = r < 1 ? (1 - r * r) * (1 - r * r) : 1e-9;
    }
  }
  return fit;
}

/// Lays the side through the edge that is seen, and gives the share of its lines that show one
/// there.
double Fit(const cv::Mat1f& picture, Side& side, double reach, double dark) {
  std::vector<EdgePlace> places;
  for (int i = 0; i < kLines; ++i) {
    const double t = kCornerMargin + (1 - 2 * kCornerMargin) * i / (kLines - 1);
    if (const auto off = Crossing(picture, side, t, reach, dark)) {
      places.push_back({t, side.Bow(t) + *off});
    }
  }
  if (places.size() < kLines / 3) return 0;
  side.bow = Parabola(places);
  // A lens bows a side by a hundredth of its length or two.
  constexpr double kMostBow = 0.04;
  if (std::abs(side.bow[2]) / 4 > kMostBow * side.Length()) return 0;
  const double near = std::max(1.0, 0.01 * side.Length());
  const auto count = std::count_if(places.begin(), places.end(), [&](const EdgePlace& p) {
    return std::abs(p.off - side.Bow(p.t)) < near;
  });
  return static_cast<double>(count) / kLines;
}

/// Where side `a` ends and side `b` begins: their tangents meet.
cv::Point2d Meeting(const Side& a, const Side& b) {
  const auto tangent = [](const Side& side, double t) {
    return (side.to - side.from) + (side.bow[1] + 2 * t * side.bow[2]) * side.Outward();
  };
  const cv::Point2d p = a.At(1);
  const cv::Point2d q = b.At(0);
  const cv::Point2d u = tangent(a, 1);
  const cv::Point2d v = tangent(b, 0);
  const double cross = u.cross(v);
  if (std::abs(cross) < 1e-9) return 0.5 * (p + q);
  return p + (q - p).cross(v) / cross * u;
}

/// The same curves with their ends at these corners.
Outline Anchored(const std::array<Side, 4>& sides, const Corners& corners) {
  Outline outline{corners, {}, 1};
  for (std::size_t i = 0; i < 4; ++i) {
    const Side& old = sides.at(i);
    Side& side = outline.sides.at(i);
    side.from = corners.at(i);
    side.to = corners.at((i + 1) % 4);
    // Between its ends a parabola is its chord plus c t (t - 1).
    side.bow = {0, -old.bow[2], old.bow[2]};
  }
  return outline;
}

}  // namespace

std::array<double, 4> FallShares(const cv::Mat1f& melted, const Corners& corners, double sigma,
                                 double step) {
  const Outline outline = StraightOutline(corners);
  std::array<double, 4> shares{};
  for (std::size_t i = 0; i < 4; ++i) {
    const Side& side = outline.sides.at(i);
    const double reach = std::max(6.0, 4 * sigma);
    // A lens bows a side, and corners are given in whole pixels.
    const double near = std::max(0.5 * reach, 0.01 * side.Length());
    for (int line = 0; line < kLines; ++line) {
      const double t = kCornerMargin + (1 - 2 * kCornerMargin) * line / (kLines - 1);
      const auto off = Crossing(melted, side, t, reach, 0, step);
      if (off && std::abs(*off) < near) shares.at(i) += 1.0 / kLines;
    }
  }
  return shares;
}

Outline FitSides(const cv::Mat1f& melted, const Corners& rough, double sigma, double dark) {
  Outline outline = StraightOutline(rough);
  const cv::Size2d sides = MeanSides(rough);
  const double most = std::max(2.0, 0.2 * std::min(sides.width, sides.height));
  for (int round = 0; round < 2; ++round) {
    const double reach = std::min(most, std::max(6.0, 4 * sigma) * (round == 0 ? 1.5 : 1.0));
    std::array<Side, 4> fitted = outline.sides;
    double seen = 1;
    for (Side& side : fitted) seen = std::min(seen, Fit(melted, side, reach, dark));
    Corners corners;
    for (std::size_t i = 0; i < 4; ++i) {
      corners.at(i) = Meeting(fitted.at((i + 3) % 4), fitted.at(i));
      // A corner far from the rough one comes from sides that are none.
      if (cv::norm(corners.at(i) - rough.at(i)) > 3 * reach) corners.at(i) = rough.at(i);
    }
    outline = Anchored(fitted, corners);
    outline.seen = seen;
  }
  return outline;
}

}  // namespace dravix::lab
