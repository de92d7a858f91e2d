/// PNG files: whether they are whole, and their EXIF block. OpenCV decodes the pixels.
#pragma once

#include <string>
#include <string_view>

namespace dravix::tool {

struct PngSummary {
  int bits = 0;  ///< of a stored sample
  std::string exif;
};

/// Walks the chunks of a PNG. Fails with one line when the file ends before its last chunk, or
/// claims a picture that its data cannot hold.
[[nodiscard]] PngSummary RequireWholePng(const std::string& name, std::string_view bytes);

}  // namespace dravix::tool
