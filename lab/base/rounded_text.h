/// Numbers in messages, to as many digits as a reader takes in.
#pragma once

#include <string>

namespace dravix::lab {

/// Three significant digits: "0.0123", "12.3".
[[nodiscard]] std::string RoundedText(double value);
/// "12.3 %" for 0.123.
[[nodiscard]] std::string RoundedPercent(double share);

}  // namespace dravix::lab
