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
  std::uint16_t byteOrder = 0;
  std::uint32_t directoryAt = 0;
};

/// Empty when the magic number is another one, behind which nothing is then read. Bytes that the
/// file lacks read as zero.
std::optional<Header> ReadHeader(base::InputFile& file) {
  base::ByteReader in(file);
  Header header;
  header.byteOrder = in.ReadOr<std::uint16_t>(0);
  if (in.ReadOr<std::uint16_t>(0) != kMagic) return std::nullopt;
  header.directoryAt = in.ReadOr<std::uint32_t>(0);
  return header;
}

/// The values of the three entries that are used.
struct Directory {
  std::optional<std::uint32_t> width, height, stripOffsets;
};

void TakeEntry(base::ByteReader& in, Directory& directory) {
  const auto tag = in.ReadOr<std::uint16_t>(0);
  in.Skip(6);  // field type and count: the value is a 32-bit number whatever they say
  const auto value = in.Read<std::uint32_t>();
  if (tag == kImageWidth) directory.width = value;
  if (tag == kImageLength) directory.height = value;
  if (tag == kStripOffsets) directory.stripOffsets = value;
}

std::optional<Directory> ReadDirectory(base::InputFile& file, std::uint32_t offset) {
  file.SeekTo(offset);
  base::ByteReader in(file);
  const std::optional<std::uint16_t> entries = in.Read<std::uint16_t>();
  if (!entries || !in.Has(*entries * kEntryBytes)) return std::nullopt;
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

std::optional<DngStrip> FindDngStrip(base::InputFile& file) {
  const std::optional<Header> header = ReadHeader(file);
  if (!header) return std::nullopt;
  const std::optional<Directory> directory = ReadDirectory(file, header->directoryAt);
  if (!directory || !directory->width || !directory->height || !directory->stripOffsets) {
    return std::nullopt;
  }
  return DngStrip{
      .order = header->byteOrder == kLowFirstMark ? ByteOrder::kLowFirst : ByteOrder::kHighFirst,
      .cols = *directory->width,
      .rows = *directory->height,
      .offset = *directory->stripOffsets,
  };
}

cv::Mat ReadDngStrip(base::InputFile& file, const DngStrip& strip, OffsetOf offsetOf) {
  std::optional<std::uint32_t> samplesAt = strip.offset;
  if (offsetOf == OffsetOf::kOffsets) samplesAt = ReadOffset(file, strip.offset);
  if (!samplesAt) return {};
  file.SeekTo(*samplesAt);
  base::ByteReader in(file);
  return ReadSamples(in, strip.order, strip.rows, strip.cols);
}

}  // namespace dravix::raw
