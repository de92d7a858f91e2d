// Input: positions of a vector of working pixels. Idea: neighboring working pixels take their taps
// from neighboring samples, so that a few loads per photograph row and a shuffle in the registers
// replace one load for each tap. Such a group of samples is a window: eight samples per photograph
// row for each block of four lanes, or, where vectors are wide, sixteen samples for all lanes.
// Output: how the vector finds its taps, found out ahead of the filtering, so that the processor
// knows the way early; and then the samples under each of the four taps, row by row from the
// windows' top. Windows lie inside the photograph. No include guard of the usual kind: Highway
// compiles this once for each target.
#if defined(DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_
#undef DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_
#else
#define DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include "kernels/warp/cubic_positions-inl.h"
#include "kernels/warp/cubic_sample.h"

/// Whether one window can serve a whole vector of sixteen lanes.
#undef DRAVIX_WHOLE_WINDOWS
#define DRAVIX_WHOLE_WINDOWS (HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL)

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

/// Where a vector finds its taps.
enum class Reach : std::uint8_t {
  kWhole,          ///< in one window; lanes may begin one row lower
  kBlocks,         ///< in the blocks' windows
  kSteppedBlocks,  ///< in the blocks' windows; lanes may begin one row lower
  kSteepBlocks,    ///< in the blocks' windows; lanes may begin up to three rows lower
  kNowhere,        ///< the photograph has none of them, and beyond it lies 0
  kAnywhere,       ///< not in windows
};

/// A vector's positions and how it reaches its taps.
struct Way {
  static constexpr std::size_t kBlocks = (hn::MaxLanes(kInts) + 3) / 4;

  HWY_ALIGN std::int32_t x[hn::MaxLanes(kInts)];  ///< positions, from the windows' first taps
  HWY_ALIGN std::int32_t
      y[hn::MaxLanes(kInts)];     ///< but for kAnywhere: from the photograph's corner
  std::int32_t offsets[kBlocks];  ///< of the windows from the first sample
  Reach reach;
};

/// The lanes that have 0 <= value <= limit.
HWY_INLINE auto Within(Ints value, int limit) {
  // Negative values are large as unsigned ones.
  const auto bits = hn::BitCast(kUnsigned, value);
  return hn::Eq(hn::Min(bits, hn::Set(kUnsigned, static_cast<std::uint32_t>(limit))), bits);
}

/// Samples in a block's window and in one that serves a whole vector.
constexpr int kBlockWindow = 8;
constexpr int kWholeWindow = 16;

/// A position's tap 0 in photograph pixels, less one: the first tap.
HWY_INLINE Ints FirstTap(Ints position) {
  return hn::Sub(hn::ShiftRight<kPhaseBits>(position), hn::Set(kInts, 1));
}

/// Stores positions as they are from a window that begins at (left, top).
HWY_INLINE void StoreFrom(const Positions& at, Ints left, Ints top, Way& way) {
  const Ints one = hn::Set(kInts, 1);
  hn::Store(hn::Sub(at.x, hn::ShiftLeft<kPhaseBits>(hn::Add(left, one))), kInts, way.x);
  hn::Store(hn::Sub(at.y, hn::ShiftLeft<kPhaseBits>(hn::Add(top, one))), kInts, way.y);
}

#if DRAVIX_WHOLE_WINDOWS

/// One window for each span, where one serves all of its lanes, found for all spans at once.
class SpanWindows {
 public:
  static_assert(Perspective::kSpan == kWholeWindow);

