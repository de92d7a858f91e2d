#include <dravix/algolog.h>
#include <dravix/bimage.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/bytes.h"
#include "base/files.h"
#include "raw/dng.h"
#include "raw/samples.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace {

namespace base = dravix::base;
namespace raw = dravix::raw;

/// True when the dump has exactly that many samples. Sizes whose product leaves 32 bits fit none.
bool HoldsSamples(std::size_t bytes, int rows, int cols) {
  if (rows < 0 || cols < 0) return false;
  const std::uint64_t samples = static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(cols);
  return samples <= std::numeric_limits<std::uint32_t>::max() && bytes == samples * 2;
}

#ifdef _OPENMP
/// All processors but one, which is left to the host.
int Workers() { return std::max(1, omp_get_num_procs() - 1); }
#endif

/// As raw::Picture of a dump, each thread converting whole rows of its own.
cv::Mat UnpackRows(base::ByteView stored, int rows, int cols) {
  cv::Mat picture(rows, cols, CV_16UC1);
  const std::size_t rowBytes = static_cast<std::size_t>(cols) * 2;
#ifdef _OPENMP
#pragma omp parallel for schedule(static) num_threads(Workers())
#endif
  for (int y = 0; y < rows; ++y) {
    raw::Unpack(stored.subspan(static_cast<std::size_t>(y) * rowBytes, rowBytes),
                raw::ByteOrder::kLowFirst,
                {picture.ptr<std::uint16_t>(y), static_cast<std::size_t>(cols)});
  }
  return picture;
}

cv::Mat ReadDngFile(base::ByteView file, raw::StripTag strip) {
  if (!raw::IsDng(file)) {
    std::cout << "        Error :: file not dng image " << std::endl;
    return {};
  }
  const std::optional<raw::DngLayout> layout = raw::ReadDngLayout(file, strip);
  return layout ? raw::ReadDngSamples(file, *layout) : cv::Mat();
}

/// Takes the next line off `text`, without its end.
std::string_view TakeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

/// Takes the next whole number off `line`.
std::optional<std::int64_t> TakeNumber(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t\r\v\f"), line.size()));
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc()) return std::nullopt;
  line.remove_prefix(static_cast<std::size_t>(end - line.data()));
  return number;
}

}  // namespace

namespace BImage {

cv::Mat ReadOrvelRaw(const std::string& fullname, int rows, int cols) {
  const std::optional<base::Bytes> file = base::ReadFile(fullname);
  if (!file) {
    AlgoLogError("BImage::ReadOrvelRaw -- Open file failure, fullname = %s", fullname.c_str());
    return {};
  }
  if (!HoldsSamples(file->size(), rows, cols)) {
    AlgoLogError("BImage::ReadOrvelRaw -- Check file size, fullname = %s", fullname.c_str());
    return {};
  }
  return UnpackRows(*file, rows, cols);
}

cv::Mat ReadRggbDng(const std::string& fullname) {
  const std::optional<base::Bytes> file = base::ReadFile(fullname);
  if (!file) {
    AlgoLogError("BImage::ReadRggbDng -- Failed to Open file. fullname = %s", fullname.c_str());
    return {};
  }
  return ReadDngFile(*file, raw::StripTag::kOffsets);
}

cv::Mat ReadDngToup(const std::string& fullname) {
  const std::optional<base::Bytes> file = base::ReadFile(fullname);
  if (!file) {
    AlgoLogError("BImage::ReadDngToup -- Failed to Open file. fullname = %s", fullname.c_str());
    return {};
  }
  cv::Mat picture = ReadDngFile(*file, raw::StripTag::kSamples);
  if (!picture.empty()) cv::flip(picture, picture, 0);
  return picture;
}

bool ReadPgm16(const std::string& fullname, cv::Mat& image) {
  const std::optional<base::Bytes> file = base::ReadFile(fullname);
  if (!file) {
    std::cout << "Open file failure, fullname = " << fullname << std::endl;
    return false;
  }
  std::string_view rest(static_cast<const char*>(static_cast<const void*>(file->data())),
                        file->size());
  if (TakeLine(rest) != "P5") {
    std::cerr << "Version error" << std::endl;
    return false;
  }
  std::string_view sizeLine = TakeLine(rest);
  const std::optional<std::int64_t> width = TakeNumber(sizeLine);
  const std::optional<std::int64_t> height = TakeNumber(sizeLine);
  std::string_view largestLine = TakeLine(rest);
  if (!width || !height || !TakeNumber(largestLine)) return false;
  const cv::Mat picture =
      raw::Picture(base::ViewOf(rest), raw::ByteOrder::kHighFirst, *height, *width);
  if (picture.empty()) return false;
  image = picture;
  return true;
}

}  // namespace BImage
