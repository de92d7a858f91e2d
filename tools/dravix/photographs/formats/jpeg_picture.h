/// JPEG files, decoded so that missing or damaged data is noticed.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

struct JpegPicture {
  cv::Mat samples;  ///< 8 bits; one plane, or three with red first
  std::string exif;
};

/// Decodes a JPEG file. Fails with one line that says what is missing when the file ends early, and
/// where the damage is when its data contradicts itself; other decoders fill in gray.
[[nodiscard]] JpegPicture ReadJpeg(const std::string& name, const std::string& bytes);

}  // namespace dravix::tool
