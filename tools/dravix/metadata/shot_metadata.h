/// What a photograph's file says about it.
#pragma once

#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

struct ShotHead {
  Shot shot;          ///< type and groups of metadata; the image is empty
  cv::Size size;      ///< of the pixels that the file holds
  int pixelType = 0;  ///< of these: CV_16UC1 or the like
};
/// A .shot file without its pixels, which are not read. Fails when the file cannot be opened, holds
/// something else or is cut short.
[[nodiscard]] ShotHead LoadShotHead(const std::string& name);
/// The shot alone.
[[nodiscard]] Shot LoadShotMetadata(const std::string& name);

}  // namespace dravix::tool
