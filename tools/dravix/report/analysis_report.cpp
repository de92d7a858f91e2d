#include "report/analysis_report.h"

#include <dravix/lab/copied_border.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "report/result_report.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kMostDefects = 20;  // listed; a screenful with the other lines

/// A figure, or what stands for one that is not known.
std::string Figure(double value) { return std::isnan(value) ? "unknown" : NumberText(value); }
std::string Share(double value) { return std::isnan(value) ? "unknown" : PercentText(value); }

std::string PlaceText(cv::Point place) {
  return std::to_string(place.x) + "," + std::to_string(place.y);
}

std::string LedsText(const lab::Analysis& a) {
  const auto all = static_cast<std::int64_t>(a.size.width) * a.size.height;
  std::string text = SizeText(a.size);
  if (a.at != cv::Point()) text += " from screen position " + PlaceText(a.at);
  if (a.counted != all) {
    text += ", " + std::to_string(a.counted) + " of " + std::to_string(all) + " count";
  }
  return text;
}

std::string LevelText(const lab::Level& level) {
  return ReportLine("mean", Figure(level.mean)) + ReportLine("median", Figure(level.median)) +
         ReportLine("range", Figure(level.minimum) + " to " + Figure(level.maximum) +
                                 ", 1st to 99th percentile " + Figure(level.p01) + " to " +
                                 Figure(level.p99)) +
         ReportLine("std deviation",
                    Figure(level.standardDeviation) + "  (" + Share(level.cv) + " of the mean)");
}

std::string UniformityText(const lab::Uniformity& uniformity) {
  return ReportLine(std::to_string(uniformity.points.size()) + " points",
                    "min/max " + Share(uniformity.minOverMax) + ", max/min " +
                        Figure(uniformity.maxOverMin) + ", nonuniformity " +
                        Share(uniformity.nonuniformity) + ", worst/center " +
                        Share(uniformity.worstOverCenter));
}

std::string ModulesText(const lab::Modules& modules) {
  std::string text =
      ReportLine("modules", SizeText(modules.count) + " from module " + PlaceText(modules.first) +
                                ", std deviation of their means " + Share(modules.cv));
  if (!modules.between) return text;
  const auto& [one, other] = *modules.between;
  return text + ReportLine("largest step", Share(modules.largestStep) + " between modules " +
                                               PlaceText(one) + " and " + PlaceText(other));
}

std::string SeamsText(const lab::Analysis& a) {
  const lab::Seam* strongest = nullptr;
  for (const lab::Seam& seam : a.seams) {
    if (std::isnan(seam.step)) continue;
    if (!strongest || std::abs(seam.step) > std::abs(strongest->step)) strongest = &seam;
  }
  if (strongest == nullptr) return ReportLine("seams", "none");
  const bool isVertical = strongest->direction == lab::SeamDirection::kVertical;
  return ReportLine("seams", std::to_string(a.seams.size()) + ", RMS " + Share(a.seamRms) +
                                 ", strongest " + Share(strongest->step) + " at " +
                                 (isVertical ? "x " : "y ") + std::to_string(strongest->at));
}

std::string DefectText(const lab::Defect& defect) {
  std::string text = PlaceText(defect.position) + ", " + Share(defect.ratio) + " of its neighbors";
  if (defect.module) text += ", module " + PlaceText(*defect.module);
  if (defect.cabinet) text += ", cabinet " + PlaceText(*defect.cabinet);
  return text;
}

std::string DefectsText(const lab::Analysis& a) {
  std::string text = ReportLine("defects", std::to_string(a.counts.dead) + " dead, " +
                                               std::to_string(a.counts.dim) + " dim, " +
                                               std::to_string(a.counts.bright) + " bright");
  const std::size_t listed = std::min(a.defects.size(), kMostDefects);
  for (std::size_t i = 0; i < listed; ++i) {
    text +=
        ReportLine(std::string("  ") + lab::NameOf(a.defects[i].kind), DefectText(a.defects[i]));
  }
  if (listed == a.defects.size()) return text;
  return text + ReportLine("  ...", std::to_string(a.defects.size() - listed) +
                                        " more; --defects FILE.csv writes all");
}

}  // namespace

std::string AnalysisText(const lab::Analysis& a) {
  std::string text = ReportLine("LEDs", LedsText(a));
  if (a.copiedBorder) {
    text += ReportLine("copied border", lab::CopiedBorderText(*a.copiedBorder, a.size));
  }
  text += LevelText(a.level);
  for (const lab::Uniformity& uniformity : a.uniformity) text += UniformityText(uniformity);
  if (a.modules) text += ModulesText(*a.modules) + SeamsText(a);
  return text + DefectsText(a);
}

}  // namespace dravix::tool
