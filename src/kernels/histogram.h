/// The histogram of an 8-bit picture, and the level that splits it best.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace dravix::kernels {

/// How often each value occurs.
using Histogram = std::array<std::int32_t, 256>;

/// Counts values as they come, row after row.
class ValueCounter {
 public:
  void Add(const std::uint8_t* values, std::size_t count);
  [[nodiscard]] Histogram Counts() const;

 private:
  /// Neighbors are often equal. Eight tables let the processor count them side by side.
  static constexpr std::size_t kTables = 8;
  std::array<Histogram, kTables> tables_{};
};

/// Otsu's level (see image/binary.h): values above it are lit. The bits are those of cv::threshold,
/// whose double-precision steps and order this repeats. 0 where no level splits the histogram.
[[nodiscard]] int OtsuLevel(const Histogram& histogram);

}  // namespace dravix::kernels
