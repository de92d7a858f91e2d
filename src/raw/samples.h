/// 16-bit samples as camera files store them.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <span>

#include "base/bytes.h"

namespace dravix::raw {

enum class ByteOrder { kLowFirst, kHighFirst };

/// Samples from twice as many bytes, which may be their own.
void Unpack(base::ByteView stored, ByteOrder order, std::span<std::uint16_t> row);

/// rows x cols samples from where the reader stands, CV_16UC1; empty when that is no size or not
/// all of them are there.
[[nodiscard]] cv::Mat ReadSamples(base::ByteReader& in, ByteOrder order, std::int64_t rows,
                                  std::int64_t cols);

}  // namespace dravix::raw
