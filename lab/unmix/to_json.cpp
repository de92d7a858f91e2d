#include <dravix/lab/unmix.h>

#include "lab/base/json.h"

namespace dravix::lab {
namespace {

Json RefusedJson(const std::optional<UnmixRefused>& refused) {
  if (!refused) return nullptr;
  Json json;
  json["id"] = NameOf(refused->id);
  json["message"] = refused->message;
  json["values"] = Json::object();
  for (const auto& [name, value] : refused->values) json["values"][name] = NumberOrNull(value);
  return json;
}

}  // namespace

std::string ToJson(const Unmixed& unmixed) {
  Json json;
  json["leds"] = ToPair(unmixed.leds);
  json["spot"]["sigma"] = NumberOrNull(unmixed.spotSigma);
  json["spot"]["disk"] = NumberOrNull(unmixed.spotDisk);
  json["shift"] = Json::array({NumberOrNull(unmixed.shift.x), NumberOrNull(unmixed.shift.y)});
  json["noise_gain"] = NumberOrNull(unmixed.noiseGain);
  json["contrast_seen"] = NumberOrNull(unmixed.contrastSeen);
  json["plain_error"] = NumberOrNull(unmixed.plainError);
  json["sigma"] = NumberOrNull(unmixed.sigma);
  json["mean"] = NumberOrNull(unmixed.mean);
  json["refused"] = RefusedJson(unmixed.refused);
  return Dumped(json);
}

}  // namespace dravix::lab
