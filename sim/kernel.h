/// The light that one LED sends to the pixels around it.
#pragma once

#include <cstddef>
#include <vector>

#include "sim/scene.h"

namespace dravix::sim {

/// How far the spot of such an emitter reaches from its center, in whole pixels. `emitterSide` and
/// `blur` (the disk's radius or the Gaussian's sigma) are in pixels.
[[nodiscard]] int ReachOf(double emitterSide, Defocus defocus, double blur);

/// The spot of a square emitter that the lens blurs and the sensor sums up over whole pixels. There
/// is one spot for each of `Steps()` by `Steps()` places of its center inside a pixel. The weights
/// of each spot sum to 1.
class SpotKernel {
 public:
  /// The numbers are those of ReachOf.
  SpotKernel(double emitterSide, Defocus defocus, double blur);

  int Radius() const { return radius_; }
  int Side() const { return 2 * radius_ + 1; }
  int Steps() const { return steps_; }
  /// Side() x Side() weights, row by row, of the spot whose center lies (stepX / Steps() - 0.5,
  /// stepY / Steps() - 0.5) pixels from the center of the middle pixel.
  const float* At(int stepX, int stepY) const {
    return weights_.data() + static_cast<std::size_t>(stepY * steps_ + stepX) * sideSquared_;
  }

 private:
  int radius_;
  int steps_;
  std::size_t sideSquared_;
  std::vector<float> weights_;
};

}  // namespace dravix::sim
