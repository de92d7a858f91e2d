/// Gaussian smoothing of an 8-bit picture, row by row, with the bits of cv::GaussianBlur.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace dravix::kernels {

/// A square kernel whose weights are whole numbers of 1/256, as the matrix library smooths 8-bit
/// pictures. As many rows as the kernel has are first smoothed down into one row of 16-bit sums,
/// which no rounding has touched; these are then smoothed across.
class Gaussian {
 public:
  using Sum = std::uint16_t;   ///< of a column
  using Value = std::uint8_t;  ///< smoothed

  /// The most values that may be read or written after the last one of a row: all functions work on
  /// whole vectors.
  static constexpr int kPadding = 64;

  /// The smoothing that the matrix library does for that side and sigma (pixels), or nothing where
  /// it cannot be done here: the side is even, below 3 or above 63, or a weight is above 127/256.
  [[nodiscard]] static std::optional<Gaussian> Of(int side, double sigma);

  [[nodiscard]] int Radius() const { return static_cast<int>(weights_.size()) / 2; }
  /// Writes one row of sums from 2 * Radius() + 1 rows, from top to bottom, of 8-bit values in
  /// 16-bit places.
  void Down(const std::vector<const std::uint16_t*>& rows, int count, std::uint16_t* sums) const;
  /// Writes one smoothed row from its sums, more than Radius() of them. Before the first and after
  /// the last there is room for Radius() more, which this fills by reflection at the outer sums.
  void Across(std::uint16_t* sums, int count, std::uint8_t* smoothed) const;

 private:
  explicit Gaussian(std::vector<std::int16_t> weights) : weights_(std::move(weights)) {}

  std::vector<std::int16_t> weights_;
};

}  // namespace dravix::kernels
