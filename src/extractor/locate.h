/// The search for the lit area in a working image.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>

namespace dravix::extractor {

/// The lit area of a working image.
struct LitArea {
  cv::Mat mask;   ///< CV_8UC1 of the image's size, 255 inside the area, 0 elsewhere
  cv::Rect rect;  ///< the area's upright bounding rectangle, in the image's pixels
};

/// What melts single LEDs into one area; both in working-image pixels.
struct Melting {
  std::int32_t kernelSize;  ///< side of the Gaussian and of the closing and opening square; odd
  float sigma;              ///< of the Gaussian
};

/// The image in 8-bit gray, `fullScale` at 255, with single LEDs melted into one area: CV_8UC1, of
/// the image's size; `smoothed` keeps its memory when it has that. Three channels are converted
/// from XYZ. Throws cv::Exception for other channel counts and for an even kernel.
void SmoothedGray(const cv::Mat& image, std::int32_t fullScale, const Melting& melting,
                  cv::Mat& smoothed);

/// The largest white area of a black-and-white picture (CV_8UC1), or nothing where all is black.
/// Logs one error line when there is none, and one when there are several.
[[nodiscard]] std::optional<LitArea> LargestArea(const cv::Mat& lit);

/// The largest lit area of `image` (any depth, 1 or 3 channels), or nothing where the image has
/// none. `fullScale` is the sensor's largest sample; where it is 0 or less it is not known, and
/// the image's largest sample takes its place. Logs one error line when there is no area, and one
/// when there are several. Throws cv::Exception for other channel counts and for an even kernel.
[[nodiscard]] std::optional<LitArea> LocateLitArea(const cv::Mat& image, std::int32_t fullScale,
                                                   const Melting& melting);

}  // namespace dravix::extractor
