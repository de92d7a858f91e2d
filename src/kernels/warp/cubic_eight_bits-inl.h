// Input: positions in the photograph, as for the samples (cubic_filter-inl.h). Output: the 8-bit
// values of those samples, which the search for the lit area looks at. Idea: few samples lie so
// close to the border between two 8-bit values that the last bits of their sums could matter. So
// the rows are filtered by fused multiply-adds, first across and then down, which takes half the
// operations; a vector in which the value of any lane is in doubt is filtered once more in the
// prescribed order.
//
// Why the bits are those of the prescribed order: both sums deviate from the true one by less than
// kError times the largest sample. They count roundings of partial sums, each at most 2^-24 of it,
// in units of the largest sample; the absolute weights of one direction add up to at most 1.375, of
// both to 1.9, and no partial sum exceeds 1.5. Prescribed: 3.8 for weights and products, 4.1 for
// the sums of rows, 3.7 for their sum. Fused, or with products rounded: 4.2 + 1.9 for rows and 3.8
// + 1.5 down. Together 23 * 2^-24 < kError. So both round to the same sample unless the fused sum
// lies within kError times the largest sample of the middle between two; and even then to samples
// that differ by one, whose 8-bit values are the same unless the middle between two of those is
// near. Where a window has a sample above full scale, the largest one is not known, and its vector
// is always in doubt. No include guard of the usual kind: Highway compiles this once for each
// target.
#if defined(DRAVIX_KERNELS_CUBIC_EIGHT_BITS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DRAVIX_KERNELS_CUBIC_EIGHT_BITS_INL_H_
#undef DRAVIX_KERNELS_CUBIC_EIGHT_BITS_INL_H_
#else
#define DRAVIX_KERNELS_CUBIC_EIGHT_BITS_INL_H_
#endif

#include <cstdint>
#include <limits>

#include "kernels/warp/cubic_filter-inl.h"
#include "kernels/warp/eight_bit_scale.h"

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

/// The four taps of one row with their weights, rounded less often than prescribed.
HWY_INLINE Floats FusedRowSum(const Samples& samples, const Weights& across) {
  Floats sum = hn::Mul(samples.tap0, across.tap0);
  sum = hn::MulAdd(samples.tap1, across.tap1, sum);
  sum = hn::MulAdd(samples.tap2, across.tap2, sum);
  return hn::MulAdd(samples.tap3, across.tap3, sum);
}

/// Adds the rows from kRow on, rounded less often than prescribed.
template <int kRow, int kExtraRows, class Windows>
HWY_INLINE Floats AddFusedRows(Windows& windows, const Weights& across, const Weights& down,
                               Ints lower, Floats sum) {
  if constexpr (kRow == kTaps + kExtraRows) {
    return sum;
  } else {
    const Floats weight = RowWeight<kRow, kExtraRows>(down, lower);
    const Floats rowSum = FusedRowSum(windows.At(kRow), across);
    return AddFusedRows<kRow + 1, kExtraRows>(
        windows, across, down, lower,
        kRow == 0 ? hn::Mul(rowSum, weight) : hn::MulAdd(rowSum, weight, sum));
  }
}

/// What the taps of each lane add up to, rounded less often than prescribed.
class FusedSums {
 public:
  HWY_INLINE FusedSums(const Samples16& photo, const EightBitScale& scale)
      : photo_(photo), scale_(scale), seen_(hn::Zero(kShorts)) {}

  HWY_INLINE void Add(const Way& way, float* sums) {
    switch (way.reach) {
#if DRAVIX_WHOLE_WINDOWS
      case Reach::kWhole:
        return AddIn<0, WholeWindow>(way, sums);
#endif
      case Reach::kBlocks:
        return AddIn<0, BlockWindows>(way, sums);
      case Reach::kSteppedBlocks:
        return AddIn<1, BlockWindows>(way, sums);
      case Reach::kNowhere:
        return hn::Store(hn::Zero(kFloats), kFloats, sums);
      default:
        return hn::Store(hn::Set(kFloats, kDoubt), kFloats, sums);
    }
  }
  /// False when some window had a sample above full scale: then no sum is certain.
  [[nodiscard]] HWY_INLINE bool Certain() const {
    const Shorts mask = hn::Set(kShorts, static_cast<std::uint16_t>(scale_.aboveFullScale));
    return hn::AllTrue(kShorts, hn::Eq(hn::And(seen_, mask), hn::Zero(kShorts)));
  }

 private:
  static constexpr float kDoubt = std::numeric_limits<float>::quiet_NaN();

  template <int kExtraRows, class Windows>
  HWY_INLINE void AddIn(const Way& way, float* sums) {
    Windows windows(photo_, way);
    const Ints y = hn::Load(kInts, way.y);
    const Weights across = WeightsOf(hn::Load(kInts, way.x));
    const Weights down = WeightsOf(y);
    const Ints lower = hn::ShiftRight<kPhaseBits>(y);
    hn::Store(AddFusedRows<0, kExtraRows>(windows, across, down, lower, hn::Zero(kFloats)), kFloats,
              sums);
    seen_ = hn::Or(seen_, windows.Seen());
  }

  const Samples16& photo_;
  const EightBitScale& scale_;
  Shorts seen_;  ///< bits of all samples so far
};

HWY_INLINE Floats RoundToWhole(Floats values) {
  const Floats shift = hn::Set(kFloats, kRoundingShift);
  return hn::Sub(hn::Add(values, shift), shift);
}

/// Stores the 8-bit values of fused sums. False when a value is in doubt.
HWY_INLINE bool StoreEightBits(Floats sum, const EightBitScale& scale, std::uint16_t* values) {
  const Floats sample = RoundToWhole(sum);
  const Floats product = hn::Mul(sample, hn::Set(kFloats, scale.factor));
  const Ints value = hn::Min(RoundHalfEven(product), hn::Set(kInts, scale.largestValue));
  hn::StoreU(hn::DemoteTo(kHalfShorts, value), kHalfShorts, values);
  const Floats fromSample = hn::Abs(hn::Sub(sum, sample));
  const Floats fromValue = hn::Abs(hn::Sub(product, RoundToWhole(product)));
  return hn::AllTrue(kFloats, hn::Or(hn::Le(fromSample, hn::Set(kFloats, scale.certainSample)),
                                     hn::Le(fromValue, hn::Set(kFloats, scale.certainValue))));
}

/// Makes the 8-bit values of a vector as prescribed. Not inlined: it is rarely needed.
HWY_NOINLINE void ExactEightBits(const Samples16& photo, const Way& way, const EightBitScale& scale,
                                 std::uint16_t* values) {
  Sample(photo, way, values);
  const Ints samples = hn::PromoteTo(kInts, hn::LoadU(kHalfShorts, values));
  const Floats product = hn::Mul(hn::ConvertTo(kFloats, samples), hn::Set(kFloats, scale.factor));
  const Ints value = hn::Min(RoundHalfEven(product), hn::Set(kInts, scale.largestValue));
  hn::StoreU(hn::DemoteTo(kHalfShorts, value), kHalfShorts, values);
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
