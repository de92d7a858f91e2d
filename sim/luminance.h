/// What each LED gives off.
#pragma once

#include <opencv2/core.hpp>

#include "sim/scene.h"

namespace dravix::sim {

/// Parts of a scene that draw random numbers of their own.
enum Stream : unsigned { kScatter = 1, kModules, kDefects, kBlockLevels, kShotNoise, kBoardNoise };

/// CV_32FC1, ledHeight x ledWidth: the measured picture's luminances.
cv::Mat LuminancesOf(const Scene& scene);
/// Likewise for the checkerboard picture.
cv::Mat CheckerboardLuminancesOf(const Scene& scene);
/// Whether the pattern lights the block at that place of the grid.
bool IsLit(const Scene& scene, int column, int row);

}  // namespace dravix::sim
