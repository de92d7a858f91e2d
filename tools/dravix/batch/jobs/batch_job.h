/// A job as a batch sees it: what to ask a worker, and by which files and hashes the answer stays
/// true.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "batch/jobs/job_result.h"

namespace dravix::tool {

struct BatchJob {
  std::string id;
  std::string place;                  ///< "jobs.jsonl: line 3"
  std::string options;                ///< that the worker gets: JSON, as it stands in the manifest
  std::vector<std::string> inputs;    ///< every file that is read, in the order of the options
  std::vector<std::string> pictures;  ///< that the job writes beside its result
  std::uint64_t samples = 0;          ///< of its photographs, by which its time is estimated
  std::uint64_t memory = 0;           ///< bytes that a worker needs for it
  /// Whether it shows only beside the photograph if the options are wrong usage.
  bool needsRehearsal = false;

  /// SHA-256 of the options.
  [[nodiscard]] std::string OptionsHash() const;
};

/// What a worker is asked to do with a job's options.
enum class Task { kRehearse, kMeasure };

/// A line with its end.
[[nodiscard]] std::string QuestionLine(Task task, const std::string& options);
struct Question {
  Task task = Task::kMeasure;
  std::string options;  ///< those of the job
};
/// The question that QuestionLine made the line of; fails on anything else.
[[nodiscard]] Question ParseQuestion(const std::string& line);

/// What a worker says; `bytes` of the result's file follow the line.
struct Answer {
  int code = 0;
  std::string message;                                  ///< "" when the code is 0
  JobFigures figures;                                   ///< when the code is 0; without the hash
  std::vector<std::optional<std::string>> inputHashes;  ///< in the order of `inputs`
  std::uint64_t bytes = 0;
  double seconds = 0;  ///< that the measurement itself took
};
[[nodiscard]] std::string AnswerLine(const Answer& answer);
/// Fails on anything but a line of AnswerLine.
[[nodiscard]] Answer ParseAnswer(const std::string& line);

}  // namespace dravix::tool
