/// Pictures that the library itself reads: raw dumps, and DNG as camera hosts write it.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

/// What a DNG's strip tag points at: an array of offsets, or the samples themselves. kAuto takes
/// the array where the file has several strips.
enum class DngOffsets { kAuto, kArray, kDirect };

/// One plane of 16-bit samples. Each fails with one line that says what is wrong with the file.
[[nodiscard]] cv::Mat ReadRaw(const std::string& name, cv::Size size);
[[nodiscard]] cv::Mat ReadDng(const std::string& name, DngOffsets offsets);

}  // namespace dravix::tool
