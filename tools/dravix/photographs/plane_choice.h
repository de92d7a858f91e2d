/// Which plane of a picture becomes the photograph's.
#pragma once

#include <dravix/shot.h>

#include <string>

#include "photographs/formats/camera_picture.h"
#include "photographs/photograph.h"

namespace dravix::tool {

/// The options --channel, --type and --mosaic; empty ones were not given.
struct PlaneWish {
  std::string channel, type, mosaic;
};

[[nodiscard]] inline bool IsGray(const std::string& channel) {
  return channel == "gray" || channel == "grey";
}

/// Sets the image and type of `shot` from 16-bit samples, demosaiced where that is asked for, and
/// notes in `source` what was done. A channel of a mosaic is the demosaiced plane, of the picture's
/// full size; at the pixels of that color its samples are the sensor's own.
void ChoosePlane(const std::string& name, const PlaneWish& wish, const CameraPicture& picture,
                 Shot& shot, PhotographSource& source);

/// The same for a .shot, which keeps its plane when nothing is asked for.
void ChoosePlaneOfShot(const std::string& name, const PlaneWish& wish, Shot& shot,
                       PhotographSource& source);

}  // namespace dravix::tool
