/// 16-bit samples in the form in which camera files store them.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <span>

#include "base/bytes.h"

namespace dravix::raw {

enum class ByteOrder { kLowFirst, kHighFirst };

/// Turns stored bytes into samples, two into one. The bytes may be those of the samples themselves.
void Unpack(base::ByteView stored, ByteOrder order, std::span<std::uint16_t> row);

/// Fills a continuous picture, CV_16UC1, with the next samples: they are read to where they belong.
/// Samples that the input lacks are 0. False when any are missing.
bool FillSamples(base::ByteReader& in, ByteOrder order, cv::Mat& picture);

/// rows x cols samples from where the reader stands, CV_16UC1; empty when that is no size or not
/// all of them are there.
[[nodiscard]] cv::Mat ReadSamples(base::ByteReader& in, ByteOrder order, std::int64_t rows,
                                  std::int64_t cols);

}  // namespace dravix::raw
