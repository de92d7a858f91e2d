/// What a job of a batch reads, and what it will cost.
#pragma once

#include <string>
#include <vector>

#include "batch/jobs/batch_job.h"
#include "batch/jobs/manifest.h"
#include "commands/arguments/measurement_options.h"

namespace dravix::tool {

/// The names of all files that a measurement reads.
[[nodiscard]] std::vector<std::string> InputNames(const MeasurementOptions& options);

/// The job of a manifest's line, whose result will be the file `output`. Fails as wrong usage, with
/// `place` in front, on what the line and the heads of its files show to be wrong.
[[nodiscard]] BatchJob JobOf(const ManifestLine& line, const std::string& place,
                             const std::string& output);

}  // namespace dravix::tool
