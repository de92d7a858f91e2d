// Input: working pixels, a vector of neighboring columns at a time. Idea: the perspective's
// numerators and denominator grow evenly along a row, so that they are a sum of their value at the
// first column of a block of 64 and a step which is the same in every block. Output: where the
// photograph is sampled, in whole 1/32 pixels.
//
// Why the bits are those of cv::warpPerspective: the library takes 64 columns from one origin
// (X0, Y0, W0), computes (X0 + M0 * i) * (32 / (W0 + M6 * i)) for column i of them in double
// precision and rounds half to even. So do we, in the same order. Its guards against division by
// zero and against overflow do nothing for the perspectives that CubicWarp::Of accepts.
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

#include "kernels/block_steps.h"
#include "kernels/cubic_sample.h"

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

/// The perspective along one block of 64 columns: numerators and denominator at its first column.
struct Origin {
  Doubles x;
  Doubles y;
  Doubles w;
};

HWY_INLINE Origin OriginOf(const std::array<double, 9>& m, int x, int y) {
  return {hn::Set(kDoubles, m[0] * x + m[1] * y + m[2]),
          hn::Set(kDoubles, m[3] * x + m[4] * y + m[5]),
          hn::Set(kDoubles, m[6] * x + m[7] * y + m[8])};
}

/// Rounds |values| < 2^31 half to even: with 1.5 * 2^52 added, a double's lowest bit counts ones,
/// so that the addition rounds and the low half of the bits is the integer.
HWY_INLINE Ints RoundBoth(Doubles low, Doubles high) {
  const Doubles shift = hn::Set(kDoubles, 6755399441055744.0);
  return hn::ConcatEven(kInts, hn::BitCast(kDoubleHalves, hn::Add(high, shift)),
                        hn::BitCast(kDoubleHalves, hn::Add(low, shift)));
}

/// Positions of a vector of columns that begins `column` columns after the origin.
HWY_INLINE Positions PositionsAt(const Origin& origin, const BlockSteps& steps, int column) {
  const Doubles fine = hn::Set(kDoubles, static_cast<double>(kPhases));
  const auto along = [&](int i, Doubles& x, Doubles& y) {
    const Doubles w = hn::Add(origin.w, hn::LoadU(kDoubles, steps.w.data() + i));
    const Doubles scale = hn::Div(fine, w);
    x = hn::Mul(hn::Add(origin.x, hn::LoadU(kDoubles, steps.x.data() + i)), scale);
    y = hn::Mul(hn::Add(origin.y, hn::LoadU(kDoubles, steps.y.data() + i)), scale);
  };
  Doubles xLow;
  Doubles yLow;
  Doubles xHigh;
  Doubles yHigh;
  along(column, xLow, yLow);
  along(column + static_cast<int>(hn::Lanes(kDoubles)), xHigh, yHigh);
  return {RoundBoth(xLow, xHigh), RoundBoth(yLow, yHigh)};
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
