#include <gtest/gtest.h>

#include <string>

#include "support/temp_dir.h"

using dravix::test::Slurp;

namespace {

/// The README's first block of that language.
std::string CodeBlock(const std::string& text, const std::string& language) {
  const std::string opening = "```" + language + "\n";
  const auto begin = text.find(opening);
  if (begin == std::string::npos) return {};
  const auto end = text.find("\n```", begin + opening.size());
  return text.substr(begin + opening.size(), end + 1 - begin - opening.size());
}

TEST(Readme, HostExampleIsTheOneThatIsCompiled) {
  const std::string folder = DRAVIX_SOURCE_DIR;
  EXPECT_EQ(CodeBlock(Slurp(folder + "/README.md"), "cpp"), Slurp(folder + "/examples/host.cpp"));
}

}  // namespace
