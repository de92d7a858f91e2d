/// The library's own files, read with a word about what is wrong with them.
#pragma once

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

/// Fails with one line on files that cannot be opened, are no .shot, or are cut short.
[[nodiscard]] Shot LoadShot(const std::string& name);
[[nodiscard]] RegionOI LoadRegion(const std::string& name);
/// Into the process's one handle.
void LoadResult(const std::string& name);

void SaveShot(const std::string& name, const Shot& shot);
void SaveRegion(const std::string& name, const RegionOI& region);
void SaveResult(const std::string& name);

/// The one handle of the process: a command measures or loads one result.
[[nodiscard]] DravixHandle Handle();
/// The handle's luminances, CV_32FC1, a copy; empty without a result.
[[nodiscard]] cv::Mat Luminances();

/// Luminances from a .lum, a .npy or a truth file (.json).
[[nodiscard]] cv::Mat LoadLuminances(const std::string& name);

/// The shot as one that can be measured: one plane and a pattern with LED counts. Fails otherwise.
void RequireMeasurable(const std::string& name, const Shot& shot);

}  // namespace dravix::tool
