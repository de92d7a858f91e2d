/// Pictures that stand in for those of files, so that what options make of a file shows without
/// reading all of it.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "photographs/formats/camera_picture.h"

namespace dravix::tool {

struct PictureStandIn {
  CameraPicture picture;  ///< of the kind that ReadCameraPicture would give, with few samples
  cv::Size size;          ///< that the file claims, pixels
};
/// By the first bytes of a JPEG, PNG or binary gray map, or by the directories of an uncompressed
/// TIFF or DNG. Empty for other files, and where these leave open what the decoded picture will be.
[[nodiscard]] std::optional<PictureStandIn> StandInForPicture(const std::string& name);

/// For a raw dump of that size.
[[nodiscard]] std::optional<PictureStandIn> StandInForDump(cv::Size size);

/// Enough black samples of a type for whatever is done to a picture.
[[nodiscard]] cv::Mat FewSamples(int type);

}  // namespace dravix::tool
