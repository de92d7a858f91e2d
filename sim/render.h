/// The simulated camera: photographs of a scene, with the truth about them.
///
/// Every compiler gives the same bytes: random numbers, exponentials and angles are computed by
/// this library (random.h, fixed_math.h) from additions, multiplications, divisions and square
/// roots alone, which IEEE arithmetic defines to the last bit; nothing is contracted or reordered.
///
/// Rendering holds 4 bytes per LED, 6 bytes per pixel and 65 bytes per checkerboard block. A screen of
/// 7680 x 4320 LEDs, photographed with 61 megapixels, takes half a gigabyte.
#pragma once

#include <dravix/shot.h>

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "sim/scene.h"

namespace dravix::sim {

/// Top-left, top-right, bottom-right, bottom-left, in photograph pixels.
using Quad = std::array<cv::Point2d, 4>;

/// Root mean square of the distances of four corners that were found, in this order, in pixels.
double RmsError(const std::vector<cv::Point>& found, const Quad& truth);

struct Truth {
  Quad corners;  ///< outline of the lit block: half a pitch outside the outer LEDs
  std::vector<cv::Point> cornerPixels;  ///< the same, rounded: what a host hands to DravixExtract
  cv::Mat luminances;                   ///< CV_32FC1, ledHeight x ledWidth
  double samplesPerLuminance = 0;       ///< sample value above black that luminance 1 gives
  double blackLevel = 0;                ///< samples
  cv::Size grid;                        ///< blocks across and down
  std::vector<Quad> cells;              ///< the blocks, row by row
  std::vector<std::uint8_t> cellLit;    ///< 1 where the pattern lights the block (dead or not)
};

struct Photograph {
  Shot shot;
  Truth truth;
};

/// What is known without taking a picture.
Truth TruthOf(const Scene& scene);
/// Center of the LED at (column, row), in photograph pixels. It is computed when it is asked for: a
/// list of all centers would take four times the memory of the luminances.
cv::Point2d LedCenterOf(const Scene& scene, cv::Point led);
/// The measured picture: all LEDs lit. CV_16UC1 whatever the bits; with a mosaic the raw samples.
Photograph Render(const Scene& scene);
/// The checkerboard picture of the same pose.
Shot RenderCheckerboard(const Scene& scene);
/// OpenCV's code that turns the raw samples of a mosaic into three channels, red first as CAM_RGB
/// wants them: hand it to Shot::SetImageColor. 0 without a mosaic.
int BayerCodeOf(Mosaic mosaic);

}  // namespace dravix::sim
