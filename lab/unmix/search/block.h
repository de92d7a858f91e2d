/// Small pieces of the screen, on which spot and grid are estimated.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/model/spot.h"

namespace dravix::lab::unmix {

/// A square of LEDs with what must be known around it.
struct Block {
  cv::Rect inner;  ///< LEDs whose surroundings are all within the block
  cv::Rect leds;   ///< these and their neighbors, whose light reaches into `inner`
  cv::Rect view;  ///< LED units: pixels that are looked at; `inner`, and the dark beside the screen
  bool atBorder;  ///< whether `view` reaches beyond the screen
  cv::Point2d Middle() const { return {inner.x + 0.5 * inner.width, inner.y + 0.5 * inner.height}; }
};

/// Blocks spread evenly over the screen: 5 x 5 where there is room.
[[nodiscard]] std::vector<Block> SpreadBlocks(cv::Size leds);

/// The same for a screen on which only some LEDs are lit (255, the others 0): each block lies
/// where, near its even place, the most lit LEDs have a dark neighbor.
[[nodiscard]] std::vector<Block> SpreadBlocksAtEdges(const cv::Mat1b& lit);

/// Tables of a spot that is tried.
struct TriedSpot {
  SpotTable spot;
  SpotModel::Derivatives derivatives;  ///< empty where only the fit's quality is asked for
};

/// A spot and a grid that are tried on a block.
struct Trial {
  const cv::Mat1f& photo;
  const Grid& grid;
  const TriedSpot& spot;
  double background;        ///< level of the photograph without light
  double lambda;            ///< noise^2 / variance of LEDs about `levels`
  const cv::Mat1d& levels;  ///< what the block's LEDs are expected to be, over the background
  cv::Mat1b lit = {};       ///< LEDs of which more is unknown than `levels` say; empty: all of them
};

/// Normal equations of a block for ten unknowns: SpotShape::variance, SpotShape::diskSquared, the
/// emitter's side, a move of the grid along x and y in pixels, how the move along x changes from
/// LED to LED across and down, the same for the move along y, and a change of the background. The
/// LEDs' luminances are eliminated: for each value of the ten, they are those that fit best.
struct BlockEquations {
  static constexpr int kUnknowns = 10;
  cv::Matx<double, kUnknowns, kUnknowns> normal;
  cv::Vec<double, kUnknowns> gradient;
  double cost = 0;     ///< sum of squares of residuals and of weighted departures from `levels`
  double squares = 0;  ///< sum of squares of residuals
  int pixels = 0;
};

/// The equations at the trial's spot and grid.
[[nodiscard]] BlockEquations EquationsOf(const Trial& trial, const Block& block);
/// Only `cost`, `squares` and `pixels`.
[[nodiscard]] BlockEquations FitOf(const Trial& trial, const Block& block);

/// The pixels that a block looks at: a rectangle of the photograph and a mask in it, which is 255
/// inside.
struct BlockView {
  cv::Rect frame;
  cv::Mat1b mask;
};
[[nodiscard]] BlockView ViewOf(const Grid& grid, const Block& block, cv::Size photo);

}  // namespace dravix::lab::unmix
