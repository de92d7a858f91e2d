/// The journal of a batch: a line for every job that has ended, with the hashes of all it read and
/// wrote, so that a later run knows what need not be done again.
///
/// Lines are only ever appended, each with its own line's end. A process that is killed leaves at
/// most one line without an end; it counts for nothing, and the next line begins behind it.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "batch/jobs/job_result.h"

namespace dravix::tool {

/// A file and the SHA-256 of its content, as hexadecimal digits.
struct HashedFile {
  std::string name;  ///< as the manifest has it
  std::string sha256;

  [[nodiscard]] bool operator==(const HashedFile&) const = default;
};

struct JournalEntry {
  std::string options;               ///< SHA-256 of the job's options
  std::vector<HashedFile> inputs;    ///< every file that the job read
  std::vector<HashedFile> pictures;  ///< those it wrote beside its result
  JobResult result;                  ///< with the hash of the .lum
};

[[nodiscard]] std::string JournalLine(const JournalEntry& entry);

/// The last entry of each id; lines that are no entry, such as one that was cut short, are left
/// out. Never fails.
[[nodiscard]] std::map<std::string, JournalEntry> ParseJournal(std::string_view text);

}  // namespace dravix::tool
