#include "lab/flat_field/area.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace dravix::lab::flat_field {

unmix::Grid GridOf(const FlatFieldArea& area) {
  const auto& c = area.corners;
  const double twice = (c[2] - c[0]).cross(c[3] - c[1]);
  if (area.leds.width < 1 || area.leds.height < 1 || !std::isfinite(twice) ||
      twice < 2.0 * area.leds.width * area.leds.height) {
    throw std::invalid_argument(
        "flat field: expected corners top-left, top-right, bottom-right, bottom-left around an "
        "area of at least one pixel per LED");
  }
  return {area.corners, area.leds};
}

cv::Mat1f SamplesOf(const Shot& shot) {
  const int type = shot.image.type();
  if (shot.image.empty() || shot.image.dims != 2 ||
      (type != CV_8UC1 && type != CV_16UC1 && type != CV_32FC1)) {
    throw std::invalid_argument(
        "flat field: expected photographs of one plane of 8-bit, 16-bit or float samples");
  }
  cv::Mat1f samples;
  shot.image.convertTo(samples, CV_32F);
  return samples;
}

unmix::Saturation ClippedOf(const Shot& shot, const cv::Mat1f& samples,
                            const std::array<cv::Point2d, 4>& corners) {
  UnmixOptions options;
  options.corners = corners;
  const int bits = shot.device ? shot.device->cam_type % 100 : 0;
  if (bits >= 1 && bits <= 16) options.sensorTop = (1 << bits) - 1;
  return unmix::SaturationOf(samples, options);
}

std::array<cv::Point2d, 4> GrownCorners(const unmix::Grid& grid, double leds) {
  const double right = grid.Leds().width + leds;
  const double bottom = grid.Leds().height + leds;
  return {grid.At(-leds, -leds), grid.At(right, -leds), grid.At(right, bottom),
          grid.At(-leds, bottom)};
}

void Normalize(const unmix::Grid& grid, FlatField& field) {
  double sum = 0;
  double count = 0;
  double least = field.At(grid.At(0.5, 0.5));
  double most = least;
  for (int y = 0; y < grid.Leds().height; ++y) {
    for (int x = 0; x < grid.Leds().width; ++x) {
      const double gain = field.At(grid.At(x + 0.5, y + 0.5));
      sum += gain;
      count += 1;
      least = std::min(least, gain);
      most = std::max(most, gain);
    }
  }
  field.gains = field.gains * (count / sum);
  field.lost = 1.0 - least / most;
}

}  // namespace dravix::lab::flat_field
