#include "raw/dng.h"

#include <algorithm>

namespace dravix::raw {
namespace {

constexpr std::uint16_t kMagic = 42;
constexpr std::uint16_t kLowFirstMark = 0x4949;  // "II"
constexpr std::size_t kEntryBytes = 12;

enum Tag : std::uint16_t {
  kImageWidth = 256,
  kImageLength = 257,
  kStripOffsets = 273,
};

struct Header {
  std::uint16_t byteOrder = 0, magic = 0;
  std::uint32_t directoryAt = 0;
};

/// Bytes that the file lacks read as zero.
Header ReadHeader(base::ByteView file) {
  base::ByteReader in(file);
  Header header;
  header.byteOrder = in.ReadOr<std::uint16_t>(0);
  header.magic = in.ReadOr<std::uint16_t>(0);
  header.directoryAt = in.ReadOr<std::uint32_t>(0);
  return header;
}

/// The file from `offset` on; nothing when that lies behind its end.
base::ByteReader ReaderAt(base::ByteView file, std::uint32_t offset) {
  return base::ByteReader(file.subspan(std::min<std::size_t>(offset, file.size())));
}

/// The three values that matter, from the directory's entries.
struct Directory {
  std::optional<std::uint32_t> width, height, stripOffsets;
};

void TakeEntry(base::ByteReader entry, Directory& directory) {
  const auto tag = entry.ReadOr<std::uint16_t>(0);
  entry.Skip(6);  // field type and count: the value is taken as a 32-bit number whatever they say
  const auto value = entry.Read<std::uint32_t>();
  if (tag == kImageWidth) directory.width = value;
  if (tag == kImageLength) directory.height = value;
  if (tag == kStripOffsets) directory.stripOffsets = value;
}

std::optional<Directory> ReadDirectory(base::ByteReader in) {
  const std::optional<std::uint16_t> entries = in.Read<std::uint16_t>();
  if (!entries) return std::nullopt;
  Directory directory;
  for (int i = 0; i < *entries; ++i) {
    const std::optional<base::ByteView> entry = in.View(kEntryBytes);
    if (!entry) return std::nullopt;
    TakeEntry(base::ByteReader(*entry), directory);
  }
  return directory;
}

}  // namespace

bool IsDng(base::ByteView file) { return ReadHeader(file).magic == kMagic; }

std::optional<DngLayout> ReadDngLayout(base::ByteView file, StripTag strip) {
  const Header header = ReadHeader(file);
  const std::optional<Directory> directory = ReadDirectory(ReaderAt(file, header.directoryAt));
  if (!directory || !directory->width || !directory->height || !directory->stripOffsets) {
    return std::nullopt;
  }
  std::optional<std::uint32_t> samplesAt = directory->stripOffsets;
  if (strip == StripTag::kOffsets) samplesAt = ReaderAt(file, *samplesAt).Read<std::uint32_t>();
  if (!samplesAt) return std::nullopt;
  return DngLayout{
      .order = header.byteOrder == kLowFirstMark ? ByteOrder::kLowFirst : ByteOrder::kHighFirst,
      .cols = *directory->width,
      .rows = *directory->height,
      .samplesAt = *samplesAt,
  };
}

cv::Mat ReadDngSamples(base::ByteView file, const DngLayout& layout) {
  if (layout.samplesAt > file.size()) return {};
  return Picture(file.subspan(layout.samplesAt), layout.order, layout.rows, layout.cols);
}

}  // namespace dravix::raw
