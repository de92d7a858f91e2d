#include "sim/fine_spots.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace dravix::sim {
namespace {

/// Spots between middle and corner where the blur varies: neighbors then differ by so little that a
/// mixture of two is as good as the one between them.
constexpr int kLevels = 17;

/// The part of an axis: which pixel the kernel's middle falls on, which place inside it, and how
/// much the next place counts.
struct Place {
  int pixel, step;
  double share;
};

Place PlaceOf(double at, int steps, int offset) {
  const double inSteps = (at + 0.5) * steps;
  const double whole = std::floor(inSteps);
  const auto index = static_cast<int>(whole) + offset;
  const int pixel = index >= 0 ? index / steps : (index - steps + 1) / steps;
  const double share = inSteps - whole;
  return {pixel, index - pixel * steps, offset == 0 ? 1.0 - share : share};
}

/// Adds a kernel whose middle falls on `pixel`.
void AddKernel(const float* weights, int radius, cv::Point pixel, float flux, cv::Mat& light) {
  const int side = 2 * radius + 1;
  const int left = pixel.x - radius;
  const int top = pixel.y - radius;
  const int endX = std::min(side, light.cols - left);
  const int endY = std::min(side, light.rows - top);
  for (int y = std::max(0, -top); y < endY; ++y) {
    const float* from = weights + static_cast<std::ptrdiff_t>(y) * side;
    float* to = light.ptr<float>(top + y);
    for (int x = std::max(0, -left); x < endX; ++x) to[left + x] += flux * from[x];
  }
}

}  // namespace

FineSpots::FineSpots(const Scene& scene, cv::Size photo)
    : middle_(0.5 * (photo.width - 1), 0.5 * (photo.height - 1)),
      cornerSquared_(std::max(1.0, middle_.dot(middle_))) {
  const Optics& optics = scene.optics;
  const double pitch = scene.pose.pitch;
  const int levels = optics.cornerBlur == 0 ? 1 : kLevels;
  for (int level = 0; level < levels; ++level) {
    const double share = levels == 1 ? 0.0 : static_cast<double>(level) / (levels - 1);
    const double blur = optics.blur * pitch * (1.0 + optics.cornerBlur * share);
    kernels_.emplace_back(scene.screen.emitterFill * pitch, optics.defocus, blur);
  }
}

void FineSpots::Draw(const SpotKernel& kernel, cv::Point2d at, double flux, cv::Mat& light) const {
  for (const int down : {0, 1}) {
    const Place y = PlaceOf(at.y, kernel.Steps(), down);
    for (const int across : {0, 1}) {
      const Place x = PlaceOf(at.x, kernel.Steps(), across);
      AddKernel(kernel.At(x.step, y.step), kernel.Radius(), {x.pixel, y.pixel},
                static_cast<float>(flux * x.share * y.share), light);
    }
  }
}

void FineSpots::Add(cv::Point2d at, double flux, cv::Mat& light) {
  const cv::Point2d off = at - middle_;
  const auto last = static_cast<double>(kernels_.size() - 1);
  const double level = std::clamp(off.dot(off) / cornerSquared_, 0.0, 1.0) * last;
  const double below = std::floor(level);
  const auto index = static_cast<std::size_t>(below);
  Draw(kernels_[index], at, flux * (1.0 - (level - below)), light);
  if (level > below) Draw(kernels_[index + 1], at, flux * (level - below), light);
}

}  // namespace dravix::sim
