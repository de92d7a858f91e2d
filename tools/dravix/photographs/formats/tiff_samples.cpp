// Where the samples of a TIFF's picture lie, whether they are all there, and how they are unpacked.
//
// A picture is stored in segments: strips, which span its width, or tiles, which may reach beyond
// its right and lower edge. Samples of 8 and 16 bits are stored as such, the latter in the file's
// byte order; others are packed without gaps, the highest bit first, and every row of a segment
// begins with a new byte (TIFF 6.0, "Baseline TIFF" and "Tiled Images").
#include <algorithm>
#include <cmath>
#include <vector>

#include "photographs/formats/tiff_picture.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

enum SampleTag : std::uint32_t {
  kStripOffsets = 273,
  kRowsPerStrip = 278,
  kStripSizes = 279,
  kPlanar = 284,
  kFillOrder = 266,
  kTileWidth = 322,
  kTileHeight = 323,
  kTileOffsets = 324,
  kTileSizes = 325,
  kSampleFormat = 339,
  kLinearization = 50712,
  kBlackDeltaH = 50715,
  kBlackDeltaV = 50716,
};

struct Segments {
  bool tiles = false;
  std::uint64_t width = 0, height = 0;  ///< of one of them; the last strip may be lower
  std::uint64_t across = 0, down = 0, planes = 1;
  std::vector<std::uint64_t> offsets, sizes;  ///< sizes may be missing
  [[nodiscard]] std::uint64_t Count() const { return across * down * planes; }
  [[nodiscard]] std::string Kind() const { return tiles ? "tile" : "strip"; }
};

std::uint64_t CeilDiv(std::uint64_t a, std::uint64_t b) { return a / b + (a % b != 0 ? 1 : 0); }

void RequireSize(const std::string& name, const TiffPicture& p) {
  const std::string size = std::to_string(p.width) + " x " + std::to_string(p.height);
  if (p.width == 0 || p.height == 0) throw InputFailure(name, "does not say its size");
  constexpr std::uint64_t kMostSide = 1U << 20U;
  if (p.width > kMostSide || p.height > kMostSide ||
      static_cast<double>(p.width) * static_cast<double>(p.height) > kMostPicturePixels) {
    throw InputFailure(name, "has " + size + " pixels, expected at most 250 megapixels");
  }
  constexpr std::uint64_t kMostSamples = 16;
  constexpr std::uint64_t kMostBits = 64;
  if (p.samples < 1 || p.samples > kMostSamples || p.bits < 1 || p.bits > kMostBits) {
    throw InputFailure(name, "has " + std::to_string(p.samples) + " samples of " +
                                 std::to_string(p.bits) +
                                 " bits per pixel, expected one or three of 8 to 16");
  }
}

Segments SegmentsOf(const std::string& name, const TiffPicture& p) {
  constexpr std::uint64_t kMostSegments = 4U << 20U;
  Segments s;
  s.tiles = p.main.Has(kTileOffsets);
  s.width = s.tiles ? p.main.Whole(kTileWidth, 0) : p.width;
  s.height = s.tiles ? p.main.Whole(kTileHeight, 0)
                     : std::min(p.main.Whole(kRowsPerStrip, p.height), p.height);
  constexpr std::uint64_t kMostTileSide = 1U << 20U;
  if (s.width == 0 || s.height == 0 || s.width > kMostTileSide || s.height > kMostTileSide) {
    throw InputFailure(name, "is damaged: its " + s.Kind() + "s are " + std::to_string(s.width) +
                                 " x " + std::to_string(s.height) + " pixels");
  }
  s.across = CeilDiv(p.width, s.width);
  s.down = CeilDiv(p.height, s.height);
  s.planes = p.main.Whole(kPlanar, 1) == 2 ? p.samples : 1;
  s.offsets = p.main.Wholes(s.tiles ? kTileOffsets : kStripOffsets, kMostSegments);
  s.sizes = p.main.Wholes(s.tiles ? kTileSizes : kStripSizes, kMostSegments);
  const std::uint64_t claimed = p.main.Count(s.tiles ? kTileOffsets : kStripOffsets);
  if (claimed < s.Count()) {
    throw InputFailure(name, "has " + std::to_string(claimed) + " " + s.Kind() + "s, expected " +
                                 std::to_string(s.Count()));
  }
  if (s.offsets.size() < s.Count()) {
    throw CutShort(name, p.main.Bytes().Size(),
                   "and the places of its " + s.Kind() + "s lie beyond its end");
  }
  return s;
}

