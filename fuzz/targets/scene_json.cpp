// A scene of the simulator, which the tool reads from a JSON file.
#include "screens/scene_json.h"

#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "json/json_file.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(scene_json, input) {
  const std::string name = ScratchFile("scene.json", input.Rest());
  sim::Scene scene;
  try {
    tool::ApplyScene(name, tool::ReadJson(name), scene);
    tool::RequireReasonable(name, scene);
  } catch (const tool::Failure&) {
    return;
  }
  const tool::Json json = tool::SceneJson(scene);
  sim::Scene again;
  tool::ApplyScene(name, json, again);
  Require(tool::SceneJson(again) == json, "a scene survives its file");
}

}  // namespace dravix::fuzz
