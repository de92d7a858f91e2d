#include "files/json_fields.h"

#include <algorithm>
#include <utility>

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
  return Unexpected(Place(name), json_[name].dump(), expected);
}

bool IsWholeWithin(const Json& json, double low, double high) {
  if (!json.is_number_integer()) return false;
  const auto value = json.get<double>();
  return value >= low && value <= high;
}

}  // namespace dravix::tool
