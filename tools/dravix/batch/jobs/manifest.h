/// Manifests: one JSON object a line, each a job with an id of its own.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace dravix::tool {

struct ManifestLine {
  std::size_t number = 0;  ///< of the line in the file, counted from 1
  std::string id;
  std::string options;  ///< the object without its id, as JSON

  /// "jobs.jsonl: line 3", with which messages about the line begin.
  [[nodiscard]] std::string Place(const std::string& manifest) const;
};

/// The jobs of a manifest's text in their order; empty lines are skipped. Fails, naming `manifest`
/// and the line, as wrong input where a line is no JSON object within the limits of ParseJson, and
/// as wrong usage where an id is missing, is not of letters, digits, '-', '_' and '.' (no '.'
/// first, at most 200 of them), or was there before.
[[nodiscard]] std::vector<ManifestLine> ParseManifest(const std::string& manifest,
                                                      std::string_view text);

}  // namespace dravix::tool
