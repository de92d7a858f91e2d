#include "photographs/picture_size.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "files/file_kind.h"
#include "files/files.h"
#include "photographs/formats/gray_map.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// More than the segments that a camera puts in front of a JPEG's size.
constexpr std::size_t kHead = std::size_t{1} << 18;

/// The product of numbers that a file claims, or 0 where one is none of a picture.
std::uint64_t Samples(std::uint64_t width, std::uint64_t height, std::uint64_t channels) {
  constexpr std::uint64_t kLongestSide = 1U << 24U;
  constexpr std::uint64_t kMostChannels = 4;
  const bool possible =
      width <= kLongestSide && height <= kLongestSide && channels <= kMostChannels;
  return possible ? width * height * channels : 0;
}

std::uint64_t BigEndian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count && at + i < bytes.size(); ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes[at + i]);
  }
  return value;
}

std::uint32_t Native(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  if (at + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

/// Byte-order mark, version and type, then the matrix: rows, columns, type, channels.
std::uint64_t InShot(std::string_view head) {
  return Samples(Native(head, 13), Native(head, 9), Native(head, 21));
}

/// Signature and the length and name of the first chunk, then width and height.
std::uint64_t InPng(std::string_view head) {
  constexpr std::uint64_t kColors = 3;
  return Samples(BigEndian(head, 16, 4), BigEndian(head, 20, 4), kColors);
}

/// Goes from segment to segment, each with its length, to the one that begins a frame.
std::uint64_t InJpeg(std::string_view head) {
  std::size_t at = 2;
  while (at + 10 < head.size()) {
    const std::uint64_t marker = BigEndian(head, at, 2);
    const bool isFrame = marker >= 0xFFC0 && marker <= 0xFFCF && marker != 0xFFC4 &&
                         marker != 0xFFC8 && marker != 0xFFCC;
    if (isFrame) {
      return Samples(BigEndian(head, at + 7, 2), BigEndian(head, at + 5, 2),
                     BigEndian(head, at + 9, 1));
    }
    at += 2 + std::max<std::uint64_t>(2, BigEndian(head, at + 2, 2));
  }
  return 0;
}

std::uint64_t InPgm(std::string_view head) {
  const auto map = MapHeaderIn(head);
  return map ? Samples(map->width, map->height, 1) : 0;
}

std::uint64_t Claimed(FileKind kind, std::string_view head) {
  switch (kind) {
    case FileKind::kShot:
      return InShot(head);
    case FileKind::kPgm:
      return InPgm(head);
    case FileKind::kPicture:
      if (head.starts_with("\x89PNG")) return InPng(head);
      if (head.starts_with("\xFF\xD8")) return InJpeg(head);
      return 0;
    default:
      return 0;
  }
}

}  // namespace

std::uint64_t SamplesIn(const std::string& name) {
  try {
    const FileHead head = ReadHead(name, kHead);
    const std::uint64_t claimed = Claimed(KindOf(name), head.first);
    return claimed > 0 ? claimed : head.size;
  } catch (const Failure&) {
    return 0;
  }
}

}  // namespace dravix::tool
