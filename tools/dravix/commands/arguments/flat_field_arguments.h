/// The options that take the lens's loss of light out of a result: --flat and --flat-from.
#pragma once

#include <dravix/lab/flat_field.h>
#include <dravix/shot.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "files/names.h"

namespace dravix::tool {

struct FlatFieldArguments {
  std::string blank;                 ///< name of a photograph of an evenly lit surface
  std::vector<std::string> shifted;  ///< names of two photographs of one screen
};

void AddFlatFieldArguments(CLI::App& command, FlatFieldArguments& arguments);

/// Fails as wrong usage when both are given.
void CheckUsage(const std::string& command, const FlatFieldArguments& arguments);

/// The files that the options name, for RequireDistinctFiles.
[[nodiscard]] std::vector<NamedFile> FilesOf(const FlatFieldArguments& arguments);

/// Opens a photograph the way in which the command opened the one that is corrected.
using PhotographOpener = std::function<Shot(const std::string& name)>;

/// The flat field for the photograph `photo` of that name; none without the options. Fails where
/// the photographs do not belong to it, or do not tell the loss.
[[nodiscard]] std::optional<lab::FlatField> FlatFieldFor(const FlatFieldArguments& arguments,
                                                         const PhotographOpener& open,
                                                         const std::string& photoName,
                                                         const Shot& photo,
                                                         const lab::FlatFieldArea& area);

}  // namespace dravix::tool
