/// What the tool's exit codes mean. Scripts rely on the numbers.
#pragma once

namespace dravix::tool {

enum class ExitCode {
  kOk = 0,
  kDiffers = 1,      ///< compare: the difference is above --max-rms
  kUsage = 2,        ///< the command line is wrong, or names no command
  kInput = 3,        ///< a file cannot be read, is damaged or does not suit the command
  kOutput = 4,       ///< a file cannot be written
  kMeasurement = 5,  ///< the files are fine, but nothing could be found or measured in them
  kInternal = 6,     ///< out of memory, or a mistake in the tool
};

inline constexpr const char* kExitCodeHelp =
    "Exit codes: 0 done; 1 compare found more than --max-rms; 2 wrong command line; 3 input cannot "
    "be read or is damaged; 4 output cannot be written; 5 nothing could be measured; 6 internal "
    "error.";

}  // namespace dravix::tool
