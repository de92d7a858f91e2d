/// 16-bit samples as camera files store them.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <span>

#include "base/bytes.h"

namespace dravix::raw {

enum class ByteOrder { kLowFirst, kHighFirst };

/// Bytes of a picture of rows x cols 16-bit samples; empty when a side is below 1 or beyond what a
/// matrix can have.
[[nodiscard]] std::optional<std::uint64_t> PictureBytes(std::int64_t rows, std::int64_t cols);

/// One row of samples from twice as many bytes.
void Unpack(base::ByteView stored, ByteOrder order, std::span<std::uint16_t> row);

/// The picture at the front of `stored`, CV_16UC1; empty when it has no size or `stored` is too
/// short to hold it.
[[nodiscard]] cv::Mat Picture(base::ByteView stored, ByteOrder order, std::int64_t rows,
                              std::int64_t cols);

}  // namespace dravix::raw
