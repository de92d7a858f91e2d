/// The histogram of an 8-bit picture, and the level that splits it best.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace dravix::kernels {

/// How often each value occurs.
using Histogram = std::array<std::int32_t, 256>;

/// Counts values as they come, row after row.
class ValueCounter {
 public:
  ValueCounter() : first_(kPairs), second_(kPairs) {}

  void Add(const std::uint8_t* values, std::size_t count);
  [[nodiscard]] Histogram Counts() const;

 private:
  /// Neighbors are counted together, which halves the work: a smooth picture has few different
  /// pairs. Neighboring pairs are often equal, and two tables let them be counted side by side.
  static constexpr std::size_t kPairs = std::size_t{256} * 256;
  std::vector<std::int32_t> first_;
  std::vector<std::int32_t> second_;
  Histogram single_{};  ///< values that had no neighbor left
};

/// Otsu's level (see image/binary.h): values above it are lit. The bits are those of cv::threshold,
/// whose double-precision steps and order this repeats. 0 where no level splits the histogram.
[[nodiscard]] int OtsuLevel(const Histogram& histogram);

}  // namespace dravix::kernels
