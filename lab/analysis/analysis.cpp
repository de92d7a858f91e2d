#include <dravix/lab/analysis.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "lab/analysis/counted_rows.h"
#include "lab/analysis/defects.h"
#include "lab/analysis/level.h"
#include "lab/analysis/modules.h"
#include "lab/analysis/seams.h"
#include "lab/analysis/uniformity.h"
#include "lab/base/size_text.h"
#include "lab/base/unexpected.h"

namespace dravix::lab {
namespace {

void CheckValues(const cv::Mat& values) {
  if (values.dims != 2 || values.empty()) {
    throw Unexpected("values", "a matrix of " + SizeText(values.size()),
                     "at least one row and column");
  }
  if (values.type() == CV_32FC1 || values.type() == CV_64FC1) return;
  throw Unexpected("values", cv::typeToString(values.type()), "CV_32FC1 or CV_64FC1");
}

void CheckModule(const std::string& name, cv::Size module) {
  if (module == cv::Size() || (module.width >= 1 && module.height >= 1)) return;
  throw Unexpected(name, SizeText(module), "at least 1 x 1");
}

void CheckRatio(const std::string& name, double ratio) {
  if (std::isfinite(ratio) && ratio >= 0) return;
  throw Unexpected(name, std::to_string(ratio), "a number of 0 or more");
}

}  // namespace

void Check(const AnalysisOptions& options) {
  CheckModule("module", options.module);
  CheckModule("cabinet", options.cabinet);
  // Positions must not overflow; screens are far smaller.
  constexpr int kFarthest = 1'000'000'000;
  const cv::Point at = options.at;
  if (at.x < -kFarthest || at.x > kFarthest || at.y < -kFarthest || at.y > kFarthest) {
    throw Unexpected("at", std::to_string(at.x) + "," + std::to_string(at.y),
                     "positions up to " + std::to_string(kFarthest));
  }
  if (options.edge < 0) throw Unexpected("edge", std::to_string(options.edge), "0 or more");
  CheckRatio("dead", options.dead);
  CheckRatio("dim", options.dim);
  CheckRatio("bright", options.bright);
}

Analysis Analyze(const cv::Mat& values, const AnalysisOptions& options) {
  CheckValues(values);
  Check(options);
  const CountedRows rows(values, options.edge);
  const CountedLevel level = LevelOf(rows);
  Analysis analysis;
  analysis.size = values.size();
  analysis.at = options.at;
  analysis.level = level.level;
  analysis.uniformity = UniformityOf(rows, options.at);
  if (!options.module.empty()) {
    analysis.modules = ModulesOf(rows, options.at, options.module, level.level.mean);
    analysis.seams = SeamsOf(rows, options.at, options.module);
  }
  analysis.seamRms = RmsOf(analysis.seams);
  analysis.defects = DefectsOf(rows, options);
  analysis.counts = CountsOf(analysis.defects);
  analysis.counted = level.counted;
  analysis.copiedBorder = options.copiedBorder;
  return analysis;
}

const char* NameOf(DefectKind kind) {
  switch (kind) {
    case DefectKind::kDead:
      return "dead";
    case DefectKind::kDim:
      return "dim";
    case DefectKind::kBright:
      break;
  }
  return "bright";
}

}  // namespace dravix::lab
