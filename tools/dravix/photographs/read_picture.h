/// Reads any picture file: of cameras, of picture programs, or a raw dump.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "photographs/formats/camera_picture.h"
#include "photographs/library_pictures.h"

namespace dravix::tool {

struct PictureLayout {
  std::optional<cv::Size> rawSize;  ///< of a raw dump, which does not say it
  std::optional<int> camType;       ///< the camera of a raw dump, instead of a size
  /// Says that a DNG has one of the two layouts that some camera hosts write; kAuto reads by the
  /// rules of the format where the file calls itself a DNG.
  DngOffsets dngOffsets = DngOffsets::kAuto;
};

/// Fails with one line that names the file, what was found and what was expected.
[[nodiscard]] CameraPicture ReadCameraPicture(const std::string& name, const PictureLayout& layout);

}  // namespace dravix::tool