  HWY_INLINE SpanWindows(const Samples16& photo, const Parabolas& positions) {
    Ints8 left;
    Ints8 top;
    const auto across = FirstTaps(positions.Across(), kWholeWindow - kTaps, left);
    const auto down = FirstTaps(positions.Down(), 1, top);
    const auto inside =
        hn::And(InRange(left, photo.width - kWholeWindow), InRange(top, photo.height - kTaps - 1));
    const auto fit = hn::And(hn::And(across, down), inside);
    const Ints8 stride = hn::Set(kInts8, static_cast<std::int32_t>(photo.stride));
    hn::Store(hn::Add(hn::Mul(top, stride), left), kInts8, offsets_);
    hn::Store(Origin(left), kInts8, originX_);
    hn::Store(Origin(top), kInts8, originY_);
    bits_ = 0;
    hn::StoreMaskBits(kInts8, fit, &bits_);
  }
  /// False when a span has no such window.
  HWY_INLINE bool Find(const Positions& at, int span, Way& way) const {
    if (((bits_ >> span) & 1) == 0) return false;
    way.reach = Reach::kWhole;
    way.offsets[0] = offsets_[span];
    hn::Store(hn::Sub(at.x, hn::Set(kInts, originX_[span])), kInts, way.x);
    hn::Store(hn::Sub(at.y, hn::Set(kInts, originY_[span])), kInts, way.y);
    return true;
  }

 private:
  static constexpr hn::CappedTag<float, Parabolas::kSpans> kFloats8{};
  static constexpr hn::CappedTag<std::int32_t, Parabolas::kSpans> kInts8{};
  using Ints8 = hn::Vec<decltype(kInts8)>;
  using Mask8 = hn::Mask<decltype(kInts8)>;

  /// The position of tap 0 of a window whose first tap is that.
  static HWY_INLINE Ints8 Origin(Ints8 firstTap) {
    return hn::ShiftLeft<kPhaseBits>(hn::Add(firstTap, hn::Set(kInts8, 1)));
  }
  static HWY_INLINE Mask8 InRange(Ints8 value, int limit) {
    const hn::RebindToUnsigned<decltype(kInts8)> bits;
    const auto unsignedValue = hn::BitCast(bits, value);
    const auto most = hn::Set(bits, static_cast<std::uint32_t>(limit));
    return hn::RebindMask(kInts8, hn::Eq(hn::Min(unsignedValue, most), unsignedValue));
  }
  /// Each span's least first tap; true where its largest one is no more than `most` further.
  static HWY_INLINE Mask8 FirstTaps(const Parabolas::Coordinate& coordinate, int most,
                                    Ints8& least) {
    // Along a line a perspective is monotonic, so that the extremes are a span's ends.
    constexpr float kEnd = (Perspective::kSpan - 1) / 2.0F;
    const auto middle =
        hn::MulAdd(hn::Load(kFloats8, coordinate.bend), hn::Set(kFloats8, kEnd * kEnd),
                   hn::Load(kFloats8, coordinate.offset));
    const auto toEnd =
        hn::Abs(hn::Mul(hn::Load(kFloats8, coordinate.slope), hn::Set(kFloats8, kEnd)));
    const Ints8 base =
        hn::Add(hn::Load(kInts8, coordinate.base), hn::Set(kInts8, kRoundingShiftBits));
    const Ints8 one = hn::Set(kInts8, 1);  // for rounding
    const Ints8 low = hn::Sub(hn::Add(base, hn::NearestInt(hn::Sub(middle, toEnd))), one);
    const Ints8 high = hn::Add(hn::Add(base, hn::NearestInt(hn::Add(middle, toEnd))), one);
    least = hn::Sub(hn::ShiftRight<kPhaseBits>(low), one);
    const Ints8 largest = hn::Sub(hn::ShiftRight<kPhaseBits>(high), one);
    return InRange(hn::Sub(largest, least), most);
  }

  HWY_ALIGN std::int32_t offsets_[Parabolas::kSpans];
  HWY_ALIGN std::int32_t originX_[Parabolas::kSpans];
  HWY_ALIGN std::int32_t originY_[Parabolas::kSpans];
  std::uint8_t bits_;
};

#endif

