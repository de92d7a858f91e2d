#include "sim/kernel.h"

#include <algorithm>
#include <cmath>

#include "sim/fixed_math.h"

namespace dravix::sim {
namespace {

// A Gaussian is cut off at 4 sigma; only 6e-5 of an axis's light lies beyond.
constexpr double kGaussianReach = 4.0;

/// A fine picture of the spot: samples lie 1 / steps pixel apart, and the spot's middle is the
/// sample (middle, middle).
struct FineSpot {
  int steps;
  int middle;
  cv::Mat_<double> value;
};

/// Replaces each of `count` samples by the sum over a window about it, which is `width` samples
/// wide. The width need not be a whole number: samples at the window's ends count by the part
/// inside.
class Box {
 public:
  Box(double width, int count) : half_(0.5 * width), sums_(static_cast<std::size_t>(count) + 1) {}

  void Apply(double* first, std::ptrdiff_t stride) {
    const auto count = static_cast<std::ptrdiff_t>(sums_.size()) - 1;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
      sums_[static_cast<std::size_t>(i) + 1] =
          sums_[static_cast<std::size_t>(i)] + first[i * stride];
    }
    for (std::ptrdiff_t i = 0; i < count; ++i) {
      const double at = static_cast<double>(i) + 0.5;  // sample i covers i to i + 1
      first[i * stride] = UpTo(at + half_) - UpTo(at - half_);
    }
  }

 private:
  /// The sum of all samples before the place `at`.
  double UpTo(double at) const {
    const double last = static_cast<double>(sums_.size()) - 1.0;
    const double inside = std::clamp(at, 0.0, last);
    const auto whole = std::min(static_cast<std::size_t>(inside), sums_.size() - 2);
    return sums_[whole] + (sums_[whole + 1] - sums_[whole]) * (inside - static_cast<double>(whole));
  }

  double half_;
  std::vector<double> sums_;
};

void BoxBothWays(double width, cv::Mat_<double>& m) {
  Box box(width, m.rows);
  for (int y = 0; y < m.rows; ++y) box.Apply(m.ptr<double>(y), 1);
  for (int x = 0; x < m.cols; ++x) {
    box.Apply(m.ptr<double>(0) + x, static_cast<std::ptrdiff_t>(m.step1()));
  }
}

/// Draws a disk whose radius is given in samples. Its edge falls off over one sample, because a
/// hard edge would make the disk's area jump with the radius.
void DrawDisk(double radius, FineSpot& spot) {
  for (int y = 0; y < spot.value.rows; ++y) {
    const double dy = y - spot.middle;
    for (int x = 0; x < spot.value.cols; ++x) {
      const double dx = x - spot.middle;
      const double inside = radius + 0.5 - std::sqrt(dx * dx + dy * dy);
      spot.value(y, x) = std::clamp(inside, 0.0, 1.0);
    }
  }
}

void DrawGaussian(double sigma, FineSpot& spot) {
  std::vector<double> bell(static_cast<std::size_t>(spot.value.cols), 0.0);
  for (std::size_t i = 0; i < bell.size(); ++i) {
    const double d = static_cast<double>(i) - spot.middle;
    const double t = sigma > 0 ? d / sigma : (d == 0 ? 0.0 : 2.0 * kGaussianReach);
    if (t * t <= kGaussianReach * kGaussianReach) bell[i] = FixedExp(-0.5 * t * t);
  }
  for (int y = 0; y < spot.value.rows; ++y) {
    for (int x = 0; x < spot.value.cols; ++x) {
      spot.value(y, x) = bell[static_cast<std::size_t>(y)] * bell[static_cast<std::size_t>(x)];
    }
  }
}

/// How many places inside a pixel the center may have, along each axis. Large spots are smooth, so
/// that fewer places serve them as well and keep their table small.
int StepsFor(int radius) { return radius <= 24 ? 16 : (radius <= 48 ? 8 : 4); }

/// Makes the weights of one place: every steps-th sample of the fine picture, scaled to sum 1.
void Sample(const FineSpot& spot, int radius, int stepX, int stepY, float* out) {
  const int half = spot.steps / 2;
  const auto index = [&](int pixel, int step) {
    return spot.middle + pixel * spot.steps - step + half;
  };
  double sum = 0;
  for (int y = -radius; y <= radius; ++y) {
    for (int x = -radius; x <= radius; ++x) sum += spot.value(index(y, stepY), index(x, stepX));
  }
  for (int y = -radius; y <= radius; ++y) {
    for (int x = -radius; x <= radius; ++x) {
      *out++ = static_cast<float>(spot.value(index(y, stepY), index(x, stepX)) / sum);
    }
  }
}

}  // namespace

int ReachOf(double emitterSide, Defocus defocus, double blur) {
  const double reach = defocus == Defocus::kDisk ? blur : kGaussianReach * blur;
  return static_cast<int>(std::ceil(0.5 * emitterSide + reach + 1.0));
}

// The lens's blur is drawn on a grid finer than the pixels. Summing it over a window as wide as the
// emitter, and again over one as wide as a pixel, gives at every fine sample the light that a pixel
// with its center there receives. Every steps-th sample then is the spot as whole pixels see it,
// and where the first one lies decides the place of the spot's center inside its pixel.
SpotKernel::SpotKernel(double emitterSide, Defocus defocus, double blur) {
  radius_ = ReachOf(emitterSide, defocus, blur);
  steps_ = StepsFor(radius_);
  sideSquared_ = static_cast<std::size_t>(Side()) * static_cast<std::size_t>(Side());

  FineSpot spot{steps_, (radius_ + 1) * steps_, {}};
  spot.value.create(2 * spot.middle + 1, 2 * spot.middle + 1);
  if (defocus == Defocus::kDisk) {
    DrawDisk(blur * steps_, spot);
  } else {
    DrawGaussian(blur * steps_, spot);
  }
  BoxBothWays(emitterSide * steps_, spot.value);
  BoxBothWays(steps_, spot.value);

  weights_.resize(sideSquared_ * static_cast<std::size_t>(steps_ * steps_));
  for (int stepY = 0; stepY < steps_; ++stepY) {
    for (int stepX = 0; stepX < steps_; ++stepX) {
      float* kernel =
          weights_.data() + static_cast<std::size_t>(stepY * steps_ + stepX) * sideSquared_;
      Sample(spot, radius_, stepX, stepY, kernel);
    }
  }
}

}  // namespace dravix::sim
