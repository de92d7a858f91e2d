/// The command line's words as UTF-8, on every platform.
#pragma once

#include <string>
#include <vector>

namespace dravix::tool {

/// Without the program's name, last word first: the order in which the parser takes them.
[[nodiscard]] std::vector<std::string> ReversedArguments(int argc, char** argv);

}  // namespace dravix::tool