std::uint64_t RowBytes(const TiffPicture& p, const Segments& s) {
  const std::uint64_t samples = s.planes == 1 ? p.samples : 1;
  return CeilDiv(s.width * samples * p.bits, 8);
}

std::uint64_t RowsOf(const TiffPicture& p, const Segments& s, std::uint64_t index) {
  if (s.tiles) return s.height;
  const std::uint64_t top = index % (s.across * s.down) * s.height;
  return std::min(s.height, p.height - top);
}

/// The most that one stored byte can unpack to; 0 for schemes that are not read.
double Expansion(std::uint64_t compression) {
  switch (compression) {
    case 1:
      return 1;
    case 5:
      return 2600;  // LZW: codes of 12 bits for up to 3837 bytes
    case 7:
      return 1536;  // JPEG: at least one bit for a block of 64 samples, up to 3 of them a pixel
    case 8:
    case 32946:
      return 1040;  // Deflate
    case 32773:
      return 64;  // PackBits
    default:
      return 0;
  }
}

void RequireSegment(const std::string& name, const TiffPicture& p, const Segments& s,
                    std::uint64_t index) {
  const std::uint64_t needed =
      p.compression == 1 ? RowBytes(p, s) * RowsOf(p, s, index) : std::uint64_t{1};
  const bool sized = index < s.sizes.size();
  const std::uint64_t size = sized ? s.sizes[index] : needed;
  const std::string which =
      s.Kind() + " " + std::to_string(index + 1) + " of " + std::to_string(s.Count());
  if (size < needed) {
    throw InputFailure(name, "is damaged: " + which + " has " + std::to_string(size) +
                                 " bytes, expected " + std::to_string(needed));
  }
  // Writers may count more than they stored behind the last samples; only those must be there.
  const std::uint64_t must = p.compression == 1 ? needed : size;
  if (p.main.Bytes().Holds(s.offsets[index], must)) return;
  throw CutShort(name, p.main.Bytes().Size(),
                 "expected " + std::to_string(must) + " from byte " +
                     std::to_string(s.offsets[index]) + " on (" + which + ")");
}

void UnpackRow(std::string_view row, std::uint64_t bits, bool little, std::size_t count,
               std::uint16_t* out) {
  const auto byte = [row](std::size_t i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(row[i]));
  };
  if (bits == 16) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t a = byte(2 * i);
      const std::uint32_t b = byte(2 * i + 1);
      out[i] = static_cast<std::uint16_t>(little ? a | b << 8U : a << 8U | b);
    }
    return;
  }
  std::uint32_t held = 0;  // bits that were read and not yet used, in the lowest places
  std::uint64_t heldBits = 0;
  std::size_t next = 0;
  for (std::size_t i = 0; i < count; ++i) {
    while (heldBits < bits) {
      held = held << 8U | byte(next++);
      heldBits += 8;
    }
    heldBits -= bits;
    out[i] = static_cast<std::uint16_t>(held >> heldBits);
    held &= (std::uint32_t{1} << heldBits) - 1;
  }
}

}  // namespace

void RequireWholeTiff(const std::string& name, const TiffPicture& picture) {
  RequireSize(name, picture);
  RequireBytes(name, picture.main.Bytes().Size(), picture.main.End(),
               ", where the values of its directory end");
  const Segments segments = SegmentsOf(name, picture);
  std::uint64_t stored = 0;
  for (std::uint64_t i = 0; i < segments.Count(); ++i) {
    RequireSegment(name, picture, segments, i);
    stored += i < segments.sizes.size() ? std::min(segments.sizes[i], picture.main.Bytes().Size())
                                        : std::uint64_t{0};
  }
  // Segments that share their bytes could make a large picture of a small file.
  const double needed = static_cast<double>(picture.width) * static_cast<double>(picture.height) *
                        static_cast<double>(picture.samples * picture.bits) / 8;
  const auto size = static_cast<double>(picture.main.Bytes().Size());
  const double expansion = Expansion(picture.compression);
  const double there = picture.compression == 1 ? size : static_cast<double>(stored);
  if (expansion != 0 && needed > expansion * std::min(size, there)) {
    throw InputFailure(name, "is damaged: its " + std::to_string(picture.main.Bytes().Size()) +
                                 " bytes cannot hold " + std::to_string(picture.width) + " x " +
                                 std::to_string(picture.height) + " pixels");
  }
}

