#include "raw/samples.h"

#include <bit>
#include <limits>
#include <optional>

#include "base/checked.h"

namespace dravix::raw {

namespace {

/// Bytes of rows x cols 16-bit samples; empty when a side is below 1 or beyond what a matrix can
/// have.
std::optional<std::uint64_t> SampleBytes(std::int64_t rows, std::int64_t cols) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  if (rows < 1 || cols < 1 || rows > kMost || cols > kMost) return std::nullopt;
  return base::CheckedMul(static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(cols),
                          sizeof(std::uint16_t));
}

}  // namespace

void Unpack(base::ByteView stored, ByteOrder order, std::span<std::uint16_t> row) {
  const std::size_t low = order == ByteOrder::kLowFirst ? 0 : 1;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const auto lowByte = std::to_integer<unsigned>(stored[2 * i + low]);
    const auto highByte = std::to_integer<unsigned>(stored[2 * i + 1 - low]);
    row[i] = static_cast<std::uint16_t>(lowByte | (highByte << 8U));
  }
}

bool FillSamples(base::ByteReader& in, ByteOrder order, cv::Mat& picture) {
  const std::span<std::uint16_t> samples(picture.ptr<std::uint16_t>(), picture.total());
  const std::span<std::byte> stored = std::as_writable_bytes(samples);
  const bool whole = in.ReadUpTo(stored) == stored.size();
  constexpr ByteOrder kHost =
      std::endian::native == std::endian::little ? ByteOrder::kLowFirst : ByteOrder::kHighFirst;
  if (order != kHost) Unpack(stored, order, samples);
  return whole;
}

cv::Mat ReadSamples(base::ByteReader& in, ByteOrder order, std::int64_t rows, std::int64_t cols) {
  const std::optional<std::uint64_t> bytes = SampleBytes(rows, cols);
  if (!bytes || !in.Has(*bytes)) return {};
  cv::Mat picture(static_cast<int>(rows), static_cast<int>(cols), CV_16UC1);
  return FillSamples(in, order, picture) ? picture : cv::Mat();
}

}  // namespace dravix::raw
