/// The tool's own end of the library's log: error lines are kept for the message that the user
/// sees.
#pragma once

#include <string>

namespace dravix::tool {

/// With `on`, every line of the library also goes to the standard error stream.
void ShowLibraryLog(bool on);

/// The last error line since the last call, and forgets all; empty when there was none.
[[nodiscard]] std::string TakeLibraryError();

}  // namespace dravix::tool
