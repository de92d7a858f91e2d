/// The matrix records of the library's files, without their samples.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <opencv2/core.hpp>
#include <optional>

namespace dravix::tool {

/// Byte-order mark and version, which all of the library's formats begin with.
inline constexpr std::uint64_t kRecordsBegin = 5;

/// The 32-bit numbers at that offset; empty when the file ends before.
template <std::size_t N>
[[nodiscard]] std::optional<std::array<std::int32_t, N>> NumbersAt(std::ifstream& file,
                                                                   std::uint64_t offset) {
  std::array<std::int32_t, N> numbers{};
  std::array<char, sizeof numbers> bytes{};
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return std::nullopt;
  std::memcpy(numbers.data(), bytes.data(), bytes.size());
  return numbers;
}

struct StoredRecord {
  cv::Size size;
  int depth = 0;
  int channels = 0;
  std::uint64_t end = 0;  ///< offset of the next field
};

/// The matrix record at that offset; empty when it is none or the file does not hold all of it.
[[nodiscard]] std::optional<StoredRecord> RecordAt(std::ifstream& file, std::uint64_t offset);

}  // namespace dravix::tool
