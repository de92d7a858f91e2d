#include "batch/batch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <utility>

#include "base/one_line.h"
#include "base/paths.h"
#include "batch/batch_progress.h"
#include "batch/jobs/append_file.h"
#include "batch/jobs/journal.h"
#include "batch/workers/crew.h"
#include "batch/workers/memory_budget.h"
#include "files/files.h"
#include "files/sha256.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

namespace fs = std::filesystem;

using Journal = std::map<std::string, JournalEntry>;

/// A million jobs of a kilobyte each.
constexpr std::uintmax_t kMostOfJournal = std::uintmax_t{1} << 30;

/// The names in both and the same hashes, in the same order.
bool StillHold(const std::vector<HashedFile>& noted, const std::vector<std::string>& names) {
  const auto holds = [](const HashedFile& file, const std::string& name) {
    return file.name == name && Sha256OfFile(name) == file.sha256;
  };
  return std::equal(noted.begin(), noted.end(), names.begin(), names.end(), holds);
}

/// The work of one run on one folder.
class Run {
 public:
  explicit Run(const BatchPlan& plan) : plan_(plan), budget_(plan.memory) {
    results_.resize(plan.jobs.size());
  }

  BatchOutcome Do();

 private:
  [[nodiscard]] fs::path Place(const std::string& file) const {
    return plan_.folder / *base::PathOf(file);
  }
  [[nodiscard]] std::string Shown(const std::string& file) const {
    return base::NameOf(*base::PathOf(plan_.folderName) / *base::PathOf(file));
  }

  void Open(AppendFile& file, const std::string& kind) const;
  /// The result that an earlier run noted, where all that it rests on is as it was.
  [[nodiscard]] std::optional<JobResult> Kept(const BatchJob& job) const;
  void Work(std::size_t index, Worker& worker);
  /// A job from its question on, until its result is stored.
  struct Asked {
    Asked(MemoryBudget& budget, std::uint64_t need) : memory(budget.Take(need)) {}
    MemoryBudget::Part memory;  ///< that the worker needs, and then the result
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    Answer answer;
    std::string bytes;  ///< of the result's file
  };
  void Finish(std::size_t index, const Asked& asked);
  void ForgetResults();
  [[nodiscard]] JobResult Stored(const BatchJob& job, const Answer& answer,
                                 const std::string& bytes) const;
  void Note(const BatchJob& job, const Answer& answer, const JobResult& result, double seconds);
  void Add(AppendFile& file, const std::string& kind, const std::string& line);
  void WriteResults();

  const BatchPlan& plan_;
  MemoryBudget budget_;
  AppendFile journalFile_, timesFile_;
  Journal journal_;
  std::vector<JobResult> results_;  // each thread writes those of its jobs
  std::mutex mutex_;                // of all that follows
  std::once_flag forgotten_;
  std::size_t kept_ = 0;
  std::string notKept_;
  std::optional<BatchProgress> progress_;
};

void Run::Open(AppendFile& file, const std::string& kind) const {
  const std::string name = FileOf(kind, plan_.shard);
  switch (file.Open(Place(name))) {
    case AppendFile::Opened::kYes:
      return;
    case AppendFile::Opened::kInUse:
      throw OutputFailure(Shown(name),
                          "another run of `dravix batch` is at work here; wait for it, or give "
                          "another folder with -o");
    case AppendFile::Opened::kNo:
      break;
  }
  throw OutputFailure(Shown(name), "cannot be written: " + file.Reason().message());
}

std::optional<JobResult> Run::Kept(const BatchJob& job) const {
  const auto found = journal_.find(job.id);
  if (found == journal_.end()) return std::nullopt;
  const JournalEntry& entry = found->second;
  if (!entry.result.figures || entry.options != job.OptionsHash()) return std::nullopt;
  const std::string output = base::NameOf(Place(job.id + ".lum"));
  const bool holds = Sha256OfFile(output) == entry.result.figures->sha256 &&
                     StillHold(entry.inputs, job.inputs) && StillHold(entry.pictures, job.pictures);
  return holds ? std::optional(entry.result) : std::nullopt;
}

/// Results of an earlier run no longer say what the folder holds as soon as a job is done anew.
void Run::ForgetResults() {
  std::call_once(forgotten_, [this] {
    std::error_code ignored;
    fs::remove(Place(FileOf("results", plan_.shard)), ignored);
  });
}

/// Writes the result's file, and says what became of the job. One that failed leaves no file.
JobResult Run::Stored(const BatchJob& job, const Answer& answer, const std::string& bytes) const {
  JobResult result{job.id, answer.code, answer.message, {}};
  const std::string file = job.id + ".lum";
  const fs::path place = Place(file);
  if (answer.code == 0) {
    const std::string name = base::NameOf(place);
    try {
      WriteFile(name, bytes);
      result.figures = answer.figures;
      result.figures->sha256 = Sha256Of(bytes);
      return result;
    } catch (const Failure& failure) {
      // The results must not say where the folder is.
      const std::string text = failure.what();
      const std::string prefix = base::Visible(name);
      const std::string reason =
          text.starts_with(prefix) ? text.substr(prefix.size()) : ": " + text;
      result = FailedJob(job.id, failure.Exit(), file + reason);
    }
  }
  std::error_code error;
  if (fs::is_regular_file(fs::symlink_status(place, error))) fs::remove(place, error);
  return result;
}

