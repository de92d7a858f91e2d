/// The library's own files, with messages that say what is wrong with them.
#pragma once

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

namespace dravix::tool {

/// Each of these three fails when the file cannot be opened, holds something else or is cut short.
[[nodiscard]] Shot LoadShot(const std::string& name);
[[nodiscard]] RegionOI LoadRegion(const std::string& name);
/// Loads into the process's one handle.
void LoadResult(const std::string& name);

void SaveShot(const std::string& name, const Shot& shot);
void SaveRegion(const std::string& name, const RegionOI& region);
void SaveResult(const std::string& name);

/// The one handle of the process. A command measures or loads only one result.
[[nodiscard]] DravixHandle Handle();
/// A copy of the handle's luminances, CV_32FC1; empty when it has no result.
[[nodiscard]] cv::Mat Luminances();

/// Luminances from a .lum, a .npy or a truth file (.json).
[[nodiscard]] cv::Mat LoadLuminances(const std::string& name);

/// A matrix of luminances as a file holds it.
struct StoredValues {
  cv::Mat matrix;                   ///< CV_32FC1, or CV_64FC1 from a .npy of 64-bit floats
  std::optional<int> copiedBorder;  ///< rows and columns on each side of a .lum that are copies
};

/// The matrix alone, from a .lum, a .npy or a truth file (.json).
[[nodiscard]] cv::Mat LoadMatrix(const std::string& name);
/// From a .lum, a .npy or a truth file (.json).
[[nodiscard]] StoredValues LoadValues(const std::string& name);

/// Fails unless the shot can be measured: it holds one plane that is no color mosaic, and a pattern
/// with the counts of lit LEDs.
void RequireMeasurable(const std::string& name, const Shot& shot);

}  // namespace dravix::tool
