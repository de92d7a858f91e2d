/// 16-bit samples as camera files store them.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <span>

#include "base/bytes.h"
#include "base/files.h"

namespace dravix::raw {

enum class ByteOrder { kLowFirst, kHighFirst };

/// Samples from twice as many bytes, which may be their own.
void Unpack(base::ByteView stored, ByteOrder order, std::span<std::uint16_t> row);

/// The picture from where the file stands, CV_16UC1; empty when it has no size or the file does not
/// hold all of it.
[[nodiscard]] cv::Mat ReadPicture(base::InputFile& file, ByteOrder order, std::int64_t rows,
                                  std::int64_t cols);

}  // namespace dravix::raw
