// Along lines across each side of the screen, the light is averaged over squares of one cell. Over
// an even screen such a mean is level inside, falls to half where the screen ends, and is dark
// outside, whatever the spot and wherever the LEDs. The places of half the light, averaged over
// groups of LEDs along a side and smoothed by a parabola, give the side's true place; the grid's
// polynomial then takes up the differences of all four sides.
#include "lab/unmix/search/outline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <opencv2/core/utility.hpp>
#include <optional>
#include <vector>

#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/cholesky.h"

namespace dravix::lab::unmix {
namespace {

constexpr double kInside = 5.0;   ///< LEDs from the given side to where a profile begins
constexpr double kOutside = 3.0;  ///< and ends
constexpr double kStep = 0.25;    ///< LEDs between its samples
constexpr double kLevel = 2.0;    ///< LEDs at its beginning that give the level of the inside
constexpr int kGroup = 6;         ///< LEDs along a side that share a profile, at least
constexpr int kMostGroups = 24;

/// A side of the screen as a map from (along, outward) to LED units; both in LEDs.
struct Side {
  cv::Point2d origin, along, outward;
  int length;  ///< LEDs
  cv::Point2d At(double a, double out) const { return origin + a * along + out * outward; }
};

std::array<Side, 4> SidesOf(cv::Size leds) {
  const double w = leds.width;
  const double h = leds.height;
  return {Side{{0, 0}, {0, 1}, {-1, 0}, leds.height}, Side{{w, 0}, {0, 1}, {1, 0}, leds.height},
          Side{{0, 0}, {1, 0}, {0, -1}, leds.width}, Side{{0, h}, {1, 0}, {0, 1}, leds.width}};
}

/// Mean light over the LEDs from `first` to `end` along the side, for each step outward.
std::vector<double> ProfileOf(const cv::Mat1f& photo, double background, const Grid& grid,
                              const Side& side, int first, int end) {
  const auto steps = static_cast<std::size_t>((kInside + kOutside) / kStep) + 1;
  std::vector<double> profile(steps, 0.0);
  for (int a = first; a < end; ++a) {
    for (std::size_t i = 0; i < steps; ++i) {
      const cv::Point2d led = side.At(a + 0.5, -kInside + kStep * static_cast<double>(i));
      const double width = std::sqrt(grid.CellArea(led.x, led.y));
      profile[i] += SquareMean(photo, grid.At(led.x, led.y), width) - background;
    }
  }
  return profile;
}

/// The place outward of which less than half the light is left.
std::optional<double> HalfLight(const std::vector<double>& profile) {
  const auto inside = static_cast<std::size_t>(kLevel / kStep);
  double level = 0;
  for (std::size_t i = 0; i < inside; ++i) level += profile[i];
  level /= static_cast<double>(inside);
  if (!(level > 0)) return std::nullopt;
  for (std::size_t i = profile.size() - 1; i-- > 0;) {
    const double here = profile[i] / level - 0.5;
    const double next = profile[i + 1] / level - 0.5;
    if (!(here >= 0 && next < 0)) continue;
    return -kInside + kStep * (static_cast<double>(i) + here / (here - next));
  }
  return std::nullopt;
}

struct SidePoint {
  double along;    ///< -1 to 1
  double outward;  ///< LEDs
};

std::vector<SidePoint> PointsOf(const cv::Mat1f& photo, double background, const Grid& grid,
                                const Side& side) {
  std::vector<SidePoint> points;
  const int groups = std::clamp(side.length / kGroup, 1, kMostGroups);
  for (int g = 0; g < groups; ++g) {
    const int first = g * side.length / groups;
    const int end = (g + 1) * side.length / groups;
    const auto half = HalfLight(ProfileOf(photo, background, grid, side, first, end));
    if (half) points.push_back({static_cast<double>(first + end) / side.length - 1.0, *half});
  }
  return points;
}

/// Coefficients of 1, t, t^2.
using Parabola = cv::Vec3d;

double ValueOf(const Parabola& p, double t) { return p[0] + t * (p[1] + t * p[2]); }

Parabola WeightedFit(const std::vector<SidePoint>& points, const std::vector<double>& weights) {
  cv::Mat1d normal(3, 3, 0.0);
  cv::Mat1d right(1, 3, 0.0);
  for (std::size_t k = 0; k < points.size(); ++k) {
    const std::array<double, 3> terms = {1.0, points[k].along, points[k].along * points[k].along};
    for (int i = 0; i < 3; ++i) {
      const double term = weights[k] * terms.at(static_cast<std::size_t>(i));
      right(0, i) += term * points[k].outward;
      for (int j = 0; j < 3; ++j) normal(i, j) += term * terms.at(static_cast<std::size_t>(j));
    }
  }
  // Sides are nearly straight: a slope of 1 LED or a bend of half an LED is as much as is expected.
  // With few points this keeps the parabola from following their scatter.
  constexpr double kPointDeviation = 0.05;  // LEDs
  normal(1, 1) += kPointDeviation * kPointDeviation;
  normal(2, 2) += kPointDeviation * kPointDeviation / 0.25;
  const cv::Mat1d solution = Cholesky(normal).SolveRows(right);
  return {solution(0, 0), solution(0, 1), solution(0, 2)};
}

/// A parabola through the points; those far from it count less (weights of Cauchy), so that a few
/// dead LEDs at the border do not bend it. Empty where the side was not found.
std::optional<Parabola> SideFit(const std::vector<SidePoint>& points, double expectedPoints) {
  if (static_cast<double>(points.size()) < 0.5 * expectedPoints) return std::nullopt;
  std::vector<double> weights(points.size(), 1.0);
  Parabola fit;
  for (int round = 0; round < 5; ++round) {
    fit = WeightedFit(points, weights);
    for (std::size_t k = 0; k < points.size(); ++k) {
      constexpr double kNear = 0.05;  // LEDs; half the light is found about as well as that
      const double off = (points[k].outward - ValueOf(fit, points[k].along)) / kNear;
      weights[k] = 1.0 / (1.0 + off * off);
    }
  }
  return fit;
}

using Fits = std::array<std::optional<Parabola>, 4>;

Fits FitsOf(const cv::Mat1f& photo, double background, const Grid& grid) {
  Fits fits;
  const std::array<Side, 4> sides = SidesOf(grid.Leds());
  cv::parallel_for_(cv::Range(0, static_cast<int>(sides.size())), [&](const cv::Range& range) {
    for (auto i = static_cast<std::size_t>(range.start); i < static_cast<std::size_t>(range.end);
         ++i) {
      const auto points = PointsOf(photo, background, grid, sides.at(i));
      fits.at(i) = SideFit(points, std::clamp(sides.at(i).length / kGroup, 1, kMostGroups));
    }
  });
  return fits;
}

/// What the sides say about the screen in the photograph.
struct Sides {
  std::array<Parabola, 4> outward;
  double distortion;  ///< of the lens: a point at r LEDs from the middle moves outward by this r^3
};

/// A lens with distortion bends all four sides, each the more the longer it is and the farther from
/// the middle. The distortion that explains these bends best tells what happens between the sides.
double DistortionOf(const Fits& fits, cv::Size leds) {
  const double w = 0.5 * leds.width;
  const double h = 0.5 * leds.height;
  double products = 0;
  double squares = 0;
  for (std::size_t i = 0; i < fits.size(); ++i) {
    if (!fits[i]) continue;
    const double bend = i < 2 ? w * h * h : h * w * w;  // of a side by a distortion of 1
    products += bend * (*fits[i])[2];
    squares += bend * bend;
  }
  return squares > 0 ? products / squares : 0.0;
}

/// Where the sides say that the LED place (u, v) really is.
cv::Point2d Corrected(const Sides& sides, cv::Size leds, double u, double v) {
  const double across = u / leds.width;
  const double down = v / leds.height;
  const double left = -ValueOf(sides.outward[0], 2 * down - 1);
  const double right = ValueOf(sides.outward[1], 2 * down - 1);
  const double top = -ValueOf(sides.outward[2], 2 * across - 1);
  const double bottom = ValueOf(sides.outward[3], 2 * across - 1);
  // Between two sides the move changes evenly, but for what the lens adds, which is 0 at the sides.
  const auto lens = [&](double at, double length) {
    const double x = at - 0.5 * length;
    return sides.distortion * x * (x * x - 0.25 * length * length);
  };
  return {u + left + (right - left) * across + lens(u, leds.width),
          v + top + (bottom - top) * down + lens(v, leds.height)};
}

}  // namespace

double OutlineMiss(const cv::Mat1f& photo, double background, const Grid& grid) {
  const Fits fits = FitsOf(photo, background, grid);
  if ((!fits[0] && !fits[1]) || (!fits[2] && !fits[3])) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  double miss = 0;
  for (const auto& fit : fits) {
    if (fit) miss = std::max(miss, std::abs(ValueOf(*fit, 0)));
  }
  return miss;
}

void AlignOutline(const cv::Mat1f& photo, double background, Grid& grid) {
  const cv::Size leds = grid.Leds();
  const Fits fits = FitsOf(photo, background, grid);
  Sides sides{{}, DistortionOf(fits, leds)};
  for (std::size_t i = 0; i < fits.size(); ++i) sides.outward[i] = fits[i].value_or(Parabola{});
  constexpr int kSamples = 9;  // along either axis, to fit the polynomial's ten terms to
  constexpr auto kTerms = static_cast<int>(Grid::kTerms);
  cv::Mat1d normal(kTerms, kTerms, 0.0);
  cv::Mat1d right(2, kTerms, 0.0);
  for (int y = 0; y < kSamples; ++y) {
    for (int x = 0; x < kSamples; ++x) {
      const double u = leds.width * static_cast<double>(x) / (kSamples - 1);
      const double v = leds.height * static_cast<double>(y) / (kSamples - 1);
      const cv::Point2d to = Corrected(sides, leds, u, v);
      const cv::Point2d move = grid.At(to.x, to.y) - grid.At(u, v);
      const Grid::Terms terms = grid.TermsAt(u, v);
      for (int i = 0; i < kTerms; ++i) {
        const double term = terms.at(static_cast<std::size_t>(i));
        right(0, i) += term * move.x;
        right(1, i) += term * move.y;
        for (int j = 0; j < kTerms; ++j) {
          normal(i, j) += term * terms.at(static_cast<std::size_t>(j));
        }
      }
    }
  }
  const cv::Mat1d solution = Cholesky(normal).SolveRows(right);
  for (std::size_t i = 0; i < Grid::kTerms; ++i) {
    grid.X().at(i) += solution(0, static_cast<int>(i));
    grid.Y().at(i) += solution(1, static_cast<int>(i));
  }
}

}  // namespace dravix::lab::unmix
