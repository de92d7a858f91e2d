/// In LED coordinates the light of a grid repeats with every LED, and its k-th wave is the mean of
/// light times exp(-2 pi i k u). The sum runs over the photograph's pixels as they are: resampling
/// would damp the very waves that beat with the sampling. Each tile is summed by itself and the
/// squares are averaged, since the places of LEDs drift against the outline by parts of a pitch.
///
/// A wave above half the sampling frequency is seen at its alias. Where that falls together with
/// the mean light or with a wave of lower frequency, as it does when an LED covers a whole number
/// of pixels, the sum would take the one for the other; such waves are left out, tile by tile.
#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>
#include <vector>

#include "lab/check/led_grid.h"

namespace dravix::lab {
namespace {

constexpr int kTiles = 3;                  // along each axis, at most
constexpr double kLedsPerTile = 24;        // along each axis, at least where there are so many
constexpr double kFewestTilePixels = 160;  // likewise
constexpr double kMostPixels = 240;        // along a tile's side
// Waves in a tile to the four sides of a wave's frequency where no wave of the grid lies, and the
// sums show what noise and LEDs that differ give.
constexpr double kBeside = 5.5;
// Waves in a tile by which two frequencies must differ: half the width of the window's spectrum.
constexpr double kApart = 4.5;

using Complex = std::complex<double>;
using Waves = std::array<double, kHarmonics>;

/// The window of Blackman and Harris from -1 to 1: what leaks to other frequencies is below 1e-4 of
/// the mean light, where one of cosines would leak more than the beats that are looked for.
double Window(double x) {
  const double a = CV_PI * x;
  return 0.35875 + 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) + 0.01168 * std::cos(3 * a);
}

/// The sums of a tile along one axis. At frequencies to the sides of a wave's, the light is turned
/// once more, by the pixel's place in its row and by that of the row.
class WaveSums {
 public:
  /// Adds light at a place in LEDs; `shift` turns it by the pixel's place in the row.
  void Add(double position, double light, const Complex& shift) {
    const Complex one = std::polar(1.0, -2 * CV_PI * position);
    Complex power = light;
    for (std::size_t k = 0; k < kHarmonics; ++k) {
      power = Times(power, one);
      row_[k] += power;
      cosines_[k] += shift.real() * power;
      sines_[k] += shift.imag() * power;
    }
  }
  /// Ends a row of pixels; `shift` turns it by its place in the tile.
  void EndRow(const Complex& shift) {
    for (std::size_t k = 0; k < kHarmonics; ++k) {
      wave_[k] += row_[k];
      above_[k] += Times(row_[k], shift);
      below_[k] += Times(row_[k], std::conj(shift));
      row_[k] = 0;
    }
  }

  [[nodiscard]] double PowerOfWave(std::size_t k) const { return std::norm(wave_.at(k)); }
  /// The mean power to the four sides. Those to the left and to the right are cosines + i sines and
  /// cosines - i sines, and together have twice the power of both.
  [[nodiscard]] double PowerBeside(std::size_t k) const {
    return (2 * (std::norm(cosines_.at(k)) + std::norm(sines_.at(k))) + std::norm(above_.at(k)) +
            std::norm(below_.at(k))) /
           4;
  }

 private:
  /// The product without the care that the standard one takes of infinities.
  static Complex Times(const Complex& a, const Complex& b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
  }
  using Harmonics = std::array<Complex, kHarmonics>;
  Harmonics row_{}, wave_{}, cosines_{}, sines_{}, above_{}, below_{};
};

/// A part of the photograph under a window that falls to 0 at its border.
struct Tile {
  cv::Point2d middle;
  cv::Size2d half;
  cv::Rect pixels;
};

class Measured {
 public:
  Measured(const cv::Mat& plane, const Outline& outline, cv::Size leds, double dark)
      : plane_(plane),
        photoFromUnit_(PhotoFromUnit(outline.corners)),
        unitFromPhoto_(photoFromUnit_.inv()),
        leds_(leds),
        dark_(dark) {
    const cv::Size2d sides = MeanSides(outline.corners);
    pitch_ = {sides.width / leds.width, sides.height / leds.height};
  }

