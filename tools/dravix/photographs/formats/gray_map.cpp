#include "photographs/formats/gray_map.h"

#include <cstdint>
#include <optional>

#include "photographs/formats/camera_picture.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// The numbers of a header, or of a whole text map: apart by blanks, with comments from '#' to the
/// end of a line.
class MapNumbers {
 public:
  MapNumbers(std::string_view bytes, std::size_t from) : bytes_(bytes), at_(from) {}

  /// Empty at the end, before anything that is no digit, and for numbers above a billion.
  std::optional<std::uint32_t> Next() {
    SkipBlanks();
    constexpr std::uint32_t kMost = 1000000000;
    std::optional<std::uint32_t> number;
    while (at_ < bytes_.size() && bytes_[at_] >= '0' && bytes_[at_] <= '9') {
      number = number.value_or(0) * 10 + static_cast<std::uint32_t>(bytes_[at_] - '0');
      if (*number > kMost) return std::nullopt;
      ++at_;
    }
    return number;
  }
  /// The place behind the last number.
  [[nodiscard]] std::size_t Place() const { return at_; }

 private:
  void SkipBlanks() {
    bool comment = false;
    for (; at_ < bytes_.size(); ++at_) {
      if (bytes_[at_] == '#') comment = true;
      if (bytes_[at_] == '\n' || bytes_[at_] == '\r') comment = false;
      if (!comment && !IsBlank(bytes_[at_])) break;
    }
  }
  std::string_view bytes_;
  std::size_t at_;
};

MapHeader HeaderOf(const std::string& name, std::string_view bytes) {
  const auto header = MapHeaderIn(bytes);
  if (!header || header->width == 0 || header->height == 0) {
    throw InputFailure(name,
                       "is no picture that can be read: its header lacks width, height and "
                       "maximum, or one of them is 0");
  }
  constexpr std::uint32_t kMostMaximum = 65535;
  if (header->maximum < 1 || header->maximum > kMostMaximum) {
    throw InputFailure(
        name, "has a maximum of " + std::to_string(header->maximum) + ", expected 1 to 65535");
  }
  if (static_cast<double>(header->width) * header->height > kMostPicturePixels) {
    throw InputFailure(name, "has " + std::to_string(header->width) + " x " +
                                 std::to_string(header->height) +
                                 " pixels, expected at most 250 megapixels");
  }
  return *header;
}

/// The fewest bytes that the samples take, whatever they are.
std::uint64_t FewestBytes(std::string_view bytes, const MapHeader& header) {
  const std::uint64_t row = header.width;
  const std::uint64_t wide = header.maximum > 255 ? 2 : 1;
  switch (bytes[1]) {
    case '2':
      return row * header.height * 2 - 1;
    case '3':
      return row * header.height * 6 - 1;
    case '5':
      return row * header.height * wide;
    default:
      return row * header.height * wide * 3;
  }
}

void RequireData(const std::string& name, std::string_view bytes, const MapHeader& header) {
  RequireBytes(
      name, bytes.size(), FewestBytes(bytes, header) + header.dataAt,
      " (" + std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels)");
}

void FillBinary(std::string_view data, cv::Mat& samples) {
  std::size_t at = 0;
  const bool wide = samples.depth() == CV_16U;
  for (int y = 0; y < samples.rows; ++y) {
    for (int x = 0; x < samples.cols; ++x) {
      const auto byte = [&] { return static_cast<unsigned char>(data[at++]); };
      if (wide) {
        const unsigned high = byte();
        samples.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(high << 8U | byte());
      } else {
        samples.at<unsigned char>(y, x) = byte();
      }
    }
  }
}

void FillText(const std::string& name, MapNumbers& numbers, std::uint32_t maximum,
              cv::Mat& samples) {
  for (int y = 0; y < samples.rows; ++y) {
    for (int x = 0; x < samples.cols; ++x) {
      const auto number = numbers.Next();
      if (!number || *number > maximum) {
        throw InputFailure(name, "is cut short or damaged: it has no number from 0 to " +
                                     std::to_string(maximum) + " for the pixel at " +
                                     std::to_string(x) + "," + std::to_string(y));
      }
      if (samples.depth() == CV_16U) {
        samples.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(*number);
      } else {
        samples.at<unsigned char>(y, x) = static_cast<unsigned char>(*number);
      }
    }
  }
}

}  // namespace

std::optional<MapHeader> MapHeaderIn(std::string_view bytes) {
  const bool isMap = bytes.starts_with("P2") || bytes.starts_with("P3") ||
                     bytes.starts_with("P5") || bytes.starts_with("P6");
  if (!isMap) return std::nullopt;
  MapNumbers numbers(bytes, 2);
  const auto width = numbers.Next();
  const auto height = numbers.Next();
  const auto maximum = numbers.Next();
  if (!width || !height || !maximum) return std::nullopt;
  // One blank ends the header.
  return MapHeader{*width, *height, *maximum, numbers.Place() + 1};
}

GrayMap ReadGrayMap(const std::string& name, std::string_view bytes) {
  const MapHeader header = HeaderOf(name, bytes);
  RequireData(name, bytes, header);
  GrayMap map;
  map.maximum = static_cast<int>(header.maximum);
  map.samples.create(static_cast<int>(header.height), static_cast<int>(header.width),
                     header.maximum > 255 ? CV_16UC1 : CV_8UC1);
  if (bytes[1] == '5') {
    FillBinary(bytes.substr(header.dataAt), map.samples);
  } else {
    // Numbers of a text may be preceded by a comment at once.
    MapNumbers numbers(bytes, header.dataAt - 1);
    FillText(name, numbers, header.maximum, map.samples);
  }
  return map;
}

void RequirePossibleMap(const std::string& name, std::string_view bytes) {
  RequireData(name, bytes, HeaderOf(name, bytes));
}

}  // namespace dravix::tool
