/// Readers for cameras' own files: each turns one file into a CV_16UC1 matrix, empty on failure.
#ifndef DRAVIX_BIMAGE_H_
#define DRAVIX_BIMAGE_H_

#include <dravix/export.h>

#include <opencv2/core.hpp>
#include <string>

namespace BImage {

/// A headerless dump of rows * cols samples, 16 bits each, low byte first. Empty, with one error
/// line, when the file cannot be opened or is not exactly rows * cols * 2 bytes. Converts rows in
/// parallel where OpenMP is present; the result is the same.
DRAVIX_API cv::Mat ReadOrvelRaw(const std::string& fullname, int rows, int cols);

/// A DNG of one uncompressed run of 16-bit samples whose StripOffsets tag points at the array of
/// offsets. Empty when it cannot be opened (one error line), is no DNG (one line on the standard
/// output) or lacks its size or offset.
DRAVIX_API cv::Mat ReadRggbDng(const std::string& fullname);

/// As ReadRggbDng, for files whose StripOffsets tag holds the offset itself and whose rows run from
/// the bottom up; the result is the right way up.
DRAVIX_API cv::Mat ReadDngToup(const std::string& fullname);

/// A binary grey map ("P5") with 16-bit samples, high byte first; header in three lines, no
/// comments. False, with `image` unchanged, when it is not one.
DRAVIX_API bool ReadPgm16(const std::string& fullname, cv::Mat& image);

}  // namespace BImage

#endif  // DRAVIX_BIMAGE_H_
