/// What a reader of a report should know before looking at its figures.
#pragma once

#include <dravix/lab/report.h>

#include <string>
#include <vector>

namespace dravix::lab {

struct Notice {
  bool isWarning = false;  ///< something is likely to be wrong; else a remark
  std::string file;        ///< the result it is about; empty where it is about all of them
  std::string text;        ///< one or more sentences
};

/// Warnings first, in the order of the inputs. `blocks` are the LEDs across each cell of the maps,
/// `meanDigits` the significant digits of the modules' means (AnalysesText).
[[nodiscard]] std::vector<Notice> NoticesOf(const std::vector<ReportInput>& inputs,
                                            const std::vector<int>& blocks, int meanDigits,
                                            const ReportOptions& options);

}  // namespace dravix::lab
