/// Reads the fields of a JSON object one by one, with messages that say which field is wrong.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::tool {

class JsonFields {
 public:
  /// `where` begins every message, for example "meta.json: pattern". `json` must outlive this
  /// object. Fails as wrong usage unless it is a JSON object.
  JsonFields(std::string where, const Json& json);

  /// The field, or null when it is not there. Makes the name a known one.
  const Json* Find(const char* name);
  /// Fails when the object has a field whose name is not known.
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

/// Whether `json` is a whole number from `low` to `high`.
bool IsWholeWithin(const Json& json, double low, double high);

/// The value on one line. Bytes that are not UTF-8 become replacement characters.
[[nodiscard]] std::string JsonText(const Json& json);

/// A number that may be missing: null then.
[[nodiscard]] Json NumberOrNull(const std::optional<double>& value);
/// Empty for what is no number.
[[nodiscard]] std::optional<double> NumberOrNone(const Json& json);

}  // namespace dravix::tool
