#include "batch/jobs/shard.h"

#include <charconv>
#include <string_view>

#include "terminal/failure.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kMostShards = 1000000;
constexpr std::string_view kBetween = "-of-";
constexpr std::string_view kExtension = ".jsonl";

/// A number as the tool itself writes it: no sign, no zero in front.
std::optional<std::size_t> Count(std::string_view text) {
  std::size_t value = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end || text.starts_with('0')) return std::nullopt;
  return value;
}

/// "2/8" or, with another sign between the numbers, "2-of-8".
std::optional<Shard> ShardIn(std::string_view text, std::string_view between) {
  const auto at = text.find(between);
  if (at == std::string_view::npos) return std::nullopt;
  const auto index = Count(text.substr(0, at));
  const auto count = Count(text.substr(at + between.size()));
  if (!index || !count || *count > kMostShards || *index > *count) return std::nullopt;
  return Shard{*index, *count};
}

}  // namespace

Shard ParseShard(const std::string& text) {
  const auto shard = ShardIn(text, "/");
  if (!shard) {
    throw Unexpected("--shard", InQuotes(text),
                     "I/N with I from 1 to N, for example 2/8, and N at most 1000000");
  }
  return *shard;
}

std::string FileOf(const std::string& kind, const std::optional<Shard>& shard) {
  std::string name = kind;
  if (shard) {
    name.append(".").append(std::to_string(shard->index)).append(kBetween);
    name.append(std::to_string(shard->count));
  }
  return name.append(kExtension);
}

std::optional<Shard> ShardOfFile(const std::string& kind, const std::string& name) {
  std::string_view rest = name;
  if (!rest.starts_with(kind + ".") || !rest.ends_with(kExtension)) return std::nullopt;
  rest.remove_prefix(kind.size() + 1);
  if (rest.size() < kExtension.size()) return std::nullopt;
  rest.remove_suffix(kExtension.size());
  return ShardIn(rest, kBetween);
}

}  // namespace dravix::tool
