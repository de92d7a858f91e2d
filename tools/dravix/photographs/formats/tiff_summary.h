/// What a TIFF says about its first picture, whether or not that can be read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dravix::tool {

struct TiffSummary {
  bool littleEndian = true;
  std::uint64_t width = 0, height = 0;
  std::uint64_t bits = 0;         ///< per sample; 0 where the file does not say
  std::uint64_t samples = 1;      ///< per pixel
  std::uint64_t compression = 1;  ///< 1 is none
  std::uint64_t strips = 0;
  bool isDng = false;
};

/// Empty when the bytes have no directory of 32-bit offsets that can be read.
[[nodiscard]] std::optional<TiffSummary> SummaryOfTiff(std::string_view bytes);

/// Why the library itself cannot read such a file; empty when it can.
[[nodiscard]] std::string OutsideLibrary(const TiffSummary& tiff);

}  // namespace dravix::tool
