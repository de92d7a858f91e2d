/// What became of a job, as a line of results.jsonl says it.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "terminal/console.h"
#include "terminal/exit_codes.h"

namespace dravix::tool {

/// What is known of a job that was measured.
struct JobFigures {
  std::string sha256;  ///< of the .lum, 64 hexadecimal digits
  cv::Size leds;
  std::optional<double> mean, cv;  ///< as `analyze` gives them; empty where it has none
  std::vector<std::string> findings;
};

struct JobResult {
  std::string id;
  int code = 0;         ///< that `dravix measure` would have ended with
  std::string message;  ///< its line on stderr, without the line's end; "" when measured
  std::optional<JobFigures> figures;  ///< of a job whose code is 0
};

/// The result of a job that failed.
[[nodiscard]] JobResult FailedJob(const std::string& id, ExitCode code, const std::string& text);

/// {"id", "code", "message", "sha256", "leds", "mean", "cv", "findings"}, in this order; null for
/// what a failed job does not have.
[[nodiscard]] Json ResultJson(const JobResult& result);
/// The result that ResultJson made this of; empty for anything else.
[[nodiscard]] std::optional<JobResult> ResultOf(const Json& json);

/// The lines of results.jsonl.
[[nodiscard]] std::string ResultLines(const std::vector<JobResult>& results);

/// The results in the text of a file of that name. Fails as wrong input, naming the line, where it
/// holds anything else.
[[nodiscard]] std::vector<JobResult> ParseResults(const std::string& name, std::string_view text);

/// One line of JSON with its line's end. Bytes that are not UTF-8 become replacement characters.
[[nodiscard]] std::string LineOf(const Json& json);

/// What a batch has come to: kOk when all were measured, kOutput where an output could not be
/// written, else kMeasurement.
[[nodiscard]] ExitCode ExitOf(const std::vector<JobResult>& results);

}  // namespace dravix::tool
