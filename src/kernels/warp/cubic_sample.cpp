#include "kernels/warp/cubic_sample.h"

#include <algorithm>
#include <opencv2/core.hpp>
#include <optional>

namespace dravix::kernels {
namespace {

using Weights = std::array<float, kTaps>;

float SumInside(const Samples16& photo, int left, int top, const Weights& across,
                const Weights& down) {
  float sum = 0;
  for (std::size_t i = 0; i < kTaps; ++i) {
    const std::uint16_t* row =
        photo.first + (top + static_cast<std::ptrdiff_t>(i)) * photo.stride + left;
    float rowSum = static_cast<float>(row[0]) * (down.at(i) * across[0]);
    for (std::size_t k = 1; k < kTaps; ++k) {
      rowSum += static_cast<float>(row[k]) * (down.at(i) * across.at(k));
    }
    sum = i == 0 ? rowSum : sum + rowSum;
  }
  return sum;
}

/// Where a tap lies along one side of the photograph, `length` samples long; nothing where its
/// sample is 0.
std::optional<int> PlaceOfTap(int tap, int length, Border border) {
  if (border == Border::kRepeated) return std::clamp(tap, 0, length - 1);
  if (tap < 0 || tap >= length) return std::nullopt;
  return tap;
}

float SumAtBorder(const Samples16& photo, int left, int top, const Weights& across,
                  const Weights& down) {
  float sum = 0;
  for (std::size_t i = 0; i < kTaps; ++i) {
    const auto y = PlaceOfTap(top + static_cast<int>(i), photo.height, photo.border);
    if (!y) continue;
    const std::uint16_t* row = photo.first + *y * photo.stride;
    for (std::size_t k = 0; k < kTaps; ++k) {
      const auto x = PlaceOfTap(left + static_cast<int>(k), photo.width, photo.border);
      if (x) sum += static_cast<float>(row[*x]) * (down.at(i) * across.at(k));
    }
  }
  return sum;
}

}  // namespace

std::uint16_t CubicSample(const Samples16& photo, int x, int y) {
  const int left = (x >> kPhaseBits) - 1;
  const int top = (y >> kPhaseBits) - 1;
  if (photo.border == Border::kZero &&
      (left <= -kTaps || top <= -kTaps || left >= photo.width || top >= photo.height)) {
    return 0;
  }
  const Weights across = CubicWeights(x & (kPhases - 1));
  const Weights down = CubicWeights(y & (kPhases - 1));
  const bool inside =
      left >= 0 && top >= 0 && left <= photo.width - kTaps && top <= photo.height - kTaps;
  return cv::saturate_cast<std::uint16_t>(inside ? SumInside(photo, left, top, across, down)
                                                 : SumAtBorder(photo, left, top, across, down));
}

}  // namespace dravix::kernels
