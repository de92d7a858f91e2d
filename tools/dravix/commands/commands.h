/// The tool's commands. Each function adds one to the program: its options, its help and what it
/// does. A command that cannot do its work throws a Failure.
#pragma once

#include <CLI/CLI.hpp>

namespace dravix::tool {

void AddSimulateCommand(CLI::App& program);
void AddMeasureCommand(CLI::App& program);
void AddAnalyzeCommand(CLI::App& program);
void AddAssembleCommand(CLI::App& program);
void AddCorrectCommand(CLI::App& program);
void AddBatchCommand(CLI::App& program);
void AddCheckCommand(CLI::App& program);
void AddInfoCommand(CLI::App& program);
void AddExportCommand(CLI::App& program);
void AddCompareCommand(CLI::App& program);
void AddConvertCommand(CLI::App& program);
void AddShotCommand(CLI::App& program);
void AddRegionCommand(CLI::App& program);
void AddReportCommand(CLI::App& program);
void AddUnmixCommand(CLI::App& program);
void AddRepeatCommand(CLI::App& program);

}  // namespace dravix::tool
