/// Rectangular parts of black-and-white pictures, and what two such pictures have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>

#include "kernels/bits/bit_picture.h"

namespace dravix::kernels {

// Rectangles lie inside the picture unless something else is said.

[[nodiscard]] inline bool IsWhite(const BitPicture& picture, cv::Point at) {
  return ((picture.Row(at.y)[at.x / BitPicture::kWordBits] >> (at.x % BitPicture::kWordBits)) &
          1U) != 0;
}

/// The picture of a matrix: white where an element of `mask` (CV_8UC1) is not 0.
[[nodiscard]] BitPicture BitsOf(const cv::Mat& mask);

/// A part as a picture of its own.
[[nodiscard]] BitPicture Cut(const BitPicture& picture, const cv::Rect& part);
/// The same as a matrix: CV_8UC1, 255 for white.
[[nodiscard]] cv::Mat CutMat(const BitPicture& picture, const cv::Rect& part);
/// A part in a picture that is `shrink` times smaller: CV_8UC1, 255 where all pixels of a square of
/// that side are white. `shrink` is 1 to 8 and divides both sides of the part.
[[nodiscard]] cv::Mat AllWhite(const BitPicture& picture, const cv::Rect& part, int shrink);

/// Makes white what is white in `part`, which lies inside the picture when its corner is at `at`.
void Paste(const BitPicture& part, cv::Point at, BitPicture& picture);

/// Makes a rectangle white.
void Fill(const cv::Rect& part, BitPicture& picture);
/// How many pixels of a rectangle are white.
[[nodiscard]] int WhitePixels(const BitPicture& picture, const cv::Rect& part);
/// The smallest rectangle that holds all white pixels; empty when there is none.
[[nodiscard]] cv::Rect BoundsOf(const BitPicture& picture);

/// Makes everything black that is black in `other`, which has the same size.
void Intersect(BitPicture& picture, const BitPicture& other);
/// `picture` without what is white in `other`, which has the same size.
[[nodiscard]] BitPicture Without(const BitPicture& picture, const BitPicture& other);

/// The sum of the samples that stand over a white pixel of a row; both have `words` whole words.
[[nodiscard]] std::uint64_t SumOfWhite(const std::uint16_t* samples, const std::uint64_t* bits,
                                       std::size_t words);
/// Makes 0 the values that stand over a black pixel of a row.
void ClearBlack(const std::uint64_t* bits, std::size_t words, std::uint8_t* values);

/// Keeps of the white only what is white in all of a square around that reaches `reach` pixels to
/// each side; pixels outside the picture have no say. `scratch` is of this size; its content is
/// lost.
void Erode(int reach, BitPicture& picture, BitPicture& scratch);

}  // namespace dravix::kernels
