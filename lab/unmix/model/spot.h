/// The spot of light that one LED makes on the sensor.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <utility>
#include <vector>

namespace dravix::lab::unmix {

/// How the lens blurs: a disk (defocus) and a Gaussian (all other errors), one after the other.
///
/// Radius and sigma cannot be told apart well in a photograph, but their sum of variances can, and
/// so can the spot's departure from a Gaussian, which depends on the square of the disk's variance.
/// These two are what is estimated.
struct SpotShape {
  double variance = 1.0;     ///< of disk and Gaussian together, along an axis; pixels^2
  double diskSquared = 0.0;  ///< the square of the disk's variance, 0 to variance^2; pixels^4

  [[nodiscard]] double DiskVariance() const;
  [[nodiscard]] double Radius() const;  ///< of the disk, pixels; its variance is radius^2 / 4
  [[nodiscard]] double Sigma() const;   ///< of the Gaussian, pixels
};

/// A function of the distance from an LED's center, sampled so finely that linear interpolation is
/// good, and stored so that the values for neighboring pixels lie side by side.
///
/// For a center at `x`, the first pixel at or beyond it is ceil(x), and the sample's phase says how
/// far behind that pixel the center lies, in steps of 1 / Steps() pixel.
class SpotTable {
 public:
  SpotTable() = default;
  /// `fine` has the function's middle at (cols / 2, rows / 2), `steps` samples to a pixel, and at
  /// least radius + 2 pixels on either side of the middle.
  SpotTable(const cv::Mat1d& fine, int steps, int radius);

  int Radius() const { return radius_; }
  int Side() const { return 2 * radius_ + 1; }
  int Steps() const { return steps_; }
  /// Values in a row: Side(), filled up with zeros to a multiple of 4.
  int Stride() const { return stride_; }
  /// Side() rows of Stride() values for the pixels from -Radius() to Radius() about the first one
  /// at or beyond the center; phases from 0 to Steps().
  const float* At(int phaseX, int phaseY) const {
    return values_.data() +
           (static_cast<std::size_t>(phaseY) * static_cast<std::size_t>(steps_ + 1) +
            static_cast<std::size_t>(phaseX)) *
               patch_;
  }

 private:
  int radius_ = 0, steps_ = 0, stride_ = 0;
  std::size_t patch_ = 0;
  std::vector<float> values_;
};

/// Where a center lies between a table's phases, along one axis.
struct Phase {
  int pixel;    ///< the first pixel at or beyond the center
  int first;    ///< the phase before; the one after is first + 1
  float share;  ///< of the phase after
};
[[nodiscard]] Phase PhaseOf(double center, int steps);

/// A function of a distance in the photograph, in pixels, by linear interpolation.
class ByDistance {
 public:
  ByDistance(cv::Mat1f fine, int steps) : fine_(std::move(fine)), steps_(steps) {}
  [[nodiscard]] float At(double dx, double dy) const;

 private:
  cv::Mat1f fine_;
  int steps_;
};

/// The spots of square emitters behind a lens, on square pixels. All spots have the sum 1.
class SpotModel {
 public:
  /// `emitter` is the side of the emitter in pixels.
  SpotModel(const SpotShape& shape, double emitter);

  int Radius() const { return radius_; }  ///< pixels; beyond it a spot is negligible
  [[nodiscard]] SpotTable Spot() const;
  /// The spot's change with SpotShape::variance, SpotShape::diskSquared and the emitter's side, and
  /// with the center's place along x and y.
  struct Derivatives {
    SpotTable variance, diskSquared, emitter, x, y;
  };
  [[nodiscard]] Derivatives SpotDerivatives() const;
  /// The integral of the product of two spots.
  [[nodiscard]] ByDistance Overlap() const;
  /// The share of an LED's light that falls on the cells around it, each `pitch` pixels wide; its
  /// own cell is the middle one.
  [[nodiscard]] cv::Mat1d CellResponse(double pitch) const;

 private:
  template <class Transfer>
  [[nodiscard]] cv::Mat1d Inverse(int reach, double cell, Transfer transfer) const;

  SpotShape shape_;
  double emitter_;
  int radius_;
  int steps_;
};

}  // namespace dravix::lab::unmix
