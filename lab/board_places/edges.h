/// Edges between the lit and dark blocks of a checkerboard.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "lab/board_places/bent_screen.h"

namespace dravix::lab::board {

/// Where the blocks begin and end: LED units, one more than there are blocks.
struct Lines {
  std::vector<int> across, down;
};

/// Level of each block's middle, photograph samples: rows of blocks.
[[nodiscard]] cv::Mat1d BlockLevels(const cv::Mat1f& photo, const BentScreen& screen,
                                    const Lines& lines);

struct Edges {
  std::vector<Displacement> across;  ///< of edges that run down
  std::vector<Displacement> down;    ///< of edges that run across
  int expected = 0;                  ///< edges between a lit and a dark block
};

/// `sign`: 1 where the first block is lit, else -1. `contrast`: of lit and dark blocks, samples.
/// `rough`: places may be off by a third of a block; else by a fraction of an LED.
[[nodiscard]] Edges EdgesOf(const cv::Mat1f& photo, const BentScreen& screen, const Lines& lines,
                            int sign, double contrast, bool rough);

}  // namespace dravix::lab::board
