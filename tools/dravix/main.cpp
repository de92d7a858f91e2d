/// `dravix`: the library's work at the command line.
#include <dravix/dravix.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <opencv2/core/utils/logger.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "terminal/arguments.h"
#include "terminal/console.h"
#include "terminal/exit_codes.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"

namespace dravix::tool {
namespace {

int Fail(ExitCode exit, std::string_view message) {
  std::fprintf(stderr, "dravix: %s\n", OneLine(message).c_str());
  return static_cast<int>(exit);
}

std::string VersionText() {
  return "dravix " + std::to_string(DRAVIX_VERSION_MAJOR) + "." +
         std::to_string(DRAVIX_VERSION_MINOR) + "." + std::to_string(DRAVIX_VERSION_PATCH) + "\n";
}

void Assemble(CLI::App& program) {
  // A name may begin with a slash, on every system.
  program.allow_windows_style_options(false);
  program.require_subcommand(1);
  program.fallthrough();
  program.footer(std::string("Example, from a simulated photograph to a picture:\n"
                             "  dravix simulate screen.shot --truth screen.json\n"
                             "  dravix measure screen.shot --truth screen.json -o screen.lum "
                             "--image screen.png\n\n"
                             "`dravix COMMAND --help` tells more about each command.\n") +
                 kExitCodeHelp);
  program.add_flag_function(
      "-v,--verbose", [](std::int64_t) { ShowLibraryLog(true); },
      "show what the library logs, on stderr");
  program.add_flag_function(
      "--version",
      [](std::int64_t) {
        Print(VersionText());
        throw CLI::Success();
      },
      "print the version");
  AddSimulateCommand(program);
  AddMeasureCommand(program);
  AddInfoCommand(program);
  AddExportCommand(program);
  AddCompareCommand(program);
  AddConvertCommand(program);
  AddShotCommand(program);
  AddRegionCommand(program);
}

int Parse(CLI::App& program, std::vector<std::string>&& arguments) {
  try {
    program.parse(std::move(arguments));
    return static_cast<int>(ExitCode::kOk);
  } catch (const CLI::CallForHelp&) {
    Print(program.help());
    return static_cast<int>(ExitCode::kOk);
  } catch (const CLI::Success&) {
    return static_cast<int>(ExitCode::kOk);
  } catch (const CLI::ParseError& error) {
    return Fail(ExitCode::kUsage, std::string(error.what()) + " (see --help)");
  }
}

int Run(int argc, char** argv) {
  try {
    IgnoreClosedPipes();
    // What the matrix library has to say about refused input is said by the tool, in one line.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    CLI::App program("Measures LED display screens from photographs.", "dravix");
    Assemble(program);
    return Parse(program, ReversedArguments(argc, argv));
  } catch (const Failure& failure) {
    return Fail(failure.Exit(), failure.what());
  } catch (const std::bad_alloc&) {
    return Fail(ExitCode::kInternal, "out of memory");
  } catch (const std::exception& error) {
    return Fail(ExitCode::kInternal, std::string("internal error: ") + error.what());
  }
}

}  // namespace
}  // namespace dravix::tool

int main(int argc, char** argv) { return dravix::tool::Run(argc, argv); }
