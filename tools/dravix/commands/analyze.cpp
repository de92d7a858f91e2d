#include <dravix/lab/analysis.h>
#include <dravix/lab/copied_border.h>

#include <memory>
#include <optional>
#include <string>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "report/analysis_report.h"
#include "stored/stored_data.h"
#include "terminal/analysis_arguments.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kAnalyzeExamples =
    "Examples:\n"
    "  dravix analyze screen.lum                             level, uniformity, defects\n"
    "  dravix analyze screen.lum --module 64x64              also modules and seams\n"
    "  dravix analyze part.lum --at 1920,0 --module 64x64 --cabinet 128x128 --defects bad.csv\n"
    "  dravix analyze screen.lum --without-copies --json     figures of measured LEDs alone\n\n"
    "Module, seams and defects are named by their place on the screen, which --at gives for a "
    "result that shows a part of it. A defect is compared with the median of the 5 x 5 LEDs around "
    "it.";

struct AnalyzeOptions {
  std::string result, defects;
  AnalysisArguments analysis;
  bool json = false;
};

void RunAnalyze(const AnalyzeOptions& o) {
  static_cast<void>(OptionsOf(o.analysis));
  RequireDistinctFiles({{"result", o.result}}, {{"--defects", o.defects}});
  const StoredValues values = LoadValues(o.result);
  const lab::Analysis analysis =
      lab::Analyze(values.matrix, OptionsFor(o.analysis, values.matrix, values.copiedBorder));
  if (analysis.counted == 0) {
    throw MeasurementFailure(o.result,
                             "found no LED that counts among " + SizeText(analysis.size) +
                                 ", expected at least one finite value that no --edge leaves out");
  }
  if (!o.defects.empty()) WriteFile(o.defects, lab::DefectsCsv(analysis));
  Print(o.json ? lab::ToJson(analysis) + "\n" : AnalysisText(analysis));
}

}  // namespace

void AddAnalyzeCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "analyze", "Say what a result means: level, uniformity, modules, seams, defects.");
  const auto o = std::make_shared<AnalyzeOptions>();
  command.add_option("result", o->result, "result: .lum or .npy")->required();
  AddAnalysisArguments(command, o->analysis);
  command.add_option("--defects", o->defects, "write all defects as a table, .csv");
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string(kAnalyzeExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { RunAnalyze(*o); });
}

}  // namespace dravix::tool
