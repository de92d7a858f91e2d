/// The tool's own definition of the library's four log functions. They show the lines when asked
/// to, and remember whether there was an error line.
///
/// This is the one place where the tool includes more than public headers: the stand-in for the
/// logging library has the code that formats a line.
#pragma once

#include <string>

namespace dravix::tool {

/// With `on`, every line of the library also goes to the standard error stream.
void ShowLibraryLog(bool on);

/// The last error line since the last call; empty when there was none. Forgets it.
[[nodiscard]] std::string TakeLibraryError();

}  // namespace dravix::tool
