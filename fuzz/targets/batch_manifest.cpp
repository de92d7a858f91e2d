// A manifest of jobs, and what its lines stand for.
#include "batch/jobs/manifest.h"
#include "commands/arguments/job_options.h"
#include "fuzz/target.h"
#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(batch_manifest, input) {
  const std::string text = Text(input.Rest());
  try {
    for (const tool::ManifestLine& line : tool::ParseManifest("fuzzed", text)) {
      Require(!line.id.empty() && line.id.find('/') == std::string::npos, "an id is a plain name");
      Require(!tool::OptionsOfJob(tool::Json::parse(line.options)).photo.empty(),
              "a job has a photograph");
    }
  } catch (const tool::Failure&) {
    return;
  }
}

}  // namespace dravix::fuzz
