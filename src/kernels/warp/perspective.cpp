#include "kernels/warp/perspective.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kernels/warp/cubic_sample.h"

namespace dravix::kernels {
namespace {

/// The range of a linear function of working pixels, and the largest sum of its terms' magnitudes:
/// single roundings are relative to that.
struct Extremes {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  double terms = 0;

  [[nodiscard]] bool Finite() const { return terms < std::numeric_limits<double>::infinity(); }
  [[nodiscard]] double Largest() const { return std::max(std::abs(low), std::abs(high)); }
  [[nodiscard]] double Smallest() const {
    return low <= 0 && high >= 0 ? 0 : std::min(std::abs(low), std::abs(high));
  }
};

/// Extremes of a linear function lie at the corners of the area.
Extremes Over(cv::Size size, const double* factors) {
  Extremes found;
  for (const int x : {0, size.width}) {
    for (const int y : {0, size.height}) {
      const double value = factors[0] * x + factors[1] * y + factors[2];
      found.low = std::min(found.low, value);
      found.high = std::max(found.high, value);
    }
  }
  found.terms =
      std::abs(factors[0]) * size.width + std::abs(factors[1]) * size.height + std::abs(factors[2]);
  if (!(found.terms < std::numeric_limits<double>::infinity())) {
    found.terms = std::numeric_limits<double>::infinity();
  }
  return found;
}

/// Bounds how far the position on a parabola can lie from the one that the matrix library rounds,
/// in 1/32 pixel. With the slope a of the position and the relative slope q of the denominator, the
/// position u columns from a span's middle is a u / (1 + q u) further; the parabola a u (1 - q u)
/// leaves out a u^3 q^2 / (1 + q u). Single precision rounds a, q, the middle's fraction and four
/// steps; double precision rounds the middle, and the library's own steps, about ten times each.
double ParabolaError(const Extremes& numerator, const Extremes& w, double perX, double wPerX) {
  constexpr double kReach = Perspective::kSpan / 2.0;
  constexpr double kSingle = 0x1p-24;
  constexpr double kDouble = 0x1p-48;
  const double farthest = kPhases * numerator.Largest() / w.Smallest();
  const double a = (kPhases * std::abs(perX) + farthest * std::abs(wPerX)) / w.Smallest();
  const double q = std::abs(wPerX) / w.Smallest();
  if (!(q * kReach < 0.5)) return 1;
  const double leftOut = 2 * a * kReach * kReach * kReach * q * q;
  const double rounding = 8 * (2 * a * kReach + 1) * kSingle;
  const double middle = kDouble * (kPhases * numerator.terms + farthest * w.terms) / w.Smallest();
  return leftOut + rounding + middle;
}

}  // namespace

std::optional<Perspective> Perspective::Of(const cv::Mat& workingFromPhoto, cv::Size size) {
  constexpr double kFarthest = 1e9;
  CV_Assert(workingFromPhoto.size() == cv::Size(3, 3) && workingFromPhoto.type() == CV_64FC1);
  Perspective p;
  cv::Mat inverse(3, 3, CV_64FC1, p.m.data());
  workingFromPhoto.copyTo(inverse);
  cv::invert(inverse, inverse);
  const Extremes x = Over(size, &p.m[0]);
  const Extremes y = Over(size, &p.m[3]);
  const Extremes w = Over(size, &p.m[6]);
  if (!x.Finite() || !y.Finite() || !w.Finite() || !(w.Smallest() > 0)) return std::nullopt;
  if (!(kPhases * std::max(x.Largest(), y.Largest()) / w.Smallest() < kFarthest)) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < kBlock; ++i) {
    p.stepsX[i] = p.m[0] * static_cast<double>(i);
    p.stepsY[i] = p.m[3] * static_cast<double>(i);
    p.stepsW[i] = p.m[6] * static_cast<double>(i);
  }
  const double error =
      std::max(ParabolaError(x, w, p.m[0], p.m[6]), ParabolaError(y, w, p.m[3], p.m[6]));
  p.certainBelow = static_cast<float>(0.5 - error) - 0x1p-24F;
  return p;
}

}  // namespace dravix::kernels
