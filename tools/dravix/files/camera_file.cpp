#include "files/camera_file.h"

#include <dravix/bimage.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "files/files.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"

namespace dravix::tool {
namespace {

/// Numbers of a TIFF in its own byte order. A byte beyond the end reads as 0: no valid field lies
/// there, and what depends on such a field is refused later.
class TiffBytes {
 public:
  explicit TiffBytes(std::string_view bytes) : bytes_(bytes), little_(bytes.starts_with("II")) {}
  [[nodiscard]] bool Little() const { return little_; }
  [[nodiscard]] std::uint32_t Value(std::uint64_t at, unsigned count) const {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i) {
      const unsigned place = little_ ? count - 1 - i : i;
      value = value << 8U | Byte(at + place);
    }
    return value;
  }
  [[nodiscard]] bool Holds(std::uint64_t end) const { return end <= bytes_.size(); }

 private:
  [[nodiscard]] std::uint32_t Byte(std::uint64_t at) const {
    return at < bytes_.size() ? static_cast<unsigned char>(bytes_[at]) : 0U;
  }
  std::string_view bytes_;
  bool little_;
};

constexpr std::uint64_t kEntrySize = 12;
constexpr std::uint32_t kShortField = 3;  // TIFF's field type of 16-bit values

struct Entry {
  std::uint32_t tag, count, value;
};

Entry EntryAt(const TiffBytes& tiff, std::uint64_t at) {
  const bool isShort = tiff.Value(at + 2, 2) == kShortField;
  const std::uint32_t count = tiff.Value(at + 4, 4);
  // One 16-bit value lies in the first half of the field; everything else uses all of it.
  const bool inHalf = isShort && count == 1;
  return {tiff.Value(at, 2), count, tiff.Value(at + 8, inHalf ? 2 : 4)};
}

void Note(TiffSummary& summary, const TiffBytes& tiff, const Entry& entry) {
  switch (entry.tag) {
    case 256:
      summary.width = entry.value;
      break;
    case 257:
      summary.height = entry.value;
      break;
    case 258:
      summary.bits = entry.count == 1   ? entry.value
                     : entry.count == 2 ? entry.value & 0xFFFFU
                                        : tiff.Value(entry.value, 2);
      break;
    case 259:
      summary.compression = entry.value;
      break;
    case 273:
      summary.strips = entry.count;
      break;
    case 277:
      summary.samples = entry.value;
      break;
    case 50706:
      summary.isDng = true;
      break;
    default:
      break;
  }
}

std::string SizeText(const TiffSummary& summary) {
  return std::to_string(summary.width) + " x " + std::to_string(summary.height);
}

/// Why the library cannot read a file; empty when it can.
std::string OutsideSubset(const TiffSummary& tiff) {
  if (!tiff.littleEndian) return "is big-endian, expected little-endian";
  if (tiff.width == 0 || tiff.height == 0) return "does not say its size";
  if (tiff.strips == 0) return "has no strips, expected uncompressed strips";
  if (tiff.compression != 1) {
    return "is compressed (scheme " + std::to_string(tiff.compression) + "), expected uncompressed";
  }
  if (tiff.samples != 1) {
    return "has " + std::to_string(tiff.samples) + " samples per pixel, expected one";
  }
  if (tiff.bits != 0 && tiff.bits != 16) {
    return "has " + std::to_string(tiff.bits) + "-bit samples, expected 16-bit ones";
  }
  return {};
}

/// Cameras' formats have marks of their own, or are built like a TIFF; then the extension tells.
bool IsCameraRaw(std::string_view first, std::string_view extension) {
  constexpr std::array<std::string_view, 8> kMarks = {"IIRO",
                                                      "IIRS",
                                                      "MMOR",
                                                      std::string_view("IIU\0", 4),
                                                      "FUJIFILMCCD-RAW",
                                                      "FOVb",
                                                      std::string_view("\0MRM", 4),
                                                      "ARRI"};
  for (const std::string_view mark : kMarks) {
    if (first.starts_with(mark)) return true;
  }
  if (first.substr(std::min<std::size_t>(4, first.size())).starts_with("ftypcrx")) return true;
  if (first.substr(std::min<std::size_t>(6, first.size())).starts_with("HEAPCCDR")) return true;
  constexpr std::array<std::string_view, 20> kLikeTiff = {
      ".3fr", ".arw", ".cr2", ".dcr", ".erf", ".fff", ".gpr", ".iiq", ".k25", ".kdc",
      ".mef", ".mos", ".nef", ".nrw", ".pef", ".rwl", ".sr2", ".srf", ".srw", ".cap"};
  const bool tiff = first.starts_with("II") || first.starts_with("MM");
  return tiff && std::find(kLikeTiff.begin(), kLikeTiff.end(), extension) != kLikeTiff.end();
}

}  // namespace

