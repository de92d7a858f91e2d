#include "fidelity/luminance.h"

#include <dravix/dravix.h>
#include <dravix/region.h>

#include <cmath>

#include "extractor/extractor.h"

namespace dravix::fidelity {
namespace {

/// LEDs at each side of the screen that are not compared: the pipelines copy them from their
/// neighbors.
constexpr int kOuter = 4;

/// Root mean square of the differences, as a share of the mean. The unit of the luminances is free,
/// so the gain that makes both means equal is taken out.
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
  if (dravix.Extract(&photograph.shot, photograph.truth.cornerPixels, 0, 0, 0) != DRAVIX_OK)
    return {};
  return ErrorOf(dravix.lum, photograph.truth.luminances);
}

std::optional<double> CheckerboardError(const Subject& subject) {
  Dravix dravix;
  RegionOI region;
  const sim::Photograph& photograph = subject.measured;
  if (region.ManualSet(photograph.shot.image.size(), photograph.truth.cornerPixels) != DRAVIX_OK)
    return {};
  const cv::Size grid = photograph.truth.grid;
  const cv::Size last = sim::LastBlockOf(subject.scene);
  if (dravix.ExtractPro(&photograph.shot, &subject.board, {grid.width, grid.height}, region,
                        last.width, last.height) != DRAVIX_OK) {
    return {};
  }
  return ErrorOf(dravix.lum, photograph.truth.luminances);
}

}  // namespace dravix::fidelity
