#include <dravix/lab/report.h>

#include <charconv>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/reported_photograph.h"
#include "files/files.h"
#include "files/names.h"
#include "report/result_report.h"
#include "stored/stored_data.h"
#include "terminal/analysis_arguments.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kReportExamples =
    "Examples:\n"
    "  dravix report screen.lum -o report.html --module 64x64\n"
    "  dravix report screen.lum -o report.html --photo photo.shot --region area.roi\n"
    "  dravix report before.lum after.lum -o change.html --title \"Wall 3, corrected\"\n\n"
    "The page is one file that any browser of 2023 or later opens, without a network. All results "
    "share one color scale. A map that would make the page too large is coarser than the result; "
    "the page says so, and its figures are of the result itself.";

struct ReportOptions {
  std::vector<std::string> results;
  std::string output, title, scale;
  PhotographArguments photograph;
  AnalysisArguments analysis;
};

/// "LOW,HIGH" as the two ends of a color scale.
std::optional<lab::ReportScale> ScaleFor(const ReportOptions& o) {
  if (o.scale.empty()) return std::nullopt;
  const char* const end = o.scale.data() + o.scale.size();
  lab::ReportScale scale;
  const auto low = std::from_chars(o.scale.data(), end, scale.low);
  if (low.ec == std::errc() && low.ptr != end && *low.ptr == ',') {
    const auto high = std::from_chars(low.ptr + 1, end, scale.high);
    const bool isWhole = high.ec == std::errc() && high.ptr == end;
    if (isWhole && std::isfinite(scale.low) && std::isfinite(scale.high) &&
        scale.low < scale.high) {
      return scale;
    }
  }
  throw Unexpected("--scale", InQuotes(o.scale), "LOW,HIGH, two numbers, such as 100,1200");
}

/// A measured result that was meant as a second one would be lost.
void RequireFiles(const ReportOptions& o) {
  RequireExtension("-o", o.output, ".html");
  std::vector<NamedFile> inputs = FilesOf(o.photograph);
  for (const std::string& result : o.results) inputs.push_back({"result", result});
  RequireDistinctFiles(inputs, {{"-o", o.output}});
}

lab::ReportInput InputOf(const ReportOptions& o, const std::string& name) {
  const StoredValues values = LoadValues(name);
  lab::ReportInput input;
  input.file = name;
  input.values = values.matrix;
  input.options = OptionsFor(o.analysis, values.matrix, values.copiedBorder);
  input.analysis = lab::Analyze(values.matrix, input.options);
  input.facts = {{"Numbers", PixelText(values.matrix.type())},
                 {"Bytes of the file", std::to_string(ReadHead(name, 1).size)}};
  if (input.analysis.counted == 0) {
    throw MeasurementFailure(name, "found no LED that counts among " +
                                       SizeText(input.analysis.size) +
                                       ", expected at least one finite value that no --edge "
                                       "leaves out");
  }
  return input;
}

void RunReport(const ReportOptions& o) {
  static_cast<void>(OptionsOf(o.analysis));
  lab::ReportOptions options;
  options.title = o.title;
  options.scale = ScaleFor(o);
  CheckUsage(o.photograph);
  RequireFiles(o);

  std::string page;
  {
    const Progress progress("describing " + o.results.front());
    std::vector<lab::ReportInput> inputs;
    for (const std::string& name : o.results) inputs.push_back(InputOf(o, name));
    options.photograph = PhotographFor(o.photograph);
    page = lab::ReportPage(inputs, options);
  }
  WriteFile(o.output, page);
  Print(ReportLine("report", o.output) + ReportLine("bytes", std::to_string(page.size())));
}

}  // namespace

void AddReportCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "report", "Write one page to look at results: map, curves, tables, defects.");
  const auto o = std::make_shared<ReportOptions>();
  command.add_option("results", o->results, "results to show side by side: .lum or .npy")
      ->required();
  command.add_option("-o,--output", o->output, "page to write, .html")->required();
  command.add_option("--title", o->title, "the page's title");
  command
      .add_option("--scale", o->scale,
                  "luminances of the first and the last color (default: 1st to 99th percentile)")
      ->type_name("LOW,HIGH");
  AddPhotographArguments(command, o->photograph);
  AddAnalysisArguments(command, o->analysis);
  command.footer(std::string(kReportExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { RunReport(*o); });
}

}  // namespace dravix::tool
