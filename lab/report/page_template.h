/// The page of a report before anything is filled in: HTML, styles, scripts, and their licenses.
#pragma once

#include <string_view>

namespace dravix::lab {

/// UTF-8. The places to fill in are marked by @TITLE@, @ANALYSIS@ and @DATA@, once each.
[[nodiscard]] std::string_view PageTemplate();

}  // namespace dravix::lab
