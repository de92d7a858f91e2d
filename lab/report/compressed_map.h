/// A matrix of luminances in few bytes, for a page that draws it.
///
/// Each value becomes an integer: the bits of the float where there is room, else a multiple of a
/// step. What is stored of an integer is its difference to the mean of the four neighbors that come
/// before it, because luminances differ little between neighbors, and noise, which no method makes
/// smaller, grows the least that way. The bytes of these differences are compressed. Where the
/// noise alone needs more bytes than allowed, blocks of LEDs are averaged first: 2 x 2, 3 x 3 and
/// so on until the matrix fits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// How the bytes are read:
///
/// The cells come in bands of `bandRows` rows (the last one may have fewer). A band has `planes`
/// planes, the highest bytes of its cells first, then the next ones, down to the lowest; in a plane
/// row by row. The bytes of a cell are a zigzag number z, its difference is z / 2 where z is even
/// and -(z + 1) / 2 where it is odd, modulo 2^32. The code of cell (x, y) is the difference plus
/// the prediction: floor((W + NW + N + NE) / 4) of its neighbors' codes, where a neighbor outside
/// on the left or right is N, in row 0 W, and 0 for cell (0, 0).
struct CompressedMap {
  cv::Size cells;
  int block = 1;       ///< LEDs across and down a cell; a cell is the mean of those that are finite
  bool exact = false;  ///< a code is the float's bits, sign-magnitude turned into an order; the
                       ///< smallest 32-bit integer where the value is not finite
  double low = 0;      ///< not exact: a value is low + (code - 1) * step; code 0 is not finite
  double step = 0;
  int planes = 0;
  int bandRows = 0;
  std::vector<std::uint8_t> bytes;  ///< zlib format
};

/// The finest map of the CV_32FC1 matrix that takes at most `most` bytes; one of a single cell may
/// take more. `spread` is a difference between luminances of which at least 400 steps are wanted.
[[nodiscard]] CompressedMap Compress(const cv::Mat& values, double spread, std::size_t most);

/// The means of blocks of that many LEDs a side, NaN where none is finite, CV_32FC1.
[[nodiscard]] cv::Mat BlockMeans(const cv::Mat& values, int block);

}  // namespace dravix::lab
