// Input: 16-bit samples and the perspective from working pixels to photograph pixels. Idea: a
// vector holds as many neighboring working pixels as it has 32-bit lanes. Their positions in the
// photograph are computed in double precision, and each block of four lanes then takes its taps
// from eight samples of one photograph row with a byte shuffle, because four neighboring pixels
// rarely need more. Output: a row of the working image. Vectors whose taps do not fit (at the
// photograph's border, or where the perspective shrinks more than 1.3 times) go pixel by pixel.
//
// Why the bits are those of cv::warpPerspective:
// - Positions: the library takes 64 columns from one origin (X0, Y0, W0), computes
//   (X0 + M0 * i) * (32 / (W0 + M6 * i)) for column i of them and rounds half to even. So do we, in
//   the same order. Its guards against division by zero and against overflow do nothing for the
//   perspectives that `Of` accepts.
// - Weights: the product of a row's and a column's weight, each exact (see CubicWeights), rounded
//   once, as in the library's table.
// - Sums: each of the four rows from left to right, then the rows from the top, every product and
//   every sum rounded by itself. No fused multiply-add, except where the result is exact.
// - A pixel that does not need a row has the weight 0 there, which adds 0 to its sum.
#include "kernels/cubic_warp.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/core/utility.hpp>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/cubic_warp.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

void WarpRow(const Samples16& photo, const std::array<double, 9>& m, const BlockSteps& steps, int y,
             int begin, int end, std::uint16_t* samples) {
  for (int block = begin; block < end; block += CubicWarp::kBlockWidth) {
    const double originX = m[0] * block + m[1] * y + m[2];
    const double originY = m[3] * block + m[4] * y + m[5];
    const double originW = m[6] * block + m[7] * y + m[8];
    for (int i = 0; i < std::min(CubicWarp::kBlockWidth, end - block); ++i) {
      const auto column = static_cast<std::size_t>(i);
      const double scale = kPhases / (originW + steps.w[column]);
      *samples++ = CubicSample(photo, cvRound((originX + steps.x[column]) * scale),
                               cvRound((originY + steps.y[column]) * scale));
    }
  }
}

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr int kTaps = 4;

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
  if (AllOutside(photo, first)) {
    hn::StoreU(hn::Zero(kHalfShorts), kHalfShorts, samples);
  } else {
    SampleEach(photo, at, samples);
  }
}

void WarpRow(const Samples16& photo, const std::array<double, 9>& m, const BlockSteps& steps, int y,
             int begin, int end, std::uint16_t* samples) {
  const auto lanes = static_cast<int>(hn::Lanes(kFloats));
  for (int block = begin; block < end; block += CubicWarp::kBlockWidth) {
    const Origin origin = OriginOf(m, block, y);
    const int columns = std::min(CubicWarp::kBlockWidth, end - block);
    for (int i = 0; i < columns; i += lanes) {
      WarpVector(photo, PositionsAt(origin, steps, i), samples + (block - begin) + i);
    }
  }
}

#endif

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(WarpRow);

/// A linear function of working pixels, by its values at the corners of an area.
struct Extremes {
  double low;
  double high;
};

Extremes Over(cv::Size size, double perX, double perY, double constant) {
  Extremes found{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  for (const int x : {0, size.width}) {
    for (const int y : {0, size.height}) {
      const double value = perX * x + perY * y + constant;
      if (!(std::abs(value) < std::numeric_limits<double>::infinity())) return {-1, 1};
      found = {std::min(found.low, value), std::max(found.high, value)};
    }
  }
  return found;
}

/// True when every pixel of the area has a position that 32 bits hold in 1/32 pixel with room to
/// spare: then the library's guards against zero and overflow never act.
bool AllPositionsFinite(const std::array<double, 9>& m, cv::Size area) {
  constexpr double kFarthest = 1e9;
  const Extremes w = Over(area, m[6], m[7], m[8]);
  if (w.low <= 0 && w.high >= 0) return false;
  const double nearest = std::min(std::abs(w.low), std::abs(w.high));
  for (const std::size_t row : {0U, 3U}) {
    const Extremes v = Over(area, m.at(row), m.at(row + 1), m.at(row + 2));
    const double most = std::max(std::abs(v.low), std::abs(v.high));
    if (!(kPhases * most / nearest < kFarthest)) return false;
  }
  return true;
}

}  // namespace

int CubicWarp::PaddedWidth(int columns) {
  return (columns + kBlockWidth - 1) / kBlockWidth * kBlockWidth;
}

CubicWarp::CubicWarp(const Samples16& photo, const std::array<double, 9>& photoFromWorking,
                     cv::Size size)
    : photo_(photo), photoFromWorking_(photoFromWorking), steps_(), size_(size) {
  for (std::size_t i = 0; i < kBlockWidth; ++i) {
    steps_.x[i] = photoFromWorking[0] * static_cast<double>(i);
    steps_.y[i] = photoFromWorking[3] * static_cast<double>(i);
    steps_.w[i] = photoFromWorking[6] * static_cast<double>(i);
  }
}

std::optional<CubicWarp> CubicWarp::Of(const cv::Mat& photo, const cv::Mat& workingFromPhoto,
                                       cv::Size size) {
  constexpr int kShortest = kBlockWidth;  // smaller images are divided into blocks differently
  constexpr int kLongest = std::numeric_limits<std::int16_t>::max() - 1;
  if (photo.type() != CV_16UC1) return std::nullopt;
  for (const int side : {photo.cols, photo.rows, size.width, size.height}) {
    if (side < kShortest || side > kLongest) return std::nullopt;
  }
  const auto stride = static_cast<std::int64_t>(photo.step1());
  if (stride * photo.rows > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  CV_Assert(workingFromPhoto.size() == cv::Size(3, 3) && workingFromPhoto.type() == CV_64FC1);
  std::array<double, 9> inverse{};
  cv::Mat inverseMatrix(3, 3, CV_64FC1, inverse.data());
  workingFromPhoto.copyTo(inverseMatrix);
  cv::invert(inverseMatrix, inverseMatrix);
  if (!AllPositionsFinite(inverse, {PaddedWidth(size.width), size.height})) return std::nullopt;
  const Samples16 samples{photo.ptr<std::uint16_t>(), photo.cols, photo.rows,
                          static_cast<std::ptrdiff_t>(stride)};
  return CubicWarp(samples, inverse, size);
}

void CubicWarp::Row(int y, const cv::Range& columns, std::uint16_t* samples) const {
  CV_DbgAssert(columns.start % kBlockWidth == 0);
  HWY_DYNAMIC_DISPATCH(WarpRow)
  (photo_, photoFromWorking_, steps_, y, columns.start, columns.end, samples);
}

}  // namespace dravix::kernels
#endif
