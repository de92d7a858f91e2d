#include "batch/batch.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "base/one_line.h"
#include "base/paths.h"
#include "batch/jobs/manifest.h"
#include "batch/workers/machine.h"
#include "commands/arguments/job_inputs.h"
#include "commands/batch_worker.h"
#include "commands/commands.h"
#include "files/files.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/exit_codes.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBatchExamples =
    "A line of the manifest is a job, with the options of `dravix measure` by their long names "
    "with underscores; file names are relative to the manifest:\n"
    "  {\"id\": \"a\", \"photo\": \"a.shot\", \"region\": \"a.roi\"}\n"
    "  {\"id\": \"b\", \"photo\": \"b.shot\", \"find\": \"blur\"}\n\n"
    "Examples:\n"
    "  dravix batch monday.jsonl -o monday\n"
    "  dravix batch monday.jsonl -o monday --shard 2/8    the second of eight parts\n"
    "  dravix batch --join monday                         results.jsonl of all parts\n\n"
    "Run it again after an interruption, or after adding lines: it does what is missing.";

struct BatchOptions {
  std::string manifest, output, join, shard;
  std::optional<int> workers;
  bool json = false, answer = false;
};

void CheckBatchUsage(const BatchOptions& o) {
  if (!o.join.empty()) {
    const bool alone = o.manifest.empty() && o.output.empty() && o.shard.empty() && !o.workers;
    if (!alone) throw UsageFailure("batch: --join goes with --json only");
    return;
  }
  if (o.manifest.empty() || o.output.empty()) {
    throw UsageFailure("batch: give a manifest and -o DIR, or --join DIR");
  }
  constexpr int kMostWorkers = 1024;
  if (o.workers && (*o.workers < 1 || *o.workers > kMostWorkers)) {
    throw Unexpected("--workers", std::to_string(*o.workers), "1 to 1024");
  }
}

/// Names in a manifest are relative to it, for this process and for its workers.
void GoToFolderOf(const fs::path& manifest) {
  const fs::path folder = manifest.parent_path();
  if (folder.empty()) return;
  std::error_code error;
  fs::current_path(folder, error);
  if (error) throw InputFailure(base::NameOf(folder), "cannot be entered: " + error.message());
}

void RequireOwnPictures(const std::vector<BatchJob>& jobs) {
  std::set<fs::path> used;
  for (const BatchJob& job : jobs) {
    for (const std::string& input : job.inputs) {
      used.insert(PathOf(input).lexically_normal());
    }
  }
  for (const BatchJob& job : jobs) {
    for (const std::string& picture : job.pictures) {
      const bool isNew = used.insert(PathOf(picture).lexically_normal()).second;
      if (isNew) continue;
      throw UsageFailure(job.place + ": " + InQuotes(picture) +
                         ": is read or written by another job, expected a name of its own");
    }
  }
}

/// All jobs of the manifest, so that one division into shards refuses what every other one does.
std::vector<BatchJob> ReadJobs(const BatchOptions& o, const std::string& text,
                               const fs::path& folder) {
  std::vector<BatchJob> jobs;
  for (const ManifestLine& line : ParseManifest(o.manifest, text)) {
    const std::string output = base::NameOf(folder / PathOf(line.id + ".lum"));
    jobs.push_back(JobOf(line, line.Place(o.manifest), output));
  }
  RequireOwnPictures(jobs);
  return jobs;
}

void KeepShard(std::vector<BatchJob>& jobs, const std::optional<Shard>& shard) {
  if (!shard) return;
  std::size_t number = 0;
  std::erase_if(jobs, [&](const BatchJob&) { return !shard->Has(number++); });
}

/// Workers share nine tenths of what is free now: other programs will want some, too.
std::uint64_t MemoryForWorkers() {
  constexpr std::uint64_t kUnknown = std::uint64_t{2} << 30;
  const std::uint64_t free = AvailableMemory().value_or(kUnknown);
  return free - free / 10;
}

Json SummaryJson(const BatchOutcome& outcome, std::size_t failed) {
  Json json;
  json["jobs"] = outcome.results.size();
  json["measured"] = outcome.results.size() - failed;
  json["failed"] = failed;
  json["done_before"] = outcome.kept;
  json["workers"] = outcome.workers;
  json["seconds"] = outcome.seconds;
  json["results"] = outcome.resultsFile;
  return json;
}

std::string SummaryText(const BatchOutcome& outcome, std::size_t failed) {
  return ReportLine("jobs", std::to_string(outcome.results.size())) +
         ReportLine("measured", std::to_string(outcome.results.size() - failed)) +
         ReportLine("done before", std::to_string(outcome.kept)) +
         ReportLine("failed", std::to_string(failed)) +
         ReportLine("workers", std::to_string(outcome.workers)) +
         ReportLine("time", NumberText(outcome.seconds) + " s") +
         ReportLine("results", outcome.resultsFile);
}

