/// Tells the person at the terminal about something that is likely to be wrong.
#pragma once

#include <string_view>

namespace dravix::tool {

/// Writes "dravix: warning: TEXT" as one line to the standard error stream. The command goes on and
/// its exit code does not change.
void PrintWarning(std::string_view text);

}  // namespace dravix::tool
