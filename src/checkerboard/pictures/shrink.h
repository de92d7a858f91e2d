/// How much smaller a picture may become for steps that need no single pixels.
#pragma once

#include <algorithm>
#include <opencv2/core.hpp>

namespace dravix::checkerboard {

/// Side, in pixels, of the square that becomes one pixel when a picture is shrunk so far that a
/// block of the size `cell` keeps at least `leastSide` pixels on its shorter side. From 1 to 8: at
/// 8 the picture has 64 times fewer pixels, and what is done in it costs next to nothing already.
[[nodiscard]] inline int ShrinkFor(cv::Size2d cell, double leastSide) {
  constexpr int kLargest = 8;
  return std::clamp(static_cast<int>(std::min(cell.width, cell.height) / leastSide), 1, kLargest);
}

}  // namespace dravix::checkerboard
