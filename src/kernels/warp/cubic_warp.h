/// The working image, row by row: the photograph seen through a perspective, by cubic
/// interpolation.
///
/// The result is that of cv::warpPerspective to the last bit (INTER_CUBIC, with BORDER_CONSTANT and
/// 0 or with BORDER_REPLICATE), as OpenCV 4.6 computes it; with another version of the library it
/// stays what it is. A row is made where it is needed and need not be stored, so nobody has to hold
/// the working image.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>

#include "kernels/warp/cubic_sample.h"
#include "kernels/warp/eight_bit_scale.h"
#include "kernels/warp/perspective.h"

namespace dravix::kernels {

class CubicWarp {
 public:
  /// Columns whose coordinates are computed from one origin; a row's parts begin at multiples of
  /// it.
  static constexpr int kBlockWidth = Perspective::kBlock;

  /// The warp of `photo` into a working image of `size`, or nothing where it cannot be done here:
  /// the photograph is not CV_16UC1, an image is smaller than a block or too large for 16-bit
  /// coordinates, or the working image contains points whose rays run along the photograph's plane.
  /// `workingFromPhoto` is 3 x 3, CV_64F. The photograph must outlive the warp.
  [[nodiscard]] static std::optional<CubicWarp> Of(const cv::Mat& photo,
                                                   const cv::Mat& workingFromPhoto, cv::Size size,
                                                   Border border = Border::kZero);

  [[nodiscard]] cv::Size Size() const { return size_; }
  /// Values that `Row` may write for that many columns.
  [[nodiscard]] static int PaddedWidth(int columns);
  /// Writes columns.size() samples of row y to `samples`, and up to PaddedWidth of it without
  /// meaning. columns.start is a multiple of kBlockWidth. Rows may be made by several threads.
  void Row(int y, const cv::Range& columns, std::uint16_t* samples) const;
  /// Writes the 8-bit values of row y's samples, in 16-bit places, and up to PaddedWidth of the
  /// width without meaning.
  void EightBitRow(int y, const EightBitScale& scale, std::uint16_t* values) const;

 private:
  CubicWarp(const Samples16& photo, const Perspective& photoFromWorking, cv::Size size)
      : photo_(photo), photoFromWorking_(photoFromWorking), size_(size) {}

  Samples16 photo_;
  Perspective photoFromWorking_;
  cv::Size size_;
};

}  // namespace dravix::kernels
