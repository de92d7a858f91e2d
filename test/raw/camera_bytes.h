/// Camera files for tests, assembled field by field.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "support/record_bytes.h"

namespace dravix::test {

/// The samples of a CV_16UC1 matrix, row by row, low byte first.
inline std::string LowFirst(const cv::Mat& samples) {
  std::string bytes;
  for (int y = 0; y < samples.rows; ++y) {
    for (int x = 0; x < samples.cols; ++x) bytes += Le(samples.at<std::uint16_t>(y, x));
  }
  return bytes;
}

/// The same, high byte first.
inline std::string HighFirst(const cv::Mat& samples) {
  std::string bytes = LowFirst(samples);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  return bytes;
}

struct DngEntry {
  std::uint16_t tag = 0;
  std::uint32_t value = 0;
  std::uint16_t type = 4;
  std::uint32_t count = 1;
};

/// A file of the subset: header, directory, array of offsets, samples.
struct DngFile {
  static constexpr std::uint32_t kHeader = 8;

  std::string byteOrder = "II";
  std::uint16_t magic = 42;
  std::vector<DngEntry> entries;
  std::uint32_t directoryAt = kHeader;
  std::string tail;

  [[nodiscard]] std::string Bytes() const {
    std::string bytes = byteOrder + Le(magic) + Le(directoryAt);
    bytes += Le(static_cast<std::uint16_t>(entries.size()));
    for (const DngEntry& entry : entries) {
      bytes += Le(entry.tag) + Le(entry.type) + Le(entry.count) + Le(entry.value);
    }
    return bytes + tail;
  }
  /// Where `tail` begins.
  [[nodiscard]] std::uint32_t TailAt() const {
    return kHeader + 2 + static_cast<std::uint32_t>(entries.size()) * 12;
  }
};

/// One run of samples; the strip tag points at an array of offsets (`indirect`) or at the samples.
inline DngFile DngOf(cv::Size size, const std::string& samples, bool indirect) {
  DngFile file;
  file.entries = {{256, static_cast<std::uint32_t>(size.width)},
                  {257, static_cast<std::uint32_t>(size.height)},
                  {273, 0}};
  const std::uint32_t tailAt = file.TailAt();
  file.entries.back().value = tailAt;
  file.tail = (indirect ? Le(tailAt + 4) : "") + samples;
  return file;
}

}  // namespace dravix::test
