#include "terminal/analysis_arguments.h"

#include <dravix/lab/copied_border.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {

void AddAnalysisArguments(CLI::App& command, AnalysisArguments& arguments) {
  command
      .add_option("--module", arguments.module,
                  "LEDs across and down one module: adds modules and seams")
      ->type_name("WxH");
  command
      .add_option("--cabinet", arguments.cabinet,
                  "LEDs across and down one cabinet, to name that of a defect")
      ->type_name("WxH");
  command
      .add_option("--at", arguments.at, "screen position of the result's first LED (default 0,0)")
      ->type_name("X,Y");
  lab::AnalysisOptions& numbers = arguments.numbers;
  command.add_option("--edge", numbers.edge,
                     "outer rows and columns that do not count (default 0)");
  command.add_flag("--without-copies", arguments.withoutCopies,
                   "outer rows and columns that are copies of inner ones do not count");
  command.add_option("--dead", numbers.dead,
                     "an LED below this share of its neighbors' median is dead (default 0.5)");
  command.add_option("--dim", numbers.dim, "below this share it is dim (default 0.8)");
  command.add_option("--bright", numbers.bright, "above this share it is bright (default 1.25)");
}

lab::AnalysisOptions OptionsOf(const AnalysisArguments& arguments) {
  lab::AnalysisOptions options = arguments.numbers;
  if (!arguments.module.empty()) options.module = ParseSize("--module", arguments.module);
  if (!arguments.cabinet.empty()) options.cabinet = ParseSize("--cabinet", arguments.cabinet);
  if (!arguments.at.empty()) options.at = ParsePosition("--at", arguments.at);
  try {
    lab::Check(options);
  } catch (const std::invalid_argument& error) {
    throw UsageFailure(std::string("--") + error.what());
  }
  return options;
}

lab::AnalysisOptions OptionsFor(const AnalysisArguments& arguments, const cv::Mat& values,
                                std::optional<int> copiedBorder) {
  lab::AnalysisOptions options = OptionsOf(arguments);
  options.copiedBorder = copiedBorder;
  if (arguments.withoutCopies) {
    if (!copiedBorder) options.copiedBorder = lab::CopiedBorderOf(values);
    options.edge = std::max(options.edge, *options.copiedBorder);
  }
  return options;
}

}  // namespace dravix::tool
