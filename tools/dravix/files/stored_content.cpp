#include "files/stored_content.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <opencv2/core.hpp>
#include <optional>

#include "files/files.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

// The layouts are those of docs/formats.md.
constexpr std::uint64_t kHeader = 5;         // byte-order mark and version
constexpr std::uint64_t kRecordHeader = 16;  // rows, columns, type, channels

template <std::size_t N>
std::optional<std::array<std::int32_t, N>> NumbersAt(std::ifstream& file, std::uint64_t offset) {
  std::array<std::int32_t, N> numbers{};
  std::array<char, sizeof numbers> bytes{};
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return std::nullopt;
  std::memcpy(numbers.data(), bytes.data(), bytes.size());
  return numbers;
}

struct Record {
  cv::Size size;
  int depth;
  int channels;
  std::uint64_t end;  ///< where the next field begins
};

/// The matrix record at that offset; empty when it is none or the file does not hold all of it.
std::optional<Record> RecordAt(std::ifstream& file, std::uint64_t offset) {
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
  const std::uint64_t end = offset + kRecordHeader + samples * CV_ELEM_SIZE1(depth);
  file.clear();
  file.seekg(0, std::ios::end);
  if (end > static_cast<std::uint64_t>(file.tellg())) return std::nullopt;
  return Record{{cols, rows}, depth, channels, end};
}

/// A plane type, then 16-bit pixels.
bool IsShot(std::ifstream& file) {
  const auto type = NumbersAt<1>(file, kHeader);
  const auto image = RecordAt(file, kHeader + 4);
  constexpr int kAllPlanes = 0x77;
  return type && image && (*type)[0] > 0 && (*type)[0] <= kAllPlanes && image->depth == CV_16U;
}

/// An 8-bit matrix and one of floats, both with an element for each LED.
bool IsResult(std::ifstream& file) {
  const auto picture = RecordAt(file, kHeader);
  if (!picture || picture->depth != CV_8U || picture->channels != 1) return false;
  const auto luminances = RecordAt(file, picture->end);
  return luminances && luminances->depth == CV_32F && luminances->size == picture->size;
}

/// Frame and rectangle, then an 8-bit mask of the rectangle's size.
bool IsRegion(std::ifstream& file) {
  const auto sizes = NumbersAt<6>(file, kHeader);
  const auto mask = RecordAt(file, kHeader + sizeof *sizes);
  return sizes && mask && mask->depth == CV_8U && mask->channels == 1 &&
         mask->size == cv::Size((*sizes)[4], (*sizes)[5]);
}

struct Format {
  StoredKind kind;
  bool (*matches)(std::ifstream&);
  const char* text;
  const char* extension;
};
constexpr std::array kFormats = {
    Format{StoredKind::kShot, IsShot, "a photograph", ".shot"},
    Format{StoredKind::kResult, IsResult, "a measurement's result", ".lum"},
    Format{StoredKind::kRegion, IsRegion, "a region", ".roi"}};

}  // namespace

void RequireContent(const std::string& name, StoredKind expected) {
  std::ifstream file(PathOf(name), std::ios::binary);
  if (!file) return;  // reading the file says why
  const Format& wanted = kFormats.at(static_cast<std::size_t>(expected));
  if (wanted.matches(file)) return;
  for (const Format& format : kFormats) {
    if (format.kind == expected || !format.matches(file)) continue;
    throw InputFailure(name, std::string("holds ") + format.text + " (" + format.extension +
                                 "), expected " + wanted.text + " (" + wanted.extension +
                                 "); was it renamed?");
  }
}

}  // namespace dravix::tool
