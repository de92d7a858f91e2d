/// The options of an analysis on a command line, the same for every command that analyzes.
#pragma once

#include <dravix/lab/analysis.h>

#include <string>

namespace CLI {
class App;
}

namespace dravix::tool {

/// What was written on the command line.
struct AnalysisArguments {
  std::string module, cabinet, at;
  lab::AnalysisOptions numbers;  ///< the edge and the limits of defects
  bool withoutCopies = false;
};

/// Adds the options to a command; `arguments` must live as long as the command does.
void AddAnalysisArguments(CLI::App& command, AnalysisArguments& arguments);

/// The options that the words stand for. Fails as wrong usage that names the option.
[[nodiscard]] lab::AnalysisOptions OptionsOf(const AnalysisArguments& arguments);

/// The same for one result. `copiedBorder` is what is known of it; --without-copies leaves as many
/// rows and columns out, where --edge does not leave out more.
[[nodiscard]] lab::AnalysisOptions OptionsFor(const AnalysisArguments& arguments,
                                              const cv::Mat& values,
                                              std::optional<int> copiedBorder);

}  // namespace dravix::tool
