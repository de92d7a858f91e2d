// Input: the first tap of each lane of a vector of working pixels. Idea: neighboring working pixels
// take their taps from neighboring samples, so that a few loads per photograph row and a shuffle in
// the registers replace one load for each tap. Output: the samples under each of the four taps, row
// by row from the windows' top. Windows lie inside the photograph; lanes whose first tap lies
// further down than the windows' top find their taps in later rows. No include guard of the usual
// kind: Highway compiles this once for each target.
#if defined(DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_
#undef DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_
#else
#define DRAVIX_KERNELS_CUBIC_WINDOWS_INL_H_
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kernels/cubic_positions-inl.h"
#include "kernels/cubic_sample.h"

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

/// Each lane's first tap, in photograph pixels.
HWY_INLINE Positions FirstTaps(const Positions& at) {
  const Ints one = hn::Set(kInts, 1);
  return {hn::Sub(hn::ShiftRight<kPhaseBits>(at.x), one),
          hn::Sub(hn::ShiftRight<kPhaseBits>(at.y), one)};
}

/// The lanes that have 0 <= value <= limit.
HWY_INLINE auto Within(Ints value, int limit) {
  // Negative values are large as unsigned ones.
  const auto bits = hn::BitCast(kUnsigned, value);
  return hn::Eq(hn::Min(bits, hn::Set(kUnsigned, static_cast<std::uint32_t>(limit))), bits);
}

/// The samples under one row of taps.
struct Samples {
  Floats tap0;
  Floats tap1;
  Floats tap2;
  Floats tap3;
};

/// Takes the taps of each block of four lanes from a window of eight samples per photograph row,
/// each block from its own place.
class BlockWindows {
 public:
  static constexpr int kMostExtraRows = 3;  // a slope of one row per pixel

  /// Places the windows. `first` holds each lane's first tap.
  HWY_INLINE explicit BlockWindows(const Positions& first) {
    // Along a line a perspective is monotonic, so that the extremes are a block's outer lanes.
    left_ = hn::Min(hn::Broadcast<0>(first.x), hn::Broadcast<3>(first.x));
    top_ = hn::Min(hn::Broadcast<0>(first.y), hn::Broadcast<3>(first.y));
    right_ = hn::Sub(first.x, left_);
    down_ = hn::Sub(first.y, top_);
  }

  /// Rows from the window's top to each lane's first tap.
  [[nodiscard]] HWY_INLINE Ints Down() const { return down_; }
  /// How many rows the windows need beyond the taps', 0, 1 or kMostExtraRows.
  [[nodiscard]] HWY_INLINE int ExtraRows() const {
    if (hn::AllTrue(kInts, hn::Eq(down_, hn::Zero(kInts)))) return 0;
    return hn::AllTrue(kUnsigned, Within(down_, 1)) ? 1 : kMostExtraRows;
  }
  /// True when all taps lie in the windows, and those in the photograph.
  [[nodiscard]] HWY_INLINE bool Fit(const Samples16& photo, int extraRows) const {
    const auto across =
        hn::And(Within(right_, kWidth - kTaps), Within(left_, photo.width - kWidth));
    const auto down =
        hn::And(Within(down_, kMostExtraRows), Within(top_, photo.height - kTaps - extraRows));
    return hn::AllTrue(kUnsigned, hn::And(across, down));
  }
  /// To be called before At, when the windows fit.
  HWY_INLINE void Prepare(const Samples16& photo) {
    photo_ = photo.first;
    stride_ = photo.stride;
    const Ints stride = hn::Set(kInts, static_cast<std::int32_t>(photo.stride));
    hn::Store(hn::Add(hn::Mul(top_, stride), left_), kInts, offsets_);
    // Byte places of taps 0 and 1, which fill the low and the high half of a lane; taps 2 and 3
    // lie four bytes further.
    const Ints twice = hn::Add(right_, right_);
    const Ints pair = hn::Or(twice, hn::ShiftLeft<8>(twice));
    const Ints all = hn::Or(pair, hn::ShiftLeft<16>(pair));
    firstPair_ = hn::BitCast(kBytes, hn::Add(all, hn::Set(kInts, 0x03020100)));
    secondPair_ = hn::Add(firstPair_, hn::Set(kBytes, 4));
  }
  /// A sample of the windows' row `row`.
  [[nodiscard]] HWY_INLINE const std::uint16_t* Place(int row) const {
    return photo_ + row * stride_ + offsets_[0];
  }
  /// The taps that lie in the windows' row `row`.
  [[nodiscard]] HWY_INLINE Samples At(int row) const {
    const Ints lowHalf = hn::Set(kInts, 0xFFFF);
    const Bytes window = hn::BitCast(kBytes, Load(photo_ + row * stride_));
    const auto first = hn::BitCast(kUnsigned, hn::TableLookupBytes(window, firstPair_));
    const auto second = hn::BitCast(kUnsigned, hn::TableLookupBytes(window, secondPair_));
    return {hn::ConvertTo(kFloats, hn::And(hn::BitCast(kInts, first), lowHalf)),
            hn::ConvertTo(kFloats, hn::BitCast(kInts, hn::ShiftRight<16>(first))),
            hn::ConvertTo(kFloats, hn::And(hn::BitCast(kInts, second), lowHalf)),
            hn::ConvertTo(kFloats, hn::BitCast(kInts, hn::ShiftRight<16>(second)))};
  }