FileKind KindOf(const std::string& name) {
  const std::string first = ReadHead(name, 16).first;
  const std::string extension = ExtensionOf(name);
  if (extension == ".shot") return FileKind::kShot;
  if (extension == ".lum") return FileKind::kLum;
  if (extension == ".roi") return FileKind::kRegion;
  if (extension == ".json") return FileKind::kTruth;
  if (first.starts_with("\x93NUMPY")) return FileKind::kNpy;
  if (IsCameraRaw(first, extension)) return FileKind::kCameraRaw;
  if (first.starts_with(std::string_view("II*\0", 4)) ||
      first.starts_with(std::string_view("MM\0*", 4))) {
    return FileKind::kTiff;
  }
  if (first.starts_with("P5") || first.starts_with("P2") || extension == ".pgm") {
    return FileKind::kPgm;
  }
  if (extension == ".dng" || extension == ".tif" || extension == ".tiff") return FileKind::kTiff;
  if (extension == ".raw" || extension == ".bin") return FileKind::kRaw;
  return FileKind::kPicture;
}

std::optional<TiffSummary> SummaryOfTiff(const std::string& bytes) {
  const std::string_view view = bytes;
  if (view.size() < 8 || !(view.starts_with("II") || view.starts_with("MM"))) return std::nullopt;
  const TiffBytes tiff(view);
  if (tiff.Value(2, 2) != 42) return std::nullopt;
  const std::uint64_t directory = tiff.Value(4, 4);
  const std::uint32_t entries = tiff.Value(directory, 2);
  if (entries == 0 || !tiff.Holds(directory + 2 + entries * kEntrySize)) return std::nullopt;
  TiffSummary summary;
  summary.littleEndian = tiff.Little();
  for (std::uint32_t i = 0; i < entries; ++i) {
    Note(summary, tiff, EntryAt(tiff, directory + 2 + i * kEntrySize));
  }
  return summary;
}

std::optional<PgmSummary> SummaryOfPgm(const std::string& name) {
  const std::string head = ReadHead(name, 200).first;
  if (!head.starts_with("P5")) return std::nullopt;
  std::array<int, 3> values{};
  const char* at = head.data() + 2;
  const char* end = head.data() + head.size();
  for (int& value : values) {
    while (at != end && (*at == ' ' || *at == '\n' || *at == '\r' || *at == '\t')) ++at;
    const auto read = std::from_chars(at, end, value);
    if (read.ec != std::errc()) return std::nullopt;
    at = read.ptr;
  }
  return PgmSummary{values[0], values[1], values[2]};
}

cv::Mat ReadRaw(const std::string& name, cv::Size size) {
  const std::uintmax_t found = ReadHead(name, 1).size;
  const std::uintmax_t expected =
      static_cast<std::uintmax_t>(size.width) * static_cast<std::uintmax_t>(size.height) * 2;
  if (found != expected) {
    throw InputFailure(name, "has " + std::to_string(found) + " bytes, expected " +
                                 std::to_string(expected) + " (" + std::to_string(size.width) +
                                 " x " + std::to_string(size.height) + " samples of 2 bytes)");
  }
  cv::Mat samples = BImage::ReadOrvelRaw(name, size.height, size.width);
  static_cast<void>(TakeLibraryError());
  if (samples.empty()) throw InputFailure(name, "cannot be read as samples of 16 bits");
  return samples;
}

cv::Mat ReadDng(const std::string& name, DngOffsets offsets) {
  const auto summary = SummaryOfTiff(ReadFile(name));
  if (!summary) throw InputFailure(name, "is no DNG or TIFF with a readable directory");
  if (const std::string reason = OutsideSubset(*summary); !reason.empty()) {
    throw InputFailure(name, reason);
  }
  if (offsets == DngOffsets::kAuto) {
    offsets = summary->strips > 1 ? DngOffsets::kArray : DngOffsets::kDirect;
  }
  cv::Mat samples;
  {
    const Hushed hushed;
    samples = offsets == DngOffsets::kArray ? BImage::ReadRggbDng(name) : BImage::ReadDngToup(name);
  }
  static_cast<void>(TakeLibraryError());
  if (samples.empty()) {
    throw InputFailure(
        name, "does not hold its " + SizeText(*summary) + " samples of 16 bits in one run");
  }
  return samples;
}

cv::Mat ReadPgm(const std::string& name) {
  const auto summary = SummaryOfPgm(name);
  if (!summary) {
    throw InputFailure(name, "is no binary gray map (\"P5\" with its size and maximum)");
  }
  if (summary->maximum < 256) {
    throw InputFailure(name, "has a maximum of " + std::to_string(summary->maximum) +
                                 ", expected 16-bit samples (256 to 65535)");
  }
  cv::Mat samples;
  bool read = false;
  {
    const Hushed hushed;
    read = BImage::ReadPgm16(name, samples);
  }
  if (!read || samples.empty()) {
    throw InputFailure(name, "is no gray map that can be read, or is cut short");
  }
  return samples;
}

}  // namespace dravix::tool
