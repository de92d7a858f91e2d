/// The one binary form that a matrix has in every file and buffer.
///
/// Four 32-bit integers (rows, columns, type code, channels), then the channels as separate planes,
/// row by row. An empty matrix is 16 zero bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>

#include "base/bytes.h"

namespace dravix::image {

/// The first 16 bytes of a record, unchecked.
struct MatHeader {
  static constexpr std::size_t kBytes = 16;

  std::int32_t rows = 0, cols = 0, type = 0, channels = 0;

  [[nodiscard]] bool IsEmpty() const { return rows < 1 || cols < 1; }
  /// The bytes of one plane; empty when the number does not fit in 31 bits.
  [[nodiscard]] std::optional<std::uint64_t> PlaneBytes() const;
  /// The bytes of all planes; empty when those of one plane do not fit in 31 bits. Throws
  /// cv::Exception for a channel count outside 1 to 512.
  [[nodiscard]] std::optional<std::uint64_t> AllPlanesBytes() const;
};

/// The next header. Fewer than 16 bytes are consumed and make the header of an empty matrix.
[[nodiscard]] MatHeader ReadMatHeader(base::ByteReader& in);

/// The matrix of one record. Planes that are cut short are filled with zeros. The matrix is empty,
/// and the rest of the input consumed, when one plane would hold 2 GiB or more or when the record
/// claims over 64 MiB more than is left. Throws cv::Exception for a channel count outside 1 to
/// 512.
[[nodiscard]] cv::Mat ReadMatRecord(base::ByteReader& in);

/// Appends one record. Throws cv::Exception for more than two dimensions, with nothing appended.
///
/// No copy of the whole matrix is made. A single plane is handed on from where it lies; of several
/// channels, some rows at a time are pulled apart.
void WriteMatRecord(const cv::Mat& m, base::ByteSink& out);

/// Appends one record of the matrix that m.convertTo(..., depth) makes, converting some rows at a
/// time.
void WriteMatRecordAs(int depth, const cv::Mat& m, base::ByteSink& out);

}  // namespace dravix::image
