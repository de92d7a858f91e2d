#include "json/json_fields.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "terminal/text_values.h"

namespace dravix::tool {

JsonFields::JsonFields(std::string where, const Json& json)
    : where_(std::move(where)), json_(json) {
  if (!json_.is_object()) throw UsageFailure(where_ + ": expected an object with named fields");
}

const Json* JsonFields::Find(const char* name) {
  known_.emplace_back(name);
  const auto found = json_.find(name);
  return found == json_.end() ? nullptr : &*found;
}

void JsonFields::RequireAllKnown() const {
  for (const auto& [name, value] : json_.items()) {
    if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
    std::string names;
    for (const auto& known : known_) names += " " + known;
    throw UsageFailure(Place(name.c_str()) + ": unknown, expected one of" + names);
  }
}

Failure JsonFields::Wrong(const char* name, const std::string& expected) const {
  const Json& found = json_[name];
  // JSON has no word for them and would write null; they come from options, not from files.
  if (found.is_number_float() && !std::isfinite(found.get<double>())) {
    return Unexpected(Place(name), NumberText(found.get<double>()), expected);
  }
  return Unexpected(Place(name), JsonText(found), expected);
}

bool IsWholeWithin(const Json& json, double low, double high) {
  if (!json.is_number_integer()) return false;
  const auto value = json.get<double>();
  return value >= low && value <= high;
}

std::string JsonText(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json NumberOrNull(const std::optional<double>& value) { return value ? Json(*value) : Json(); }

std::optional<double> NumberOrNone(const Json& json) {
  return json.is_number() ? std::optional(json.get<double>()) : std::nullopt;
}

}  // namespace dravix::tool
