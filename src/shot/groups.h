/// The seven optional groups of a shot's metadata, taken together.
#pragma once

#include <dravix/shot.h>

#include <optional>
#include <tuple>

namespace dravix::shot {

/// The values of all groups, in the order in which CopyTo passes them to the setters.
using Groups = std::tuple<std::optional<Shot::Partition>, std::optional<Shot::LedPanel>,
                          std::optional<Shot::Layer>, std::optional<Shot::Pattern>,
                          std::optional<std::int32_t>, std::optional<Shot::Device>,
                          std::optional<Shot::Capture>>;

/// References to a shot's groups: assigning to them changes the shot.
inline auto GroupsOf(Shot& shot) {
  return std::tie(shot.partition, shot.panel, shot.layer, shot.pattern, shot.color, shot.device,
                  shot.capture);
}
inline auto GroupsOf(const Shot& shot) {
  return std::tie(shot.partition, shot.panel, shot.layer, shot.pattern, shot.color, shot.device,
                  shot.capture);
}

}  // namespace dravix::shot
