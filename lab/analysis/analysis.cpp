#include <dravix/lab/analysis.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace dravix::lab {
namespace {

constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();

void CheckValues(const cv::Mat& values) {
  if (values.dims == 2 && !values.empty() &&
      (values.type() == CV_32FC1 || values.type() == CV_64FC1)) {
    return;
  }
  throw std::invalid_argument("values: found " + std::to_string(values.cols) + " x " +
                              std::to_string(values.rows) + " of " +
                              cv::typeToString(values.type()) +
                              ", expected at least 1 x 1 of CV_32FC1 or CV_64FC1");
}

Level LevelOf(const cv::Mat& values, int edge) {
  cv::Mat all;
  values.convertTo(all, CV_64F);
  const cv::Rect inner(edge, edge, all.cols - 2 * edge, all.rows - 2 * edge);
  Level level;
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(all(inner), mean, deviation);
  cv::minMaxLoc(all(inner), &level.minimum, &level.maximum);
  level.mean = mean[0];
  level.standardDeviation = deviation[0];
  level.cv = level.mean != 0 ? level.standardDeviation / level.mean : kNotKnown;
  return level;
}

}  // namespace

Analysis Analyze(const cv::Mat& values, const AnalysisOptions& options) {
  CheckValues(values);
  Analysis analysis;
  analysis.size = values.size();
  analysis.at = options.at;
  analysis.level = LevelOf(values, options.edge);
  analysis.counted = static_cast<std::int64_t>(values.total());
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
