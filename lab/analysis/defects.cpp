// Each LED is compared with the median of the 5 x 5 around it, which a gradient across the screen
// does not disturb and few defects nearby neither. Most LEDs of a screen are plainly sound, and
// that is cheaper to see than a median: where more than half of the neighbors lie within a sound
// ratio of an LED, the median does. Several columns are looked at together (neighbor_lanes.h).
// Where one of them is in doubt their medians are computed, also together, and only an LED with
// neighbors that do not count, at the border for example, has its median computed alone. What is a
// defect is decided by one quotient in double precision, whichever way its median was found.
#include "lab/analysis/defects.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <optional>

#include "lab/analysis/figures.h"
#include "lab/analysis/modules.h"
#include "lab/analysis/neighbor_lanes.h"
#include "lab/analysis/surroundings.h"

namespace dravix::lab {
namespace {

std::optional<DefectKind> KindOf(double ratio, const AnalysisOptions& options) {
  if (ratio < options.dead) return DefectKind::kDead;
  if (ratio < options.dim) return DefectKind::kDim;
  if (ratio > options.bright) return DefectKind::kBright;
  return std::nullopt;
}

template <class T>
SoundRatios<T> SoundRatiosOf(const AnalysisOptions& options) {
  constexpr double kMargin = 10 * static_cast<double>(std::numeric_limits<T>::epsilon());
  return {static_cast<T>(std::max(options.dead, options.dim) * (1 + kMargin)),
          static_cast<T>(options.bright * (1 - kMargin))};
}

std::optional<cv::Point> PlaceIn(cv::Size modules, cv::Point position) {
  if (modules.empty()) return std::nullopt;
  return ModuleAt(position, modules);
}

/// The defect that an LED of the matrix is, if it is one.
std::optional<Defect> DefectAt(cv::Point place, double value, double median,
                               const AnalysisOptions& options) {
  if (!(median > 0)) return std::nullopt;
  const double ratio = value / median;
  const std::optional<DefectKind> kind = KindOf(ratio, options);
  if (!kind) return std::nullopt;
  const cv::Point position = place + options.at;
  return Defect{position,
                *kind,
                value,
                ratio,
                PlaceIn(options.module, position),
                PlaceIn(options.cabinet, position)};
}

template <class T>
std::vector<Defect> DefectsIn(const CountedRows& rows, const AnalysisOptions& options) {
  std::vector<Defect> defects;
  const SoundRatios<T> sound = SoundRatiosOf<T>(options);
  const cv::Rect inner = rows.Inner();
  Surroundings<T> around(rows);
  for (int y = inner.y; y < inner.br().y; ++y) {
    around.MoveTo(y);
    for (int begin = inner.x; begin < inner.br().x; begin += kLanes<T>) {
      if (AreSound(around, begin, sound)) continue;
      const std::array<double, kLanes<T>> medians = Medians(around, begin);
      const int end = std::min(begin + kLanes<T>, inner.br().x);
      for (int x = begin; x < end; ++x) {
        const auto value = static_cast<double>(around.Row(0)[x]);
        if (!IsKnown(value)) continue;
        double median = medians[static_cast<std::size_t>(x - begin)];
        if (!IsKnown(median)) median = MedianOf(around.Around(x));
        if (const auto defect = DefectAt({x, y}, value, median, options)) {
          defects.push_back(*defect);
        }
      }
    }
  }
  return defects;
}

}  // namespace

std::vector<Defect> DefectsOf(const CountedRows& rows, const AnalysisOptions& options) {
  return rows.AreFloats() ? DefectsIn<float>(rows, options) : DefectsIn<double>(rows, options);
}

DefectCounts CountsOf(const std::vector<Defect>& defects) {
  DefectCounts counts;
  for (const Defect& defect : defects) {
    if (defect.kind == DefectKind::kDead) ++counts.dead;
    if (defect.kind == DefectKind::kDim) ++counts.dim;
    if (defect.kind == DefectKind::kBright) ++counts.bright;
  }
  return counts;
}

}  // namespace dravix::lab
