// Input: 16-bit samples and the perspective from working pixels to photograph pixels. Idea: a
// vector holds as many neighboring working pixels as it has 32-bit lanes. Their positions in the
// photograph are computed first (cubic_positions-inl.h), then all of them are filtered at once
// (cubic_filter-inl.h). Output: a row of the working image. Each step keeps the arithmetic and the
// order of sums of cv::warpPerspective; its file says how. The portable target does the same pixel
// by pixel, with the plain functions that the vectors fall back to.
#include "kernels/cubic_warp.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/core/utility.hpp>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/cubic_warp.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#include "kernels/cubic_filter-inl.h"
#include "kernels/cubic_positions-inl.h"
#endif

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
                                       cv::Size size, Border border) {
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
                          static_cast<std::ptrdiff_t>(stride), border};
  return CubicWarp(samples, inverse, size);
}

void CubicWarp::Row(int y, const cv::Range& columns, std::uint16_t* samples) const {
  CV_DbgAssert(columns.start % kBlockWidth == 0);
  HWY_DYNAMIC_DISPATCH(WarpRow)
  (photo_, photoFromWorking_, steps_, y, columns.start, columns.end, samples);
}

}  // namespace dravix::kernels
#endif
