/// Cameras' own raw files, and DNG files that are compressed or packed, unpacked by LibRaw where
/// the tool was built with it (the CMake option DRAVIX_LIBRAW).
#pragma once

#include <string>

#include "photographs/formats/camera_picture.h"

namespace dravix::tool {

/// Unpacks the visible part of the sensor's plane: no white balance, no scaling, no black level
/// taken off, no turning. Fails with one line; without LibRaw that line names the option.
[[nodiscard]] CameraPicture ReadCameraRaw(const std::string& name, std::string& bytes);

/// "LibRaw 0.20.2", or empty where the tool was built without.
[[nodiscard]] std::string CameraRawDecoder();

}  // namespace dravix::tool
