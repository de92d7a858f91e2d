#include "stored/stored_record.h"

namespace dravix::tool {

std::optional<StoredRecord> RecordAt(std::ifstream& file, std::uint64_t offset) {
  // The layout is that of docs/formats.md.
  constexpr std::uint64_t kMatrixHeader = 16;  // rows, columns, type, channels
  const auto numbers = NumbersAt<4>(file, offset);
  if (!numbers) return std::nullopt;
  const auto [rows, cols, type, channels] = *numbers;
  constexpr int kMostChannels = 4;
  constexpr int kLongestSide = 1 << 24;  // pixels; the bytes of such a matrix still fit 64 bits
  const bool possible = rows >= 1 && rows <= kLongestSide && cols >= 1 && cols <= kLongestSide &&
                        type >= 0 && channels >= 1 && channels <= kMostChannels;
  if (!possible) return std::nullopt;
  const int depth = CV_MAT_DEPTH(type);
  const std::uint64_t samples = static_cast<std::uint64_t>(rows) *
                                static_cast<std::uint64_t>(cols) *
                                static_cast<std::uint64_t>(channels);
  const std::uint64_t end = offset + kMatrixHeader + samples * CV_ELEM_SIZE1(depth);
  file.clear();
  file.seekg(0, std::ios::end);
  if (end > static_cast<std::uint64_t>(file.tellg())) return std::nullopt;
  return StoredRecord{{cols, rows}, depth, channels, end};
}

}  // namespace dravix::tool