bool IsPlainTiff(const TiffPicture& p) {
  const std::vector<std::uint64_t> formats = p.main.Wholes(kSampleFormat);
  const bool whole =
      std::all_of(formats.begin(), formats.end(), [](std::uint64_t f) { return f == 1; });
  const bool known =
      p.photometric == 1 || p.photometric == 2 || p.photometric == 32803 || p.photometric == 34892;
  const bool straight = !p.main.Has(kLinearization) && !p.main.Has(kBlackDeltaH) &&
                        !p.main.Has(kBlackDeltaV) && p.main.Whole(kFillOrder, 1) == 1;
  const bool planes = p.samples == 1 || (p.samples == 3 && p.main.Whole(kPlanar, 1) == 1);
  return p.compression == 1 && whole && known && straight && planes && p.bits >= 8 && p.bits <= 16;
}

void RequireDecodableTiff(const std::string& name, const TiffPicture& p) {
  if (Expansion(p.compression) == 0) {
    throw InputFailure(name, "is compressed by scheme " + std::to_string(p.compression) +
                                 ", expected none, LZW, Deflate, PackBits or JPEG");
  }
  const std::vector<std::uint64_t> formats = p.main.Wholes(kSampleFormat);
  const bool whole =
      std::all_of(formats.begin(), formats.end(), [](std::uint64_t f) { return f == 1; });
  if (!whole || (p.bits != 8 && p.bits != 16)) {
    throw InputFailure(name, "has samples of " + std::to_string(p.bits) + " bits" +
                                 (whole ? "" : " that are no unsigned whole numbers") +
                                 ", expected unsigned ones of 8 or 16 (uncompressed: 8 to 16)");
  }
  // Only samples of 8 bits are turned to brightness from a palette or from ink.
  const bool direct = p.photometric == 1 || p.photometric == 2;
  const bool turned = p.bits == 8 && (p.photometric == 0 || p.photometric == 3 ||
                                      (p.photometric == 6 && p.compression == 7));
  if (p.samples == 2 || p.samples > 4 || (!direct && !turned)) {
    throw InputFailure(name, "has " + std::to_string(p.samples) + " samples per pixel of kind " +
                                 std::to_string(p.photometric) +
                                 ", expected gray, or red, green and blue");
  }
}

cv::Mat UnpackTiff(const std::string& name, const TiffPicture& p) {
  const Segments s = SegmentsOf(name, p);
  const std::uint64_t rowBytes = RowBytes(p, s);
  cv::Mat samples(static_cast<int>(p.height), static_cast<int>(p.width),
                  CV_16UC(static_cast<int>(p.samples)));
  std::vector<std::uint16_t> row(static_cast<std::size_t>(s.width * p.samples));
  for (std::uint64_t index = 0; index < s.Count(); ++index) {
    const std::uint64_t left = index % s.across * s.width;
    const std::uint64_t top = index / s.across * s.height;
    const std::uint64_t rows = std::min(s.height, p.height - top);
    const std::uint64_t columns = std::min(s.width, p.width - left);
    for (std::uint64_t y = 0; y < rows; ++y) {
      const std::string_view bytes =
          p.main.Bytes().Piece(s.offsets[index] + y * rowBytes, rowBytes);
      if (bytes.empty()) {
        throw CutShort(name, p.main.Bytes().Size(),
                       "expected more in " + s.Kind() + " " + std::to_string(index + 1));
      }
      UnpackRow(bytes, p.bits, p.main.Bytes().LittleEndian(), row.size(), row.data());
      auto* out = samples.ptr<std::uint16_t>(static_cast<int>(top + y)) + left * p.samples;
      std::copy_n(row.begin(), columns * p.samples, out);
    }
  }
  if (p.bits == 8) samples.convertTo(samples, CV_8U);
  return samples;
}

}  // namespace dravix::tool
