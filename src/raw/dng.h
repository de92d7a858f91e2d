/// DNG files, a small subset of TIFF: one uncompressed run of 16-bit samples in the first
/// directory.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>

#include "base/files.h"
#include "raw/samples.h"

namespace dravix::raw {

/// What the StripOffsets tag's value is the position of.
enum class StripTag {
  kOffsets,  ///< the array of offsets, whose first entry is the position of the samples
  kSamples,  ///< the samples themselves
};

/// Where the samples lie and how. All of it as the file claims: nothing here is checked yet.
struct DngLayout {
  ByteOrder order = ByteOrder::kLowFirst;
  std::uint32_t cols = 0, rows = 0;
  std::uint32_t samplesAt = 0;  ///< bytes from the front of the file
};

/// True when the file says that it is a TIFF with its low bytes first: 42 at offset 2.
[[nodiscard]] bool IsDng(base::InputFile& file);

/// The layout from the first directory, of equal tags the last; empty when the directory is cut
/// short, when width, height or strip tag is missing, or when the array of offsets lies outside.
[[nodiscard]] std::optional<DngLayout> ReadDngLayout(base::InputFile& file, StripTag strip);

/// The samples, CV_16UC1, in file order; empty when the file does not hold them all.
[[nodiscard]] cv::Mat ReadDngSamples(base::InputFile& file, const DngLayout& layout);

}  // namespace dravix::raw
