#include "photographs/formats/tiff_summary.h"

#include "photographs/formats/tiff_directory.h"

namespace dravix::tool {
namespace {

enum SummaryTag : std::uint32_t {
  kWidthTag = 256,
  kHeightTag = 257,
  kBitsTag = 258,
  kCompressionTag = 259,
  kStripsTag = 273,
  kSamplesTag = 277,
  kDngTag = 50706,
};

}  // namespace

std::optional<TiffSummary> SummaryOfTiff(std::string_view bytes) {
  const auto tiff = TiffBytes::Of(bytes);
  if (!tiff || tiff->Wide()) return std::nullopt;
  const auto directory = TiffDirectory::At(*tiff, tiff->FirstDirectory());
  if (!directory) return std::nullopt;
  TiffSummary summary;
  summary.littleEndian = tiff->LittleEndian();
  summary.width = directory->Whole(kWidthTag, 0);
  summary.height = directory->Whole(kHeightTag, 0);
  summary.bits = directory->Whole(kBitsTag, 0);
  summary.samples = directory->Whole(kSamplesTag, 1);
  summary.compression = directory->Whole(kCompressionTag, 1);
  summary.strips = directory->Count(kStripsTag);
  summary.isDng = directory->Has(kDngTag);
  return summary;
}

std::string OutsideLibrary(const TiffSummary& tiff) {
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

}  // namespace dravix::tool
