// Each LED is compared with the median of the 5 x 5 around it, which a gradient across the screen
// does not disturb and few defects nearby neither. A median for every LED of a large screen would
// take seconds, but most LEDs are plainly sound, which two cheaper looks can tell. The first one
// compares the LED with the least and the largest value around it: the median lies between them.
// The second one counts the neighbors that speak for it: where they are more than half, the median
// is one of them. Only what is left, the defects and what is close to one, has its median computed.
#include "lab/analysis/defects.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "lab/analysis/figures.h"
#include "lab/analysis/modules.h"
#include "lab/analysis/surroundings.h"

namespace dravix::lab {
namespace {

std::optional<DefectKind> KindOf(double ratio, const AnalysisOptions& options) {
  if (ratio < options.dead) return DefectKind::kDead;
  if (ratio < options.dim) return DefectKind::kDim;
  if (ratio > options.bright) return DefectKind::kBright;
  return std::nullopt;
}

/// Ratios that are no defect. They lie a little further in than the options say: the cheaper looks
/// round differently from the quotient that decides.
struct Sound {
  explicit Sound(const AnalysisOptions& options)
      : low(std::max(options.dead, options.dim) * (1 + kRounding)),
        high(options.bright * (1 - kRounding)) {}

  static constexpr double kRounding = 1e-12;
  double low;
  double high;
};

/// Whether the least and the largest value around it show that an LED is sound.
bool IsPlainlySound(double value, double lowest, double highest, const Sound& sound) {
  // Denormal numbers round too coarsely for kRounding.
  constexpr double kLeast = std::numeric_limits<double>::min() / Sound::kRounding;
  return lowest >= kLeast && value >= sound.low * highest && value <= sound.high * lowest;
}

/// Whether more than half of its neighbors show that an LED is sound.
bool IsSoundByCount(double value, const Surroundings::Neighbors& neighbors, const Sound& sound) {
  const double most = value / sound.low;    // a median up to this makes it not too dark,
  const double least = value / sound.high;  // and one from this on not too bright
  int known = 0;
  int notTooDark = 0;
  int notTooBright = 0;
  for (const double neighbor : neighbors) {
    known += IsKnown(neighbor) ? 1 : 0;
    notTooDark += neighbor <= most ? 1 : 0;
    notTooBright += neighbor >= least ? 1 : 0;
  }
  return 2 * notTooDark > known && 2 * notTooBright > known;
}

std::optional<cv::Point> PlaceIn(cv::Size modules, cv::Point position) {
  if (modules.empty()) return std::nullopt;
  return ModuleAt(position, modules);
}

/// The defect that the LED at column `x` of row `y` is, if it is one.
std::optional<Defect> DefectAt(cv::Point place, double value,
                               const Surroundings::Neighbors& neighbors,
                               const AnalysisOptions& options) {
  const double median = MedianOf(neighbors);
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

}  // namespace

std::vector<Defect> DefectsOf(const CountedRows& rows, const AnalysisOptions& options) {
  std::vector<Defect> defects;
  const Sound sound(options);
  const cv::Rect inner = rows.Inner();
  Surroundings around(rows);
  for (int y = inner.y; y < inner.br().y; ++y) {
    around.MoveTo(y);
    for (int x = inner.x; x < inner.br().x; ++x) {
      const double value = around.Value(x);
      if (IsPlainlySound(value, around.Lowest(x), around.Highest(x), sound)) continue;
      if (!IsKnown(value) || around.Highest(x) <= 0) continue;
      const Surroundings::Neighbors neighbors = around.Around(x);
      if (IsSoundByCount(value, neighbors, sound)) continue;
      if (const auto defect = DefectAt({x, y}, value, neighbors, options)) {
        defects.push_back(*defect);
      }
    }
  }
  return defects;
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
