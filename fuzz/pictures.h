/// Pictures, shots and corners that a fuzzer invents, and how seeds write them down.
#pragma once

#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <vector>

#include "fuzz/input.h"

namespace dravix::fuzz {

/// A matrix of any type, with no more samples than there are bytes for it: one byte each for its
/// depth and for its channels, 16 bits each for columns and rows, the samples. It may have three
/// dimensions, or be a part of a wider one, so that its rows do not follow each other.
[[nodiscard]] cv::Mat TakePicture(Input& input);

/// A picture enlarged by up to eight times each way, so that few bytes show what needs many pixels:
/// a byte, then a picture of 8 or 16 bits.
[[nodiscard]] cv::Mat TakeLargePicture(Input& input);

/// Each group if its bit is set, then each of its fields.
void TakeGroups(Input& input, Shot& shot);

/// A plane type, groups and a picture.
[[nodiscard]] Shot TakeShot(Input& input);
/// A plane type, groups and a large picture.
[[nodiscard]] Shot TakeLargeShot(Input& input);

/// A point within some 3800 pixels of a picture, in eighths, from 16 bits each; the highest numbers
/// stand for places all over the 32 bits of a coordinate.
[[nodiscard]] cv::Point TakePoint(Input& input);
/// Up to seven points.
[[nodiscard]] std::vector<cv::Point> TakePoints(Input& input);

// What seeds write so that the functions above give it back.

void PutPicture(const cv::Mat& picture, base::ByteWriter& out);
/// Writes the picture at one `zoom`th of its size, which only keeps what that size can show.
void PutLargePicture(const cv::Mat& picture, int zoom, base::ByteWriter& out);
void PutGroups(const Shot& shot, base::ByteWriter& out);
void PutPoints(const std::vector<cv::Point>& points, base::ByteWriter& out);
void PutPiece(base::ByteView bytes, base::ByteWriter& out);

}  // namespace dravix::fuzz
