// Input: 16-bit samples and the perspective from working pixels to photograph pixels. Idea: a
// vector holds as many neighboring working pixels as it has 32-bit lanes. For some vectors at a
// time, their positions in the photograph are computed (cubic_positions-inl.h), then the way to
// their taps is found (cubic_windows-inl.h), then all are filtered (cubic_filter-inl.h, or for
// 8-bit values cubic_eight_bits-inl.h): each of these loops is short enough for the processor to
// work on several vectors at once. Output: a row of the working image. Each file says why its
// results have the bits of cv::warpPerspective. The portable target takes four pixels at a time
// (cubic_fours.cpp).
#include "kernels/warp/cubic_warp.h"

#include <algorithm>
#include <limits>
#include <opencv2/core/utility.hpp>

#include "kernels/warp/cubic_fours.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/warp/cubic_warp.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#include "kernels/warp/cubic_eight_bits-inl.h"
#include "kernels/warp/cubic_filter-inl.h"
#include "kernels/warp/cubic_positions-inl.h"
#endif

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

void WarpRow(const Samples16& photo, const Perspective& p, int y, int begin, int end,
             std::uint16_t* samples) {
  WarpRowByFours(photo, p, y, begin, end, samples);
}

void WarpEightBitRow(const Samples16& photo, const Perspective& p, int y, int width,
                     const EightBitScale& scale, std::uint16_t* values) {
  WarpRow(photo, p, y, 0, width, values);
  for (int i = 0; i < width; ++i) {
    const int value = cvRound(static_cast<float>(values[i]) * scale.factor);
    values[i] = static_cast<std::uint16_t>(std::min(value, scale.largestValue));
  }
}

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr auto kVectors = Parabolas::kColumns / static_cast<int>(hn::MaxLanes(kInts));

/// Calls make(i, ways, count) for the columns from `begin` to `end`, some vectors at a time; the
/// first of them begins i columns after `begin`.
template <class Make>
HWY_INLINE void ForEachPart(const Samples16& photo, const Perspective& p, int y, int begin, int end,
                            Make&& make) {
  const auto lanes = static_cast<int>(hn::Lanes(kFloats));
  Way ways[kVectors];
  for (int x = begin; x < end; x += Parabolas::kColumns) {
    const int columns = std::min(Parabolas::kColumns, end - x);
    const int count = (columns + lanes - 1) / lanes;
    FindWays(photo, Parabolas(p, x, y), count, ways);
    make(x - begin, ways, count);
  }
}

void WarpRow(const Samples16& photo, const Perspective& p, int y, int begin, int end,
             std::uint16_t* samples) {
  const auto lanes = static_cast<int>(hn::Lanes(kFloats));
  ForEachPart(photo, p, y, begin, end, [&](int column, const Way* ways, int count) {
    for (int i = 0; i < count; ++i) {
      PrefetchBelow(photo, ways[i]);
      Sample(photo, ways[i], samples + column + i * lanes);
    }
  });
}

void WarpEightBitRow(const Samples16& photo, const Perspective& p, int y, int width,
                     const EightBitScale& scale, std::uint16_t* values) {
  const auto lanes = static_cast<int>(hn::Lanes(kFloats));
  HWY_ALIGN float sums[Parabolas::kColumns];
  ForEachPart(photo, p, y, 0, width, [&](int column, const Way* ways, int count) {
    FusedSums filter(photo, scale);
    for (int i = 0; i < count; ++i) {
      PrefetchBelow(photo, ways[i]);
      filter.Add(ways[i], sums + i * lanes);
    }
    for (int i = 0; i < count; ++i) {
      std::uint16_t* place = values + column + i * lanes;
      const bool certain = StoreEightBits(hn::Load(kFloats, sums + i * lanes), scale, place);
      if (HWY_UNLIKELY(!certain || !filter.Certain())) ExactEightBits(photo, ways[i], scale, place);
    }
  });
}

#endif

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(WarpEightBitRow);
HWY_EXPORT(WarpRow);

}  // namespace

int CubicWarp::PaddedWidth(int columns) {
  return (columns + kBlockWidth - 1) / kBlockWidth * kBlockWidth;
}

std::optional<CubicWarp> CubicWarp::Of(const cv::Mat& photo, const cv::Mat& workingFromPhoto,
                                       cv::Size size, Border border) {
  constexpr int kShortest = kBlockWidth;  // smaller images are divided into blocks differently
  constexpr int kLongest = std::numeric_limits<std::int16_t>::max() - 1;
  if (photo.type() != CV_16UC1) return std::nullopt;
  for (const int side : {photo.cols, photo.rows, size.width, size.height}) {
    if (side < kShortest || side > kLongest) return std::nullopt;
  }
  const auto stride = static_cast<std::int64_t>(photo.step1());
  if (stride * photo.rows > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  const auto photoFromWorking =
      Perspective::Of(workingFromPhoto, {PaddedWidth(size.width), size.height});
  if (!photoFromWorking) return std::nullopt;
  const Samples16 samples{photo.ptr<std::uint16_t>(), photo.cols, photo.rows,
                          static_cast<std::ptrdiff_t>(stride), border};
  return CubicWarp(samples, *photoFromWorking, size);
}

void CubicWarp::Row(int y, const cv::Range& columns, std::uint16_t* samples) const {
  CV_DbgAssert(columns.start % kBlockWidth == 0);
  HWY_DYNAMIC_DISPATCH(WarpRow)
  (photo_, photoFromWorking_, y, columns.start, columns.end, samples);
}

void CubicWarp::EightBitRow(int y, const EightBitScale& scale, std::uint16_t* values) const {
  HWY_DYNAMIC_DISPATCH(WarpEightBitRow)(photo_, photoFromWorking_, y, size_.width, scale, values);
}

}  // namespace dravix::kernels
#endif
