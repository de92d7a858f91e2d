#include "lab/unmix/solution/overlap_operator.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core/utility.hpp>

namespace dravix::lab::unmix {
namespace {

/// Neighbors whose overlap is below this share of an LED's own do not count.
constexpr double kNegligible = 1e-5;
/// The most neighbors to either side; with these the matrix has 81 elements in a row.
constexpr int kFarthest = 4;

int ReachOf(const ByDistance& overlap, int spotRadius, double pitch) {
  int reach = std::min(kFarthest, static_cast<int>(2 * spotRadius / pitch));
  const auto negligible = static_cast<float>(kNegligible) * overlap.At(0, 0);
  while (reach > 1 && std::abs(overlap.At(reach * pitch, 0)) < negligible) --reach;
  return std::max(reach, 1);
}

/// The LEDs that have a neighbor at that offset.
cv::Rect HavingNeighbor(cv::Size leds, cv::Point offset) {
  const cv::Rect all(cv::Point(0, 0), leds);
  return all & (all - offset);
}

/// The overlaps of all widths of spots.
using Overlaps = std::vector<ByDistance>;

cv::Mat1f ElementsOf(const Centers& centers, const Overlaps& overlaps, const cv::Mat1f& positions,
                     cv::Point offset) {
  cv::Mat1f elements(centers.x.size(), 0.0F);
  const cv::Rect some = HavingNeighbor(elements.size(), offset);
  for (int y = some.y; y < some.br().y; ++y) {
    const int below = y + offset.y;
    for (int x = some.x; x < some.br().x; ++x) {
      const int beside = x + offset.x;
      const double dx = centers.x(below, beside) - centers.x(y, x);
      const double dy = centers.y(below, beside) - centers.y(y, x);
      const Between spot =
          BetweenOf(0.5F * (positions(y, x) + positions(below, beside)), overlaps.size());
      float overlap = overlaps[spot.first].At(dx, dy);
      if (spot.share > 0) {
        overlap += spot.share * (overlaps[spot.first + 1].At(dx, dy) - overlap);
      }
      elements(y, x) = centers.area(y, x) * centers.area(below, beside) * overlap;
    }
  }
  return elements;
}

}  // namespace

OverlapOperator::OverlapOperator(const Centers& centers, const SpotFamily& spots)
    : leds_(centers.x.size()) {
  Overlaps overlaps;
  for (const SpotModel& model : spots.models) overlaps.push_back(model.Overlap());
  const double area = cv::mean(centers.area)[0];
  const int reach = ReachOf(overlaps.back(), spots.models.back().Radius(), std::sqrt(area));
  taps_.push_back({{0, 0}, {}});
  for (int x = 1; x <= reach; ++x) taps_.push_back({{x, 0}, {}});
  for (int y = 1; y <= reach; ++y) {
    for (int x = -reach; x <= reach; ++x) taps_.push_back({{x, y}, {}});
  }
  cv::parallel_for_(cv::Range(0, static_cast<int>(taps_.size())), [&](const cv::Range& range) {
    for (int i = range.start; i < range.end; ++i) {
      Tap& tap = taps_[static_cast<std::size_t>(i)];
      tap.elements = ElementsOf(centers, overlaps, spots.positions, tap.offset);
    }
  });
}

void OverlapOperator::Apply(const cv::Mat1f& values, cv::Mat1f& product) const {
  product.create(leds_);
  cv::parallel_for_(cv::Range(0, leds_.height), [&](const cv::Range& rows) {
    for (int y = rows.start; y < rows.end; ++y) {
      float* to = product[y];
      std::fill(to, to + leds_.width, 0.0F);
      const auto add = [&](const float* element, const float* value, int first, int end) {
        for (int x = first; x < end; ++x) to[x] += element[x] * value[x];
      };
      add(taps_[0].elements[y], values[y], 0, leds_.width);
      for (std::size_t i = 1; i < taps_.size(); ++i) {
        const cv::Point offset = taps_[i].offset;
        // The neighbor at the offset, and the one for which this LED is the neighbor at the offset.
        const int first = std::max(0, -offset.x);
        const int end = std::min(leds_.width, leds_.width - offset.x);
        if (y + offset.y < leds_.height) {
          add(taps_[i].elements[y], values[y + offset.y] + offset.x, first, end);
        }
        if (y < offset.y) continue;
        const float* element = taps_[i].elements[y - offset.y] - offset.x;
        add(element, values[y - offset.y] - offset.x, first + offset.x, end + offset.x);
      }
    }
  });
}

cv::Mat1d OverlapOperator::RowOf(cv::Point led) const {
  const int reach = taps_.back().offset.x;
  cv::Mat1d row(2 * reach + 1, 2 * reach + 1, 0.0);
  const cv::Rect all(cv::Point(0, 0), leds_);
  for (const Tap& tap : taps_) {
    const bool forward = HavingNeighbor(leds_, tap.offset).contains(led);
    const cv::Point from = forward ? led : led - tap.offset;
    if (!all.contains(from)) continue;
    const double element = static_cast<double>(tap.elements(from));
    row(reach + tap.offset.y, reach + tap.offset.x) = element;
    row(reach - tap.offset.y, reach - tap.offset.x) = element;
  }
  return row;
}

}  // namespace dravix::lab::unmix
