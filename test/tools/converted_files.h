/// Files of other programs as the tool converts them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/other_programs.h"
#include "tools/tool_runner.h"

namespace dravix::test {

class ConvertedFiles : public MadeFiles {
 public:
  /// What the tool makes of a file.
  [[nodiscard]] Shot Converted(const std::string& name,
                               const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words = {"convert", File(name), File("converted.shot")};
    words.insert(words.end(), more.begin(), more.end());
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    return outcome.exit == 0 ? Loaded(File("converted.shot")) : Shot();
  }
};

}  // namespace dravix::test
