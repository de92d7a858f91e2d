#include "photographs/picture_size.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "files/file_kind.h"
#include "files/files.h"
#include "photographs/formats/gray_map.h"
#include "photographs/formats/picture_head.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// Bytes in which most files say their size.
constexpr std::size_t kHead = 256;

/// The product of numbers that a file claims, or 0 where one is none of a picture.
std::uint64_t Samples(std::uint64_t width, std::uint64_t height, std::uint64_t channels) {
  constexpr std::uint64_t kLongestSide = 1U << 24U;
  constexpr std::uint64_t kMostChannels = 4;
  const bool possible =
      width <= kLongestSide && height <= kLongestSide && channels <= kMostChannels;
  return possible ? width * height * channels : 0;
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

/// A PNG counts with three colors, as which decoders may work on it.
std::uint64_t InPicture(std::string_view first) {
  constexpr std::uint64_t kColors = 3;
  if (const auto png = HeadOfPng(first)) return Samples(png->width, png->height, kColors);
  const auto jpeg = HeadOfJpeg(first);
  if (!jpeg) return 0;
  return Samples(jpeg->width, jpeg->height, static_cast<std::uint64_t>(jpeg->channels));
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
      return InPicture(head);
    default:
      return 0;
  }
}

}  // namespace

std::uint64_t SamplesIn(const std::string& name) {
  try {
    const FileKind kind = KindOf(name);
    const FileHead head = ReadHead(name, kHead);
    std::uint64_t claimed = Claimed(kind, head.first);
    if (claimed == 0 && kind == FileKind::kPicture) {
      claimed = Claimed(kind, ReadHead(name, kBeforeFrame).first);
    }
    return claimed > 0 ? claimed : head.size;
  } catch (const Failure&) {
    return 0;
  }
}

}  // namespace dravix::tool
