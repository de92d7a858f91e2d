/// The photograph of a report with the outline of the screen.
#pragma once

#include <dravix/lab/report.h>

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/arguments/area_arguments.h"
#include "files/names.h"

namespace dravix::tool {

/// What was written on the command line.
struct PhotographArguments {
  std::string photo;
  AreaArguments outline;
};

/// Adds the options to a command; `arguments` must live as long as the command does.
void AddPhotographArguments(CLI::App& command, PhotographArguments& arguments);

/// Refuses an outline without a photograph, and more than one outline.
void CheckUsage(const PhotographArguments& arguments);

/// All files that are read.
[[nodiscard]] std::vector<NamedFile> FilesOf(const PhotographArguments& arguments);

/// The photograph with the outline that was given. Without one it is searched for as `region blur`
/// does; where nothing is found, the photograph has no outline and says why. Nothing without
/// --photo.
[[nodiscard]] std::optional<lab::ReportPhotograph> PhotographFor(
    const PhotographArguments& arguments);

}  // namespace dravix::tool
