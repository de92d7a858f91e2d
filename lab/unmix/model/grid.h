/// Where the LEDs lie in the photograph.
#pragma once

#include <dravix/lab/unmix.h>

#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab::unmix {

/// From LED units to photograph pixels: the homography of four corners plus a cubic polynomial,
/// which takes in the lens's distortion and small errors of the corners.
///
/// In LED units the center of LED (column, row) is at (column + 0.5, row + 0.5), and the screen
/// spans 0 to width and 0 to height. Pixel centers are at integers.
class Grid {
 public:
  static constexpr std::size_t kTerms = 10;  ///< of a polynomial of degree 3 in two variables
  using Terms = std::array<double, kTerms>;

  /// `corners`: top-left, top-right, bottom-right, bottom-left of the screen, half a pitch outside
  /// the outer LEDs' centers.
  Grid(const std::array<cv::Point2d, 4>& corners, cv::Size leds);

  /// Makes a polynomial that fits the places part of the grid, beside the one that X and Y hold:
  /// what is found later is counted from there. False when the places do not determine it.
  [[nodiscard]] bool Bend(const std::vector<KnownPlace>& places);

  /// The grid of LEDs that lie `step` of this grid's LEDs apart; `first` of them is the place of
  /// its LED (0, 0). Their cells touch. What X and Y hold becomes part of it, as places do by Bend,
  /// and terms are those of the same polynomials over the same screen.
  [[nodiscard]] Grid Sparse(cv::Point2d first, cv::Point2d step, cv::Size leds) const;

  /// The same grid in a photograph whose pixels are `side` times as large, as Binned makes it.
  [[nodiscard]] Grid Binned(int side) const;

  cv::Size Leds() const { return leds_; }
  [[nodiscard]] cv::Point2d At(double u, double v) const;
  /// Pixels that the cell of an LED with its center at (u, v) covers.
  [[nodiscard]] double CellArea(double u, double v) const;
  /// Root of the middle cell's area, pixels.
  [[nodiscard]] double Pitch() const;
  /// Products of Legendre polynomials over the screen: the terms of the polynomial at (u, v).
  [[nodiscard]] Terms TermsAt(double u, double v) const;
  /// The degree of each term, 0 to 3.
  [[nodiscard]] static const std::array<int, kTerms>& Degrees();

  /// Coefficients of the polynomial, pixels.
  Terms& X() { return x_; }
  Terms& Y() { return y_; }
  const Terms& X() const { return x_; }
  const Terms& Y() const { return y_; }
  /// How far the polynomial of X and Y moves the point (u, v), pixels.
  [[nodiscard]] cv::Point2d Moved(double u, double v) const;

 private:
  cv::Size leds_;
  cv::Matx33d photoFromLed_;
  /// The polynomials are over a screen from 0 to `span_`, on which the place (u, v) of this grid is
  /// `origin_` + `step_` (u, v).
  cv::Size span_;
  cv::Point2d origin_{0, 0}, step_{1, 1};
  Terms bendX_{}, bendY_{};
  Terms x_{}, y_{};
};

/// Centers and cell areas of all LEDs.
struct Centers {
  cv::Mat1d x, y;  ///< photograph pixels
  cv::Mat1f area;  ///< pixels

  /// The same in a photograph whose pixels are `side` times as large, as unmix::Binned makes it.
  [[nodiscard]] Centers Binned(int side) const;
};
[[nodiscard]] Centers CentersOf(const Grid& grid);

}  // namespace dravix::lab::unmix
