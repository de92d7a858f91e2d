/// Arithmetic with sizes that notices when it overflows.
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>

namespace dravix::base {

/// a * b; empty when it does not fit in 64 bits.
[[nodiscard]] constexpr std::optional<std::uint64_t> CheckedMul(std::uint64_t a, std::uint64_t b) {
  if (a != 0 && b > std::numeric_limits<std::uint64_t>::max() / a) return std::nullopt;
  return a * b;
}

/// a * b * c; empty when it does not fit in 64 bits.
[[nodiscard]] constexpr std::optional<std::uint64_t> CheckedMul(std::uint64_t a, std::uint64_t b,
                                                                std::uint64_t c) {
  const std::optional<std::uint64_t> product = CheckedMul(a, b);
  return product ? CheckedMul(*product, c) : std::nullopt;
}

/// True when a size fits the signed 32-bit counts of the file formats.
[[nodiscard]] constexpr bool FitsInt32(std::uint64_t size) {
  return size <= static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
}

}  // namespace dravix::base
