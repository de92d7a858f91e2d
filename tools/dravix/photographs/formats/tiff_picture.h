/// The main picture of a TIFF or DNG file: where its samples lie, and what they mean.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "photographs/formats/camera_picture.h"
#include "photographs/formats/tiff_directory.h"

namespace dravix::tool {

struct TiffPicture {
  TiffDirectory first;  ///< speaks for the file: camera, exposure
  TiffDirectory main;   ///< describes the picture; may be the first
  bool isDng = false;
  std::uint64_t width = 0, height = 0;
  std::uint64_t samples = 1;      ///< per pixel
  std::uint64_t bits = 1;         ///< per sample
  std::uint64_t compression = 1;  ///< 1 is none
  std::uint64_t photometric = 1;  ///< what a sample stands for: 1 brightness, 2 red, green, blue
};

/// The picture that a TIFF or DNG is about. In a DNG that is the sensor's, which may lie behind a
/// preview; in other files the first one. Fails with one line when the file has no directory.
/// `fetch` is that of TiffBytes.
[[nodiscard]] TiffPicture TiffPictureOf(const std::string& name, std::string_view bytes,
                                        const TiffBytes::Fetch* fetch = nullptr);

/// Fails unless all strips or tiles of the picture lie within the file, and are as large as the
/// picture asks for where that can be known.
void RequireWholeTiff(const std::string& name, const TiffPicture& picture);

/// Whether UnpackTiff can read it: uncompressed samples of 8 to 16 bits, of one plane or three,
/// without a curve to be undone.
[[nodiscard]] bool IsPlainTiff(const TiffPicture& picture);
/// The samples as they are stored: 8 bits as such, more as 16 bits. The picture must be plain and
/// whole.
[[nodiscard]] cv::Mat UnpackTiff(const std::string& name, const TiffPicture& picture);

/// Fails unless OpenCV decodes it to its exact samples: 8 or 16 bits, uncompressed or in a scheme
/// that is known here.
void RequireDecodableTiff(const std::string& name, const TiffPicture& picture);

/// "rggb" from the tags of a color sensor; "other" for a mosaic that is no 2 x 2 of red, green and
/// blue; empty without such tags.
[[nodiscard]] std::string MosaicOf(const TiffPicture& picture);
[[nodiscard]] std::optional<BlackLevel> BlackLevelOf(const TiffPicture& picture);
[[nodiscard]] std::optional<double> WhiteLevelOf(const TiffPicture& picture);
/// The part of the sensor that sees light, as a DNG gives it; else the whole picture.
[[nodiscard]] cv::Rect ActiveAreaOf(const TiffPicture& picture);

}  // namespace dravix::tool
