/// What kernels that go through a picture row by row need: rows that end with whole vectors, and
/// strips of rows for the threads.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <vector>

#include "kernels/bit_picture.h"

namespace dravix::kernels {

/// The rows of a picture of 8 or 16 bits (CV_8UC1, CV_16UC1) as 16-bit samples, each copied to a
/// place with room behind it. The copy stays in the nearest cache.
class PaddedRows {
 public:
  explicit PaddedRows(const cv::Mat& picture)
      : picture_(picture),
        words_(static_cast<std::size_t>(picture.cols + BitPicture::kWordBits - 1) /
               BitPicture::kWordBits),
        row_(PaddedCount()) {
    CV_Assert(picture.type() == CV_8UC1 || picture.type() == CV_16UC1);
  }

  /// Row y; valid until the next one is asked for. What is behind it is 0.
  [[nodiscard]] const std::uint16_t* At(int y) {
    const auto count = static_cast<std::size_t>(picture_.cols);
    if (picture_.depth() == CV_8U) {
      std::copy_n(picture_.ptr<std::uint8_t>(y), count, row_.begin());
    } else {
      std::copy_n(picture_.ptr<std::uint16_t>(y), count, row_.begin());
    }
    return row_.data();
  }
  /// Words of a row of bits, one for each sample.
  [[nodiscard]] std::size_t Words() const { return words_; }
  [[nodiscard]] std::size_t PaddedCount() const { return words_ * BitPicture::kWordBits; }

 private:
  const cv::Mat& picture_;
  std::size_t words_;
  std::vector<std::uint16_t> row_;
};

/// Calls work(first row, row behind the last) for strips that the threads share. They are high,
/// because what strips do once, or twice at their borders, should not show.
template <class Work>
void ForEachStrip(int rows, Work&& work) {
  constexpr int kRows = 256;
  cv::parallel_for_(cv::Range(0, (rows + kRows - 1) / kRows), [&](const cv::Range& strips) {
    work(strips.start * kRows, std::min(rows, strips.end * kRows));
  });
}

}  // namespace dravix::kernels
