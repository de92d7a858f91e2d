#include "batch/jobs/journal.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "json/json_file.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

Json FilesJson(const std::vector<HashedFile>& files) {
  Json list = Json::array();
  for (const HashedFile& file : files) {
    list.push_back({{"file", file.name}, {"sha256", file.sha256}});
  }
  return list;
}

std::optional<std::vector<HashedFile>> FilesOf(const Json& json) {
  if (!json.is_array()) return std::nullopt;
  std::vector<HashedFile> files;
  for (const Json& item : json) {
    const bool good = item.is_object() && item.contains("file") && item["file"].is_string() &&
                      item.contains("sha256") && item["sha256"].is_string();
    if (!good) return std::nullopt;
    files.push_back({item["file"].get<std::string>(), item["sha256"].get<std::string>()});
  }
  return files;
}

std::optional<JournalEntry> EntryOf(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  for (const char* key : {"options", "inputs", "pictures", "result"}) {
    if (!json.contains(key)) return std::nullopt;
  }
  auto inputs = FilesOf(json["inputs"]);
  auto pictures = FilesOf(json["pictures"]);
  auto result = ResultOf(json["result"]);
  if (!json["options"].is_string() || !inputs || !pictures || !result) return std::nullopt;
  return JournalEntry{json["options"].get<std::string>(), *std::move(inputs), *std::move(pictures),
                      *std::move(result)};
}

std::optional<JournalEntry> EntryIn(std::string_view line) {
  try {
    return EntryOf(ParseJson("journal", line));
  } catch (const Failure&) {
    return std::nullopt;
  }
}

}  // namespace

std::string JournalLine(const JournalEntry& entry) {
  Json json;
  json["id"] = entry.result.id;
  json["options"] = entry.options;
  json["inputs"] = FilesJson(entry.inputs);
  json["pictures"] = FilesJson(entry.pictures);
  json["result"] = ResultJson(entry.result);
  return LineOf(json);
}

std::map<std::string, JournalEntry> ParseJournal(std::string_view text) {
  std::map<std::string, JournalEntry> entries;
  while (!text.empty()) {
    const auto end = text.find('\n');
    // What has no end may be the first half of something else.
    if (end == std::string_view::npos) break;
    if (auto entry = EntryIn(text.substr(0, end))) {
      std::string id = entry->result.id;
      entries.insert_or_assign(std::move(id), *std::move(entry));
    }
    text.remove_prefix(end + 1);
  }
  return entries;
}

}  // namespace dravix::tool
