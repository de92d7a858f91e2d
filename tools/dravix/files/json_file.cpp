#include "files/json_file.h"

#include <cstdint>

#include "files/files.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// The tool's own files nest four levels. What walks over a document calls itself for each level,
/// so that a file of a few hundred kilobytes could use up the stack.
constexpr int kDeepest = 64;

/// A truth file of 100,000 blocks, the most that are written, has 36 MB. A document takes many
/// times the memory of its text.
constexpr std::uintmax_t kMostOfJson = std::uintmax_t{64} << 20;

}  // namespace

Json ParseJson(const std::string& name, std::string_view text) {
  const auto limitDepth = [&name](int depth, Json::parse_event_t event, const Json&) {
    const bool opens =
        event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
    if (opens && depth >= kDeepest) {
      throw InputFailure(name, "nests its values deeper than " + std::to_string(kDeepest) +
                                   " levels, expected a file that the tool or a person wrote");
    }
    return true;
  };
  Json json = Json::parse(text, limitDepth, false);
  if (json.is_discarded()) throw InputFailure(name, "is no valid JSON");
  return json;
}

Json ReadJson(const std::string& name) { return ParseJson(name, ReadFile(name, kMostOfJson)); }

}  // namespace dravix::tool
