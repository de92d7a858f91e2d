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
// - A pixel that does not need a row has the weight 0 there, which adds 0 to its sum.
// No include guard of the usual kind: Highway compiles this once for each target.
#if defined(DRAVIX_KERNELS_CUBIC_FILTER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DRAVIX_KERNELS_CUBIC_FILTER_INL_H_
#undef DRAVIX_KERNELS_CUBIC_FILTER_INL_H_
#else
#define DRAVIX_KERNELS_CUBIC_FILTER_INL_H_
#endif

#include <hwy/cache_control.h>

#include <cstdint>
#include <type_traits>
#include <utility>

#include "kernels/cubic_positions-inl.h"
#include "kernels/cubic_sample.h"
#include "kernels/cubic_windows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

/// Weights of the four taps of each lane. All steps are exact, so fused ones are too.
struct Weights {
  Floats tap0;
  Floats tap1;
  Floats tap2;
  Floats tap3;
};

HWY_INLINE Weights WeightsOf(Ints position) {
  const Floats one = hn::Set(kFloats, 1.0F);
  const Ints phase = hn::And(position, hn::Set(kInts, kPhases - 1));
  const Floats x = hn::Mul(hn::ConvertTo(kFloats, phase), hn::Set(kFloats, 1.0F / kPhases));
  const Floats y = hn::Sub(one, x);
  const Floats product = hn::Mul(x, y);
  const Floats outer = hn::Mul(product, hn::Set(kFloats, -0.75F));  // of taps 0 and 3 together
  const Floats bend = hn::MulAdd(x, hn::Set(kFloats, -1.25F), one);
  const Floats tap1 = hn::MulAdd(product, bend, y);
  return {hn::Mul(outer, y), tap1, hn::Sub(hn::Sub(one, tap1), outer), hn::Mul(outer, x)};
}

/// The weight of window row kRow for each lane, 0 where the lane does not need that row.
template <int kRow, int kExtraRows>
HWY_INLINE Floats RowWeight(const Weights& down, Ints first) {
  Floats weight = hn::Zero(kFloats);
  const auto choose = [&](auto tap, Floats ofTap) {
    constexpr int kFirst = kRow - decltype(tap)::value;
    if constexpr (kFirst >= 0 && kFirst <= kExtraRows) {
      const auto here = hn::RebindMask(kFloats, hn::Eq(first, hn::Set(kInts, kFirst)));
      weight = kExtraRows == 0 ? ofTap : hn::IfThenElse(here, ofTap, weight);
    }
  };
  choose(std::integral_constant<int, 0>(), down.tap0);
  choose(std::integral_constant<int, 1>(), down.tap1);
  choose(std::integral_constant<int, 2>(), down.tap2);
  choose(std::integral_constant<int, 3>(), down.tap3);
  return weight;
}

/// The four taps of one row, each with its weight times the row's, from left to right.
HWY_INLINE Floats RowSum(const Samples& samples, const Weights& across, Floats rowWeight) {
  const auto product = [&](Floats sample, Floats weight) {
    return hn::Mul(sample, hn::Mul(rowWeight, weight));
  };
  Floats sum = product(samples.tap0, across.tap0);
  sum = hn::Add(sum, product(samples.tap1, across.tap1));
  sum = hn::Add(sum, product(samples.tap2, across.tap2));
  return hn::Add(sum, product(samples.tap3, across.tap3));
}

/// Filters a vector whose taps lie within windows of kTaps + kExtraRows rows.
template <int kExtraRows, class Windows>
HWY_INLINE Floats Filter(const Windows& windows, const Positions& at) {
  const Weights across = WeightsOf(at.x);
  const Weights down = WeightsOf(at.y);
  Floats sum = RowSum(windows.At(0), across, RowWeight<0, kExtraRows>(down, windows.Down()));
  const auto addRow = [&](auto next) {
    constexpr int kRow = decltype(next)::value + 1;
    sum = hn::Add(
        sum, RowSum(windows.At(kRow), across, RowWeight<kRow, kExtraRows>(down, windows.Down())));
  };
  [&]<int... kRows>(std::integer_sequence<int, kRows...>) {
    (addRow(std::integral_constant<int, kRows>()), ...);
  }
  (std::make_integer_sequence<int, kTaps + kExtraRows - 1>());
  return sum;
}

/// Lane by lane, wherever the taps lie.
HWY_INLINE void SampleEach(const Samples16& photo, const Positions& at, std::uint16_t* samples) {
  HWY_ALIGN std::int32_t x[hn::MaxLanes(kInts)];
  HWY_ALIGN std::int32_t y[hn::MaxLanes(kInts)];
  hn::Store(at.x, kInts, x);
  hn::Store(at.y, kInts, y);
  for (std::size_t i = 0; i < hn::Lanes(kInts); ++i) samples[i] = CubicSample(photo, x[i], y[i]);
}

/// Rounds |values| < 2^22 half to even; see RoundBoth.
HWY_INLINE Ints RoundHalfEven(Floats values) {
  const Floats shift = hn::Set(kFloats, 12582912.0F);  // 1.5 * 2^23
  return hn::Sub(hn::BitCast(kInts, hn::Add(values, shift)), hn::BitCast(kInts, shift));
}

/// Filters a vector with windows of that kind. False when its taps do not fit.
template <class Windows>
HWY_INLINE bool WarpIn(Windows windows, const Samples16& photo, const Positions& at,
                       std::uint16_t* samples) {
  constexpr int kRowsAhead = kTaps + 2;
  const int extraRows = windows.ExtraRows();
  if (!windows.Fit(photo, extraRows)) return false;
  windows.Prepare(photo);
  // The next rows of the working image will want further rows of the photograph. The processor does
  // not foresee that by itself.
  hwy::Prefetch(windows.Place(kRowsAhead));
  const Floats sum = extraRows == 0   ? Filter<0>(windows, at)
                     : extraRows == 1 ? Filter<1>(windows, at)
                                      : Filter<Windows::kMostExtraRows>(windows, at);
  hn::StoreU(hn::DemoteTo(kHalfShorts, RoundHalfEven(sum)), kHalfShorts, samples);
  return true;
}

/// True when no lane has a tap in the photograph.
HWY_INLINE bool AllOutside(const Samples16& photo, const Positions& first) {
  const Ints reach = hn::Set(kInts, kTaps - 1);
  const auto across = Within(hn::Add(first.x, reach), photo.width + kTaps - 2);
  const auto down = Within(hn::Add(first.y, reach), photo.height + kTaps - 2);
  return hn::AllFalse(kUnsigned, hn::And(across, down));
}

HWY_INLINE void WarpVector(const Samples16& photo, const Positions& at, std::uint16_t* samples) {
  const Positions first = FirstTaps(at);
#if HWY_MAX_BYTES == 64
  if (WarpIn(WholeWindow(first), photo, at, samples)) return;
#endif
  if (WarpIn(BlockWindows(first), photo, at, samples)) return;
  if (photo.border == Border::kZero && AllOutside(photo, first)) {
    hn::StoreU(hn::Zero(kHalfShorts), kHalfShorts, samples);
  } else {
    SampleEach(photo, at, samples);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
