/// Where the screen really ends in the photograph.
#pragma once

#include <opencv2/core.hpp>

#include "lab/unmix/model/grid.h"

namespace dravix::lab::unmix {

/// Moves the grid's polynomial so that its outline lies where the light ends.
///
/// LEDs look alike, so the grid inside the screen only fixes places up to whole LEDs; a search that
/// starts half a pitch off may end one LED off. The outline has no such ambiguity, and it can be
/// found when the corners are off by up to one and a half pitches.
void AlignOutline(const cv::Mat1f& photo, double background, Grid& grid);

/// How far the light ends from the grid's sides: the largest mean distance of a side that the
/// photograph shows, in LEDs. NaN where it shows neither of two opposite sides.
[[nodiscard]] double OutlineMiss(const cv::Mat1f& photo, double background, const Grid& grid);

}  // namespace dravix::lab::unmix
