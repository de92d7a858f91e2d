/// The simulated camera: photographs of a scene, with the truth about them.
///
/// Each LED becomes a spot of light on the sensor, at the place where the projection puts it and
/// with the blur of the lens. Reflections, vignetting, stray light, color filters and noise are
/// applied to the sum of all spots, which is then rounded to samples. All spots have the same
/// shape: perspective changes their places and their light, but neither widens nor tilts them.
/// Optics::fineSpots puts them at their exact places and lets their blur vary (fine_spots.h).
///
/// Every compiler gives the same bytes. Random numbers, exponentials and angles are computed by
/// this library (random.h, fixed_math.h) from additions, multiplications, divisions and square
/// roots alone, which IEEE arithmetic defines to the last bit, and the compiler is told not to
/// contract or reorder them.
///
/// Rendering holds 4 bytes per lit LED, 6 bytes per pixel and 65 bytes per checkerboard block. A
/// screen of 7680 x 4320 LEDs, photographed with 61 megapixels, takes half a gigabyte.
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

/// Root mean square of the distances between four corners that were found and the true ones, in
/// pixels. Both have the same order.
double RmsError(const std::vector<cv::Point>& found, const Quad& truth);

struct Truth {
  Quad corners;  ///< corners of the lit LEDs' area, half a pitch outside the outer LEDs' centers
  std::vector<cv::Point>
      cornerPixels;                   ///< the same, rounded, as a host hands them to DravixExtract
  cv::Mat luminances;                 ///< CV_32FC1, of the lit LEDs, gains included
  double samplesPerLuminance = 0;     ///< samples above black, mean of its cell, of luminance 1
  double blackLevel = 0;              ///< sample value in the dark
  cv::Size grid;                      ///< checkerboard blocks across and down
  std::vector<Quad> cells;            ///< corners of the blocks, row by row
  std::vector<std::uint8_t> cellLit;  ///< 1 where the pattern lights the block, even a dead one
};

struct Photograph {
  Shot shot;
  Truth truth;
};

/// What is known without taking a picture.
Truth TruthOf(const Scene& scene);
/// Center of the lit LED at (column, row), in photograph pixels. It is computed when it is asked
/// for: a list of all centers would take four times the memory of the luminances.
cv::Point2d LedCenterOf(const Scene& scene, cv::Point led);
/// The measured photograph, with all lit LEDs at full level. Its image is CV_16UC1 for any number
/// of bits; with a mosaic it holds the raw samples.
Photograph Render(const Scene& scene);
/// The checkerboard photograph of the same pose.
Shot RenderCheckerboard(const Scene& scene);
/// The OpenCV code that turns the raw samples of a mosaic into three channels, red first, which is
/// the order of CAM_RGB. It is meant for Shot::SetImageColor. 0 without a mosaic.
int BayerCodeOf(Mosaic mosaic);

}  // namespace dravix::sim
