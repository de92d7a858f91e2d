/// How bright each LED is.
#pragma once

#include <opencv2/core.hpp>

#include "sim/scene.h"

namespace dravix::sim {

/// The parts of a scene that each draw their own random numbers.
enum Stream : unsigned { kScatter = 1, kModules, kDefects, kBlockLevels, kShotNoise, kBoardNoise };

/// Luminances of the lit LEDs, gains included, for the measured photograph: CV_32FC1.
cv::Mat LuminancesOf(const Scene& scene);
/// Luminances of the lit LEDs for the checkerboard photograph: CV_32FC1.
cv::Mat CheckerboardLuminancesOf(const Scene& scene);
/// Whether the checkerboard's pattern lights the block at that column and row of the grid.
bool IsLit(const Scene& scene, int column, int row);

}  // namespace dravix::sim
