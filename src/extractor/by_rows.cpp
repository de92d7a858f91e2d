#include "extractor/by_rows.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <opencv2/core/utility.hpp>
#include <span>

#include "base/large_buffer.h"
#include "extractor/column_averages.h"
#include "kernels/bit_picture.h"
#include "kernels/histogram.h"

namespace dravix::extractor {
namespace {

using kernels::BitPicture;
using kernels::CubicWarp;
using kernels::Gaussian;

/// Makes the rows of the smoothed 8-bit picture, one after the other. Only as many rows are kept as
/// the smoothing reaches.
class SmoothedRows {
 public:
  /// The first row asked for will be `first`.
  SmoothedRows(const CubicWarp& rows, const SearchSettings& settings, int first)
      : rows_(rows),
        settings_(settings),
        width_(rows.Size().width),
        next_(std::max(0, first - settings.blur.Radius())),
        stride_(static_cast<std::size_t>(CubicWarp::PaddedWidth(width_)) + Gaussian::kPadding),
        values_(stride_ * static_cast<std::size_t>(Side())),
        sums_(stride_ + 2 * kMargin),
        window_(static_cast<std::size_t>(Side())) {}

  /// Writes row y; rows come in ascending order.
  void Row(int y, std::uint8_t* smoothed) {
    const int radius = settings_.blur.Radius();
    const int last = rows_.Size().height - 1;
    while (next_ <= std::min(y + radius, last)) MakeValues(next_++);
    int row = y - radius;
    for (const std::uint16_t*& values : window_) {
      values = Values(row < 0 ? -row : row > last ? 2 * last - row : row);
      ++row;
    }
    std::uint16_t* sums = sums_.data() + kMargin;
    settings_.blur.Down(window_, width_, sums);
    settings_.blur.Across(sums, width_, smoothed);
  }

 private:
  /// Room on either side of a row of sums for its reflection; the row stays aligned.
  static constexpr std::size_t kMargin = 64;

  [[nodiscard]] int Side() const { return 2 * settings_.blur.Radius() + 1; }
  [[nodiscard]] std::uint16_t* Values(int y) {
    return values_.data() + static_cast<std::size_t>(y % Side()) * stride_;
  }
  void MakeValues(int y) { rows_.EightBitRow(y, settings_.eightBitScale, Values(y)); }

  const CubicWarp& rows_;
  const SearchSettings& settings_;
  int width_;
  int next_;
  std::size_t stride_;
  std::vector<std::uint16_t> values_;  ///< a ring of rows of 8-bit values
  std::vector<std::uint16_t> sums_;
  std::vector<const std::uint16_t*> window_;
};

/// Divides 0 .. length into about equal parts, one per thread, none of them tiny.
std::vector<cv::Range> Parts(int length, int shortest) {
  const int count = std::clamp(cv::getNumThreads(), 1, std::max(1, length / shortest));
  std::vector<cv::Range> parts;
  for (int i = 0; i < count; ++i) {
    const auto edge = [&](int k) {
      return static_cast<int>(static_cast<std::int64_t>(length) * k / count);
    };
    parts.emplace_back(edge(i), edge(i + 1));
  }
  return parts;
}

template <class Work>
void ForEachPart(const std::vector<cv::Range>& parts, Work&& work) {
  cv::parallel_for_(cv::Range(0, static_cast<int>(parts.size())), [&](const cv::Range& range) {
    for (int i = range.start; i < range.end; ++i) work(static_cast<std::size_t>(i));
  });
}

/// The smoothed 8-bit picture above Otsu's level, as bits. The picture lives in here only.
BitPicture Lit(const CubicWarp& rows, const SearchSettings& settings) {
  constexpr int kLeastRows = 64;  // the smoothing makes some rows twice at the edge of each part
  const cv::Size size = rows.Size();
  const int stride = CubicWarp::PaddedWidth(size.width);
  base::LargeBuffer memory(static_cast<std::size_t>(stride) *
                           static_cast<std::size_t>(size.height));
  cv::Mat picture(size.height, stride, CV_8UC1, memory.Data());
  const std::vector<cv::Range> strips = Parts(size.height, kLeastRows);
  std::vector<kernels::ValueCounter> counters(strips.size());
  ForEachPart(strips, [&](std::size_t strip) {
    SmoothedRows smoothed(rows, settings, strips[strip].start);
    for (int y = strips[strip].start; y < strips[strip].end; ++y) {
      smoothed.Row(y, picture.ptr<std::uint8_t>(y));
      counters[strip].Add(picture.ptr<std::uint8_t>(y), static_cast<std::size_t>(size.width));
    }
  });
  kernels::Histogram histogram{};
  for (const kernels::ValueCounter& counter : counters) {
    const kernels::Histogram counts = counter.Counts();
    std::transform(counts.begin(), counts.end(), histogram.begin(), histogram.begin(),
                   std::plus<>());
  }
  // Each strip of the picture is given back when its bits are known.
  constexpr int kStrip = 256;
  const int level = kernels::OtsuLevel(histogram);
  BitPicture lit(size);
  for (int top = 0; top < size.height; top += kStrip) {
    const int bottom = std::min(size.height, top + kStrip);
    for (int y = top; y < bottom; ++y) lit.SetRowAbove(y, picture.ptr(y), level);
    memory.Forget(static_cast<std::size_t>(top) * picture.step[0],
                  static_cast<std::size_t>(bottom) * picture.step[0]);
  }
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
  const std::vector<cv::Range> parts = Parts(width, kLeastColumns);
  ForEachPart(parts, [&](std::size_t i) {
    const cv::Range part = parts[i];
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