  void AddTiles(cv::Size2d sides) {
    const auto halfOf = [](double side, double one) {
      return 0.5 *
             std::min({0.9 * side, std::max(kLedsPerTile * one, kFewestTilePixels), kMostPixels});
    };
    const cv::Size2d half(halfOf(sides.width, pitch_.width), halfOf(sides.height, pitch_.height));
    const auto countOf = [](double side, double halfTile) {
      return std::clamp(static_cast<int>(0.9 * side / (2 * halfTile)), 1, kTiles);
    };
    const cv::Size tiles(countOf(sides.width, half.width), countOf(sides.height, half.height));
    for (int j = 0; j < tiles.height; ++j) {
      for (int i = 0; i < tiles.width; ++i) {
        const cv::Point2d middle =
            Mapped(photoFromUnit_, {(i + 0.5) / tiles.width, (j + 0.5) / tiles.height});
        if (const auto tile = TileAt(middle, half)) Add(*tile);
      }
    }
  }

  [[nodiscard]] std::array<Modulation, 2> Result() const {
    std::array<Modulation, 2> result;
    for (std::size_t axis = 0; axis < 2; ++axis) {
      const Axis& a = axes_.at(axis);
      Modulation& m = result.at(axis);
      m.pitch = axis == 0 ? pitch_.width : pitch_.height;
      for (std::size_t k = 0; k < kHarmonics; ++k) {
        if (a.tiles.at(k) == 0) continue;
        const double noise = a.beside.at(k) / a.tiles.at(k);
        m.amplitude.at(k) = 2 * std::sqrt(std::max(0.0, a.wave.at(k) / a.tiles.at(k) - noise));
        m.noise.at(k) = 2 * std::sqrt(noise);
        m.alias.at(k) = a.alias.at(k) / a.tiles.at(k);
      }
    }
    return result;
  }

 private:
  struct Axis {
    Waves wave{}, beside{}, alias{}, tiles{};
  };

  [[nodiscard]] std::optional<Tile> TileAt(cv::Point2d middle, cv::Size2d half) const {
    constexpr double kFar = 1e6;  // pixels; beyond, the outline is no quadrilateral
    if (!(std::abs(middle.x) < kFar && std::abs(middle.y) < kFar)) return std::nullopt;
    const cv::Point first(cvCeil(middle.x - half.width), cvCeil(middle.y - half.height));
    const cv::Point end(cvFloor(middle.x + half.width) + 1, cvFloor(middle.y + half.height) + 1);
    const cv::Rect pixels(first, end);
    if ((pixels & cv::Rect({0, 0}, plane_.size())) != pixels) return std::nullopt;
    return Tile{middle, half, pixels};
  }

  [[nodiscard]] cv::Point2d LedsAt(cv::Point2d pixel) const {
    const cv::Point2d unit = Mapped(unitFromPhoto_, pixel);
    return {unit.x * leds_.width, unit.y * leds_.height};
  }

  /// Waves per pixel of the grid's two axes at a place.
  [[nodiscard]] std::array<cv::Point2d, 2> FrequenciesAt(cv::Point2d p) const {
    const cv::Point2d right = LedsAt(p + cv::Point2d(0.5, 0)) - LedsAt(p - cv::Point2d(0.5, 0));
    const cv::Point2d down = LedsAt(p + cv::Point2d(0, 0.5)) - LedsAt(p - cv::Point2d(0, 0.5));
    return {cv::Point2d(right.x, down.x), cv::Point2d(right.y, down.y)};
  }

  /// The grid's frequencies at the middle and at the corners of a tile: they differ by perspective.
  using Frequencies = std::array<std::array<cv::Point2d, 2>, 5>;

  [[nodiscard]] Frequencies FrequenciesIn(const Tile& tile) const {
    const cv::Point2d x(tile.half.width, 0);
    const cv::Point2d y(0, tile.half.height);
    const cv::Point2d& m = tile.middle;
    return {FrequenciesAt(m), FrequenciesAt(m - x - y), FrequenciesAt(m + x - y),
            FrequenciesAt(m + x + y), FrequenciesAt(m - x + y)};
  }