 private:
  static constexpr int kWidth = 8;

  [[nodiscard]] HWY_INLINE Shorts Load(const std::uint16_t* row) const {
    const hn::CappedTag<std::uint16_t, kWidth> block;
#if HWY_MAX_BYTES == 64
    const hn::Half<decltype(kShorts)> half;
    const auto low =
        hn::Combine(half, hn::LoadU(block, row + offsets_[4]), hn::LoadU(block, row + offsets_[0]));
    const auto high = hn::Combine(half, hn::LoadU(block, row + offsets_[12]),
                                  hn::LoadU(block, row + offsets_[8]));
    return hn::Combine(kShorts, high, low);
#elif HWY_MAX_BYTES == 32
    return hn::Combine(kShorts, hn::LoadU(block, row + offsets_[4]),
                       hn::LoadU(block, row + offsets_[0]));
#else
    return hn::LoadU(block, row + offsets_[0]);
#endif
  }

  Ints left_;   // of the block's window
  Ints top_;    // of the block's window
  Ints right_;  // of the lane's first tap from the window's left
  Ints down_;
  const std::uint16_t* photo_ = nullptr;
  std::ptrdiff_t stride_ = 0;
  HWY_ALIGN std::int32_t offsets_[hn::MaxLanes(kInts)];  // of the windows from photo_
  Bytes firstPair_;
  Bytes secondPair_;
};

#if HWY_MAX_BYTES == 64

/// Takes the taps of all sixteen lanes from one window of sixteen samples per photograph row: fewer
/// instructions than with windows for each block, where the perspective shrinks 1.25 times or more
/// and the row is nearly level, as it mostly is.
class WholeWindow {
 public:
  static constexpr int kMostExtraRows = 1;

  HWY_INLINE explicit WholeWindow(const Positions& first) {
    HWY_ALIGN std::int32_t x[hn::MaxLanes(kInts)];
    HWY_ALIGN std::int32_t y[hn::MaxLanes(kInts)];
    hn::Store(first.x, kInts, x);
    hn::Store(first.y, kInts, y);
    left_ = std::min(x[0], x[kWidth - 1]);
    top_ = std::min(y[0], y[kWidth - 1]);
    right_ = hn::Sub(first.x, hn::Set(kInts, left_));
    down_ = hn::Sub(first.y, hn::Set(kInts, top_));
  }
  [[nodiscard]] HWY_INLINE Ints Down() const { return down_; }
  [[nodiscard]] HWY_INLINE int ExtraRows() const {
    return hn::AllTrue(kInts, hn::Eq(down_, hn::Zero(kInts))) ? 0 : kMostExtraRows;
  }
  [[nodiscard]] HWY_INLINE bool Fit(const Samples16& photo, int extraRows) const {
    return left_ >= 0 && left_ <= photo.width - kWidth && top_ >= 0 &&
           top_ <= photo.height - kTaps - extraRows &&
           hn::AllTrue(kUnsigned,
                       hn::And(Within(right_, kWidth - kTaps), Within(down_, kMostExtraRows)));
  }
  HWY_INLINE void Prepare(const Samples16& photo) {
    window_ = photo.first + top_ * photo.stride + left_;
    stride_ = photo.stride;
  }
  [[nodiscard]] HWY_INLINE const std::uint16_t* Place(int row) const {
    return window_ + row * stride_;
  }
  [[nodiscard]] HWY_INLINE Samples At(int row) const {
    const Floats window =
        hn::ConvertTo(kFloats, hn::PromoteTo(kInts, hn::LoadU(kHalfShorts, Place(row))));
    const auto tap = [&](int k) {
      const Ints place = hn::Add(right_, hn::Set(kInts, k));
      return hn::TableLookupLanes(window, hn::IndicesFromVec(kFloats, place));
    };
    return {tap(0), tap(1), tap(2), tap(3)};
  }

 private:
  static constexpr int kWidth = 16;

  int left_;
  int top_;
  Ints right_;
  Ints down_;
  const std::uint16_t* window_ = nullptr;
  std::ptrdiff_t stride_ = 0;
};

#endif

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
