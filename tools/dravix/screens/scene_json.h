/// A scene of the simulator as JSON, with a range for every number.
#pragma once

#include <string>

#include "sim/scene.h"
#include "terminal/console.h"

namespace dravix::tool {

[[nodiscard]] Json SceneJson(const sim::Scene& scene);
/// Sets the fields that `json` names; the rest of `scene` stays. Fails on unknown names and on
/// values out of range; the message begins with `where` and names the field.
void ApplyScene(const std::string& where, const Json& json, sim::Scene& scene);
/// Fails when the screen has too many lit LEDs or no such part, or when the photograph would be too
/// large or empty.
void RequireReasonable(const std::string& where, const sim::Scene& scene);

}  // namespace dravix::tool
