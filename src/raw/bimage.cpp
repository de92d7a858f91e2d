#include <dravix/algolog.h>
#include <dravix/bimage.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <span>
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
bool HoldsSamples(std::uint64_t bytes, int rows, int cols) {
  if (rows < 0 || cols < 0) return false;
  const std::uint64_t samples = static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(cols);
  return samples <= std::numeric_limits<std::uint32_t>::max() && bytes == samples * 2;
}

#ifdef _OPENMP
/// All processors but one, which is left to the host.
int Workers() { return std::max(1, omp_get_num_procs() - 1); }
#endif

/// The picture of a dump, each thread converting whole rows of its own.
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

cv::Mat ReadDngFile(base::InputFile& file, raw::StripTag strip) {
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

cv::Mat ReadDump(base::InputFile& file, int rows, int cols, const std::string& fullname) {
  if (!HoldsSamples(file.Size(), rows, cols)) {
    AlgoLogError("BImage::ReadOrvelRaw -- Check file size, fullname = %s", fullname.c_str());
    return {};
  }
  base::Bytes stored(file.Left());
  file.Fetch(stored);
  return UnpackRows(stored, rows, cols);
}

cv::Mat ReadGreyMap(base::InputFile& file) {
  constexpr std::size_t kLongestHeader = std::size_t{1} << 20;
  std::string front(std::min(file.Left(), kLongestHeader), '\0');
  file.Fetch(std::as_writable_bytes(std::span(front)));
  std::string_view rest = front;
  if (TakeLine(rest) != "P5") {
    std::cerr << "Version error" << std::endl;
    return {};
  }
  std::string_view sizeLine = TakeLine(rest);
  const std::optional<std::int64_t> width = TakeNumber(sizeLine);
  const std::optional<std::int64_t> height = TakeNumber(sizeLine);
  std::string_view largestLine = TakeLine(rest);
  if (!width || !height || !TakeNumber(largestLine)) return {};
  const std::size_t headerBytes = front.size() - rest.size();
  if (front[headerBytes - 1] != '\n') return {};  // a line without an end
  file.SeekTo(headerBytes);
  return raw::ReadPicture(file, raw::ByteOrder::kHighFirst, *height, *width);
}

/// What `read` makes of the file; empty when it cannot be opened or turns out not to be readable.
std::optional<cv::Mat> ReadWith(const std::string& fullname,
                                const std::function<cv::Mat(base::InputFile&)>& read) {
  try {
    if (const auto file = base::InputFile::Open(fullname)) return read(*file);
  } catch (const base::ReadFailure&) {
    return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

namespace BImage {

cv::Mat ReadOrvelRaw(const std::string& fullname, int rows, int cols) {
  const auto read = [&](base::InputFile& file) { return ReadDump(file, rows, cols, fullname); };
  std::optional<cv::Mat> picture = ReadWith(fullname, read);
  if (picture) return *std::move(picture);
  AlgoLogError("BImage::ReadOrvelRaw -- Open file failure, fullname = %s", fullname.c_str());
  return {};
}

cv::Mat ReadRggbDng(const std::string& fullname) {
  const auto read = [](base::InputFile& file) {
    return ReadDngFile(file, raw::StripTag::kOffsets);
  };
  std::optional<cv::Mat> picture = ReadWith(fullname, read);
  if (picture) return *std::move(picture);
  AlgoLogError("BImage::ReadRggbDng -- Failed to Open file. fullname = %s", fullname.c_str());
  return {};
}

cv::Mat ReadDngToup(const std::string& fullname) {
  const auto read = [](base::InputFile& file) {
    return ReadDngFile(file, raw::StripTag::kSamples);
  };
  std::optional<cv::Mat> picture = ReadWith(fullname, read);
  if (!picture) {
    AlgoLogError("BImage::ReadDngToup -- Failed to Open file. fullname = %s", fullname.c_str());
    return {};
  }
  if (!picture->empty()) cv::flip(*picture, *picture, 0);
  return *std::move(picture);
}

bool ReadPgm16(const std::string& fullname, cv::Mat& image) {
  const std::optional<cv::Mat> picture = ReadWith(fullname, ReadGreyMap);
  if (!picture) {
    std::cout << "Open file failure, fullname = " << fullname << std::endl;
    return false;
  }
  if (picture->empty()) return false;
  image = *picture;
  return true;
}

}  // namespace BImage
