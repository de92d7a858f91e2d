/// `dravix`: measuring LED screens at the command line.
#include <dravix/dravix.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <opencv2/core/utils/logger.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/one_line.h"
#include "commands/commands.h"
#include "terminal/arguments.h"
#include "terminal/console.h"
#include "terminal/exit_codes.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/suggestion.h"

namespace dravix::tool {
namespace {

int Fail(ExitCode exit, std::string_view message) {
  std::fprintf(stderr, "dravix: %s\n", base::OneLine(message).c_str());
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
  program.footer(
      std::string("Example, from a simulated photograph to a picture:\n"
                  "  dravix simulate screen.shot --truth screen.json\n"
                  "  dravix measure screen.shot --truth screen.json -o screen.lum "
                  "--image screen.png\n\n"
                  "`dravix COMMAND --help` shows the options of a command and examples.\n") +
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
  AddBatchCommand(program);
  AddAnalyzeCommand(program);
  AddReportCommand(program);
  AddAssembleCommand(program);
  AddCorrectCommand(program);
  AddCheckCommand(program);
  AddInfoCommand(program);
  AddExportCommand(program);
  AddCompareCommand(program);
  AddConvertCommand(program);
  AddShotCommand(program);
  AddRegionCommand(program);
  AddUnmixCommand(program);
  AddRepeatCommand(program);
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& group) {
  return group.get_subcommands([](const CLI::App*) { return true; });
}

/// "dravix shot rotate"
std::string FullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

/// How far the words of the command line name a command.
struct Named {
  const CLI::App* command;       ///< the program, a group of commands or a command
  std::string unknown;           ///< the word that should name a command of the group but does not
  bool hasOnlyCommands = false;  ///< there is no other word, save the option -v
};

Named CommandNamedBy(const CLI::App& program, const std::vector<std::string>& words) {
  Named named{&program, {}, true};
  for (const std::string& word : words) {
    if (word == "-v" || word == "--verbose") continue;
    const std::vector<const CLI::App*> commands = CommandsOf(*named.command);
    if (word.starts_with('-') || commands.empty()) {
      named.hasOnlyCommands = false;
      continue;
    }
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&word](const CLI::App* c) { return c->get_name() == word; });
    if (found == commands.end()) {
      named.unknown = word;
      return named;
    }
    named.command = *found;
  }
  return named;
}

std::string UnknownCommand(const Named& named) {
  std::vector<std::string> names;
  std::string list;
  for (const CLI::App* command : CommandsOf(*named.command)) {
    names.push_back(command->get_name());
    list += " " + command->get_name();
  }
  const auto nearest = NearestName(named.unknown, names);
  const std::string group = FullName(*named.command);
  return group + ": found the command " + InQuotes(named.unknown) +
         (nearest ? "; did you mean \"" + *nearest + "\"?" : ", expected one of" + list) +
         " (see " + group + " --help)";
}

/// Says which option may have been meant; the parser's own words when no option is unknown.
std::string UnknownOption(const Named& named, const std::vector<std::string>& words,
                          const CLI::ParseError& error) {
  std::vector<std::string> names;
  for (const CLI::App* app = named.command; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  const std::string see = " (see " + FullName(*named.command) + " --help)";
  for (const std::string& word : words) {
    const std::string name = word.substr(0, word.find('='));
    const bool known = std::find(names.begin(), names.end(), name) != names.end();
    if (known || !name.starts_with("--") || name.size() < 3) continue;
    const auto nearest = NearestName(name, names);
    std::string message = FullName(*named.command) + ": found the unknown option " + name;
    if (nearest) message += "; did you mean " + *nearest + "?";
    message += see;
    return message;
  }
  return error.what() + see;
}

/// What is wrong with the words that the parser refused. A command line that stops before a command
/// is named asks for help, and gets it with the exit code of a command line that does nothing.
int Refuse(const CLI::App& program, const std::vector<std::string>& words,
           const CLI::ParseError& error) {
  const Named named = CommandNamedBy(program, words);
  if (!named.unknown.empty()) return Fail(ExitCode::kUsage, UnknownCommand(named));
  if (named.hasOnlyCommands && !CommandsOf(*named.command).empty()) {
    Print(program.help());
    return static_cast<int>(ExitCode::kUsage);
  }
  const bool isExtra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (isExtra) return Fail(ExitCode::kUsage, UnknownOption(named, words, error));
  return Fail(ExitCode::kUsage,
              std::string(error.what()) + " (see " + FullName(*named.command) + " --help)");
}

int Parse(CLI::App& program, std::vector<std::string>&& arguments) {
  const std::vector<std::string> words(arguments.rbegin(), arguments.rend());
  try {
    program.parse(std::move(arguments));
    return static_cast<int>(ExitCode::kOk);
  } catch (const CLI::CallForHelp&) {
    Print(program.help());
    return static_cast<int>(ExitCode::kOk);
  } catch (const CLI::Success&) {
    return static_cast<int>(ExitCode::kOk);
  } catch (const CLI::ParseError& error) {
    return Refuse(program, words, error);
  }
}

int Run(int argc, char** argv) {
  try {
    IgnoreClosedPipes();
    // The matrix library reports refused input in several lines; the tool says it in one.
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
