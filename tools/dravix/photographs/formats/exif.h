/// Exposure data of cameras, from the EXIF tags of TIFF, DNG, JPEG and PNG files.
#pragma once

#include <string_view>

#include "photographs/formats/camera_picture.h"
#include "photographs/formats/tiff_directory.h"

namespace dravix::tool {

/// From a TIFF's first directory and the EXIF directory that it names.
[[nodiscard]] ExposureData ExposureOf(const TiffDirectory& first);
/// From an EXIF block as JPEG and PNG carry it, with or without its leading "Exif" mark. Nothing
/// when it is damaged.
[[nodiscard]] ExposureData ExposureOfBlock(std::string_view block);

/// "2026:11:22 08:30:00" as "2026-11-22T08:30:00"; empty for any other form.
[[nodiscard]] std::string TimeOfExif(std::string_view text);

}  // namespace dravix::tool
