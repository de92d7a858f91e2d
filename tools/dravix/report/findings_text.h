/// Findings of the lab as the tool says them.
#pragma once

#include <dravix/lab/check.h>

#include <string>
#include <vector>

#include "terminal/console.h"

namespace dravix::tool {

/// "error led-count: the lit area shows …", without a line's end.
[[nodiscard]] std::string FindingLine(const lab::Finding& finding);
/// The findings as they stand in an answer.
[[nodiscard]] Json FindingsJson(const std::vector<lab::Finding>& findings);

}  // namespace dravix::tool
