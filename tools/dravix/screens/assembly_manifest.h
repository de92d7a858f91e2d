/// The list of results that are put together to a screen.
#pragma once

#include <dravix/lab/assembly.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::tool {

/// One line of the manifest.
struct ManifestEntry {
  int line = 0;        ///< from 1
  std::string result;  ///< as the manifest has it
  std::string file;    ///< the same, from the current folder
  std::string shot;    ///< the file that says where it belongs; empty where the line does
  std::string plane;
  lab::Placement placement;
};

/// The entries of a file with one JSON object a line: {"result": "a.lum", "shot": "a.shot"}, or
/// with "partition", "pattern" and "plane" instead of the shot. Names are relative to the file.
///
/// Fails as wrong input with the line for what cannot be used: unknown and missing fields, shots
/// that cannot be read or do not say where they belong, placements that lab::Check refuses, counts
/// of lit LEDs that do not follow from the placement, results of different screens, and planes that
/// no file can be called after. The results themselves are not read.
[[nodiscard]] std::vector<ManifestEntry> ReadAssemblyManifest(const std::string& name);

}  // namespace dravix::tool
