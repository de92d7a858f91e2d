/// Corners of a mask to a fraction of a pixel.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::region {

/// A part of a frame. Everything outside it is dark.
struct FramePart {
  cv::Mat image;     ///< CV_8UC1
  cv::Point origin;  ///< of the part's first pixel, in frame pixels
  cv::Size frame;    ///< of the whole frame, pixels
};

/// How much a part must show of the dark frame around the lit area, in pixels on each side, unless
/// the frame ends before: with so much, Refined sees either the same pixels as in the whole frame
/// or nothing but darkness.
[[nodiscard]] constexpr std::int64_t DarkMargin(int window) {
  return 2 * (std::int64_t{window} + 4);
}

/// Whether a window can be moved about in the frame. Refined refuses others.
[[nodiscard]] inline bool WindowFits(int window, cv::Size frame) {
  const std::int64_t least = 2 * std::int64_t{window} + 5;
  return window >= 1 && frame.width >= least && frame.height >= least;
}

/// Moves each corner to where the two edges of the outline meet: the point from which the gradients
/// in the window around it are seen at right angles. `corners` and the result are in frame pixels.
/// `window` is half of the window's side without its middle pixel.
///
/// The results are those of cv::cornerSubPix on the whole frame with at most 40 steps, of which one
/// below 0.1 pixels is the last, but memory and time go with the window, not with the frame.
/// Throws cv::Exception for a window below 1 or one that is larger than the frame.
[[nodiscard]] std::vector<cv::Point2f> Refined(const FramePart& part,
                                               std::vector<cv::Point2f> corners, int window);

}  // namespace dravix::region
