#include "photographs/formats/bitmap_size.h"

#include <cmath>
#include <cstdint>

#include "photographs/formats/camera_picture.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

double Little(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = count; i-- > 0;) {
    value = value << 8U | static_cast<unsigned char>(bytes[at + i]);
  }
  return count == 4 ? static_cast<std::int32_t>(value) : static_cast<std::int16_t>(value);
}

}  // namespace

void RequirePossibleBitmap(const std::string& name, std::string_view bytes) {
  constexpr std::size_t kHeaders = 26;  // the file's header and the smallest one of a bitmap
  if (bytes.size() < kHeaders) {
    throw InputFailure(name, "is no picture that can be decoded, or is damaged");
  }
  // The oldest kind has sides of 16 bits. A negative height says that rows run from the top.
  const bool oldest = Little(bytes, 14, 4) == 12;
  const double width = std::abs(oldest ? Little(bytes, 18, 2) : Little(bytes, 18, 4));
  const double height = std::abs(oldest ? Little(bytes, 20, 2) : Little(bytes, 22, 4));
  // Two bytes make runs of up to 255 pixels.
  constexpr double kMostPixelsPerByte = 128;
  const double most =
      std::min(kMostPicturePixels, kMostPixelsPerByte * static_cast<double>(bytes.size()));
  if (width * height <= most) return;
  throw InputFailure(name, "is damaged: its " + std::to_string(bytes.size()) +
                               " bytes cannot hold " + std::to_string(std::lround(width)) + " x " +
                               std::to_string(std::lround(height)) + " pixels");
}

}  // namespace dravix::tool
