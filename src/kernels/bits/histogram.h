/// Histograms of pictures of 8 and 16 bits, and the level that splits one best.
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

/// Counts 16-bit samples as they come, row after row, so that what becomes of them as 8-bit values
/// can be asked when the largest of them is known.
class SampleCounter {
 public:
  SampleCounter() : first_(kSamples), second_(kSamples) {}

  void Add(const std::uint16_t* samples, std::size_t count);
  /// Adds what another one has counted.
  void Add(const SampleCounter& other);
  /// The largest sample; 0 when there is none.
  [[nodiscard]] int Largest() const;
  /// How often each 8-bit value occurs when every sample is multiplied by `scale`, rounded half to
  /// even.
  [[nodiscard]] Histogram EightBitCounts(float scale) const;

 private:
  /// Two tables, because neighbors are often equal: adding to one number twice in a row would wait
  /// for the first sum.
  static constexpr std::size_t kSamples = std::size_t{1} << 16;
  std::vector<std::int32_t> first_;
  std::vector<std::int32_t> second_;
};

/// Otsu's level (see image/binary.h): values above it are lit. The bits are those of cv::threshold,
/// whose double-precision steps and order this repeats. 0 where no level splits the histogram.
[[nodiscard]] int OtsuLevel(const Histogram& histogram);

}  // namespace dravix::kernels
