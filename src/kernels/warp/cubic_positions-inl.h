// Input: working pixels, a vector of neighboring columns at a time. Output: where the photograph is
// sampled, in whole 1/32 pixels. Idea: along a span of 16 columns a perspective is a parabola but
// for a hair. One division and a few products in double precision serve a whole span; single
// precision does for the distance from its middle. Where a position lies so close to the middle
// between two 1/32 pixels that the parabola's error could round it the other way, about once in 200
// vectors, the vector is computed again as the matrix library does it.
//
// Why the bits are those of cv::warpPerspective: the library takes 64 columns from one origin
// (X0, Y0, W0), computes (X0 + M0 * i) * (32 / (W0 + M6 * i)) for column i of them in double
// precision and rounds half to even. ExactPositions does so, in the same order. Its guards against
// division by zero and against overflow do nothing for the perspectives that Perspective::Of
// accepts, which also bounds the parabolas' error.
//
// No include guard of the usual kind: Highway compiles this once for each target.
#if defined(DRAVIX_KERNELS_CUBIC_POSITIONS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DRAVIX_KERNELS_CUBIC_POSITIONS_INL_H_
#undef DRAVIX_KERNELS_CUBIC_POSITIONS_INL_H_
#else
#define DRAVIX_KERNELS_CUBIC_POSITIONS_INL_H_
#endif

#include <hwy/highway.h>

#include <array>
#include <cstdint>

#include "kernels/warp/cubic_sample.h"
#include "kernels/warp/perspective.h"

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

const hn::ScalableTag<float> kFloats;
const hn::Rebind<std::int32_t, decltype(kFloats)> kInts;
const hn::Rebind<std::uint32_t, decltype(kFloats)> kUnsigned;
const hn::Repartition<std::uint16_t, decltype(kFloats)> kShorts;
const hn::Repartition<std::uint8_t, decltype(kFloats)> kBytes;
const hn::Rebind<std::uint16_t, decltype(kFloats)> kHalfShorts;
const hn::Repartition<double, decltype(kFloats)> kDoubles;
const hn::Repartition<std::int32_t, decltype(kDoubles)> kDoubleHalves;

using Floats = hn::Vec<decltype(kFloats)>;
using Ints = hn::Vec<decltype(kInts)>;
using Shorts = hn::Vec<decltype(kShorts)>;
using Bytes = hn::Vec<decltype(kBytes)>;
using Doubles = hn::Vec<decltype(kDoubles)>;

/// Positions in the photograph, in 1/32 pixel.
struct Positions {
  Ints x;
  Ints y;
};

/// Rounds |values| < 2^31 half to even: with 1.5 * 2^52 added, a double's lowest bit counts ones,
/// so that the addition rounds and the low half of the bits is the integer.
HWY_INLINE Ints RoundBoth(Doubles low, Doubles high) {
  const Doubles shift = hn::Set(kDoubles, 6755399441055744.0);
  return hn::ConcatEven(kInts, hn::BitCast(kDoubleHalves, hn::Add(high, shift)),
                        hn::BitCast(kDoubleHalves, hn::Add(low, shift)));
}

/// Stores the positions of a vector of columns that begins at column x of row y, as the library
/// rounds them. Not inlined: it is rarely needed. The result goes through memory, because compilers
/// for Windows do not align vectors that a function returns.
HWY_NOINLINE void ExactPositions(const Perspective& p, int x, int y, std::int32_t* photoX,
                                 std::int32_t* photoY) {
  const int column = x % Perspective::kBlock;
  const int block = x - column;
  const Doubles originX = hn::Set(kDoubles, p.m[0] * block + p.m[1] * y + p.m[2]);
  const Doubles originY = hn::Set(kDoubles, p.m[3] * block + p.m[4] * y + p.m[5]);
  const Doubles originW = hn::Set(kDoubles, p.m[6] * block + p.m[7] * y + p.m[8]);
  const Doubles fine = hn::Set(kDoubles, static_cast<double>(kPhases));
  const auto along = [&](int i, Doubles& atX, Doubles& atY) {
    const Doubles w = hn::Add(originW, hn::LoadU(kDoubles, p.stepsW.data() + i));
    const Doubles scale = hn::Div(fine, w);
    atX = hn::Mul(hn::Add(originX, hn::LoadU(kDoubles, p.stepsX.data() + i)), scale);
    atY = hn::Mul(hn::Add(originY, hn::LoadU(kDoubles, p.stepsY.data() + i)), scale);
  };
  Doubles xLow;
  Doubles yLow;
  Doubles xHigh;
  Doubles yHigh;
  along(column, xLow, yLow);
  along(column + static_cast<int>(hn::Lanes(kDoubles)), xHigh, yHigh);
  hn::StoreU(RoundBoth(xLow, xHigh), kInts, photoX);
  hn::StoreU(RoundBoth(yLow, yHigh), kInts, photoY);
}

/// Adding it to a number below 2^22 leaves the number, rounded half to even, in the low bits.
constexpr float kRoundingShift = 12582912.0F;  // 1.5 * 2^23
constexpr std::int32_t kRoundingShiftBits = 0x4B400000;

/// The coordinates of some spans as parabolas: base + offset + u * (slope + u * bend) at u columns
/// from a span's middle, in 1/32 pixel. The bases are whole numbers.
class Parabolas {
 public:
  static constexpr int kSpans = 8;  // the doubles of the widest vectors
  static constexpr int kColumns = kSpans * Perspective::kSpan;

