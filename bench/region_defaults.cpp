/// Sweeps the region's parameters over simulated screens: how far are the corners from the truth?
///
/// region_defaults [scenes]: one parameter at a time, the others at their defaults. Errors are root
/// mean squares over the four corners of a scene, in pixels. `found` counts the scenes whose
/// corners were found; `good` those of them within the goal.
#include <dravix/region.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <opencv2/core/utils/logger.hpp>
#include <string>
#include <vector>

#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

using dravix::sim::Photograph;
using dravix::sim::Quad;

constexpr double kGoal = 2.0;  // pixels

double RmsError(const std::vector<cv::Point>& found, const Quad& truth) {
  double sum = 0;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const cv::Point2d off = cv::Point2d(found[i]) - truth[i];
    sum += off.dot(off);
  }
  return std::sqrt(sum / static_cast<double>(truth.size()));
}

struct Method {
  const char* name;
  std::function<std::int32_t(RegionOI&, const Photograph&)> set;
};

const std::array<Method, 3> kMethods = {
    {{"AutoSet", [](RegionOI& region, const Photograph&) { return region.AutoSet(); }},
     {"ComputeBlur", [](RegionOI& region, const Photograph&) { return region.ComputeBlur(); }},
     {"ManualSet", [](RegionOI& region, const Photograph& photo) {
        return region.ManualSet(photo.shot.image.size(), photo.truth.cornerPixels);
      }}}};

void PrintErrors(std::vector<double> errors, std::size_t scenes) {
  const auto good =
      std::count_if(errors.begin(), errors.end(), [](double error) { return error <= kGoal; });
  std::printf("found %3zu of %zu, good %3ld", errors.size(), scenes, static_cast<long>(good));
  if (!errors.empty()) {
    std::sort(errors.begin(), errors.end());
    double squares = 0;
    for (const double error : errors) squares += error * error;
    const double rms = std::sqrt(squares / static_cast<double>(errors.size()));
    std::printf("; RMS %6.2f, median %6.2f, 95 %% %6.2f, worst %6.2f", rms,
                errors[errors.size() / 2], errors[errors.size() * 95 / 100], errors.back());
  }
  std::printf("\n");
}

/// The error of each scene whose corners the method and GetPrecision4Corner find.
std::vector<double> Errors(const std::vector<Photograph>& photos, const Method& method,
                           const RegionOI& parameters) {
  std::vector<double> errors;
  for (const Photograph& photo : photos) {
    RegionOI region = parameters;
    region.SetShot(&photo.shot);
    std::vector<cv::Point> corners;
    if (method.set(region, photo) != 0) continue;
    if (region.GetPrecision4Corner(corners) != 0) continue;
    errors.push_back(RmsError(corners, photo.truth.corners));
  }
  return errors;
}

/// One line for each method and value.
template <class Value>
void Sweep(const std::vector<Photograph>& photos, const char* name, Value RegionOI::*parameter,
           const std::vector<Value>& values) {
  for (const Method& method : kMethods) {
    for (const Value value : values) {
      RegionOI region;
      region.*parameter = value;
      std::printf("%-18s %6.4g  %-11s  ", name, static_cast<double>(value), method.name);
      PrintErrors(Errors(photos, method, region), photos.size());
      std::fflush(stdout);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  const int count = argc > 1 ? std::atoi(argv[1]) : 60;
  std::vector<Photograph> photos;
  for (const dravix::sim::Scene& scene : dravix::sim::PlainScenes(count)) {
    photos.push_back(dravix::sim::Render(scene));
  }
  Sweep(photos, "blurKernelSize", &RegionOI::blurKernelSize, {1, 3, 5, 7, 9, 11, 15});
  Sweep(photos, "blurSigma", &RegionOI::blurSigma, {0.8F, 1.5F, 3.0F, 10.0F});
  Sweep(photos, "cornerQualityLevel", &RegionOI::cornerQualityLevel,
        {0.01F, 0.05F, 0.1F, 0.2F, 0.3F, 0.4F, 0.5F});
  Sweep(photos, "cornerRefineWindow", &RegionOI::cornerRefineWindow,
        {45, 50, 55, 57, 60, 65, 70, 75, 90, 111});
  return 0;
}
