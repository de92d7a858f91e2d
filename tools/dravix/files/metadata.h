/// A shot's metadata groups as JSON and as options.
#pragma once

#include <dravix/shot.h>

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

#include "terminal/console.h"

namespace dravix::tool {

/// {"partition": {"x": 0, ...}, ...}: the groups that the shot has.
[[nodiscard]] Json MetadataJson(const Shot& shot);
/// Sets the groups that `json` names, through the shot's own setters; fields not named keep their
/// value. Fails, naming `where` and the field, on unknown names, wrong types and refused values.
void ApplyMetadata(const std::string& where, const Json& json, Shot& shot);

/// --metadata FILE and one option per group, which may also stand beside the file.
struct MetadataOptions {
  std::string file;
  std::string leds;  ///< "WxH": a pattern of so many LEDs, all lit
  /// The group and its fields: "device", "id=cam,cam_type=1200".
  std::vector<std::pair<std::string, std::string>> groups;

  void AddTo(CLI::App& command);
  void Apply(Shot& shot) const;
};

}  // namespace dravix::tool