/// Finds a window for each block of four lanes. False when there are none.
HWY_INLINE bool FindBlockWindows(const Samples16& photo, const Positions& at,
                                 const Positions& first, Way& way) {
  const Ints left = hn::Min(hn::Broadcast<0>(first.x), hn::Broadcast<3>(first.x));
  const Ints top = hn::Min(hn::Broadcast<0>(first.y), hn::Broadcast<3>(first.y));
  const Ints lower = hn::Sub(first.y, top);
  const auto fits = [&](int extraRows) {
    const auto across = hn::And(Within(hn::Sub(first.x, left), kBlockWindow - kTaps),
                                Within(left, photo.width - kBlockWindow));
    const auto down =
        hn::And(Within(lower, extraRows), Within(top, photo.height - kTaps - extraRows));
    return hn::AllTrue(kUnsigned, hn::And(across, down));
  };
  if (fits(0)) {
    way.reach = Reach::kBlocks;
  } else if (fits(1)) {
    way.reach = Reach::kSteppedBlocks;
  } else if (fits(3)) {
    way.reach = Reach::kSteepBlocks;
  } else {
    return false;
  }
  const Ints stride = hn::Set(kInts, static_cast<std::int32_t>(photo.stride));
  HWY_ALIGN std::int32_t offsets[hn::MaxLanes(kInts)];
  hn::Store(hn::Add(hn::Mul(top, stride), left), kInts, offsets);
  for (std::size_t block = 0; block < Way::kBlocks; ++block) {
    way.offsets[block] = offsets[4 * block];
  }
  StoreFrom(at, left, top, way);
  return true;
}

/// True when no lane has a tap in the photograph.
HWY_INLINE bool AllOutside(const Samples16& photo, const Positions& first) {
  const Ints reach = hn::Set(kInts, kTaps - 1);
  const auto across = Within(hn::Add(first.x, reach), photo.width + kTaps - 2);
  const auto down = Within(hn::Add(first.y, reach), photo.height + kTaps - 2);
  return hn::AllFalse(kUnsigned, hn::And(across, down));
}

HWY_INLINE void FindWay(const Samples16& photo, const Positions& at, Way& way) {
  const Positions first{FirstTap(at.x), FirstTap(at.y)};
  if (HWY_LIKELY(FindBlockWindows(photo, at, first, way))) return;
  const bool nowhere = photo.border == Border::kZero && AllOutside(photo, first);
  way.reach = nowhere ? Reach::kNowhere : Reach::kAnywhere;
  hn::Store(at.x, kInts, way.x);
  hn::Store(at.y, kInts, way.y);
}

/// The ways of `count` vectors, one after the other.
HWY_INLINE void FindWays(const Samples16& photo, const Parabolas& positions, int count, Way* ways) {
  const auto lanes = static_cast<int>(hn::Lanes(kInts));
#if DRAVIX_WHOLE_WINDOWS
  const SpanWindows windows(photo, positions);
  for (int i = 0; i < count; ++i) {
    const Positions at = positions.At(i * lanes);
    if (HWY_UNLIKELY(!windows.Find(at, i, ways[i]))) FindWay(photo, at, ways[i]);
  }
#else
  for (int i = 0; i < count; ++i) FindWay(photo, positions.At(i * lanes), ways[i]);
#endif
}

/// The samples under one row of taps.
struct Samples {
  Floats tap0;
  Floats tap1;
  Floats tap2;
  Floats tap3;
};

/// The windows of blocks of four lanes.
class BlockWindows {
 public:
  HWY_INLINE BlockWindows(const Samples16& photo, const Way& way)
      : way_(way), first_(photo.first), stride_(photo.stride) {
    // Byte places of taps 0 and 1, which fill the low and the high half of a lane; taps 2 and 3
    // lie four bytes further.
    const Ints right = hn::ShiftRight<kPhaseBits>(hn::Load(kInts, way.x));
    const Ints twice = hn::Add(right, right);
    const Ints pair = hn::Or(twice, hn::ShiftLeft<8>(twice));
    const Ints all = hn::Or(pair, hn::ShiftLeft<16>(pair));
    firstPair_ = hn::BitCast(kBytes, hn::Add(all, hn::Set(kInts, 0x03020100)));
    secondPair_ = hn::Add(firstPair_, hn::Set(kBytes, 4));
  }

