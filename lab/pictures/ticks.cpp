#include "lab/pictures/ticks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace dravix::lab {
namespace {

/// The power of ten of a positive number; a number just below the next power counts as that one.
int PowerOf(double number) { return static_cast<int>(std::floor(std::log10(number) + 1e-9)); }

/// The smallest step of 1, 2 or 5 times a power of ten that gives at most about `count` ticks.
double NiceStep(double range, int count) {
  const double rough = range / std::max(count, 1);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough) return factor * power;
  }
  return 10 * power;
}

std::string Digits(double value, int decimals, bool hasExponent) {
  std::array<char, 64> text{};
  if (hasExponent) {
    std::snprintf(text.data(), text.size(), "%.*e", decimals, value);
  } else {
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
  }
  return text.data();
}

}  // namespace

std::vector<Tick> TicksOf(double low, double high, int count) {
  const double step = NiceStep(high - low, count);
  const double largest = std::max({std::abs(low), std::abs(high), step});
  const bool isLong = largest >= 1e7 || step < 1e-6;
  // As many digits as tell two neighbors apart.
  const int decimals = isLong ? PowerOf(largest) - PowerOf(step) : std::max(0, -PowerOf(step));
  std::vector<Tick> ticks;
  const double last = std::floor(high / step + 1e-6);
  for (double i = std::ceil(low / step - 1e-6); i <= last; ++i) {
    // Adding up steps would leave "-0.00" where 0 belongs.
    const double value = i == 0 ? 0 : i * step;
    ticks.push_back({(value - low) / (high - low), Digits(value, decimals, isLong)});
  }
  return ticks;
}

}  // namespace dravix::lab
