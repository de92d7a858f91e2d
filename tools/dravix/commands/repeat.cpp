#include <dravix/lab/repeatability.h>

#include <cmath>
#include <memory>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "matrices/matrix_files.h"
#include "report/result_report.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

constexpr const char* kRepeatExamples =
    "Examples:\n"
    "  dravix repeat a.lum b.lum c.lum                        how well does it repeat?\n"
    "  dravix repeat a.lum b.lum c.lum -o mean.lum --sigma deviation.npy --json\n\n"
    "The results are measured from photographs of one pose, taken one after another. A difference "
    "is real when it is larger than what 19 of 20 LEDs show that did not change.";

struct RepeatOptions {
  std::vector<std::string> results;
  std::string output, sigma;
  bool json = false;
};

void CheckRepeatUsage(const RepeatOptions& o) {
  if (o.results.size() < 2) {
    throw UsageFailure("repeat: found one result, expected at least two from the same pose");
  }
  if (!o.output.empty()) RequireExtension("-o", o.output, ".lum");
  if (!o.sigma.empty()) RequireExtension("--sigma", o.sigma, ".npy");
  std::vector<NamedFile> inputs;
  for (const std::string& name : o.results) inputs.push_back({"result", name});
  RequireDistinctFiles(inputs, {{"-o", o.output}, {"--sigma", o.sigma}});
}

bool AreSame(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat x;
  cv::Mat y;
  a.convertTo(x, CV_64F);
  b.convertTo(y, CV_64F);
  // NaN equals nothing, not even itself, so that two of them differ here and are left out.
  const cv::Mat either = (x == x) | (y == y);
  return cv::countNonZero((x != y) & either) == 0;
}

/// A copy of a result would make the measurement look better than it is.
void RequireOwnNoise(const RepeatOptions& o, const std::vector<cv::Mat>& results) {
  for (std::size_t k = 1; k < results.size(); ++k) {
    for (std::size_t i = 0; i < k; ++i) {
      if (!AreSame(results[i], results[k])) continue;
      throw InputFailure(o.results[k], "has the same values as " + o.results[i] +
                                           ", expected another photograph with its own noise");
    }
  }
}

std::vector<cv::Mat> Loaded(const RepeatOptions& o) {
  std::vector<cv::Mat> results;
  for (const std::string& name : o.results) {
    results.push_back(LoadValues(name).matrix);
    if (results.back().size() == results.front().size()) continue;
    throw InputFailure(name, "has " + SizeText(results.back().size()) + " LEDs, expected " +
                                 SizeText(results.front().size()) + " as in " + o.results.front());
  }
  RequireOwnNoise(o, results);
  return results;
}

lab::Repeatability Repeated(const RepeatOptions& o, const std::vector<cv::Mat>& results) {
  try {
    return lab::RepeatabilityOf(results);
  } catch (const std::invalid_argument& error) {
    throw MeasurementFailure(o.results.front(), error.what());
  }
}

std::vector<std::string> WarningsFor(const RepeatOptions& o, const lab::Repeatability& r) {
  std::vector<std::string> warnings;
  if (r.partly > 0) {
    warnings.push_back(o.results.front() + ": not all " + std::to_string(r.results) +
                       " results measured " + std::to_string(r.partly) + " of " +
                       std::to_string(r.size.area()) + " LEDs");
  }
  // What photographs of two poses, or of two pictures, differ by; noise is a percent or two.
  constexpr double kLargest = 0.1;
  if (r.leveled.deviation > kLargest) {
    warnings.push_back(o.results.front() + ": LEDs repeat within " +
                       PercentText(r.leveled.deviation) +
                       " only: were all photographs taken from one pose, of one picture?");
  }
  // A drift that noise does not explain: the levels are means over very many LEDs.
  if (r.levelDeviation > r.leveled.deviation) {
    warnings.push_back(o.results.front() + ": the level drifts by " +
                       PercentText(r.levelDeviation) +
                       ", more than single LEDs differ by: let "
                       "screen and camera warm up");
  }
  return warnings;
}

std::string DifferenceText(const lab::RealDifference& real, int results) {
  return PercentText(real.single) + "; means of " + std::to_string(results) + ": " +
         PercentText(real.means) + "; anywhere on the screen: " + PercentText(real.anywhere);
}

void Report(const RepeatOptions& o, const lab::Repeatability& r) {
  const std::vector<std::string> warnings = WarningsFor(o, r);
  for (const std::string& warning : warnings) PrintWarning(warning);
  if (o.json) {
    Json json = Json::parse(lab::ToJson(r));
    json["files"] = o.results;
    json["warnings"] = warnings;
    if (!o.output.empty()) json["result"] = o.output;
    PrintJson(json);
    return;
  }
  Print(ReportLine("LEDs", SizeText(r.size)) + ReportLine("results", std::to_string(r.results)) +
        ReportLine("mean", NumberText(r.mean)) +
        ReportLine("drift of level", PercentText(r.levelDeviation)) +
        ReportLine("of one LED", PercentText(r.asMeasured.deviation) + " as measured, " +
                                     PercentText(r.leveled.deviation) + " without the drift") +
        ReportLine("real difference", DifferenceText(r.asMeasured, r.results)) +
        ReportLine("without drift", DifferenceText(r.leveled, r.results)) +
        (o.output.empty() ? "" : ReportLine("result", o.output)) +
        (o.sigma.empty() ? "" : ReportLine("sigma", o.sigma)));
}

void RunRepeat(const RepeatOptions& o) {
  CheckRepeatUsage(o);
  const lab::Repeatability repeatability = Repeated(o, Loaded(o));
  if (!o.output.empty()) WriteFile(o.output, EncodeLum(repeatability.means));
  if (!o.sigma.empty()) WriteFile(o.sigma, EncodeNpy(repeatability.deviations));
  Report(o, repeatability);
}

}  // namespace

void AddRepeatCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "repeat", "Say how well measurements of one pose repeat, and which difference is real.");
  const auto o = std::make_shared<RepeatOptions>();
  command.add_option("results", o->results, "two or more results of one pose: .lum or .npy")
      ->required();
  command.add_option("-o,--output", o->output, "where to save the mean of each LED, .lum");
  command.add_option("--sigma", o->sigma,
                     "where to save the standard deviation of each LED, .npy of 32-bit floats");
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string(kRepeatExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { RunRepeat(*o); });
}

}  // namespace dravix::tool
