/// One pixel of the cubic warp, anywhere: at the photograph's border, or where a vector kernel
/// cannot go. The vector kernels add in the same order, so that both give the same bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace dravix::kernels {

/// What lies beyond the photograph's border.
enum class Border {
  kZero,      ///< samples of 0
  kRepeated,  ///< the border's own samples, again and again
};

/// A photograph's samples: rows of `width` values that begin `stride` values apart.
struct Samples16 {
  const std::uint16_t* first = nullptr;
  int width = 0;
  int height = 0;
  std::ptrdiff_t stride = 0;
  Border border = Border::kZero;
};

/// Positions in the photograph are whole numbers of 1/32 pixel.
constexpr int kPhaseBits = 5;
constexpr int kPhases = 1 << kPhaseBits;

/// Samples that a position takes from each of as many rows.
constexpr int kTaps = 4;

/// Weights of the four taps -1, 0, 1, 2 for a position `phase` / 32 pixels after tap 0: the cubic
/// convolution of R. Keys ("Cubic convolution interpolation for digital image processing", IEEE
/// Transactions on Acoustics, Speech, and Signal Processing 29, 1981) with the slope -0.75. Every
/// weight is a multiple of 2^-17 below 2, so single precision holds it and all intermediate values
/// exactly, and any way to compute it gives the same bits.
[[nodiscard]] constexpr std::array<float, kTaps> CubicWeights(int phase) {
  constexpr float kSlope = -0.75F;
  const float x = static_cast<float>(phase) / kPhases;
  const float y = 1.0F - x;
  return {kSlope * x * y * y, ((kSlope + 2) * x - (kSlope + 3)) * x * x + 1,
          ((kSlope + 2) * y - (kSlope + 3)) * y * y + 1, kSlope * y * x * x};
}

/// The weights of every phase, tap by tap, as vectors look them up.
struct CubicTable {
  static constexpr std::size_t kAlignment = 64;
  alignas(kAlignment) float of[kTaps][kPhases];
};
inline constexpr CubicTable kCubicTable = [] {
  CubicTable table{};
  for (int phase = 0; phase < kPhases; ++phase) {
    for (std::size_t k = 0; k < kTaps; ++k) table.of[k][phase] = CubicWeights(phase)[k];
  }
  return table;
}();

/// The photograph at (x, y), in 1/32 pixel. Inside, the sum goes row by row, each row from left to
/// right; the rows' sums are then added from the top. Where a tap lies outside the photograph, the
/// sixteen taps are added one after the other. Rounded half to even and saturated.
[[nodiscard]] std::uint16_t CubicSample(const Samples16& photo, int x, int y);

}  // namespace dravix::kernels
