/// An analysis as people read it.
#pragma once

#include <dravix/lab/analysis.h>

#include <string>

namespace dravix::tool {

/// One line for each group of figures, ready to print. Of many defects the first are listed.
[[nodiscard]] std::string AnalysisText(const lab::Analysis& analysis);

}  // namespace dravix::tool
