/// The metadata groups of a photograph as JSON and as command-line options.
#pragma once

#include <dravix/shot.h>

#include <string>
#include <utility>
#include <vector>

#include "terminal/console.h"

namespace CLI {
class App;
}

namespace dravix::tool {

/// The groups that the shot has: {"partition": {"x": 0, ...}, ...}.
[[nodiscard]] Json MetadataJson(const Shot& shot);
/// Sets the groups that `json` names, through the shot's own setters. Fields that are not named
/// keep their values. Fails on unknown names, wrong types and values that a setter refuses; the
/// message begins with `where` and names the field.
void ApplyMetadata(const std::string& where, const Json& json, Shot& shot);

/// The option --metadata FILE and one option per group. Both may be given; the options win.
struct MetadataOptions {
  std::string file;
  std::string leds;  ///< "WxH": a pattern in which all of so many LEDs are lit
  /// Each group with its fields, for example {"device", "id=cam,cam_type=1200"}.
  std::vector<std::pair<std::string, std::string>> groups;

  void AddTo(CLI::App& command);
  void Apply(Shot& shot) const;
};

}  // namespace dravix::tool
