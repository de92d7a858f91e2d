/// What is measured, and how: the options of `dravix measure`, which every way to measure shares.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/arguments/area_arguments.h"
#include "files/names.h"
#include "metadata/metadata.h"
#include "photographs/photograph.h"

namespace dravix::tool {

struct MeasurementOptions {
  std::string photo;
  std::string output;             ///< .lum; empty to save no result
  std::string image, debugImage;  ///< pictures to write; empty for none
  std::string board, blocks;      ///< the checkerboard and its "WxH" blocks; both or none
  AreaArguments area;
  std::string find;  ///< "blur" or "auto" to search for the lit area instead
  std::optional<std::int32_t> topLeds, bottomLeds, rowGroup, lastWidth, lastHeight;
  PhotographOptions photograph;
  MetadataOptions metadata;
};

/// Adds all of them to a command; `options` must live as long as the command does.
void AddMeasurementOptions(CLI::App& command, MeasurementOptions& options);

/// Refuses what the options alone show to be wrong, before any work is done.
void CheckUsage(const MeasurementOptions& options);

/// All files that are read.
[[nodiscard]] std::vector<NamedFile> InputsOf(const MeasurementOptions& options);

/// Blocks of the checkerboard across and down. Fails as wrong usage where they are not at least
/// 2 x 2.
[[nodiscard]] cv::Size BlocksOf(const MeasurementOptions& options);
/// LEDs of the last column's and the last row's blocks; -1 where they are like the others.
[[nodiscard]] cv::Size LastOf(const MeasurementOptions& options);

}  // namespace dravix::tool
