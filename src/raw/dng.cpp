#include "raw/dng.h"

#include "base/bytes.h"

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
Header ReadHeader(base::InputFile& file) {
  file.SeekTo(0);
  base::ByteReader in(file);
  Header header;
  header.byteOrder = in.ReadOr<std::uint16_t>(0);
  header.magic = in.ReadOr<std::uint16_t>(0);
  header.directoryAt = in.ReadOr<std::uint32_t>(0);
  return header;
}

/// The three values that matter, from the directory's entries.
struct Directory {
  std::optional<std::uint32_t> width, height, stripOffsets;
};

void TakeEntry(base::ByteReader& in, Directory& directory) {
  const auto tag = in.ReadOr<std::uint16_t>(0);
  in.Skip(6);  // field type and count: the value is taken as a 32-bit number whatever they say
  const auto value = in.Read<std::uint32_t>();
  if (tag == kImageWidth) directory.width = value;
  if (tag == kImageLength) directory.height = value;
  if (tag == kStripOffsets) directory.stripOffsets = value;
}

std::optional<Directory> ReadDirectory(base::InputFile& file, std::uint32_t offset) {
  file.SeekTo(offset);
  base::ByteReader in(file);
  const std::optional<std::uint16_t> entries = in.Read<std::uint16_t>();
  if (!entries || in.Remaining() < *entries * kEntryBytes) return std::nullopt;
  Directory directory;
  for (int i = 0; i < *entries; ++i) TakeEntry(in, directory);
  return directory;
}

/// The first entry of the array of offsets.
std::optional<std::uint32_t> ReadOffset(base::InputFile& file, std::uint32_t arrayAt) {
  file.SeekTo(arrayAt);
  return base::ByteReader(file).Read<std::uint32_t>();
}

}  // namespace

bool IsDng(base::InputFile& file) { return ReadHeader(file).magic == kMagic; }

std::optional<DngLayout> ReadDngLayout(base::InputFile& file, StripTag strip) {
  const Header header = ReadHeader(file);
  const std::optional<Directory> directory = ReadDirectory(file, header.directoryAt);
  if (!directory || !directory->width || !directory->height || !directory->stripOffsets) {
    return std::nullopt;
  }
  std::optional<std::uint32_t> samplesAt = directory->stripOffsets;
  if (strip == StripTag::kOffsets) samplesAt = ReadOffset(file, *samplesAt);
  if (!samplesAt) return std::nullopt;
  return DngLayout{
      .order = header.byteOrder == kLowFirstMark ? ByteOrder::kLowFirst : ByteOrder::kHighFirst,
      .cols = *directory->width,
      .rows = *directory->height,
      .samplesAt = *samplesAt,
  };
}

cv::Mat ReadDngSamples(base::InputFile& file, const DngLayout& layout) {
  if (layout.samplesAt > file.Size()) return {};
  file.SeekTo(layout.samplesAt);
  return ReadPicture(file, layout.order, layout.rows, layout.cols);
}

}  // namespace dravix::raw
