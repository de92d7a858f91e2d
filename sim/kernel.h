/// The picture of one LED.
#pragma once

#include <cstddef>
#include <vector>

#include "sim/scene.h"

namespace dravix::sim {

/// A square emitter, blurred by the lens and summed up over whole pixels, for every place of its
/// centre inside a pixel on a grid of `Steps()` by `Steps()`. The weights of each sum to 1.
class SpotKernel {
 public:
  /// Lengths in pixels.
  SpotKernel(double emitterSide, Defocus defocus, double blur);

  int Radius() const { return radius_; }
  int Side() const { return 2 * radius_ + 1; }
  int Steps() const { return steps_; }
  /// Side() x Side() weights, row by row, of a spot whose centre lies at (stepX / Steps() - 0.5,
  /// stepY / Steps() - 0.5) from the middle of the middle pixel.
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
