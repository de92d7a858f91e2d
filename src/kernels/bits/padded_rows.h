/// Rows that end with whole vectors.
#pragma once

#include <hwy/cache_control.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "kernels/bits/bit_picture.h"

namespace dravix::kernels {

/// The rows of a picture of 8 or 16 bits (CV_8UC1, CV_16UC1) as 16-bit samples, of which whole
/// vectors may be read. Rows of 8 bits, and such at the end of the memory, are copied to a place
/// with room behind them. The picture must outlive this.
class PaddedRows {
 public:
  explicit PaddedRows(const cv::Mat& picture)
      : picture_(picture),
        words_(static_cast<std::size_t>(picture.cols + BitPicture::kWordBits - 1) /
               BitPicture::kWordBits),
        copy_(PaddedCount()) {
    CV_Assert(picture.type() == CV_8UC1 || picture.type() == CV_16UC1);
  }

  /// Row y; valid until the next one is asked for. PaddedCount() samples may be read; those behind
  /// the row's own have no meaning.
  [[nodiscard]] const std::uint16_t* At(int y) {
    const auto count = static_cast<std::size_t>(picture_.cols);
    if (picture_.depth() == CV_8U) {
      std::copy_n(picture_.ptr<std::uint8_t>(y), count, copy_.begin());
      return copy_.data();
    }
    const auto* row = picture_.ptr<std::uint16_t>(y);
    const auto* end = reinterpret_cast<const std::uint16_t*>(picture_.dataend);
    if (end - row >= static_cast<std::ptrdiff_t>(PaddedCount())) return row;
    std::copy_n(row, count, copy_.begin());
    return copy_.data();
  }
  /// Asks for row y, if there is one, so that it is near when it is needed.
  void Fetch(int y) const {
    constexpr std::size_t kLine = 64;  // bytes of a line of the cache
    if (y >= picture_.rows) return;
    const std::uint8_t* row = picture_.ptr(y);
    const std::size_t bytes = static_cast<std::size_t>(picture_.cols) * picture_.elemSize();
    for (std::size_t i = 0; i < bytes; i += kLine) hwy::Prefetch(row + i);
  }
  /// Words of a row of bits, one for each sample.
  [[nodiscard]] std::size_t Words() const { return words_; }
  [[nodiscard]] std::size_t PaddedCount() const { return words_ * BitPicture::kWordBits; }

 private:
  const cv::Mat& picture_;
  std::size_t words_;
  std::vector<std::uint16_t> copy_;
};

}  // namespace dravix::kernels
