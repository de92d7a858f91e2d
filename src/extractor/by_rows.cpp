#include "extractor/by_rows.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>

#include "base/large_buffer.h"
#include "extractor/column_averages.h"
#include "kernels/bits/bit_picture.h"
#include "kernels/bits/histogram.h"
#include "kernels/parts.h"
#include "kernels/smoothing/smoothed_rows.h"

namespace dravix::extractor {
namespace {

using kernels::BitPicture;
using kernels::CubicWarp;

/// The smoothed 8-bit picture above Otsu's level, as bits. The picture lives in here only.
BitPicture Lit(const CubicWarp& rows, const SearchSettings& settings) {
  const cv::Size size = rows.Size();
  const auto width = static_cast<std::size_t>(size.width);
  const int stride = CubicWarp::PaddedWidth(size.width);
  base::LargeBuffer memory(static_cast<std::size_t>(stride) *
                           static_cast<std::size_t>(size.height));
  cv::Mat picture(size.height, stride, CV_8UC1, memory.Data());
  std::mutex mutex;
  kernels::Histogram histogram{};
  kernels::ForEachPartOfRows(size.height, [&](int begin, int end) {
    kernels::SmoothedRows smoothed(settings.blur, size, begin, [&](int y, std::uint16_t* values) {
      rows.EightBitRow(y, settings.eightBitScale, values);
    });
    kernels::ValueCounter counter;
    for (int y = begin; y < end; ++y) {
      smoothed.Row(y, picture.ptr<std::uint8_t>(y));
      counter.Add(picture.ptr<std::uint8_t>(y), width);
    }
    const kernels::Histogram counts = counter.Counts();
    const std::lock_guard<std::mutex> lock(mutex);
    std::transform(counts.begin(), counts.end(), histogram.begin(), histogram.begin(),
                   std::plus<>());
  });
  const int level = kernels::OtsuLevel(histogram);
  BitPicture lit(size);
  kernels::ForEachPartOfRows(size.height, [&](int begin, int end) {
    // Each strip of the picture is given back when its bits are known.
    constexpr int kStrip = 256;
    for (int top = begin; top < end; top += kStrip) {
      const int bottom = std::min(end, top + kStrip);
      for (int y = top; y < bottom; ++y) lit.SetRowAbove(y, picture.ptr(y), level);
      memory.Forget(static_cast<std::size_t>(top) * picture.step[0],
                    static_cast<std::size_t>(bottom) * picture.step[0]);
    }
  });
  return lit;
}

/// Rows that some run covers.
cv::Range RowsOf(const std::vector<ColumnRun>& runs) {
  cv::Range rows(runs.front().start, runs.front().start);
  for (const ColumnRun& run : runs) {
    rows.start = std::min(rows.start, run.start);
    rows.end = std::max(rows.end, run.start + run.length);
  }
  return rows;
}

/// Calls add(y, samples of the columns from `left` on) for every row.
template <class Add>
void ForEachRow(const CubicWarp& warp, const cv::Range& rows, int left, int right, Add&& add) {
  const int begin = left / CubicWarp::kBlockWidth * CubicWarp::kBlockWidth;
  std::vector<std::uint16_t> line(static_cast<std::size_t>(CubicWarp::PaddedWidth(right - begin)));
  for (int y = rows.start; y < rows.end; ++y) {
    warp.Row(y, cv::Range(begin, right), line.data());
    add(y, line.data() + (left - begin));
  }
}

}  // namespace

std::optional<LitColumns> Locate(const CubicWarp& rows, const SearchSettings& settings) {
  return LargestLitColumns(Lit(rows, settings), settings.cleaningSide);
}

cv::Mat Measure(const CubicWarp& rows, const LitColumns& area, int ledRows) {
  constexpr int kLeastColumns = 256;
  const int width = static_cast<int>(area.runs.size());
  cv::Mat columns(ledRows, width, CV_32FC1);
  kernels::ForEachPart(width, kLeastColumns, [&](int begin, int end) {
    const cv::Range part(begin, end);
    const auto runs = std::span(area.runs).subspan(static_cast<std::size_t>(part.start),
                                                   static_cast<std::size_t>(part.size()));
    ColumnAverages averages(runs, columns.colRange(part));
    ForEachRow(rows, RowsOf({runs.begin(), runs.end()}), area.left + part.start,
               area.left + part.end,
               [&](int y, const std::uint16_t* samples) { averages.Add(y, samples); });
    averages.Finish();
  });
  return columns;
}

}  // namespace dravix::extractor
