#include "fidelity/luminance.h"

#include <dravix/region.h>

#include <algorithm>
#include <cmath>

#include "extractor/extractor.h"

namespace dravix::fidelity {
namespace {

constexpr int kOuter = 4;  // LEDs at each side that the pipelines fill from their neighbours

std::optional<double> ErrorOf(const cv::Mat& lum, const cv::Mat& truth) {
  const cv::Rect inner(kOuter, kOuter, truth.cols - 2 * kOuter, truth.rows - 2 * kOuter);
  if (lum.size() != truth.size() || inner.width < 1 || inner.height < 1) return std::nullopt;
  const cv::Mat found = lum(inner);
  const cv::Mat real = truth(inner);
  const double gain = cv::mean(found)[0] / cv::mean(real)[0];
  if (!(gain > 0)) return std::nullopt;
  cv::Mat difference;
  cv::scaleAdd(real, -gain, found, difference);
  return cv::norm(difference) / std::sqrt(static_cast<double>(real.total())) / cv::mean(found)[0];
}

}  // namespace

std::optional<double> AutomaticError(const Subject& subject) {
  Dravix dravix;
  const sim::Photograph& photograph = subject.measured;
  if (dravix.Extract(&photograph.shot, photograph.truth.cornerPixels, 0, 0, 0) != 0) return {};
  return ErrorOf(dravix.lum, photograph.truth.luminances);
}

std::optional<double> CheckerboardError(const Subject& subject) {
  Dravix dravix;
  RegionOI region;
  const sim::Photograph& photograph = subject.measured;
  if (region.ManualSet(photograph.shot.image.size(), photograph.truth.cornerPixels) != 0) return {};
  const cv::Size grid = photograph.truth.grid;
  const cv::Size last = sim::LastBlockOf(subject.scene);
  if (dravix.ExtractPro(&photograph.shot, &subject.board, {grid.width, grid.height}, region,
                        last.width, last.height) != 0) {
    return {};
  }
  return ErrorOf(dravix.lum, photograph.truth.luminances);
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace dravix::fidelity
