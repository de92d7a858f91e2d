/// DNG files, of which a small subset of TIFF is understood: one uncompressed run of 16-bit samples
/// that the first directory describes.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>

#include "base/input_file.h"
#include "raw/samples.h"

namespace dravix::raw {

/// What lies where the StripOffsets tag points.
enum class OffsetOf {
  kOffsets,  ///< the array of offsets, whose first entry is the position of the samples
  kSamples,  ///< the samples themselves
};

/// The strip of samples, as the file's first directory claims: nothing here is checked yet.
struct DngStrip {
  ByteOrder order = ByteOrder::kLowFirst;
  std::uint32_t cols = 0, rows = 0;
  std::uint32_t offset = 0;  ///< value of the StripOffsets tag, in bytes from the front of the file
};

/// What the first directory says of the strip; of equal tags the last one counts. Empty when the
/// file is no DNG: without the magic number 42 (low byte first) at offset 2, or without a whole
/// first directory that has width, height and StripOffsets.
[[nodiscard]] std::optional<DngStrip> FindDngStrip(base::InputFile& file);

/// The strip's samples, CV_16UC1, in file order; empty when the file does not hold them all.
[[nodiscard]] cv::Mat ReadDngStrip(base::InputFile& file, const DngStrip& strip, OffsetOf offsetOf);

}  // namespace dravix::raw
