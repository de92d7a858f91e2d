#include "kernels/cubic_sample.h"

#include <opencv2/core.hpp>

namespace dravix::kernels {
namespace {

constexpr int kTaps = 4;

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

float SumAtBorder(const Samples16& photo, int left, int top, const Weights& across,
                  const Weights& down) {
  float sum = 0;
  for (int i = 0; i < kTaps; ++i) {
    const int y = top + i;
    if (y < 0 || y >= photo.height) continue;
    const std::uint16_t* row = photo.first + y * photo.stride;
    for (int k = 0; k < kTaps; ++k) {
      const int x = left + k;
      if (x < 0 || x >= photo.width) continue;
      sum += static_cast<float>(row[x]) *
             (down.at(static_cast<std::size_t>(i)) * across.at(static_cast<std::size_t>(k)));
    }
  }
  return sum;
}

}  // namespace

std::array<float, 4> CubicWeights(int phase) {
  constexpr float kSlope = -0.75F;
  const float x = static_cast<float>(phase) / kPhases;
  const float y = 1.0F - x;
  Weights weights{};
  weights[0] = kSlope * x * y * y;
  weights[1] = ((kSlope + 2) * x - (kSlope + 3)) * x * x + 1;
  weights[2] = ((kSlope + 2) * y - (kSlope + 3)) * y * y + 1;
  weights[3] = kSlope * y * x * x;
  return weights;
}

std::uint16_t CubicSample(const Samples16& photo, int x, int y) {
  const int left = (x >> kPhaseBits) - 1;
  const int top = (y >> kPhaseBits) - 1;
  if (left <= -kTaps || top <= -kTaps || left >= photo.width || top >= photo.height) return 0;
  const Weights across = CubicWeights(x & (kPhases - 1));
  const Weights down = CubicWeights(y & (kPhases - 1));
  const bool inside =
      left >= 0 && top >= 0 && left <= photo.width - kTaps && top <= photo.height - kTaps;
  return cv::saturate_cast<std::uint16_t>(inside ? SumInside(photo, left, top, across, down)
                                                 : SumAtBorder(photo, left, top, across, down));
}

}  // namespace dravix::kernels
