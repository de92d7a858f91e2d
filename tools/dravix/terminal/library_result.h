/// The library's result codes in words.
#pragma once

#include <cstdint>
#include <string>

namespace dravix::tool {

/// One phrase for a result code, for example "no lit area was found".
[[nodiscard]] std::string CodeText(std::int32_t code);

/// The phrase, or the cause where the library's last error line says more, and the code: "no lit
/// area was found (code 200; -v shows the library's log)". Takes that line from the log.
[[nodiscard]] std::string Explained(std::int32_t code);

}  // namespace dravix::tool
