/// A simulator's scene as JSON: every number of it, with the range that makes sense.
#pragma once

#include <string>

#include "sim/scene.h"
#include "terminal/console.h"

namespace dravix::tool {

[[nodiscard]] Json SceneJson(const sim::Scene& scene);
/// Sets what `json` names; the rest of `scene` stays. Fails, naming `where` and the field, on
/// unknown names and on values out of range.
void ApplyScene(const std::string& where, const Json& json, sim::Scene& scene);
/// Fails where the numbers together ask for a photograph that is too large or lies nowhere.
void RequireReasonable(const std::string& where, const sim::Scene& scene);

}  // namespace dravix::tool