std::size_t Failures(const std::vector<JobResult>& results) {
  return static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(), [](const auto& r) { return r.code != 0; }));
}

/// The first failures; all of them are in the results.
void PrintFailures(const std::vector<JobResult>& results) {
  constexpr int kMostShown = 20;
  int shown = 0;
  for (const JobResult& result : results) {
    if (result.code == 0) continue;
    if (++shown > kMostShown) return;
    constexpr std::string_view kPrefix = "dravix: ";
    std::string_view message = result.message;
    if (message.starts_with(kPrefix)) message.remove_prefix(kPrefix.size());
    PrintWarning("job " + result.id + ": " + std::string(message));
  }
}

void EndAs(const std::vector<JobResult>& results, const std::string& resultsFile) {
  const ExitCode exit = ExitOf(results);
  if (exit == ExitCode::kOk) return;
  throw Failure(exit, std::to_string(Failures(results)) + " of " + std::to_string(results.size()) +
                          " jobs failed; " + resultsFile + " says why");
}

void RunJoin(const BatchOptions& o) {
  const std::vector<JobResult> results = JoinShards(PathOf(o.join), o.join);
  const std::string name = base::NameOf(PathOf(o.join) / "results.jsonl");
  const std::size_t failed = Failures(results);
  if (o.json) {
    PrintJson({{"jobs", results.size()},
               {"measured", results.size() - failed},
               {"failed", failed},
               {"results", name}});
  } else {
    Print(ReportLine("jobs", std::to_string(results.size())) +
          ReportLine("failed", std::to_string(failed)) + ReportLine("results", name));
  }
  EndAs(results, name);
}

BatchPlan PlanFor(const BatchOptions& o) {
  BatchPlan plan;
  constexpr std::uintmax_t kMostOfManifest = std::uintmax_t{1} << 30;
  if (!o.shard.empty()) plan.shard = ParseShard(o.shard);
  const std::string text = ReadFile(o.manifest, kMostOfManifest);
  plan.folder = fs::absolute(PathOf(o.output));
  plan.folderName = o.output;
  GoToFolderOf(fs::absolute(PathOf(o.manifest)));
  plan.jobs = ReadJobs(o, text, plan.folder);
  plan.workers = o.workers ? static_cast<unsigned>(*o.workers) : UsableCores();
  plan.memory = MemoryForWorkers();
  plan.workerWords = {"batch", "--answer"};
  return plan;
}

void RunBatch(const BatchOptions& o) {
  CheckBatchUsage(o);
  if (!o.join.empty()) {
    RunJoin(o);
    return;
  }
  BatchPlan plan = PlanFor(o);
  KeepShard(plan.jobs, plan.shard);
  RequireUsable(plan);
  MakeFolder(plan.folder, o.output);
  const BatchOutcome outcome = RunBatch(plan);
  const std::size_t failed = Failures(outcome.results);
  if (o.json) {
    PrintJson(SummaryJson(outcome, failed));
  } else {
    Print(SummaryText(outcome, failed));
  }
  PrintFailures(outcome.results);
  if (!outcome.notKept.empty()) {
    throw Failure(ExitCode::kOutput, outcome.notKept + "; a later run will do jobs again");
  }
  EndAs(outcome.results, outcome.resultsFile);
}

}  // namespace

void AddBatchCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "batch", "Measure many photographs, on all cores; can be interrupted and run again.");
  const auto o = std::make_shared<BatchOptions>();
  command.add_option("manifest", o->manifest, "jobs, one JSON object a line, .jsonl");
  command.add_option("-o,--output", o->output, "folder for results, made where it is missing")
      ->type_name("DIR");
  command.add_option("--workers", o->workers, "photographs at a time (default: one for each core)");
  command.add_option("--shard", o->shard, "only jobs I, I + N, I + 2N and so on of the manifest")
      ->type_name("I/N");
  command.add_option("--join", o->join, "make results.jsonl of those of all shards")
      ->type_name("DIR");
  command.add_flag("--json", o->json, "print the answer as JSON");
  // With this a batch starts its workers.
  command.add_flag("--answer", o->answer)->group("");
  command.footer(std::string(kBatchExamples) + "\n\n" + kExitCodeHelp +
                 " A batch ends with 5 when jobs failed, and with 4 when an output was not "
                 "written.");
  command.callback([o] {
    if (o->answer) {
      AnswerQuestions();
    } else {
      RunBatch(*o);
    }
  });
}

}  // namespace dravix::tool
