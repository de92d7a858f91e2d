/// The command line's words as UTF-8, on every platform.
#pragma once

#include <string>
#include <vector>

namespace dravix::tool {

/// The words after the program's name, the last one first, which is the order that the parser
/// expects.
[[nodiscard]] std::vector<std::string> ReversedArguments(int argc, char** argv);

}  // namespace dravix::tool
