/// JSON from files, which may come from anywhere, read within limits.
#pragma once

#include <string>
#include <string_view>

#include "terminal/console.h"

namespace dravix::tool {

/// The document that the file holds. Fails as wrong input when the file cannot be opened, is larger
/// than 64 MiB, holds no valid JSON, nests its values deeper than 64 levels, or has an object of
/// more than 1000 members.
[[nodiscard]] Json ReadJson(const std::string& name);

/// The same for a text that is in memory, such as a line of a JSON-lines file; `name` begins the
/// messages.
[[nodiscard]] Json ParseJson(const std::string& name, std::string_view text);

}  // namespace dravix::tool
