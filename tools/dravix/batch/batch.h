/// Measures many photographs, resumably: what is in the journal and still true is not done again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "batch/jobs/batch_job.h"
#include "batch/jobs/job_result.h"
#include "batch/jobs/shard.h"

namespace dravix::tool {

struct BatchPlan {
  std::vector<BatchJob> jobs;  ///< of the shard, in the manifest's order
  std::filesystem::path folder;
  std::string folderName;  ///< as messages name it
  std::optional<Shard> shard;
  unsigned workers = 1;
  std::uint64_t memory = 0;              ///< bytes that all workers together may use
  std::vector<std::string> workerWords;  ///< with which this program answers questions
};

struct BatchOutcome {
  std::vector<JobResult> results;  ///< in the manifest's order
  std::size_t kept = 0;            ///< jobs that were done already
  unsigned workers = 0;            ///< that there were at most
  double seconds = 0;
  std::string resultsFile;  ///< as messages name it
  std::string notKept;  ///< why the journal or the times could not be written; "" when they were
};

/// Fails as wrong usage, naming the line, where a photograph shows that the options of a job cannot
/// be used with it. Looks only at jobs that need it and of which the journal does not know better.
void RequireUsable(const BatchPlan& plan);

/// Does the jobs and writes DIR/ID.lum, the journal, the times and, in the end, the results. Fails
/// where the folder cannot be written, where another run is working on the same part of it, and
/// where the results cannot be written.
[[nodiscard]] BatchOutcome RunBatch(const BatchPlan& plan);

/// Writes the results of all shards in a folder as those of an undivided run, and gives them. Fails
/// as wrong input, and writes nothing, where shards are missing or do not fit together.
std::vector<JobResult> JoinShards(const std::filesystem::path& folder,
                                  const std::string& folderName);

}  // namespace dravix::tool
