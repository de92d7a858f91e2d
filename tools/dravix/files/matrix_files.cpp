#include "files/matrix_files.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "base/checked.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

static_assert(std::endian::native == std::endian::little,
              "arrays are copied as they lie in memory");

// The format is described in NumPy's own documentation, numpy.lib.format.
constexpr std::string_view kMagic("\x93NUMPY\x01\x00", 8);
constexpr std::size_t kPrefix = 10;     // magic, version and the header's length
constexpr std::size_t kAlignment = 64;  // bytes; the first value lies at a multiple of it

/// The text after `name` and its colon in the header's dictionary, without leading blanks.
std::string_view ValueAfter(std::string_view header, std::string_view name) {
  const auto at = header.find(name);
  if (at == std::string_view::npos) return {};
  header.remove_prefix(at + name.size());
  header.remove_prefix(std::min(header.size(), header.find_first_not_of(" :")));
  return header;
}

std::optional<cv::Size> ShapeOf(std::string_view text) {
  int rows = 0;
  int columns = 0;
  if (!text.starts_with('(')) return std::nullopt;
  const char* end = text.data() + text.size();
  auto read = std::from_chars(text.data() + 1, end, rows);
  if (read.ec != std::errc() || read.ptr == end || *read.ptr != ',') return std::nullopt;
  const char* second = read.ptr + 1;
  while (second != end && *second == ' ') ++second;
  read = std::from_chars(second, end, columns);
  if (read.ec != std::errc() || read.ptr == end || *read.ptr != ')') return std::nullopt;
  if (rows < 1 || columns < 1) return std::nullopt;
  return cv::Size(columns, rows);
}

}  // namespace

std::string EncodeLum(const cv::Mat& values) {
  CV_Assert(values.type() == CV_32FC1);
  std::string bytes = "L";
  const auto number = [&bytes](std::int32_t n) {
    for (int byte = 0; byte < 4; ++byte) bytes += static_cast<char>((n >> (8 * byte)) & 0xFF);
  };
  const auto record = [&](const cv::Mat& matrix) {
    number(matrix.rows), number(matrix.cols), number(matrix.type()), number(matrix.channels());
    for (int y = 0; y < matrix.rows; ++y) {
      const std::size_t size = static_cast<std::size_t>(matrix.cols) * matrix.elemSize();
      bytes.append(size, '\0');
      std::memcpy(bytes.data() + bytes.size() - size, matrix.ptr(y), size);
    }
  };
  number(1);                  // the version
  constexpr int kMarked = 2;  // what stands beside every luminance after a measurement
  record(cv::Mat(values.size(), CV_8UC1, cv::Scalar(kMarked)));
  record(values);
  return bytes;
}

std::string EncodeNpy(const cv::Mat& values) {
  CV_Assert(values.type() == CV_32FC1);
  std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (" +
                       std::to_string(values.rows) + ", " + std::to_string(values.cols) + "), }";
  const std::size_t used = kPrefix + header.size() + 1;
  header.append((kAlignment - used % kAlignment) % kAlignment, ' ');
  header += '\n';
  std::string bytes(kMagic);
  bytes += static_cast<char>(header.size() & 0xFFU);
  bytes += static_cast<char>(header.size() >> 8U);
  bytes += header;
  for (int y = 0; y < values.rows; ++y) {
    const std::size_t length = static_cast<std::size_t>(values.cols) * sizeof(float);
    bytes.append(values.ptr<char>(y), length);
  }
  return bytes;
}

cv::Mat DecodeNpyAsStored(const std::string& name, const std::string& bytes) {
  if (!bytes.starts_with(kMagic) || bytes.size() < kPrefix) {
    throw InputFailure(name, "is no .npy file of version 1.0");
  }
  const auto length = static_cast<std::size_t>(static_cast<unsigned char>(bytes[8])) |
                      static_cast<std::size_t>(static_cast<unsigned char>(bytes[9])) << 8U;
  const std::string_view header = std::string_view(bytes).substr(kPrefix, length);
  const std::string_view type = ValueAfter(header, "'descr'");
  const bool isFloat = type.starts_with("'<f4'");
  const bool isDouble = type.starts_with("'<f8'");
  const auto shape = ShapeOf(ValueAfter(header, "'shape'"));
  if ((!isFloat && !isDouble) || !shape ||
      !ValueAfter(header, "'fortran_order'").starts_with("False")) {
    throw InputFailure(name, "holds no row-by-row matrix of little-endian floats");
  }
  const std::optional<std::uint64_t> values =
      base::CheckedMul(static_cast<std::uint64_t>(shape->width),
                       static_cast<std::uint64_t>(shape->height), isFloat ? 4U : 8U);
  const std::uint64_t found = bytes.size() - std::min(bytes.size(), kPrefix + length);
  if (!values || found < *values) {
    throw InputFailure(name, "is cut short: found " + std::to_string(found) +
                                 " bytes of values, expected " +
                                 (values ? std::to_string(*values) : "more than can be counted") +
                                 " for " + SizeText(*shape));
  }
  cv::Mat stored(*shape, isFloat ? CV_32FC1 : CV_64FC1);
  std::memcpy(stored.data, bytes.data() + kPrefix + length, stored.total() * stored.elemSize());
  return stored;
}

cv::Mat DecodeNpy(const std::string& name, const std::string& bytes) {
  cv::Mat stored = DecodeNpyAsStored(name, bytes);
  if (stored.type() == CV_32FC1) return stored;
  cv::Mat floats;
  stored.convertTo(floats, CV_32F);
  return floats;
}

std::string EncodeCsv(const cv::Mat& values) {
  CV_Assert(values.type() == CV_32FC1);
  std::string text;
  std::array<char, 32> digits{};
  for (int y = 0; y < values.rows; ++y) {
    for (int x = 0; x < values.cols; ++x) {
      if (x > 0) text += ',';
      const auto written =
          std::to_chars(digits.data(), digits.data() + digits.size(), values.at<float>(y, x));
      text.append(digits.data(), written.ptr);
    }
    text += '\n';
  }
  return text;
}

}  // namespace dravix::tool
