/// A screen that a lens bends: the homography of its corners and a smooth displacement.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <vector>

#include "lab/unmix/model/grid.h"

namespace dravix::lab::board {

/// That a place of the screen seems to lie farther along one axis than it is expected.
struct Displacement {
  cv::Point2d led;  ///< LED units
  double by = 0;    ///< LEDs
};

class BentScreen {
 public:
  BentScreen(const std::array<cv::Point2d, 4>& corners, cv::Size leds) : grid_(corners, leds) {}

  cv::Size Leds() const { return grid_.Leds(); }
  /// Photograph pixels of a place of the screen.
  [[nodiscard]] cv::Point2d At(cv::Point2d led) const;
  /// Pixels along the side of a square of one LED's area.
  [[nodiscard]] double Pitch(cv::Point2d led) const;

  /// Bends it by what is left of displacements, across (from vertical edges) and down. Answers the
  /// RMS of what a cubic polynomial does not take up, LEDs.
  double Bend(const std::vector<Displacement>& across, const std::vector<Displacement>& down);

 private:
  unmix::Grid grid_;
  unmix::Grid::Terms across_{}, down_{};  ///< LEDs
};

}  // namespace dravix::lab::board
