/// Pixel arithmetic that neither overflows nor leaves the range of an integer coordinate.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace dravix::region {

/// The nearest 32-bit value. Regions come from files, so sums of their fields may need 33 bits.
[[nodiscard]] constexpr std::int32_t ClampToInt32(std::int64_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

/// Truncates toward zero and clamps to the 32-bit range; 0 for NaN.
[[nodiscard]] constexpr std::int32_t TruncToInt32(double value) {
  if (!(value == value)) return 0;
  constexpr double kLow = std::numeric_limits<std::int32_t>::min();
  constexpr double kHigh = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(value, kLow, kHigh));
}

/// trunc(value + 0.5), added in the precision of the argument: half a pixel goes up. Truncation
/// goes toward zero, so a negative value comes out one higher than rounding would give, which hosts
/// rely on.
[[nodiscard]] constexpr std::int32_t RoundPixel(float value) { return TruncToInt32(value + 0.5F); }
[[nodiscard]] constexpr std::int32_t RoundPixel(double value) { return TruncToInt32(value + 0.5); }

}  // namespace dravix::region