void Run::Add(AppendFile& file, const std::string& kind, const std::string& line) {
  const std::error_code reason = file.Add(line);
  if (!reason || !notKept_.empty()) return;
  notKept_ = Shown(FileOf(kind, plan_.shard)) + ": cannot be written: " + reason.message();
}

void Run::Note(const BatchJob& job, const Answer& answer, const JobResult& result, double seconds) {
  JournalEntry entry{job.OptionsHash(), {}, {}, result};
  for (std::size_t i = 0; i < std::min(job.inputs.size(), answer.inputHashes.size()); ++i) {
    entry.inputs.push_back({job.inputs[i], answer.inputHashes[i].value_or("")});
  }
  for (const std::string& picture : job.pictures) {
    entry.pictures.push_back({picture, Sha256OfFile(picture).value_or("")});
  }
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const Json times = {{"id", job.id},
                      {"ended", std::chrono::duration_cast<std::chrono::seconds>(now).count()},
                      {"seconds", seconds},
                      {"measuring_seconds", answer.seconds}};
  const std::lock_guard lock(mutex_);
  Add(journalFile_, "journal", JournalLine(entry));
  Add(timesFile_, "times", LineOf(times));
}

void Run::Work(std::size_t index, Worker& worker) {
  const BatchJob& job = plan_.jobs[index];
  if (auto kept = Kept(job)) {
    results_[index] = *std::move(kept);
    const std::lock_guard lock(mutex_);
    ++kept_;
    progress_->Keep(job.samples);
    return;
  }
  ForgetResults();
  const auto asked = std::make_shared<Asked>(budget_, job.memory);
  std::tie(asked->answer, asked->bytes) = worker.Ask(Task::kMeasure, job);
  // Flushing a result to the disk takes time in which the worker can measure.
  worker.DoBeside([this, index, asked] { Finish(index, *asked); });
}

void Run::Finish(std::size_t index, const Asked& asked) {
  const BatchJob& job = plan_.jobs[index];
  results_[index] = Stored(job, asked.answer, asked.bytes);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - asked.start;
  Note(job, asked.answer, results_[index], seconds.count());
  const std::lock_guard lock(mutex_);
  progress_->End(job.samples, results_[index].code == 0);
}

void Run::WriteResults() {
  const std::string name = FileOf("results", plan_.shard);
  const std::string content = ResultLines(results_);
  try {
    WriteFile(base::NameOf(Place(name)), content);
  } catch (const Failure& failure) {
    throw Failure(ExitCode::kOutput, failure.what());
  }
}

BatchOutcome Run::Do() {
  const auto start = std::chrono::steady_clock::now();
  Open(journalFile_, "journal");
  Open(timesFile_, "times");
  journal_ = ParseJournal(journalFile_.Content(kMostOfJournal));
  double samples = 0;
  for (const BatchJob& job : plan_.jobs) samples += static_cast<double>(job.samples);
  progress_.emplace(plan_.jobs.size(), samples, plan_.workers);
  ShareOut(plan_.jobs.size(), plan_.workers, plan_.workerWords,
           [this](std::size_t index, Worker& worker) { Work(index, worker); });
  progress_.reset();
  WriteResults();
  BatchOutcome outcome;
  outcome.kept = kept_;
  outcome.workers = static_cast<unsigned>(std::min<std::size_t>(plan_.workers, results_.size()));
  outcome.results = std::move(results_);
  outcome.resultsFile = Shown(FileOf("results", plan_.shard));
  outcome.notKept = notKept_;
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return outcome;
}

/// The jobs that have to be tried beside their photographs.
std::vector<const BatchJob*> Doubtful(const BatchPlan& plan) {
  std::vector<const BatchJob*> jobs;
  for (const BatchJob& job : plan.jobs) {
    if (job.needsRehearsal) jobs.push_back(&job);
  }
  if (jobs.empty()) return jobs;
  Journal journal;
  try {
    const fs::path file = plan.folder / FileOf("journal", plan.shard);
    journal = ParseJournal(ReadFile(base::NameOf(file), kMostOfJournal));
  } catch (const Failure&) {
    return jobs;  // there is none yet
  }
  // What an earlier run has measured with the same options need not be tried again.
  std::erase_if(jobs, [&](const BatchJob* job) {
    const auto found = journal.find(job->id);
    return found != journal.end() && found->second.result.figures &&
           found->second.options == job->OptionsHash();
  });
  return jobs;
}

}  // namespace

void RequireUsable(const BatchPlan& plan) {
  const std::vector<const BatchJob*> jobs = Doubtful(plan);
  std::vector<std::string> refusals(jobs.size());
  MemoryBudget budget(plan.memory);
  ShareOut(jobs.size(), plan.workers, plan.workerWords, [&](std::size_t index, Worker& worker) {
    const auto part = budget.Take(jobs[index]->memory);
    const Answer answer = worker.Ask(Task::kRehearse, *jobs[index]).first;
    if (answer.code == static_cast<int>(ExitCode::kUsage)) refusals[index] = answer.message;
  });
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    if (refusals[i].empty()) continue;
    constexpr std::string_view kPrefix = "dravix: ";
    std::string_view text = refusals[i];
    if (text.starts_with(kPrefix)) text.remove_prefix(kPrefix.size());
    throw UsageFailure(jobs[i]->place + ": " + std::string(text));
  }
}

BatchOutcome RunBatch(const BatchPlan& plan) { return Run(plan).Do(); }

}  // namespace dravix::tool
