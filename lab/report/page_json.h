/// JSON inside a page, and the analyses as such, in the bytes that a page can spare.
#pragma once

#include <dravix/lab/report.h>

#include <cstddef>
#include <string>
#include <vector>

#include "lab/base/json.h"

namespace dravix::lab {

/// Without spaces, pure ASCII, and fit for a script element. Bytes that are no UTF-8 appear as
/// replacement characters.
[[nodiscard]] std::string PageJson(const Json& json);

/// All digits that a double may need.
constexpr int kAllDigits = 17;

struct AnalysesText {
  std::string json;  ///< a list with the analyses as the tool prints them, each with its file
  /// Significant digits of the modules' means: kAllDigits unless these take too many bytes, as they
  /// do where modules are tiny, and 0 where even the fewest are too many: then `means` is null.
  int meanDigits = kAllDigits;
};

/// The analyses in at most `most` bytes, if fewer digits of the modules' means can do that; all
/// other figures keep all of theirs.
[[nodiscard]] AnalysesText AnalysesIn(const std::vector<ReportInput>& inputs, std::size_t most);

}  // namespace dravix::lab
