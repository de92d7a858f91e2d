/// Readers for the files that cameras write: each turns one file into a CV_16UC1 matrix, which is
/// empty on failure.
#ifndef DRAVIX_BIMAGE_H_
#define DRAVIX_BIMAGE_H_

#include <dravix/export.h>

#include <opencv2/core.hpp>
#include <string>

namespace BImage {

/// Reads a dump without a header: rows * cols samples of 16 bits, low byte first. Empty, with one
/// error line, when the file cannot be opened or does not hold exactly rows * cols * 2 bytes.
DRAVIX_API cv::Mat ReadOrvelRaw(const std::string& fullname, int rows, int cols);

/// Reads a DNG of one uncompressed run of 16-bit samples whose StripOffsets tag points at the array
/// of offsets. Empty when the file cannot be opened (one error line), when it is no DNG or lacks
/// its width, height or StripOffsets (one line on the standard output), and when it does not hold
/// all of its samples.
DRAVIX_API cv::Mat ReadRggbDng(const std::string& fullname);

/// As ReadRggbDng, for files whose StripOffsets tag points at the samples themselves and whose rows
/// run from the bottom up; the result is the right way up.
DRAVIX_API cv::Mat ReadDngToup(const std::string& fullname);

/// Reads a binary gray map ("P5") with 16-bit samples, high byte first, and a header of three lines
/// without comments. False, with `image` unchanged, when the file is not one: a file that cannot be
/// opened is told on the standard output, another first line on the standard error.
DRAVIX_API bool ReadPgm16(const std::string& fullname, cv::Mat& image);

}  // namespace BImage

#endif  // DRAVIX_BIMAGE_H_
