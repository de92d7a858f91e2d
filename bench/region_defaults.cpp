/// region_defaults [scenes]: prints the evidence for the defaults of the region's parameters.
///
/// It tries many values of one parameter at a time, with the others at their defaults, on simulated
/// screens (60 unless another number is given) and prints how far the corners are from the truth.
/// The error of a scene is the root mean square over its four corners, in pixels. `found` counts
/// the scenes whose corners were found and `good` those of them whose error is within the goal. The
/// first lines are about skewed quadrilaterals that are set by hand, without any photograph.
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

using dravix::sim::Photograph;
using dravix::sim::Quad;
using dravix::sim::RmsError;

constexpr double kGoal = 2.0;  // pixels that the corners of a scene may be off

/// A way to set the region before its corners are refined.
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

/// Prints how many of the scenes were found and how large their errors are.
void PrintErrors(std::vector<double> errors, std::size_t scenes, double goal) {
  const auto good =
      std::count_if(errors.begin(), errors.end(), [goal](double error) { return error <= goal; });
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

/// The error of every scene whose region the method finds and whose corners GetPrecision4Corner
/// finds.
std::vector<double> Errors(const std::vector<Photograph>& photos, const Method& method,
                           const RegionOI& parameters) {
  std::vector<double> errors;
  for (const Photograph& photo : photos) {
    RegionOI region = parameters;
    region.SetShot(&photo.shot);
    std::vector<cv::Point> corners;
    if (method.set(region, photo) != DRAVIX_OK) continue;
    if (region.GetPrecision4Corner(corners) != DRAVIX_OK) continue;
    errors.push_back(RmsError(corners, photo.truth.corners));
  }
  return errors;
}

/// A lit area set by hand, in a frame of its own.
struct Quadrilateral {
  cv::Size frame;
  std::vector<cv::Point> corners;
};

/// Fifty rectangles of 250 to 700 pixels a side whose corners are moved by up to the share `skew`
/// of a side. Those that are no longer convex, whose corners change their order or that have a side
/// of less than 250 pixels are left out. All lie `margin` pixels from the border of their frame.
std::vector<Quadrilateral> Skewed(double skew, int margin) {
  constexpr std::size_t kCount = 50;
  constexpr double kShortest = 250;
  cv::RNG random(7);
  std::vector<Quadrilateral> all;
  while (all.size() < kCount) {
    const int w = random.uniform(250, 700);
    const int h = random.uniform(250, 700);
    const auto off = [&](int side) { return static_cast<int>(random.uniform(-skew, skew) * side); };
    std::vector<cv::Point> corners;
    for (const cv::Point at :
         {cv::Point(0, 0), cv::Point(w, 0), cv::Point(w, h), cv::Point(0, h)}) {
      const int dx = off(w);
      corners.push_back(at + cv::Point(dx, off(h)));
    }
    const cv::Rect bounds = cv::boundingRect(corners);
    bool suits = cv::isContourConvex(corners) && OrderCorners(corners) == corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
      suits = suits && cv::norm(corners[i] - corners[(i + 1) % corners.size()]) >= kShortest;
    }
    if (!suits) continue;
    for (cv::Point& corner : corners) corner += cv::Point(margin, margin) - bounds.tl();
    all.push_back({bounds.size() + cv::Size(2 * margin, 2 * margin), corners});
  }
  return all;
}

/// Prints one line for each value of cornerQualityLevel.
void SweepSkewed(double skew, int margin) {
  constexpr double kSkewedGoal = 4.0;  // pixels that the corners of a quadrilateral may be off
  const std::vector<Quadrilateral> all = Skewed(skew, margin);
  for (const float quality : {0.06F, 0.1F, 0.15F, 0.2F}) {
    std::vector<double> errors;
    for (const Quadrilateral& area : all) {
      RegionOI region;
      region.cornerQualityLevel = quality;
      region.ManualSet(area.frame, area.corners);
      std::vector<cv::Point> found;
      if (region.GetPrecision4Corner(found) != DRAVIX_OK) continue;
      Quad truth;
      std::copy(area.corners.begin(), area.corners.end(), truth.begin());
      errors.push_back(RmsError(found, truth));
    }
    std::printf("skew %.2f, margin %2d, cornerQualityLevel %.2f  ", skew, margin,
                static_cast<double>(quality));
    PrintErrors(errors, all.size(), kSkewedGoal);
  }
}

/// Prints one line for each method and each value of one parameter.
template <class Value>
void Sweep(const std::vector<Photograph>& photos, const char* name, Value RegionOI::*parameter,
           const std::vector<Value>& values) {
  for (const Method& method : kMethods) {
    for (const Value value : values) {
      RegionOI region;
      region.*parameter = value;
      std::printf("%-18s %6.4g  %-11s  ", name, static_cast<double>(value), method.name);
      PrintErrors(Errors(photos, method, region), photos.size(), kGoal);
      std::fflush(stdout);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  for (const double skew : {0.1, 0.2, 0.35, 0.5}) SweepSkewed(skew, 60);
  for (const int margin : {1, 20, 40}) SweepSkewed(0.1, margin);

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
