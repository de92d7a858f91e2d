/// A photograph for a command: from a .shot, or from any picture file whose plane is chosen.
#pragma once

#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "photographs/formats/camera_picture.h"
#include "terminal/console.h"

namespace CLI {
class App;
}

namespace dravix::tool {

/// How a file that is no .shot becomes a photograph. The defaults take it as it is.
struct PhotographOptions {
  std::string rawSize;              ///< "WxH" of a raw dump
  std::optional<int> camType;       ///< the camera of a raw dump; also sets the device's type
  std::string type;                 ///< what the plane holds, the name of a ShotType
  std::string mosaic;               ///< wins over the file's own
  std::string channel;              ///< "r", "g", "b" or "gray"
  std::string linearize;            ///< "srgb"
  std::string blackLevel = "keep";  ///< "keep", "subtract" or a number
  std::string dngLayout = "auto";   ///< "auto", "array" or "direct"
  bool flip = false;

  void AddTo(CLI::App& command, const std::string& sizeOption = "--raw-size");
};

/// What became of the file's samples.
struct PhotographSource {
  std::string format, decoder;
  int bits = 0;
  bool stretched = false;  ///< 8-bit samples became those of 16 bits, 0 to 65535
  std::string plane;       ///< "r", "g", "b", "gray", "rgb", "mosaic", or that of a .shot, "CIE_Y"
  std::string mosaic;      ///< of the sensor; empty without
  bool demosaiced = false;
  std::optional<BlackLevel> black;  ///< as the file or the option says
  bool blackSubtracted = false;
  std::optional<double> white;
  ExposureData exposure;
};

struct Photograph {
  Shot shot;
  PhotographSource source;
};

/// Reads a photograph. Its device and capture groups are filled in from the file's exposure data,
/// where there are any. Fails with one line; wrong options are wrong usage.
[[nodiscard]] Photograph OpenPhotograph(const std::string& name, const PhotographOptions& options);

/// A photograph with a few black samples in place of its own.
struct PhotographStandIn {
  Shot shot;
  cv::Size size;  ///< of the photograph itself, pixels
};
/// Shows by the first bytes of a file, or by its directories, whether options suit it: where
/// OpenPhotograph refuses them as wrong usage, this fails too, or is empty. It is empty where these
/// do not say enough, and may fail for other reasons where OpenPhotograph does not.
[[nodiscard]] std::optional<PhotographStandIn> StandInFor(const std::string& name,
                                                          const PhotographOptions& options);

/// {"format", "plane", "mosaic", "black_level", ...}; null where the file does not say.
[[nodiscard]] Json SourceJson(const PhotographSource& source);
struct SourceLine {
  std::string label, value;
};
/// Which plane, mosaic and black level were used, and how the photograph was taken; nothing for a
/// .shot that was taken as it is.
[[nodiscard]] std::vector<SourceLine> SourceLines(const PhotographSource& source);
/// What a viewer does and dravix does not: turn the picture. Empty for upright ones.
[[nodiscard]] std::string OrientationWarning(const std::string& name,
                                             const PhotographSource& source);

}  // namespace dravix::tool
