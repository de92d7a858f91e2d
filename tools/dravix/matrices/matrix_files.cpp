#include "matrices/matrix_files.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

#include "base/bytes.h"
#include "base/checked.h"
#include "files/files.h"
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

/// Collects bytes in a text.
class TextSink final : public base::ByteSink {
 public:
  void Append(base::ByteView bytes) override {
    text_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  [[nodiscard]] std::string Text() && { return std::move(text_); }

 private:
  std::string text_;
};

void PutRow(const cv::Mat& values, int y, base::ByteSink& out) {
  out.Append(
      base::ViewOf(values.ptr<char>(y), static_cast<std::size_t>(values.cols) * values.elemSize()));
}

void PutRecord(const cv::Mat& like, int type, const std::function<void(int)>& putRow,
               base::ByteSink& out) {
  for (const std::int32_t number : {like.rows, like.cols, type, 1}) out.Write(number);
  for (int y = 0; y < like.rows; ++y) putRow(y);
}

void PutLum(const cv::Mat& values, base::ByteSink& out) {
  CV_Assert(values.type() == CV_32FC1);
  constexpr std::int32_t kVersion = 1;
  constexpr char kMarked = 2;  // what stands beside every luminance after a measurement
  out.Append(base::ViewOf("L"));
  out.Write(kVersion);
  const std::string marks(static_cast<std::size_t>(values.cols), kMarked);
  PutRecord(
      values, CV_8UC1, [&](int) { out.Append(base::ViewOf(marks)); }, out);
  PutRecord(
      values, CV_32FC1, [&](int y) { PutRow(values, y, out); }, out);
}

void PutNpy(const cv::Mat& values, base::ByteSink& out) {
  CV_Assert(values.type() == CV_32FC1 || values.type() == CV_8UC1);
  std::string header = std::string("{'descr': '") + (values.depth() == CV_8U ? "|u1" : "<f4") +
                       "', 'fortran_order': False, 'shape': (" + std::to_string(values.rows) +
                       ", " + std::to_string(values.cols) + "), }";
  const std::size_t used = kPrefix + header.size() + 1;
  header.append((kAlignment - used % kAlignment) % kAlignment, ' ');
  header += '\n';
  out.Append(base::ViewOf(kMagic));
  out.Write(static_cast<std::uint16_t>(header.size()));
  out.Append(base::ViewOf(header));
  for (int y = 0; y < values.rows; ++y) PutRow(values, y, out);
}

}  // namespace

std::string EncodeLum(const cv::Mat& values) {
  TextSink text;
  PutLum(values, text);
  return std::move(text).Text();
}

std::string EncodeNpy(const cv::Mat& values) {
  TextSink text;
  PutNpy(values, text);
  return std::move(text).Text();
}

void WriteNpy(const std::string& name, const cv::Mat& values) {
  WriteFile(name, [&](base::ByteSink& out) { PutNpy(values, out); });
}

void WriteLum(const std::string& name, const cv::Mat& values) {
  WriteFile(name, [&](base::ByteSink& out) { PutLum(values, out); });
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
    throw CutShort(name, found,
                   "expected " + (values ? std::to_string(*values) : "more than can be counted") +
                       " for " + SizeText(*shape),
                   "bytes of values");
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
