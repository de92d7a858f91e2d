// The input is one line of the grid: for each block on it, where an edge was measured, or that
// nothing was seen there. Lenses bend such a line a little, so a polynomial of a low degree is
// drawn through all points. It is the curve with the least sum of absolute distances, which a few
// points far off do not pull towards themselves as they would pull a curve of least squares. Points
// that lie clearly off the curve, because a dead LED shifted them, are replaced by the curve, and
// so are the unseen ones; all others stay as measured. It cannot tell which points are wrong where
// half of them are, and it does not follow a line that bends more often than a cubic.
#include "checkerboard/geometry/robust_line.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <utility>

#include "checkerboard/geometry/statistics.h"

namespace dravix::checkerboard {
namespace {

constexpr std::size_t kMostTerms = 4;  // coefficients of a cubic, the most that a lens bends a line
/// Pixels that a point may always be off. Points of an undisturbed line scatter by 0.2 pixels, so a
/// smaller limit would replace good ones; a dead LED shifts the edge of a block of 4 LEDs by 1 to 3
/// pixels, so a larger limit would let the smallest of these shifts pass.
constexpr double kLeastOff = 0.5;
/// Where the points scatter more, the limit is this many times their median distance from the
/// curve. At 1 half of all points would count as outliers.
constexpr double kOffMedians = 3;
/// Times that the curve is drawn; the outliers' weights have settled by then.
constexpr int kRounds = 8;
/// Distance in pixels below which points are not told apart: without it, a point that happens to
/// lie on the curve would get an infinite weight.
constexpr double kNear = 0.1;
/// How many points it takes for a curve of one, two, three and four terms. With fewer of them, the
/// curve is so free that the points at the ends draw it to themselves, even when they are wrong.
constexpr std::size_t kPointsFor[kMostTerms] = {1, 2, 6, 16};
/// How many points it takes to say that one of them is wrong.
constexpr std::size_t kEnough = 4;

/// Coefficients of a polynomial, that of the power 0 first.
using Terms = std::array<double, kMostTerms>;

/// A point that was seen.
struct Seen {
  double t;  ///< -1 at the line's first point to 1 at its last
  double place;
  double weight;
};

double At(const Terms& curve, double t) {
  double value = 0;
  for (std::size_t i = kMostTerms; i-- > 0;) value = value * t + curve[i];
  return value;
}

/// Solves the normal equations a x = b by elimination. They are positive definite where there are
/// as many different points as terms. Terms that the points do not tell apart from lower ones stay
/// 0.
Terms Solved(std::array<Terms, kMostTerms>& a, Terms& b, std::size_t terms) {
  constexpr double kNothingLeft = 1e-9;  // share of a diagonal element that is only rounding
  const auto whole = a;
  for (std::size_t k = 0; k < terms; ++k) {
    if (!(a[k][k] > kNothingLeft * whole[k][k])) {
      terms = k;
      break;
    }
    for (std::size_t i = k + 1; i < terms; ++i) {
      const double f = a[i][k] / a[k][k];
      for (std::size_t j = k; j < terms; ++j) a[i][j] -= f * a[k][j];
      b[i] -= f * b[k];
    }
  }
  Terms x{};
  for (std::size_t k = terms; k-- > 0;) {
    double rest = b[k];
    for (std::size_t j = k + 1; j < terms; ++j) rest -= a[k][j] * x[j];
    x[k] = rest / a[k][k];
  }
  return x;
}

/// The polynomial of weighted least squares.
Terms Fitted(const std::vector<Seen>& seen, const std::vector<double>& weights, std::size_t terms) {
  std::array<Terms, kMostTerms> a{};
  Terms b{};
  for (std::size_t n = 0; n < seen.size(); ++n) {
    Terms powers{};
    powers[0] = 1;
    for (std::size_t i = 1; i < terms; ++i) powers[i] = powers[i - 1] * seen[n].t;
    for (std::size_t i = 0; i < terms; ++i) {
      for (std::size_t j = 0; j < terms; ++j) a[i][j] += weights[n] * powers[i] * powers[j];
      b[i] += weights[n] * powers[i] * seen[n].place;
    }
  }
  return Solved(a, b, terms);
}

/// The polynomial of least absolute distances. A squared distance divided by the distance is the
/// distance itself, so least squares are solved again and again, each time with every point's
/// weight divided by its distance from the curve before.
Terms RobustCurve(const std::vector<Seen>& seen, std::size_t terms) {
  std::vector<double> weights;
  weights.reserve(seen.size());
  for (const Seen& s : seen) weights.push_back(s.weight);
  Terms curve{};
  for (int round = 0; round < kRounds; ++round) {
    curve = Fitted(seen, weights, terms);
    for (std::size_t n = 0; n < seen.size(); ++n) {
      weights[n] = seen[n].weight / std::max(kNear, std::abs(seen[n].place - At(curve, seen[n].t)));
    }
  }
  return curve;
}

std::size_t TermsFor(std::size_t points) {
  const auto terms =
      static_cast<std::size_t>(std::count_if(std::begin(kPointsFor), std::end(kPointsFor),
                                             [&](std::size_t least) { return points >= least; }));
  return std::max<std::size_t>(1, terms);
}

double MedianDistance(const std::vector<Seen>& seen, const Terms& curve) {
  std::vector<double> distances;
  distances.reserve(seen.size());
  for (const Seen& s : seen) distances.push_back(std::abs(s.place - At(curve, s.t)));
  return Median(std::move(distances));
}

}  // namespace

std::vector<double> WithoutOutliers(const std::vector<LinePoint>& points) {
  if (points.empty()) return {};
  const auto [low, high] = std::minmax_element(
      points.begin(), points.end(),
      [](const LinePoint& a, const LinePoint& b) { return a.block.Middle() < b.block.Middle(); });
  const double middle = (low->block.Middle() + high->block.Middle()) / 2;
  const double half = std::max(1.0, (high->block.Middle() - low->block.Middle()) / 2);
  const auto along = [&](const LinePoint& p) { return (p.block.Middle() - middle) / half; };
  std::vector<Seen> seen;
  for (const LinePoint& p : points) {
    if (p.place) seen.push_back({along(p), *p.place, std::max(1.0, 1.0 * p.block.Length())});
  }
  if (seen.empty()) return {};
  const Terms curve = RobustCurve(seen, TermsFor(seen.size()));
  const bool enough = seen.size() >= kEnough;
  const double off = std::max(kLeastOff, kOffMedians * MedianDistance(seen, curve));
  std::vector<double> places;
  places.reserve(points.size());
  for (const LinePoint& p : points) {
    const double expected = At(curve, along(p));
    const bool trusted = p.place && (!enough || std::abs(*p.place - expected) <= off);
    places.push_back(trusted ? *p.place : expected);
  }
  return places;
}

}  // namespace dravix::checkerboard