  /// The k-th wave's frequency as the pixels see it, or nothing where another wave is seen there.
  [[nodiscard]] static std::optional<double> Alias(const Frequencies& grid, std::size_t axis, int k,
                                                   cv::Size2d half) {
    const cv::Point2d wave = k * grid[0].at(axis);
    const cv::Point2d folded(std::round(wave.x), std::round(wave.y));
    const double alias = cv::norm(wave - folded);
    if (cv::norm(folded) < 0.5) return alias;  // seen as it is
    constexpr int kNear = 4;  // waves of the grid that are looked at in each direction
    for (int i = -kNear; i <= kNear; ++i) {
      for (int j = -kNear; j <= kNear; ++j) {
        // A wave of two pixels meets its own mirror image, which is the same wave.
        const bool isMirror = axis == 0 ? (i == -k && j == 0) : (i == 0 && j == -k);
        if (isMirror) continue;
        cv::Point2d least(1e9, 1e9);
        cv::Point2d most = -least;
        for (const auto& g : grid) {
          const cv::Point2d off = k * g.at(axis) - folded - i * g[0] - j * g[1];
          least = {std::min(least.x, off.x), std::min(least.y, off.y)};
          most = {std::max(most.x, off.x), std::max(most.y, off.y)};
        }
        const double apartX = std::max(least.x, -most.x) * 2 * half.width;
        const double apartY = std::max(least.y, -most.y) * 2 * half.height;
        if (std::max(apartX, apartY) < kApart) return std::nullopt;
      }
    }
    return alias;
  }

  void Add(const Tile& tile) {
    std::array<WaveSums, 2> sums;
    double total = 0;
    const cv::Rect& r = tile.pixels;
    std::vector<double> windowX;
    std::vector<Complex> shiftX;
    for (int x = r.x; x < r.x + r.width; ++x) {
      const double place = (x - tile.middle.x) / tile.half.width;
      windowX.push_back(Window(place));
      shiftX.push_back(std::polar(1.0, -CV_PI * kBeside * place));
    }
    for (int y = r.y; y < r.y + r.height; ++y) {
      const auto* row = plane_.ptr<std::uint16_t>(y);
      const double placeY = (y - tile.middle.y) / tile.half.height;
      const double windowY = Window(placeY);
      const Complex shiftY = std::polar(1.0, -CV_PI * kBeside * placeY);
      for (int x = r.x; x < r.x + r.width; ++x) {
        const auto i = static_cast<std::size_t>(x - r.x);
        const double light = windowY * windowX[i] * (row[x] - dark_);
        const cv::Point2d led = LedsAt(cv::Point2d(x, y));
        sums[0].Add(led.x, light, shiftX[i]);
        sums[1].Add(led.y, light, shiftX[i]);
        total += light;
      }
      for (WaveSums& axis : sums) axis.EndRow(shiftY);
    }
    if (total <= 0) return;
    const Frequencies grid = FrequenciesIn(tile);
    for (std::size_t axis = 0; axis < 2; ++axis) {
      for (std::size_t k = 0; k < kHarmonics; ++k) {
        const auto alias = Alias(grid, axis, static_cast<int>(k) + 1, tile.half);
        if (!alias) continue;
        Axis& a = axes_.at(axis);
        a.wave.at(k) += sums.at(axis).PowerOfWave(k) / (total * total);
        a.beside.at(k) += sums.at(axis).PowerBeside(k) / (total * total);
        a.alias.at(k) += *alias;
        a.tiles.at(k) += 1;
      }
    }
  }

  const cv::Mat& plane_;
  cv::Matx33d photoFromUnit_, unitFromPhoto_;
  cv::Size leds_;
  double dark_;
  cv::Size2d pitch_;
  std::array<Axis, 2> axes_;
};

}  // namespace

std::array<Modulation, 2> ModulationOf(const cv::Mat& plane, const Outline& outline, cv::Size leds,
                                       double dark) {
  if (leds.width < 1 || leds.height < 1) return {};
  Measured measured(plane, outline, leds, dark);
  measured.AddTiles(MeanSides(outline.corners));
  return measured.Result();
}

}  // namespace dravix::lab
