/// What the library's result codes mean, in words.
#pragma once

#include <cstdint>
#include <string>

namespace dravix::tool {

/// One phrase for a result code, for example "no lit area was found".
[[nodiscard]] std::string CodeText(std::int32_t code);

/// The phrase, the code and the library's last error line, which this takes from the log:
/// "no lit area was found (code 200; library: ...)".
[[nodiscard]] std::string Explained(std::int32_t code);

}  // namespace dravix::tool
