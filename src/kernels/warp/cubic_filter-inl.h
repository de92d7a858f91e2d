// Input: positions in the photograph, a vector of neighboring working pixels at a time. Idea: all
// lanes are filtered at once from windows of samples (see cubic_windows-inl.h). Output: 16-bit
// samples. Vectors whose taps do not fit into windows (at the photograph's border, or where the
// perspective shrinks more than 1.3 times) go pixel by pixel.
//
// Why the bits are those of cv::warpPerspective:
// - Weights: the product of a row's and a column's weight, each exact (see CubicWeights), rounded
//   once, as in the library's table.
// - Sums: each of the four rows from left to right, then the rows from the top, every product and
//   every sum rounded by itself. No fused multiply-add, except where the result is exact.
// - Where windows begin at different rows, a pixel that does not need one of the rows has the
// weight 0
//   there, which adds 0 to its sum.
//
// No include guard of the usual kind: Highway compiles this once for each target.
#if defined(DRAVIX_KERNELS_CUBIC_FILTER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DRAVIX_KERNELS_CUBIC_FILTER_INL_H_
#undef DRAVIX_KERNELS_CUBIC_FILTER_INL_H_
#else
#define DRAVIX_KERNELS_CUBIC_FILTER_INL_H_
#endif

#include <hwy/cache_control.h>

#include <cstdint>

#include "kernels/warp/cubic_positions-inl.h"
#include "kernels/warp/cubic_sample.h"
#include "kernels/warp/cubic_windows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

/// Weights of the four taps of each lane.
struct Weights {
  Floats tap0;
  Floats tap1;
  Floats tap2;
  Floats tap3;
};

#if DRAVIX_WHOLE_WINDOWS
/// The weights of one tap; of the positions only the phases count.
HWY_INLINE Floats LookUpWeights(std::size_t tap, Ints position) {
  const float* table = kCubicTable.of[tap];
  return LookUp(hn::Load(kFloats, table), hn::Load(kFloats, table + kPhases / 2), position);
}
#endif

/// The weights for positions in 1/32 pixel. All steps are exact, so fused ones are too.
HWY_INLINE Weights WeightsOf(Ints position) {
#if DRAVIX_WHOLE_WINDOWS
  return {LookUpWeights(0, position), LookUpWeights(1, position), LookUpWeights(2, position),
          LookUpWeights(3, position)};
#else
  const Floats one = hn::Set(kFloats, 1.0F);
  const Ints phase = hn::And(position, hn::Set(kInts, kPhases - 1));
  const Floats x = hn::Mul(hn::ConvertTo(kFloats, phase), hn::Set(kFloats, 1.0F / kPhases));
  const Floats y = hn::Sub(one, x);
  const Floats product = hn::Mul(x, y);
  const Floats outer = hn::Mul(product, hn::Set(kFloats, -0.75F));  // of taps 0 and 3 together
  const Floats bend = hn::MulAdd(x, hn::Set(kFloats, -1.25F), one);
  const Floats tap1 = hn::MulAdd(product, bend, y);
  return {hn::Mul(outer, y), tap1, hn::Sub(hn::Sub(one, tap1), outer), hn::Mul(outer, x)};
#endif
}

/// `weight` in the lanes that begin kLower rows lower than their window, where windows have so many
/// extra rows; in the others what was there.
template <int kLower, int kExtraRows>
HWY_INLINE Floats Choose(Ints lower, Floats weight, Floats otherwise) {
  if constexpr (kLower < 0 || kLower > kExtraRows) return otherwise;
  const auto here = hn::RebindMask(kFloats, hn::Eq(lower, hn::Set(kInts, kLower)));
  return hn::IfThenElse(here, weight, otherwise);
}

/// The weight of window row kRow for each lane, 0 where the lane does not need that row.
template <int kRow, int kExtraRows>
HWY_INLINE Floats RowWeight(const Weights& down, Ints lower) {
  if constexpr (kExtraRows == 0) {
    return kRow == 0 ? down.tap0 : kRow == 1 ? down.tap1 : kRow == 2 ? down.tap2 : down.tap3;
  } else {
    Floats weight = Choose<kRow, kExtraRows>(lower, down.tap0, hn::Zero(kFloats));
    weight = Choose<kRow - 1, kExtraRows>(lower, down.tap1, weight);
    weight = Choose<kRow - 2, kExtraRows>(lower, down.tap2, weight);
    return Choose<kRow - 3, kExtraRows>(lower, down.tap3, weight);
  }
}

