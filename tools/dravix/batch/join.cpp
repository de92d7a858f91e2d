// The results of shards as those of an undivided run.
#include <set>
#include <utility>

#include "base/paths.h"
#include "batch/batch.h"
#include "files/files.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

namespace fs = std::filesystem;

/// A million results of a kilobyte each.
constexpr std::uintmax_t kMostOfResults = std::uintmax_t{1} << 30;

/// N, and the places I of which there are results.
struct Found {
  std::size_t count = 0;
  std::set<std::size_t> places;
};

Found FindShards(const fs::path& folder, const std::string& name) {
  Found found;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const auto shard = ShardOfFile("results", base::NameOf(at->path().filename()));
    if (!shard) continue;
    if (found.count != 0 && found.count != shard->count) {
      throw InputFailure(name, "holds results of " + std::to_string(found.count) + " and of " +
                                   std::to_string(shard->count) +
                                   " shards, expected those of one division; remove the others");
    }
    found.count = shard->count;
    found.places.insert(shard->index);
  }
  if (error) throw InputFailure(name, "cannot be read: " + error.message());
  return found;
}

void RequireAll(const std::string& name, const Found& found) {
  if (found.count == 0) {
    throw InputFailure(name, "holds no results of shards, expected results.1-of-N.jsonl and so on");
  }
  for (std::size_t i = 1; i <= found.count; ++i) {
    if (found.places.contains(i)) continue;
    throw InputFailure(name, "holds the results of " + std::to_string(found.places.size()) +
                                 " of " + std::to_string(found.count) + " shards, expected " +
                                 FileOf("results", Shard{i, found.count}) +
                                 " too; run `dravix batch` with --shard " + std::to_string(i) +
                                 "/" + std::to_string(found.count));
  }
}

std::vector<JobResult> ReadResults(const std::string& name) {
  const std::string text = ReadFile(name, kMostOfResults);
  return ParseResults(name, text);
}

/// Job k of the manifest is job k / N of shard k % N + 1.
std::vector<JobResult> Interleaved(const std::string& name,
                                   const std::vector<std::vector<JobResult>>& shards) {
  std::size_t total = 0;
  for (const auto& results : shards) total += results.size();
  std::vector<JobResult> all;
  std::set<std::string> ids;
  for (std::size_t k = 0; k < total; ++k) {
    const auto& results = shards[k % shards.size()];
    const std::size_t at = k / shards.size();
    if (at >= results.size() || !ids.insert(results[at].id).second) {
      throw InputFailure(name,
                         "holds results of shards that do not fit together, expected those "
                         "of one manifest");
    }
    all.push_back(results[at]);
  }
  return all;
}

}  // namespace

std::vector<JobResult> JoinShards(const fs::path& folder, const std::string& folderName) {
  const Found found = FindShards(folder, folderName);
  RequireAll(folderName, found);
  std::vector<std::vector<JobResult>> shards;
  for (std::size_t i = 1; i <= found.count; ++i) {
    const fs::path file = folder / FileOf("results", Shard{i, found.count});
    shards.push_back(ReadResults(base::NameOf(file)));
  }
  std::vector<JobResult> all = Interleaved(folderName, shards);
  WriteFile(base::NameOf(folder / FileOf("results", std::nullopt)), ResultLines(all));
  return all;
}

}  // namespace dravix::tool
