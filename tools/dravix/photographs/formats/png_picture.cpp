#include "photographs/formats/png_picture.h"

#include <cstdint>

#include "photographs/formats/camera_picture.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kSignature = 8;
constexpr std::size_t kFrame = 12;  // length, name and checksum of a chunk

std::uint32_t Big(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes[at + i]);
  }
  return value;
}

struct Header {
  std::uint32_t width = 0, height = 0;
  int bits = 0, planes = 0;
};

Header HeaderOf(std::string_view data) {
  const auto byte = [&](std::size_t i) {
    return static_cast<int>(static_cast<unsigned char>(data[i]));
  };
  constexpr int kPlanes[] = {1, 0, 3, 1, 2, 0, 4};  // by color type
  Header header{Big(data, 0), Big(data, 4), byte(8), 0};
  header.planes = byte(9) < 7 ? kPlanes[byte(9)] : 0;
  return header;
}

void RequirePossible(const std::string& name, const Header& header, std::uint64_t stored) {
  const std::string size = std::to_string(header.width) + " x " + std::to_string(header.height);
  const double pixels = static_cast<double>(header.width) * header.height;
  if (pixels > kMostPicturePixels) {
    throw InputFailure(name, "has " + size + " pixels, expected at most 250 megapixels");
  }
  // Deflate makes at most 1032 bytes of one.
  constexpr double kMostExpansion = 1032;
  if (pixels * header.planes * header.bits / 8 >
      kMostExpansion * (static_cast<double>(stored) + 1)) {
    throw InputFailure(name, "is damaged: its " + std::to_string(stored) +
                                 " bytes of data cannot hold " + size + " pixels");
  }
}

}  // namespace

PngSummary RequireWholePng(const std::string& name, std::string_view bytes) {
  PngSummary summary;
  Header header;
  std::uint64_t stored = 0;
  for (std::size_t at = kSignature;;) {
    if (bytes.size() - at < kFrame) {
      throw CutShort(name, bytes.size(),
                     "expected a further chunk from byte " + std::to_string(at) + " on");
    }
    const std::uint32_t length = Big(bytes, at);
    const std::string_view kind = bytes.substr(at + 4, 4);
    if (at == kSignature && (kind != "IHDR" || length != 13)) {
      throw InputFailure(name, "is no picture that can be decoded, or is damaged");
    }
    if (length > bytes.size() - at - kFrame) {
      throw CutShort(name, bytes.size(),
                     "expected at least " + std::to_string(at + kFrame + std::uint64_t{length}) +
                         " (its chunk at byte " + std::to_string(at) + " has " +
                         std::to_string(length) + " bytes of data)");
    }
    const std::string_view data = bytes.substr(at + 8, length);
    if (kind == "IHDR") header = HeaderOf(data.substr(0, 13));
    if (kind == "IDAT") stored += length;
    if (kind == "eXIf") summary.exif = std::string(data);
    if (kind == "IEND") break;
    at += kFrame + length;
  }
  RequirePossible(name, header, stored);
  summary.bits = header.bits;
  return summary;
}

}  // namespace dravix::tool
