/// Black-and-white pictures with one bit per pixel: an eighth of the memory and, for everything
/// done to them, an eighth of the time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "base/large_buffer.h"

namespace dravix::kernels {

/// Pixel x of a row is bit x % 64 of word x / 64. Bits beyond the width are 0.
class BitPicture {
 public:
  static constexpr int kWordBits = 64;

  /// All black.
  explicit BitPicture(cv::Size size);

  [[nodiscard]] cv::Size Size() const { return size_; }
  [[nodiscard]] std::size_t Words() const { return words_; }  ///< per row, a multiple of 8
  [[nodiscard]] std::uint64_t* Row(int y) { return bits_.data() + Offset(y); }
  [[nodiscard]] const std::uint64_t* Row(int y) const { return bits_.data() + Offset(y); }

  /// Sets the bits where `gray` is above `level`, and clears the others. CV_8UC1, of this width
  /// rounded up to whole words; what stands beyond the width does not matter.
  void SetAbove(const cv::Mat& gray, int level);
  /// The same for one row, from this width rounded up to whole words.
  void SetRowAbove(int y, const std::uint8_t* gray, int level);
  /// Clears what whole vectors left in row y beyond the width.
  void ClearBeyondWidth(int y);
  /// Makes black white and white black.
  void Invert();
  /// Replaces every white pixel by a square that reaches `reach` pixels to each side. `scratch` is
  /// of this size; its content is lost.
  void Dilate(int reach, BitPicture& scratch);

  /// The same picture as a matrix: CV_8UC1, 255 for white.
  [[nodiscard]] cv::Mat ToMat() const;
  /// Writes the same into some rows of a matrix of this size.
  void PaintWhite(const cv::Range& rows, cv::Mat& mat) const;

 private:
  [[nodiscard]] std::size_t Offset(int y) const { return static_cast<std::size_t>(y) * words_; }

  cv::Size size_;
  std::size_t words_;
  std::vector<std::uint64_t, base::ZeroAllocator<std::uint64_t>> bits_;
};

/// Closes and then opens `picture` with a square of that odd side, as cv::morphologyEx does: pixels
/// outside the picture have no say.
void CloseThenOpen(BitPicture& picture, int side);

}  // namespace dravix::kernels
