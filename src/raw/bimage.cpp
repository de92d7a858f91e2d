#include <dravix/algolog.h>
#include <dravix/bimage.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <functional>
#include <iostream>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "base/bytes.h"
#include "base/input_file.h"
#include "raw/dng.h"
#include "raw/samples.h"

namespace {

namespace base = dravix::base;
namespace raw = dravix::raw;

/// Bytes of a dump; empty for a negative side and for sizes whose product leaves 32 bits.
std::optional<std::uint64_t> DumpBytes(int rows, int cols) {
  if (rows < 0 || cols < 0) return std::nullopt;
  const std::uint64_t samples = static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(cols);
  if (samples > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return samples * sizeof(std::uint16_t);
}

cv::Mat ReadDngFile(base::InputFile& file, raw::OffsetOf offsetOf) {
  const std::optional<raw::DngStrip> strip = raw::FindDngStrip(file);
  if (!strip) {
    std::cout << "        Error :: file not dng image " << std::endl;
    return {};
  }
  return raw::ReadDngStrip(file, *strip, offsetOf);
}

void LogWrongSize(const std::string& fullname) {
  AlgoLogError("BImage::ReadOrvelRaw -- Check file size, fullname = %s", fullname.c_str());
}

cv::Mat ReadDump(base::InputFile& file, int rows, int cols, const std::string& fullname) {
  const std::optional<std::uint64_t> bytes = DumpBytes(rows, cols);
  if (!bytes || !file.Has(*bytes) || file.Has(*bytes + 1)) {
    LogWrongSize(fullname);
    return {};
  }
  cv::Mat picture(rows, cols, CV_16UC1);
  base::ByteReader in(file);
  if (raw::FillSamples(in, raw::ByteOrder::kLowFirst, picture)) return picture;
  LogWrongSize(fullname);  // it has become shorter meanwhile
  return {};
}

/// True when the first line is "P5". Reads no further than the first character that is another.
bool IsBinaryGrayMap(base::ByteReader& in) {
  if (in.Read<char>() != 'P' || in.Read<char>() != '5') return false;
  return in.Read<char>().value_or('\n') == '\n';
}

/// The next line, without its end; empty when it has none.
std::optional<std::string> ReadLine(base::ByteReader& in) {
  constexpr std::size_t kLongest = std::size_t{1}
                                   << 20;  // a file of another kind may have no lines
  std::string line;
  while (line.size() < kLongest) {
    const std::optional<char> character = in.Read<char>();
    if (!character) return std::nullopt;
    if (*character == '\n') return line;
    line += *character;
  }
  return std::nullopt;
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

/// The first `count` whole numbers of the next line; empty when it has fewer.
template <std::size_t count>
std::optional<std::array<std::int64_t, count>> ReadNumbers(base::ByteReader& in) {
  const std::optional<std::string> line = ReadLine(in);
  if (!line) return std::nullopt;
  std::string_view rest = *line;
  std::array<std::int64_t, count> numbers{};
  for (std::int64_t& number : numbers) {
    const std::optional<std::int64_t> next = TakeNumber(rest);
    if (!next) return std::nullopt;
    number = *next;
  }
  return numbers;
}

cv::Mat ReadGrayMap(base::InputFile& file) {
  base::ByteReader in(file);
  if (!IsBinaryGrayMap(in)) {
    std::cerr << "Version error" << std::endl;
    return {};
  }
  const auto widthAndHeight = ReadNumbers<2>(in);
  if (!widthAndHeight || !ReadNumbers<1>(in)) return {};  // the second line is the largest sample
  const auto [width, height] = *widthAndHeight;
  return raw::ReadSamples(in, raw::ByteOrder::kHighFirst, height, width);
}

/// What `read` makes of the file; empty when it cannot be opened or read.
std::optional<cv::Mat> ReadWith(const std::string& fullname, base::Access access,
                                const std::function<cv::Mat(base::InputFile&)>& read) {
  cv::Mat picture;
  const bool wasRead =
      base::ReadFileWith(fullname, access, [&](base::InputFile& file) { picture = read(file); });
  return wasRead ? std::optional(picture) : std::nullopt;
}

}  // namespace

namespace BImage {

cv::Mat ReadOrvelRaw(const std::string& fullname, int rows, int cols) {
  const auto read = [&](base::InputFile& file) { return ReadDump(file, rows, cols, fullname); };
  std::optional<cv::Mat> picture = ReadWith(fullname, base::Access::kForward, read);
  if (picture) return *std::move(picture);
  AlgoLogError("BImage::ReadOrvelRaw -- Open file failure, fullname = %s", fullname.c_str());
  return {};
}

cv::Mat ReadRggbDng(const std::string& fullname) {
  const auto read = [](base::InputFile& file) {
    return ReadDngFile(file, raw::OffsetOf::kOffsets);
  };
  std::optional<cv::Mat> picture = ReadWith(fullname, base::Access::kAnyOrder, read);
  if (picture) return *std::move(picture);
  AlgoLogError("BImage::ReadRggbDng -- Failed to Open file. fullname = %s", fullname.c_str());
  return {};
}

cv::Mat ReadDngToup(const std::string& fullname) {
  const auto read = [](base::InputFile& file) {
    return ReadDngFile(file, raw::OffsetOf::kSamples);
  };
  std::optional<cv::Mat> picture = ReadWith(fullname, base::Access::kAnyOrder, read);
  if (!picture) {
    AlgoLogError("BImage::ReadDngToup -- Failed to Open file. fullname = %s", fullname.c_str());
    return {};
  }
  if (!picture->empty()) cv::flip(*picture, *picture, 0);
  return *std::move(picture);
}

bool ReadPgm16(const std::string& fullname, cv::Mat& image) {
  const std::optional<cv::Mat> picture = ReadWith(fullname, base::Access::kForward, ReadGrayMap);
  if (!picture) {
    std::cout << "Open file failure, fullname = " << fullname << std::endl;
    return false;
  }
  if (picture->empty()) return false;
  image = *picture;
  return true;
}

}  // namespace BImage
