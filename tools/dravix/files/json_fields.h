/// The named fields of a JSON object, taken one by one, with messages that say where they stand.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::tool {

class JsonFields {
 public:
  /// `where` begins every message, for example "meta.json: pattern". Fails (usage) unless `json`,
  /// which has to outlive this, is an object.
  JsonFields(std::string where, const Json& json);

  /// The field, null when it is not there. The name is known from now on.
  const Json* Find(const char* name);
  /// Fails when a field is there whose name was never asked for.
  void RequireAllKnown() const;

  /// "meta.json: pattern.loc_x"
  [[nodiscard]] std::string Place(const char* name) const { return where_ + "." + name; }
  /// "meta.json: pattern.loc_x: found true, expected a number"
  [[nodiscard]] Failure Wrong(const char* name, const std::string& expected) const;

 private:
  std::string where_;
  const Json& json_;
  std::vector<std::string> known_;
};

/// Whether it is a whole number from `low` to `high`, whatever its sign and size.
bool IsWholeWithin(const Json& json, double low, double high);

}  // namespace dravix::tool
