/// One part of a manifest, for engines that run several processes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace dravix::tool {

/// Shard I of N has the manifest's jobs I, I + N, I + 2N and so on, counted from 1.
struct Shard {
  std::size_t index = 1;  ///< I, 1 to N
  std::size_t count = 1;  ///< N

  [[nodiscard]] bool Has(std::size_t job) const { return job % count == index - 1; }  ///< from 0
};

/// "2/8". Fails as wrong usage on anything else.
[[nodiscard]] Shard ParseShard(const std::string& text);

/// "results.jsonl" for all jobs, "results.2-of-8.jsonl" for a shard; also for the other files of a
/// run, with their first word as `kind`.
[[nodiscard]] std::string FileOf(const std::string& kind, const std::optional<Shard>& shard);

/// The shard whose file of that kind has this name; empty for every other name.
[[nodiscard]] std::optional<Shard> ShardOfFile(const std::string& kind, const std::string& name);

}  // namespace dravix::tool