  /// One coordinate of the photograph.
  struct Coordinate {
    HWY_ALIGN float offset[kSpans];
    HWY_ALIGN float slope[kSpans];
    HWY_ALIGN float bend[kSpans];
    HWY_ALIGN std::int32_t base[kSpans];  ///< less what the rounding adds

    HWY_INLINE void Place(std::size_t i, Doubles numerator, Doubles perW, double perX,
                          double wPerX) {
      const hn::Rebind<float, decltype(kDoubles)> singles;
      const hn::Rebind<std::int32_t, decltype(kDoubles)> integers;
      const Doubles fine = hn::Set(kDoubles, static_cast<double>(kPhases));
      const Doubles at = hn::Mul(hn::Mul(numerator, fine), perW);
      const Doubles whole = hn::Round(at);
      const Doubles w = hn::Set(kDoubles, wPerX);
      const Doubles a = hn::Mul(hn::NegMulAdd(at, w, hn::Set(kDoubles, kPhases * perX)), perW);
      const Doubles b = hn::Neg(hn::Mul(a, hn::Mul(w, perW)));
      hn::StoreU(hn::DemoteTo(singles, hn::Sub(at, whole)), singles, offset + i);
      hn::StoreU(hn::DemoteTo(singles, a), singles, slope + i);
      hn::StoreU(hn::DemoteTo(singles, b), singles, bend + i);
      hn::StoreU(hn::Sub(hn::DemoteTo(integers, whole), hn::Set(integers, kRoundingShiftBits)),
                 integers, base + i);
    }
    /// The positions, and in `rest` how far the parabola lies from them.
    HWY_INLINE Ints At(int span, Floats u, Floats& rest) const {
      const Floats shift = hn::Set(kFloats, kRoundingShift);
      const Floats inner =
          hn::MulAdd(u, hn::Set(kFloats, bend[span]), hn::Set(kFloats, slope[span]));
      const Floats at = hn::MulAdd(u, inner, hn::Set(kFloats, offset[span]));
      const Floats shifted = hn::Add(at, shift);
      rest = hn::Sub(at, hn::Sub(shifted, shift));
      return hn::Add(hn::BitCast(kInts, shifted), hn::Set(kInts, base[span]));
    }
  };

  /// Of the spans that begin at columns x, x + 16, ... of row y.
  HWY_INLINE Parabolas(const Perspective& p, int x, int y) : p_(p), x_(x), y_(y) {
    constexpr double kMiddle = (Perspective::kSpan - 1) / 2.0;
    HWY_ALIGN static constexpr double kMiddles[kSpans] = {kMiddle,      kMiddle + 16, kMiddle + 32,
                                                          kMiddle + 48, kMiddle + 64, kMiddle + 80,
                                                          kMiddle + 96, kMiddle + 112};
    const Doubles first = hn::Set(kDoubles, static_cast<double>(x));
    for (std::size_t i = 0; i < kSpans; i += hn::Lanes(kDoubles)) {
      const Doubles column = hn::Add(hn::LoadU(kDoubles, kMiddles + i), first);
      const auto along = [&](std::size_t row) {
        return hn::MulAdd(column, hn::Set(kDoubles, p.m[row]),
                          hn::Set(kDoubles, p.m[row + 1] * y + p.m[row + 2]));
      };
      const Doubles perW = hn::Div(hn::Set(kDoubles, 1.0), along(6));
      across_.Place(i, along(0), perW, p.m[0], p.m[6]);
      down_.Place(i, along(3), perW, p.m[3], p.m[6]);
    }
  }

  /// Positions of the vector that begins `column` columns after x.
  [[nodiscard]] HWY_INLINE Positions At(int column) const {
    HWY_ALIGN static constexpr float kFromMiddle[Perspective::kSpan] = {
        -7.5F, -6.5F, -5.5F, -4.5F, -3.5F, -2.5F, -1.5F, -0.5F,
        0.5F,  1.5F,  2.5F,  3.5F,  4.5F,  5.5F,  6.5F,  7.5F};
    const int span = column / Perspective::kSpan;
    const Floats u = hn::LoadU(kFloats, kFromMiddle + column % Perspective::kSpan);
    Floats xRest;
    Floats yRest;
    const Ints x = across_.At(span, u, xRest);
    const Ints y = down_.At(span, u, yRest);
    const auto certain =
        hn::Le(hn::Max(hn::Abs(xRest), hn::Abs(yRest)), hn::Set(kFloats, p_.certainBelow));
    if (HWY_LIKELY(hn::AllTrue(kFloats, certain))) return {x, y};
    HWY_ALIGN std::int32_t exactX[hn::MaxLanes(kInts)];
    HWY_ALIGN std::int32_t exactY[hn::MaxLanes(kInts)];
    ExactPositions(p_, x_ + column, y_, exactX, exactY);
    return {hn::Load(kInts, exactX), hn::Load(kInts, exactY)};
  }

  [[nodiscard]] HWY_INLINE const Coordinate& Across() const { return across_; }
  [[nodiscard]] HWY_INLINE const Coordinate& Down() const { return down_; }

 private:
  const Perspective& p_;
  int x_;
  int y_;
  Coordinate across_;
  Coordinate down_;
};

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
