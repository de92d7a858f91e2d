// A center lies between four phases of the table of spots, so the sum over an LED's spot is a
// mixture of the sums over four tabulated ones. These are taken in one pass over the pixels, four
// pixels at a time.
#include "lab/unmix/solution/spot_sums.h"

#include <array>
#include <cstddef>
#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/core/utility.hpp>
#include <vector>

namespace dravix::lab::unmix {
namespace {

/// Pixels with enough room behind each row for the table's zeros.
struct Window {
  const float* first;
  std::size_t stride;
};

using Patches = std::array<const float*, 4>;

std::array<float, 4> PatchSums(const Window& window, float background, const SpotTable& spot,
                               const Patches& patches) {
  // Four variables and no array, so that they stay in registers.
  cv::v_float32x4 sum0 = cv::v_setzero_f32();
  cv::v_float32x4 sum1 = cv::v_setzero_f32();
  cv::v_float32x4 sum2 = cv::v_setzero_f32();
  cv::v_float32x4 sum3 = cv::v_setzero_f32();
  const cv::v_float32x4 dark = cv::v_setall_f32(background);
  const int stride = spot.Stride();
  for (int y = 0; y < spot.Side(); ++y) {
    const float* pixels = window.first + static_cast<std::size_t>(y) * window.stride;
    const auto row = static_cast<std::ptrdiff_t>(y) * stride;
    for (int x = 0; x < stride; x += 4) {
      const cv::v_float32x4 light = cv::v_load(pixels + x) - dark;
      sum0 += light * cv::v_load(patches[0] + row + x);
      sum1 += light * cv::v_load(patches[1] + row + x);
      sum2 += light * cv::v_load(patches[2] + row + x);
      sum3 += light * cv::v_load(patches[3] + row + x);
    }
  }
  return {cv::v_reduce_sum(sum0), cv::v_reduce_sum(sum1), cv::v_reduce_sum(sum2),
          cv::v_reduce_sum(sum3)};
}

/// The window about an LED at the photograph's border, copied so that the background lies beyond.
cv::Mat1f CopiedWindow(const cv::Mat1f& photo, float background, const cv::Rect& wanted) {
  cv::Mat1f copy(wanted.size(), background);
  const cv::Rect shown = wanted & cv::Rect(0, 0, photo.cols, photo.rows);
  if (!shown.empty()) photo(shown).copyTo(copy(shown - wanted.tl()));
  return copy;
}

float SumAt(const cv::Mat1f& photo, float background, cv::Point2d center, const SpotTable& spot) {
  const Phase x = PhaseOf(center.x, spot.Steps());
  const Phase y = PhaseOf(center.y, spot.Steps());
  const cv::Rect wanted(x.pixel - spot.Radius(), y.pixel - spot.Radius(), spot.Stride(),
                        spot.Side());
  const Patches patches = {spot.At(x.first, y.first), spot.At(x.first + 1, y.first),
                           spot.At(x.first, y.first + 1), spot.At(x.first + 1, y.first + 1)};
  const bool whole = (wanted & cv::Rect(0, 0, photo.cols, photo.rows)) == wanted;
  const cv::Mat1f source = whole ? photo(wanted) : CopiedWindow(photo, background, wanted);
  const auto sums = PatchSums({source[0], source.step1()}, background, spot, patches);
  const float above = sums[0] + x.share * (sums[1] - sums[0]);
  const float below = sums[2] + x.share * (sums[3] - sums[2]);
  return above + y.share * (below - above);
}

}  // namespace

cv::Mat1f SpotSums(const cv::Mat1f& photo, double background, const Centers& centers,
                   const SpotFamily& spots) {
  std::vector<SpotTable> tables(spots.models.size());
  cv::parallel_for_(cv::Range(0, static_cast<int>(tables.size())), [&](const cv::Range& range) {
    for (auto i = static_cast<std::size_t>(range.start); i < static_cast<std::size_t>(range.end);
         ++i) {
      tables[i] = spots.models[i].Spot();
    }
  });
  const auto dark = static_cast<float>(background);
  cv::Mat1f sums(centers.x.size());
  cv::parallel_for_(cv::Range(0, sums.rows), [&](const cv::Range& rows) {
    for (int row = rows.start; row < rows.end; ++row) {
      for (int column = 0; column < sums.cols; ++column) {
        const cv::Point2d center(centers.x(row, column), centers.y(row, column));
        const Between spot = BetweenOf(spots.positions(row, column), tables.size());
        float sum = SumAt(photo, dark, center, tables[spot.first]);
        if (spot.share > 0) {
          sum += spot.share * (SumAt(photo, dark, center, tables[spot.first + 1]) - sum);
        }
        sums(row, column) = centers.area(row, column) * sum;
      }
    }
  });
  return sums;
}

}  // namespace dravix::lab::unmix
