/// The perspective of a warp, from working pixels to photograph pixels, prepared for whole rows.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <optional>

namespace dravix::kernels {

struct Perspective {
  /// Columns whose positions the matrix library computes from one origin.
  static constexpr int kBlock = 64;
  /// Columns for which one parabola stands in for the perspective.
  static constexpr int kSpan = 16;

  /// The perspective that takes the working image, of `size`, to the photograph; or nothing where a
  /// point of it has no position that 32 bits hold in 1/32 pixel with room to spare. The matrix
  /// library's guards against zero and overflow never act on the others. `workingFromPhoto` is
  /// 3 x 3, CV_64F.
  [[nodiscard]] static std::optional<Perspective> Of(const cv::Mat& workingFromPhoto,
                                                     cv::Size size);

  std::array<double, 9> m{};  ///< x = (m0 X + m1 Y + m2) / (m6 X + m7 Y + m8), y with m3 to m5
  /// What numerators and denominator grow by from a block's first column to each of the others.
  std::array<double, kBlock> stepsX{};
  std::array<double, kBlock> stepsY{};
  std::array<double, kBlock> stepsW{};
  /// A position along a parabola rounds to the same 1/32 pixel as the perspective's where it lies
  /// no farther than that from it. Negative where parabolas are of no use.
  float certainBelow = -1;
};

}  // namespace dravix::kernels