  /// The taps that lie in the windows' row `row`.
  [[nodiscard]] HWY_INLINE Samples At(int row) {
    const Ints lowHalf = hn::Set(kInts, 0xFFFF);
    const Shorts samples = Load(first_ + row * stride_);
    seen_ = hn::Or(seen_, samples);
    const Bytes window = hn::BitCast(kBytes, samples);
    const auto first = hn::BitCast(kUnsigned, hn::TableLookupBytes(window, firstPair_));
    const auto second = hn::BitCast(kUnsigned, hn::TableLookupBytes(window, secondPair_));
    return {hn::ConvertTo(kFloats, hn::And(hn::BitCast(kInts, first), lowHalf)),
            hn::ConvertTo(kFloats, hn::BitCast(kInts, hn::ShiftRight<16>(first))),
            hn::ConvertTo(kFloats, hn::And(hn::BitCast(kInts, second), lowHalf)),
            hn::ConvertTo(kFloats, hn::BitCast(kInts, hn::ShiftRight<16>(second)))};
  }
  /// Bits that some sample of the rows so far has.
  [[nodiscard]] HWY_INLINE Shorts Seen() const { return seen_; }

 private:
  [[nodiscard]] HWY_INLINE Shorts Load(const std::uint16_t* row) const {
    const hn::CappedTag<std::uint16_t, kBlockWindow> block;
    const std::int32_t* offsets = way_.offsets;
#if HWY_MAX_BYTES == 64
    const hn::Half<decltype(kShorts)> half;
    const auto low =
        hn::Combine(half, hn::LoadU(block, row + offsets[1]), hn::LoadU(block, row + offsets[0]));
    const auto high =
        hn::Combine(half, hn::LoadU(block, row + offsets[3]), hn::LoadU(block, row + offsets[2]));
    return hn::Combine(kShorts, high, low);
#elif HWY_MAX_BYTES == 32
    return hn::Combine(kShorts, hn::LoadU(block, row + offsets[1]),
                       hn::LoadU(block, row + offsets[0]));
#else
    return hn::LoadU(block, row + offsets[0]);
#endif
  }

  const Way& way_;
  const std::uint16_t* first_;
  std::ptrdiff_t stride_;
  Shorts seen_ = hn::Zero(kShorts);
  Bytes firstPair_;
  Bytes secondPair_;
};

#if DRAVIX_WHOLE_WINDOWS

/// The entries `indices` of a table of 32 entries; only the indices' lowest five bits count.
HWY_INLINE Floats LookUp(Floats low, Floats high, Ints indices) {
  return Floats{_mm512_permutex2var_ps(low.raw, indices.raw, high.raw)};
}

/// One window for all sixteen lanes: fewer instructions than with windows for each block, where the
/// perspective shrinks 1.25 times or more and the row is nearly level, as it mostly is. Two rows of
/// the window are one table, in which lanes that begin a row lower look sixteen places further on.
class WholeWindow {
 public:
  HWY_INLINE WholeWindow(const Samples16& photo, const Way& way)
      : window_(photo.first + way.offsets[0]),
        stride_(photo.stride),
        seen_(hn::Zero(kInts)),
        next_(Row(0)) {
    const Ints right = hn::ShiftRight<kPhaseBits>(hn::Load(kInts, way.x));
    const Ints lower = hn::ShiftRight<kPhaseBits>(hn::Load(kInts, way.y));
    place_ = hn::Add(right, hn::ShiftLeft<4>(lower));
  }

  /// The taps of row `row`, counted from each lane's first one; rows come in turn.
  [[nodiscard]] HWY_INLINE Samples At(int row) {
    const Floats here = next_;
    next_ = Row(row + 1);
    return {LookUp(here, next_, place_), LookUp(here, next_, hn::Add(place_, hn::Set(kInts, 1))),
            LookUp(here, next_, hn::Add(place_, hn::Set(kInts, 2))),
            LookUp(here, next_, hn::Add(place_, hn::Set(kInts, 3)))};
  }

  /// Bits that some sample of the rows so far has, in the lower halves of the lanes.
  [[nodiscard]] HWY_INLINE Shorts Seen() const { return hn::BitCast(kShorts, seen_); }

 private:
  [[nodiscard]] HWY_INLINE Floats Row(int row) {
    const Ints samples = hn::PromoteTo(kInts, hn::LoadU(kHalfShorts, window_ + row * stride_));
    seen_ = hn::Or(seen_, samples);
    return hn::ConvertTo(kFloats, samples);
  }

  const std::uint16_t* window_;
  std::ptrdiff_t stride_;
  Ints seen_;
  Floats next_;
  Ints place_;
};

#endif

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
