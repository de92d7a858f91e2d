// Student's distribution for whole degrees of freedom has a closed form (Abramowitz and Stegun,
// Handbook of Mathematical Functions, 26.7.3 and 26.7.4), which is inverted by bisection.
#include <dravix/lab/repeatability.h>

#include <cmath>

namespace dravix::lab {
namespace {

/// Beyond so many degrees the normal distribution is as good.
constexpr double kNormal = 2000;

/// The share of the distribution between -t and t.
double ShareWithin(double t, int freedom) {
  const double angle = std::atan(t / std::sqrt(static_cast<double>(freedom)));
  const double cosine = std::cos(angle);
  const bool odd = freedom % 2 == 1;
  double term = odd ? cosine : 1.0;
  double sum = 0;
  for (int k = odd ? 1 : 0; k <= freedom - 2; k += 2) {
    sum += term;
    term *= cosine * cosine * (k + 1.0) / (k + 2.0);
  }
  const double part = std::sin(angle) * sum;
  return odd ? 2.0 / CV_PI * (angle + part) : part;
}

double Share(double t, double freedom) {
  return freedom > kNormal ? std::erf(t / std::sqrt(2.0))
                           : ShareWithin(t, static_cast<int>(freedom));
}

}  // namespace

double StudentFactor(double confidence, double freedom) {
  double low = 0;
  double high = 1;
  constexpr double kLargest = 1e15;
  while (Share(high, freedom) < confidence && high < kLargest) high *= 2;
  for (int i = 0; i < 200 && high - low > 1e-12 * high; ++i) {
    const double middle = 0.5 * (low + high);
    (Share(middle, freedom) < confidence ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

}  // namespace dravix::lab
