#include "kernels/warp/eight_bit_scale.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace dravix::kernels {
namespace {

constexpr float kWhite = 255.0F;
constexpr float kHalf = 0.5F;
/// How far a sum of taps can lie from the prescribed one, in units of the largest sample.
constexpr float kError = 1.5e-6F;
constexpr std::int32_t kLargestSample = std::numeric_limits<std::uint16_t>::max();

/// The largest number that has no more bits.
std::int32_t AllBitsOf(std::int32_t number) {
  return static_cast<std::int32_t>(std::bit_ceil(static_cast<std::uint32_t>(number) + 1)) - 1;
}

}  // namespace

EightBitScale::EightBitScale(std::int32_t fullScale)
    : factor(kWhite / static_cast<float>(fullScale)),
      largestValue(static_cast<std::int32_t>(
          std::min(kWhite, std::nearbyint(static_cast<float>(kLargestSample) * factor)))),
      aboveFullScale(kLargestSample & ~AllBitsOf(std::min(fullScale, kLargestSample))),
      certainSample(kHalf - kError * static_cast<float>(kLargestSample - aboveFullScale)),
      // A neighboring sample's value differs by the factor, and the products' roundings by a hair.
      certainValue(kHalf - factor - 0x1p-15F) {}

}  // namespace dravix::kernels
