#include "photographs/formats/picture_head.h"

#include <algorithm>
#include <cstddef>

namespace dravix::tool {
namespace {

/// Bytes beyond the end read as 0.
std::uint64_t BigEndianAt(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    value = value << 8U | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
  }
  return value;
}

/// Planes of a decoded PNG by its color type. A transparent color makes gray ones differ among
/// decoders, and types with a gray plane and transparency do, too.
int PlanesOfPng(std::uint64_t colorType) {
  constexpr std::uint64_t kGray = 0;
  constexpr std::uint64_t kTrueColor = 2;
  constexpr std::uint64_t kTrueColorWithAlpha = 6;
  if (colorType == kGray) return 1;
  return colorType == kTrueColor || colorType == kTrueColorWithAlpha ? 3 : 0;
}

bool BeginsFrame(std::uint64_t marker) {
  return marker >= 0xFFC0 && marker <= 0xFFCF && marker != 0xFFC4 && marker != 0xFFC8 &&
         marker != 0xFFCC;
}

}  // namespace

std::optional<PictureHead> HeadOfPng(std::string_view first) {
  // Signature and the length and name of the first chunk, then its data.
  constexpr std::size_t kData = 16;
  constexpr std::size_t kDataSize = 13;
  if (!first.starts_with("\x89PNG\r\n\x1a\n") || first.size() < kData + kDataSize) {
    return std::nullopt;
  }
  PictureHead head;
  head.width = BigEndianAt(first, kData, 4);
  head.height = BigEndianAt(first, kData + 4, 4);
  head.bits = static_cast<int>(BigEndianAt(first, kData + 8, 1));
  head.channels = PlanesOfPng(BigEndianAt(first, kData + 9, 1));
  const bool mayHaveTransparentColor = first.find("tRNS") != std::string_view::npos;
  if (head.channels == 1 && mayHaveTransparentColor) head.channels = 0;
  return head;
}

std::optional<PictureHead> HeadOfJpeg(std::string_view first) {
  if (!first.starts_with("\xff\xd8\xff")) return std::nullopt;
  // From segment to segment, each with its length, to the one that begins a frame.
  constexpr std::size_t kFrameHeader = 10;
  std::size_t at = 2;
  while (at + kFrameHeader <= first.size()) {
    if (BeginsFrame(BigEndianAt(first, at, 2))) {
      PictureHead head;
      head.bits = static_cast<int>(BigEndianAt(first, at + 4, 1));
      head.height = BigEndianAt(first, at + 5, 2);
      head.width = BigEndianAt(first, at + 7, 2);
      head.channels = static_cast<int>(BigEndianAt(first, at + 9, 1));
      return head;
    }
    at += 2 + std::max<std::uint64_t>(2, BigEndianAt(first, at + 2, 2));
  }
  return std::nullopt;
}

}  // namespace dravix::tool
