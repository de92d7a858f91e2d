#include "batch/jobs/manifest.h"

#include <algorithm>
#include <map>
#include <utility>

#include "json/json_fields.h"
#include "json/json_file.h"
#include "json/json_lines.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// File systems take names of 255 bytes; saving needs some for names of its own.
constexpr std::size_t kLongestId = 200;

bool IsIdSign(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_' || c == '.';
}

bool IsId(const std::string& text) {
  return !text.empty() && text.size() <= kLongestId && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), IsIdSign);
}

/// The id as file systems compare it: those of Windows do not distinguish the case of letters.
std::string Compared(std::string id) {
#ifdef _WIN32
  std::transform(id.begin(), id.end(), id.begin(), [](char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
#endif
  return id;
}

std::string TakeId(const std::string& place, Json& object) {
  const auto found = object.find("id");
  if (found == object.end()) throw UsageFailure(place + ": has no \"id\"");
  const bool good = found->is_string() && IsId(found->get_ref<const std::string&>());
  if (!good) {
    throw Unexpected(place + ": id", JsonText(*found),
                     "a text of letters, digits, '-', '_' and '.', not '.' first, at most " +
                         std::to_string(kLongestId));
  }
  std::string id = found->get<std::string>();
  object.erase(found);
  return id;
}

}  // namespace

std::string ManifestLine::Place(const std::string& manifest) const {
  return LinePlace(manifest, number);
}

std::vector<ManifestLine> ParseManifest(const std::string& manifest, std::string_view text) {
  std::vector<ManifestLine> lines;
  std::map<std::string, std::size_t> lineOf;
  ForEachLine(text, [&](std::size_t number, std::string_view row) {
    ManifestLine line;
    line.number = number;
    const std::string place = line.Place(manifest);
    Json options = ParseJson(place, row);
    if (!options.is_object()) {
      throw InputFailure(place, "is no JSON object, expected one with \"id\" and \"photo\"");
    }
    line.id = TakeId(place, options);
    line.options = JsonText(options);
    const auto [before, isNew] = lineOf.emplace(Compared(line.id), number);
    if (!isNew) {
      throw UsageFailure(place + ": id " + InQuotes(line.id) + " is that of line " +
                         std::to_string(before->second) + ", expected one of its own");
    }
    lines.push_back(std::move(line));
  });
  return lines;
}

}  // namespace dravix::tool