/// The four taps of one row, each with its weight times the row's, from left to right.
HWY_INLINE Floats RowSum(const Samples& samples, const Weights& across, Floats rowWeight) {
  Floats sum = hn::Mul(samples.tap0, hn::Mul(rowWeight, across.tap0));
  sum = hn::Add(sum, hn::Mul(samples.tap1, hn::Mul(rowWeight, across.tap1)));
  sum = hn::Add(sum, hn::Mul(samples.tap2, hn::Mul(rowWeight, across.tap2)));
  return hn::Add(sum, hn::Mul(samples.tap3, hn::Mul(rowWeight, across.tap3)));
}

/// Adds the rows from kRow on, one after the other.
template <int kRow, int kExtraRows, class Windows>
HWY_INLINE Floats AddRows(Windows& windows, const Weights& across, const Weights& down, Ints lower,
                          Floats sum) {
  if constexpr (kRow == kTaps + kExtraRows) {
    return sum;
  } else {
    const Floats rowSum =
        RowSum(windows.At(kRow), across, RowWeight<kRow, kExtraRows>(down, lower));
    return AddRows<kRow + 1, kExtraRows>(windows, across, down, lower,
                                         kRow == 0 ? rowSum : hn::Add(sum, rowSum));
  }
}

/// Filters a vector whose taps lie within kTaps + kExtraRows rows of windows.
template <int kExtraRows, class Windows>
HWY_INLINE Floats Filter(Windows windows, const Way& way) {
  const Ints y = hn::Load(kInts, way.y);
  const Weights across = WeightsOf(hn::Load(kInts, way.x));
  const Weights down = WeightsOf(y);
  const Ints lower = hn::ShiftRight<kPhaseBits>(y);
  return AddRows<0, kExtraRows>(windows, across, down, lower, hn::Zero(kFloats));
}

/// Rounds |values| < 2^22 half to even.
HWY_INLINE Ints RoundHalfEven(Floats values) {
  const Floats shift = hn::Set(kFloats, kRoundingShift);
  return hn::Sub(hn::BitCast(kInts, hn::Add(values, shift)), hn::Set(kInts, kRoundingShiftBits));
}

/// Lane by lane, wherever the taps lie.
HWY_INLINE void SampleEach(const Samples16& photo, const Way& way, std::uint16_t* samples) {
  for (std::size_t i = 0; i < hn::Lanes(kInts); ++i) {
    samples[i] = CubicSample(photo, way.x[i], way.y[i]);
  }
}

/// Makes the samples of a vector.
HWY_INLINE void Sample(const Samples16& photo, const Way& way, std::uint16_t* samples) {
  const auto store = [&](Floats sum) {
    hn::StoreU(hn::DemoteTo(kHalfShorts, RoundHalfEven(sum)), kHalfShorts, samples);
  };
  switch (way.reach) {
#if DRAVIX_WHOLE_WINDOWS
    case Reach::kWhole:
      return store(Filter<0>(WholeWindow(photo, way), way));
#endif
    case Reach::kBlocks:
      return store(Filter<0>(BlockWindows(photo, way), way));
    case Reach::kSteppedBlocks:
      return store(Filter<1>(BlockWindows(photo, way), way));
    case Reach::kSteepBlocks:
      return store(Filter<3>(BlockWindows(photo, way), way));
    case Reach::kNowhere:
      return store(hn::Zero(kFloats));
    default:
      return SampleEach(photo, way, samples);
  }
}

/// The next rows of the working image will want further rows of the photograph. The processor does
/// not foresee that by itself.
HWY_INLINE void PrefetchBelow(const Samples16& photo, const Way& way) {
  constexpr int kRowsAhead = kTaps + 2;
  if (way.reach <= Reach::kSteepBlocks) {
    hwy::Prefetch(photo.first + way.offsets[0] + kRowsAhead * photo.stride);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
