// The journal that an earlier run left, and results of shards.
#include "batch/jobs/journal.h"
#include "fuzz/target.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(batch_journal, input) {
  const std::string text = Text(input.Rest());
  for (const auto& [id, entry] : tool::ParseJournal(text)) {
    const std::string line = tool::JournalLine(entry);
    const auto again = tool::ParseJournal(line);
    Require(again.size() == 1, "an entry survives the journal");
    Require(tool::JournalLine(again.begin()->second) == line, "as the same line");
  }
  try {
    const std::string lines = tool::ResultLines(tool::ParseResults("fuzzed", text));
    Require(tool::ResultLines(tool::ParseResults("again", lines)) == lines,
            "results survive their file");
  } catch (const tool::Failure&) {
    return;
  }
}

}  // namespace dravix::fuzz
