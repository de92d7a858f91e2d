/// What a picture file holds: its samples as they are stored, and what it says about them.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dravix::tool {

/// The most pixels that a picture is read for: two and a half times those of the largest sensors.
inline constexpr double kMostPicturePixels = 250e6;

/// How the picture was taken, as far as the file says. Empty texts are unknown.
struct ExposureData {
  std::string maker, model, serial;
  std::string lens;
  std::string taken;  ///< the camera's local time, "2026-11-22T08:30:00"
  std::optional<double> seconds, iso, fNumber;
  int orientation = 1;  ///< EXIF's code; 1 is upright. Pictures are never turned by it.
};

/// The samples of a sensor without light. The values repeat over the picture: the one of plane p at
/// (x, y) is values[((y % rows) * columns + x % columns) * planes + p].
struct BlackLevel {
  int rows = 1, columns = 1, planes = 1;
  std::vector<double> values;
};

struct CameraPicture {
  std::string format;   ///< "jpeg", "png", "tiff", "dng", "pgm", "raw", "camera-raw", "shot" ...
  std::string decoder;  ///< the library that unpacked a camera's own format; else empty
  /// 8 or 16 bits unsigned; one plane, or three with red first. Rows run from the top.
  cv::Mat samples;
  bool sensor = false;  ///< a sensor's own numbers, which stay as they are
  int bits = 0;         ///< of a stored sample; 0 where unknown
  /// The colors of the first two rows of a color sensor, "rggb"; empty where there is none.
  /// Other letters or words name a mosaic that cannot be demosaiced.
  std::string mosaic;
  std::optional<BlackLevel> black;
  std::optional<double> white;  ///< the sample at which the sensor saturates
  ExposureData exposure;
};

/// Whether the mosaic is one of the four that `--mosaic` knows.
[[nodiscard]] inline bool IsBayer(const std::string& mosaic) {
  return mosaic == "rggb" || mosaic == "grbg" || mosaic == "bggr" || mosaic == "gbrg";
}

}  // namespace dravix::tool
