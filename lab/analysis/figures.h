/// Small sums and quotients that every figure of the analysis is made of.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace dravix::lab {

/// Stands for a figure that would divide by zero or average nothing.
inline constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();

[[nodiscard]] inline bool IsKnown(double value) { return !std::isnan(value); }

[[nodiscard]] inline double Quotient(double numerator, double denominator) {
  return denominator != 0 ? numerator / denominator : kNotKnown;
}

/// The mean of what is added; NaN is left out.
struct Mean {
  double sum = 0;
  std::int64_t count = 0;

  void Add(double value) {
    // Without a branch: values that do not count may be anywhere.
    sum += IsKnown(value) ? value : 0;
    count += IsKnown(value) ? 1 : 0;
  }
  void Add(const Mean& other) {
    sum += other.sum;
    count += other.count;
  }
  [[nodiscard]] double Value() const { return Quotient(sum, static_cast<double>(count)); }
};

/// The quotient rounded down, also for negative numbers; `divisor` is positive.
[[nodiscard]] inline int FloorDivide(int number, int divisor) {
  return number / divisor - (number % divisor < 0 ? 1 : 0);
}

}  // namespace dravix::lab
