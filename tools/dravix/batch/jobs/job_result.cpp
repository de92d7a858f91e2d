#include "batch/jobs/job_result.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "base/one_line.h"
#include "json/json_fields.h"
#include "json/json_file.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

bool IsCount(const Json& json) { return IsWholeWithin(json, 1, INT32_MAX); }
bool IsNumberOrNull(const Json& json) { return json.is_number() || json.is_null(); }
bool IsText(const Json& json) { return json.is_string(); }

constexpr const char* kKeys[] = {"id",   "code", "message", "sha256",
                                 "leds", "mean", "cv",      "findings"};

/// Whether the object has the keys of a result and no others, and the texts and the code are such.
bool HasShape(const Json& json) {
  if (!json.is_object() || json.size() != std::size(kKeys)) return false;
  const bool complete = std::all_of(std::begin(kKeys), std::end(kKeys),
                                    [&](const char* key) { return json.contains(key); });
  constexpr int kMostCode = 255;
  return complete && IsText(json["id"]) && IsText(json["message"]) &&
         IsWholeWithin(json["code"], 0, kMostCode);
}

bool HasFigures(const Json& json) {
  const Json& leds = json["leds"];
  const Json& findings = json["findings"];
  return IsText(json["sha256"]) && leds.is_array() && leds.size() == 2 && IsCount(leds[0]) &&
         IsCount(leds[1]) && IsNumberOrNull(json["mean"]) && IsNumberOrNull(json["cv"]) &&
         findings.is_array() && std::all_of(findings.begin(), findings.end(), IsText);
}

JobFigures FiguresOf(const Json& json) {
  JobFigures figures;
  figures.sha256 = json["sha256"].get<std::string>();
  figures.leds = {json["leds"][0].get<int>(), json["leds"][1].get<int>()};
  figures.mean = NumberOrNone(json["mean"]);
  figures.cv = NumberOrNone(json["cv"]);
  figures.findings = json["findings"].get<std::vector<std::string>>();
  return figures;
}

}  // namespace

JobResult FailedJob(const std::string& id, ExitCode code, const std::string& text) {
  return {id, static_cast<int>(code), "dravix: " + base::OneLine(text), {}};
}

Json ResultJson(const JobResult& result) {
  Json json;
  json["id"] = result.id;
  json["code"] = result.code;
  json["message"] = result.message;
  for (const char* key : {"sha256", "leds", "mean", "cv", "findings"}) json[key] = nullptr;
  if (!result.figures) return json;
  const JobFigures& figures = *result.figures;
  json["sha256"] = figures.sha256;
  json["leds"] = {figures.leds.width, figures.leds.height};
  json["mean"] = NumberOrNull(figures.mean);
  json["cv"] = NumberOrNull(figures.cv);
  json["findings"] = figures.findings;
  return json;
}

std::optional<JobResult> ResultOf(const Json& json) {
  if (!HasShape(json)) return std::nullopt;
  JobResult result;
  result.id = json["id"].get<std::string>();
  result.code = json["code"].get<int>();
  result.message = json["message"].get<std::string>();
  if (result.code != 0) return result;
  if (!HasFigures(json)) return std::nullopt;
  result.figures = FiguresOf(json);
  return result;
}

std::vector<JobResult> ParseResults(const std::string& name, std::string_view text) {
  std::vector<JobResult> results;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    const std::string place = name + ": line " + std::to_string(number);
    auto result = ResultOf(ParseJson(place, line));
    if (!result) throw InputFailure(place, "is no result of a job");
    results.push_back(*std::move(result));
  }
  return results;
}

std::string LineOf(const Json& json) { return JsonText(json) + "\n"; }

std::string ResultLines(const std::vector<JobResult>& results) {
  std::string text;
  for (const JobResult& result : results) text += LineOf(ResultJson(result));
  return text;
}

ExitCode ExitOf(const std::vector<JobResult>& results) {
  ExitCode exit = ExitCode::kOk;
  for (const JobResult& result : results) {
    if (result.code == static_cast<int>(ExitCode::kOutput)) return ExitCode::kOutput;
    if (result.code != 0) exit = ExitCode::kMeasurement;
  }
  return exit;
}

}  // namespace dravix::tool
