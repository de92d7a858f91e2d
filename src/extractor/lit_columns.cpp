#include "extractor/lit_columns.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "image/large_mat.h"
#include "kernels/bits/areas.h"
#include "kernels/bits/histogram.h"
#include "kernels/parts.h"

namespace dravix::extractor {
namespace {

using kernels::BitPicture;

/// The columns between the first and the last one that has a run.
LitColumns WithoutDarkSides(const std::vector<kernels::Stretch>& stretches) {
  const auto isLit = [](const kernels::Stretch& stretch) { return stretch.length > 0; };
  const auto first = std::find_if(stretches.begin(), stretches.end(), isLit);
  const auto last = std::find_if(stretches.rbegin(), stretches.rend(), isLit).base();
  LitColumns columns{static_cast<int>(first - stretches.begin()), {}};
  std::transform(first, last, std::back_inserter(columns.runs), [](const kernels::Stretch& s) {
    return ColumnRun{s.start, s.length};
  });
  return columns;
}

/// Smooths some rows at a time, so that the 8-bit picture that is smoothed stays in the cache. The
/// rows around them are converted, too, as far as the smoothing reaches.
void SmoothByRows(const cv::Mat& image, std::int32_t fullScale, const Melting& melting,
                  cv::Mat smoothed) {
  constexpr int kRowsAtOnce = 64;
  const int reach = melting.kernelSize / 2;
  kernels::ForEachPartOfRows(image.rows, [&](int begin, int end) {
    cv::Mat strip;
    for (int y = begin; y < end; y += kRowsAtOnce) {
      const cv::Range rows(y, std::min(end, y + kRowsAtOnce));
      const cv::Range around(std::max(0, rows.start - reach),
                             std::min(image.rows, rows.end + reach));
      SmoothedGray(image.rowRange(around), fullScale, melting, strip);
      strip.rowRange(rows.start - around.start, rows.end - around.start)
          .copyTo(smoothed.rowRange(rows));
    }
  });
}

/// The pixels above Otsu's level of the smoothed 8-bit picture.
BitPicture Lit(const cv::Mat& image, std::int32_t fullScale, const Melting& melting) {
  constexpr int kWord = BitPicture::kWordBits;
  const int stride = (image.cols + kWord - 1) / kWord * kWord;
  const cv::Mat padded = image::LargeZeros({stride, image.rows}, CV_8UC1);
  cv::Mat smoothed = padded.colRange(0, image.cols);
  // Without a full scale, that of the 8 bits is the largest sample of all rows. Where the smoothing
  // reaches beyond half the picture, a strip would be reflected sooner than the picture.
  if (fullScale > 0 && 2 * melting.kernelSize < image.rows) {
    SmoothByRows(image, fullScale, melting, smoothed);
  } else {
    SmoothedGray(image, fullScale, melting, smoothed);
  }
  kernels::ValueCounter counter;
  for (int y = 0; y < smoothed.rows; ++y) {
    counter.Add(smoothed.ptr(y), static_cast<std::size_t>(smoothed.cols));
  }
  BitPicture lit(image.size());
  lit.SetAbove(padded, kernels::OtsuLevel(counter.Counts()));
  return lit;
}

}  // namespace

std::optional<LitColumns> LargestLitColumns(BitPicture lit, int cleaningSide) {
  kernels::CloseThenOpen(lit, cleaningSide);
  const kernels::Topology topology = kernels::TopologyOf(lit);
  if (topology.areas == 1 && topology.holes == 0) {
    return WithoutDarkSides(kernels::FirstStretches(lit));
  }
  // Several areas, holes or nothing: the outlines decide.
  const std::optional<LitArea> largest = LargestArea(lit.ToMat());
  if (!largest) return std::nullopt;
  const cv::Range across(largest->rect.x, largest->rect.x + largest->rect.width);
  return LitColumns{across.start, FirstRuns(largest->mask.colRange(across))};
}

std::optional<LitColumns> LocateLitColumns(const cv::Mat& image, std::int32_t fullScale,
                                           const Melting& melting) {
  return LargestLitColumns(Lit(image, fullScale, melting), melting.kernelSize);
}

}  // namespace dravix::extractor
