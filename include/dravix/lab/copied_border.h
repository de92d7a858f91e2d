/// The border of a result that was not measured but copied from the LEDs inside it.
///
/// Light from the dark surroundings and defocus spoil the outermost LEDs, so the last step of every
/// measurement overwrites the outer rows and columns with the nearest row or column inside. In a
/// picture the copies look like streaks; without a word they are taken for a fault of the screen.
#ifndef DRAVIX_LAB_COPIED_BORDER_H_
#define DRAVIX_LAB_COPIED_BORDER_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace dravix::lab {

/// Rows and columns on each side that a measurement by the corners alone replaces by copies.
inline constexpr int kCopiedBorder = 4;
/// The same for a measurement block by block, with a checkerboard.
inline constexpr int kCopiedBorderByBlocks = 2;

/// The width of the copied border of a measured matrix of one channel: kCopiedBorder,
/// kCopiedBorderByBlocks or 0. A result does not say how it was measured, so this looks for outer
/// rows and columns that equal the ones inside to the bit. 0 where all values are equal: nothing
/// can be seen there. Matrices that are no results may be even at their border without any copy.
[[nodiscard]] int CopiedBorderOf(const cv::Mat& luminances);

/// How many LEDs of a matrix of that size lie in a border of that width.
[[nodiscard]] std::int64_t CopiedLeds(int width, cv::Size leds);

/// "the outer 4 LEDs on each side are copies of inner ones", or "none" for 0.
[[nodiscard]] std::string CopiedBorderText(int width);
/// The same with how many LEDs of the matrix these are: "..., 384 of 1536 LEDs".
[[nodiscard]] std::string CopiedBorderText(int width, cv::Size leds);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_COPIED_BORDER_H_
