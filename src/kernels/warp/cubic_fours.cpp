// Input: 16-bit samples and the perspective from working pixels to photograph pixels. Idea: the
// four taps of a row of the photograph are one vector, its products are another. The products of
// one pixel's four rows, transposed, are added from left to right for all rows at once; the row
// sums of four pixels, transposed again, are added from the top for all pixels at once. Output: a
// row of the working image.
//
// The vectors are those of the matrix library's headers, which know plain SSE2. Highway 1.0 has no
// target for it.
//
// Why the bits are those of CubicSample:
// - Positions: the matrix library's own steps in double precision, two columns in a vector.
// - Weights: the row's weight times the tap's, rounded once.
// - Sums: every product and every sum is rounded by itself, in the order of CubicSample.
#include "kernels/warp/cubic_fours.h"

#include <algorithm>
#include <array>
#include <opencv2/core/hal/intrin.hpp>

namespace dravix::kernels {
namespace {

constexpr int kPixels = 4;

/// Positions of four neighboring working pixels in the photograph, in 1/32 pixel.
struct Positions {
  std::array<int, kPixels> x;
  std::array<int, kPixels> y;
};

/// The weights of each phase: as a vector for the taps of a row, and each of them four times, for
/// the rows.
struct WeightVectors {
  alignas(16) float across[kPhases][kTaps];
  alignas(16) float down[kPhases][kTaps][kTaps];
};

constexpr WeightVectors kWeights = [] {
  WeightVectors weights{};
  for (int phase = 0; phase < kPhases; ++phase) {
    for (std::size_t tap = 0; tap < kTaps; ++tap) {
      weights.across[phase][tap] = CubicWeights(phase)[tap];
      for (float& weight : weights.down[phase][tap]) weight = CubicWeights(phase)[tap];
    }
  }
  return weights;
}();

/// The positions of working pixels along one row of one block.
class BlockPositions {
 public:
  BlockPositions(const Perspective& p, int block, int y)
      : p_(p),
        originX_(cv::v_setall_f64(p.m[0] * block + p.m[1] * y + p.m[2])),
        originY_(cv::v_setall_f64(p.m[3] * block + p.m[4] * y + p.m[5])),
        originW_(cv::v_setall_f64(p.m[6] * block + p.m[7] * y + p.m[8])) {}

  [[nodiscard]] Positions Of(std::size_t column) const {
    constexpr std::size_t kHalf = kPixels / 2;
    const cv::v_float64x2 left = Scale(column);
    const cv::v_float64x2 right = Scale(column + kHalf);
    Positions positions;
    cv::v_store(positions.x.data(),
                cv::v_round((originX_ + cv::v_load(&p_.stepsX[column])) * left,
                            (originX_ + cv::v_load(&p_.stepsX[column + kHalf])) * right));
    cv::v_store(positions.y.data(),
                cv::v_round((originY_ + cv::v_load(&p_.stepsY[column])) * left,
                            (originY_ + cv::v_load(&p_.stepsY[column + kHalf])) * right));
    return positions;
  }

 private:
  [[nodiscard]] cv::v_float64x2 Scale(std::size_t column) const {
    return cv::v_setall_f64(static_cast<double>(kPhases)) /
           (originW_ + cv::v_load(&p_.stepsW[column]));
  }

  const Perspective& p_;
  cv::v_float64x2 originX_;
  cv::v_float64x2 originY_;
  cv::v_float64x2 originW_;
};

constexpr int FirstTap(int position) { return (position >> kPhaseBits) - 1; }
constexpr std::size_t Phase(int position) {
  return static_cast<std::size_t>(position & (kPhases - 1));
}

/// Whether all taps of all four pixels lie in the photograph.
bool AllInside(const Samples16& photo, const Positions& positions) {
  const auto inside = [](const std::array<int, kPixels>& position, int length) {
    const auto [low, high] = std::minmax_element(position.begin(), position.end());
    return FirstTap(*low) >= 0 && FirstTap(*high) <= length - kTaps;
  };
  return inside(positions.x, photo.width) && inside(positions.y, photo.height);
}

cv::v_float32x4 FirstToLast(const cv::v_float32x4& a, const cv::v_float32x4& b,
                            const cv::v_float32x4& c, const cv::v_float32x4& d) {
  cv::v_float32x4 first;
  cv::v_float32x4 second;
  cv::v_float32x4 third;
  cv::v_float32x4 last;
  cv::v_transpose4x4(a, b, c, d, first, second, third, last);
  return first + second + third + last;
}

/// The sums of a pixel's four rows, from the top.
cv::v_float32x4 RowSums(const Samples16& photo, int x, int y) {
  const std::uint16_t* taps = photo.first + FirstTap(y) * photo.stride + FirstTap(x);
  const cv::v_float32x4 across = cv::v_load_aligned(kWeights.across[Phase(x)]);
  const auto& down = kWeights.down[Phase(y)];
  const auto products = [&](std::size_t row) {
    const std::uint16_t* first = taps + static_cast<std::ptrdiff_t>(row) * photo.stride;
    const cv::v_int32x4 samples = cv::v_reinterpret_as_s32(cv::v_load_expand(first));
    return cv::v_cvt_f32(samples) * (cv::v_load_aligned(down[row]) * across);
  };
  return FirstToLast(products(0), products(1), products(2), products(3));
}

void SampleFour(const Samples16& photo, const Positions& positions, std::uint16_t* samples) {
  const auto rowSums = [&](std::size_t i) {
    return RowSums(photo, positions.x[i], positions.y[i]);
  };
  const cv::v_float32x4 sums = FirstToLast(rowSums(0), rowSums(1), rowSums(2), rowSums(3));
  cv::v_pack_u_store(samples, cv::v_round(sums));
}

void SampleEach(const Samples16& photo, const Positions& positions, std::uint16_t* samples) {
  for (std::size_t i = 0; i < kPixels; ++i) {
    samples[i] = CubicSample(photo, positions.x[i], positions.y[i]);
  }
}

}  // namespace

void WarpRowByFours(const Samples16& photo, const Perspective& p, int y, int begin, int end,
                    std::uint16_t* samples) {
  for (int block = begin; block < end; block += Perspective::kBlock) {
    const BlockPositions inBlock(p, block, y);
    const int columns = std::min(Perspective::kBlock, end - block);
    for (int column = 0; column < columns; column += kPixels, samples += kPixels) {
      const Positions positions = inBlock.Of(static_cast<std::size_t>(column));
      if (AllInside(photo, positions)) {
        SampleFour(photo, positions, samples);
      } else {
        SampleEach(photo, positions, samples);
      }
    }
  }
}

}  // namespace dravix::kernels
