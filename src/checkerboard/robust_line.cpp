#include "checkerboard/robust_line.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace dravix::checkerboard {
namespace {

constexpr std::size_t kMostTerms = 4;  // a cubic
/// A dead LED moves an edge of a block of 4 LEDs by 1 to 3 pixels; places along a line scatter by
/// 0.2 pixels otherwise.
constexpr double kLeastOff = 0.5;  // pixels
constexpr double kOffMedians = 3;  // medians of the distances from the curve
/// Least absolute distances by weights: a few rounds settle them, and below kNear pixels all weigh
/// the same.
constexpr int kRounds = 8;
constexpr double kNear = 0.1;

/// So many points are needed for one, two, three, four terms: the points at the ends draw a curve
/// that is too free towards themselves.
constexpr std::size_t kPointsFor[kMostTerms] = {1, 2, 6, 16};
constexpr std::size_t kEnough = 4;  // points, to say that one of them is wrong

using Terms = std::array<double, kMostTerms>;

struct Seen {
  double t;  ///< -1 to 1 along the line
  double place;
  double weight;
};

double At(const Terms& curve, double t) {
  double value = 0;
  for (std::size_t i = kMostTerms; i-- > 0;) value = value * t + curve[i];
  return value;
}

/// Solves the normal equations by elimination. They are positive definite where there are as many
/// different points as terms; terms that the points do not tell apart from lower ones stay 0.
Terms Solved(std::array<Terms, kMostTerms>& a, Terms& b, std::size_t terms) {
  constexpr double kNothingLeft = 1e-9;
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
  const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
  std::nth_element(distances.begin(), middle, distances.end());
  return *middle;
}

}  // namespace

std::vector<double> WithoutOutliers(const std::vector<LinePoint>& points) {
  if (points.empty()) return {};
  const auto [low, high] =
      std::minmax_element(points.begin(), points.end(),
                          [](const LinePoint& a, const LinePoint& b) { return a.along < b.along; });
  const double middle = (low->along + high->along) / 2;
  const double half = std::max(1.0, (high->along - low->along) / 2);
  std::vector<Seen> seen;
  for (const LinePoint& p : points) {
    if (p.place) seen.push_back({(p.along - middle) / half, *p.place, p.weight});
  }
  if (seen.empty()) return {};
  const Terms curve = RobustCurve(seen, TermsFor(seen.size()));
  const bool enough = seen.size() >= kEnough;
  const double off = std::max(kLeastOff, kOffMedians * MedianDistance(seen, curve));
  std::vector<double> places;
  places.reserve(points.size());
  for (const LinePoint& p : points) {
    const double expected = At(curve, (p.along - middle) / half);
    const bool trusted = p.place && (!enough || std::abs(*p.place - expected) <= off);
    places.push_back(trusted ? *p.place : expected);
  }
  return places;
}

}  // namespace dravix::checkerboard
