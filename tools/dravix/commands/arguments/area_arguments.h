/// The options that say where the lit area is: --corners, --region and --truth.
#pragma once

#include <dravix/shot.h>

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "files/names.h"

namespace dravix::tool {

struct AreaArguments {
  std::vector<std::string> corners;  ///< four of "x,y", in any order
  std::string region;                ///< name of a .roi file
  std::string truth;                 ///< name of a simulation's truth file, .json
};

void AddAreaArguments(CLI::App& command, AreaArguments& area);

/// How many of the options are given.
[[nodiscard]] int CountOf(const AreaArguments& area);
/// Fails as wrong usage of `command` unless exactly one of the options is given.
void RequireOneArea(const std::string& command, const AreaArguments& area);
/// Likewise where more than one is given.
void RequireAtMostOneArea(const std::string& command, const AreaArguments& area);

/// The files that the options name, for RequireDistinctFiles.
[[nodiscard]] std::vector<NamedFile> FilesOf(const AreaArguments& area);

/// What messages about corners begin with: the option, or the truth file.
[[nodiscard]] std::string CornersSource(const AreaArguments& area);

/// The four corners that --corners or --truth gives, in that order, in photograph pixels.
[[nodiscard]] std::vector<cv::Point> GivenCorners(const AreaArguments& area);

/// The same, top-left first and clockwise; wrong usage where no order fits.
[[nodiscard]] std::vector<cv::Point> OrderedGivenCorners(const AreaArguments& area);

/// The same, or those found in the region's mask: top-left first and clockwise. Fails where there
/// are none.
[[nodiscard]] std::vector<cv::Point> OrderedCorners(const AreaArguments& area,
                                                    const std::string& photo, const Shot& shot);

}  // namespace dravix::tool
