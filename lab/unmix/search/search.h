/// The state of the search for spot and grid, and where to go from it.
#pragma once

#include <dravix/lab/unmix.h>

#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/model/spot.h"
#include "lab/unmix/model/spot_field.h"
#include "lab/unmix/search/block.h"

namespace dravix::lab::unmix {

/// No spot is narrower: its Gaussian part has at least this variance, pixels^2.
constexpr double kSmallestVariance = 0.05;
/// What is expected of the emitter's side, over the pitch. Behind a Gaussian it can hardly be seen
/// and need not be known, because the Gaussian's variance makes up for it; at the sharp edges of a
/// disk it matters and shows.
constexpr double kEmitter = 0.3;

struct Search {
  const cv::Mat1f& photo;
  std::vector<Block> blocks;
  cv::Mat1d cells;  ///< cell means where the LEDs were before the search
  Grid grid;
  SpotShape spot;
  double emitter;  ///< side, pixels
  /// How far the emitter's side may lie from what is expected: standard deviation, pixels.
  double emitterSpread;
  double pitch;  ///< from LED to LED, lit or not, pixels
  double
      cellSide;  ///< root of a cell's area: the pitch, unless there are dark LEDs between lit ones
  double background;
  double level;     ///< median of the cells over the background
  double noise;     ///< standard deviation of a pixel
  double litNoise;  ///< the same inside the screen, where light brings its own noise
  /// What is expected of LEDs while the spot is unknown: a standard deviation about smoothed cells,
  /// relative to `level`.
  double scatter;
  cv::Mat1b lit;                   ///< 255 for LEDs that are lit, 0 for others; empty: all are
  double glow = 0;                 ///< luminance of the others over that of lit ones
  std::optional<KnownSpot> known;  ///< what another photograph says of the spot, in these pixels
  SpotField field = {};
  /// How far the field's terms may lie from 0: standard deviation. While it is 0 they stay there.
  double fieldSpread = 0;

  /// Takes over what the search changes.
  void Restore(const Search& other) {
    grid = other.grid;
    spot = other.spot;
    emitter = other.emitter;
    noise = other.noise;
    litNoise = other.litNoise;
    field = other.field;
  }
};

/// The most that SpotShape::diskSquared can be.
[[nodiscard]] double LargestDiskSquared(double variance);

/// Normal equations for all unknowns: variance, diskSquared, emitter, the grid's terms along x and
/// y, and the field's terms.
struct System {
  cv::Mat1d normal;
  cv::Mat1d gradient;  ///< one row
};

/// The equations of all blocks together, with what is expected of spot and grid.
[[nodiscard]] System SystemOf(const std::vector<BlockEquations>& equations, const Search& s);

/// What the equations say of the spot's numbers (KnownSpot) when all places may be what they are:
/// the inverse of their covariance. Terms of the field that stay as they are have 0.
[[nodiscard]] cv::Matx<double, KnownSpot::kNumbers, KnownSpot::kNumbers> SpotInformation(
    const System& system, const Search& s);

/// The step of the equations, one row. `damping` adds this share of the diagonal to it (Marquardt),
/// which makes the step shorter and turns it toward the steepest descent. Where the step would
/// leave the spots that exist, which lie between none and all of the variance in the disk, it is a
/// step along that border.
[[nodiscard]] cv::Mat1d StepOf(const System& system, const SpotShape& spot, double damping);

/// The farthest that a step moves a block's middle along an axis, pixels.
[[nodiscard]] double FarthestMove(const Search& s, const cv::Mat1d& step);

/// Takes the step, or the part of it over which the equations can be trusted.
void Take(const cv::Mat1d& step, Search& s);

/// A gain that is not worth a step: what it would take from the sum of squares, in units of the
/// noise's variance. The noise of each LED is 1 in this unit, so a small share of that, all blocks
/// together, changes nothing that can be seen.
[[nodiscard]] double SmallestGain(const std::vector<Block>& blocks);

/// Whether a step changes nothing that matters.
[[nodiscard]] bool IsNegligible(const cv::Mat1d& step, const System& system, const Search& s);

}  // namespace dravix::lab::unmix
