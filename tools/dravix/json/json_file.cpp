#include "json/json_file.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "files/files.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// The tool's own files nest four levels. What walks over a document calls itself for each level,
/// so that a file of a few hundred kilobytes could use up the stack.
constexpr int kDeepest = 64;

/// The tool's own objects have at most 30 members. A document keeps them in the order of the file
/// and searches them one by one, so that the time to read an object grows with the square of their
/// number.
constexpr int kMostMembers = 1000;

/// A truth file of 100,000 blocks, the most that are written, has 36 MB. A document takes many
/// times the memory of its text.
constexpr std::uintmax_t kMostOfJson = std::uintmax_t{64} << 20;

constexpr const char* kExpected = ", expected a file that the tool or a person wrote";

/// Fails for what would take far more time or stack than its size lets expect. Brackets and commas
/// are counted before the text is parsed, because the parser's own way to stop early looks at all
/// elements of a list again after each of them.
void RequireModestShape(const std::string& name, std::string_view text) {
  std::array<int, kDeepest + 1> members{};  // of the object at each level, less one
  std::array<bool, kDeepest + 1> isObject{};
  std::size_t depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char sign = text[i];
    if (inString) {
      if (sign == '\\') ++i;
      inString = sign != '"';
    } else if (sign == '"') {
      inString = true;
    } else if (sign == '{' || sign == '[') {
      if (depth == kDeepest) {
        throw InputFailure(name, "nests its values deeper than " + std::to_string(kDeepest) +
                                     " levels" + kExpected);
      }
      ++depth;
      members.at(depth) = 0;
      isObject.at(depth) = sign == '{';
    } else if ((sign == '}' || sign == ']') && depth > 0) {
      --depth;
    } else if (sign == ',' && isObject.at(depth) && ++members.at(depth) == kMostMembers) {
      throw InputFailure(name, "has an object of more than " + std::to_string(kMostMembers) +
                                   " members" + kExpected);
    }
  }
}

}  // namespace

Json ParseJson(const std::string& name, std::string_view text) {
  RequireModestShape(name, text);
  Json json = Json::parse(text, nullptr, false);
  if (json.is_discarded()) throw InputFailure(name, "is no valid JSON");
  return json;
}

Json ReadJson(const std::string& name) { return ParseJson(name, ReadFile(name, kMostOfJson)); }

}  // namespace dravix::tool
