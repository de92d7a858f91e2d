#include <dravix/lab/check.h>

#include <cmath>
#include <cstdint>

#include "lab/base/json.h"

namespace dravix::lab {
namespace {

/// Whole numbers without a point, as counts are written.
Json JsonOf(double number) {
  constexpr double kExact = 9007199254740992.0;  // 2^53: whole numbers are exact up to here
  if (std::abs(number) < kExact && number == std::floor(number)) {
    return static_cast<std::int64_t>(number);
  }
  return NumberOrNull(number);
}

Json JsonOf(const std::string& text) { return text; }

template <class T>
Json JsonOf(const std::vector<T>& list);

Json JsonOf(const Finding& finding) {
  Json json;
  json["id"] = finding.id;
  json["severity"] = NameOf(finding.severity);
  json["message"] = finding.message;
  json["values"] = Json::object();
  for (const auto& [name, value] : finding.values) {
    json["values"][name] = std::visit([](const auto& held) { return JsonOf(held); }, value);
  }
  return json;
}

template <class T>
Json JsonOf(const std::vector<T>& list) {
  Json json = Json::array();
  for (const T& item : list) json.push_back(JsonOf(item));
  return json;
}

}  // namespace

std::string ToJson(const std::vector<Finding>& findings) { return Dumped(JsonOf(findings)); }

std::string ToJson(const std::string& photo, const std::vector<Finding>& findings) {
  Json json;
  json["photo"] = photo;
  json["ok"] = IsOk(findings);
  json["findings"] = JsonOf(findings);
  return Dumped(json);
}

}  // namespace dravix::lab
