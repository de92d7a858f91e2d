/// Across a side of the screen, the mean light under a window of one pitch falls as the spot of one
/// LED, summed from one side: the window turns the comb of LED rows into an even area. The sums of
/// a Gaussian and of a disk, each with its own place, width and two levels, are fitted to it; the
/// one that fits better gives the width.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "lab/check/led_grid.h"

namespace dravix::lab {
namespace {

constexpr int kPerPitch = 8;            // samples across a side
constexpr int kReach = 4;               // pitches to either side of the outline
constexpr int kAlong = 400;             // lines across a side, at most
constexpr double kSideMargin = 0.1;     // of a side near its corners
constexpr int kFewest = 3 * kPerPitch;  // samples outside the outline that the photograph must show

/// The mean light at places from kReach pitches inside to as far outside as the photograph shows.
std::vector<double> ProfileOf(const cv::Mat& plane, const Side& side, int leds, double pitch) {
  const int lines = std::clamp(4 * leds, 16, kAlong);
  const int most = 2 * kReach * kPerPitch + 1;
  std::vector<double> sums(static_cast<std::size_t>(most));
  int shown = most;
  const cv::Point2d outward = side.Outward();
  cv::Mat1f mapX(1, most);
  cv::Mat1f mapY(1, most);
  cv::Mat values;
  for (int i = 0; i < lines; ++i) {
    const double t = kSideMargin + (1 - 2 * kSideMargin) * (i + 0.5) / lines;
    const cv::Point2d foot = side.At(t);
    for (int s = 0; s < most; ++s) {
      const cv::Point2d p = foot + pitch * (static_cast<double>(s) / kPerPitch - kReach) * outward;
      const bool inside = p.x >= 0 && p.y >= 0 && p.x <= plane.cols - 1 && p.y <= plane.rows - 1;
      if (!inside && s > most / 2) shown = std::min(shown, s);
      mapX(s) = static_cast<float>(p.x);
      mapY(s) = static_cast<float>(p.y);
    }
    cv::remap(plane, values, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    for (int s = 0; s < most; ++s) {
      sums[static_cast<std::size_t>(s)] += values.at<std::uint16_t>(s) / static_cast<double>(lines);
    }
  }
  sums.resize(static_cast<std::size_t>(shown));
  return sums;
}

/// Means over a pitch; half a pitch is lost at both ends.
std::vector<double> UnderWindow(const std::vector<double>& profile) {
  std::vector<double> means;
  constexpr int kHalf = kPerPitch / 2;
  const int count = static_cast<int>(profile.size());
  for (int i = kHalf; i + kHalf < count; ++i) {
    double sum = 0;
    for (int j = -kHalf; j <= kHalf; ++j) {
      sum += profile[static_cast<std::size_t>(i + j)] * (std::abs(j) == kHalf ? 0.5 : 1.0);
    }
    means.push_back(sum / kPerPitch);
  }
  return means;
}

/// Light left of a Gaussian of standard deviation 1, and of a disk of radius 2, whose standard
/// deviation along an axis is 1 as well.
double GaussianFall(double z) { return 0.5 * std::erfc(z / std::sqrt(2.0)); }
double DiskFall(double z) {
  const double u = std::clamp(z / 2, -1.0, 1.0);
  return 0.5 - (u * std::sqrt(1 - u * u) + std::asin(u)) / CV_PI;
}

struct Fitted {
  double rest = -1;  ///< sum of squares that the fit leaves; negative: none fits
  double sigma = 0;  ///< pitches
};

/// The width of the fall, by trying widths and places.
Fitted FitOf(const std::vector<double>& means, double (*fall)(double)) {
  Fitted fitted;
  const auto n = static_cast<double>(means.size());
  for (double sigma = 0.08; sigma < 3.2; sigma *= 1.05) {
    for (double place = -1.0; place <= 1.0; place += 0.05) {
      // Least squares for level and step of a known shape.
      double f = 0;
      double ff = 0;
      double v = 0;
      double fv = 0;
      double vv = 0;
      for (std::size_t i = 0; i < means.size(); ++i) {
        const double d = (static_cast<double>(i) + kPerPitch / 2.0) / kPerPitch - kReach;
        const double shape = fall((d - place) / sigma);
        f += shape;
        ff += shape * shape;
        v += means[i];
        fv += shape * means[i];
        vv += means[i] * means[i];
      }
      const double spread = ff - f * f / n;
      if (spread <= 1e-9) continue;
      const double step = (fv - f * v / n) / spread;
      const double rest = vv - v * v / n - step * step * spread;
      if (step > 0 && (fitted.rest < 0 || rest < fitted.rest)) fitted = {rest, sigma};
    }
  }
  return fitted;
}

double FittedSigma(const std::vector<double>& means) {
  const Fitted gaussian = FitOf(means, GaussianFall);
  const Fitted disk = FitOf(means, DiskFall);
  return disk.rest >= 0 && disk.rest < gaussian.rest ? disk.sigma : gaussian.sigma;
}

}  // namespace

double SpotSigma(const cv::Mat& plane, const Outline& outline, cv::Size leds) {
  const cv::Size2d sides = MeanSides(outline.corners);
  std::vector<double> sigmas;
  for (std::size_t i = 0; i < 4; ++i) {
    const bool isAcross = i % 2 == 0;  // the upper and the lower side
    const double pitch = isAcross ? sides.height / leds.height : sides.width / leds.width;
    const std::vector<double> profile =
        ProfileOf(plane, outline.sides.at(i), isAcross ? leds.width : leds.height, pitch);
    if (static_cast<int>(profile.size()) < kReach * kPerPitch + kFewest / 2) continue;
    const double sigma = FittedSigma(UnderWindow(profile));
    if (sigma > 0) sigmas.push_back(sigma);
  }
  if (sigmas.empty()) return 0;
  std::sort(sigmas.begin(), sigmas.end());
  const std::size_t n = sigmas.size();
  return (sigmas[(n - 1) / 2] + sigmas[n / 2]) / 2;
}

}  // namespace dravix::lab
