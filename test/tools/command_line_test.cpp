#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

class HelpOf : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(HelpOf, EveryCommandShowsAnExample) {
  std::vector<std::string> words = GetParam();
  words.emplace_back("--help");
  const Outcome outcome = RunTool(words);
  EXPECT_EQ(outcome.exit, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out.find("Example"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("dravix"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, HelpOf,
    testing::Values(
        std::vector<std::string>{}, std::vector<std::string>{"simulate"},
        std::vector<std::string>{"measure"}, std::vector<std::string>{"info"},
        std::vector<std::string>{"export"}, std::vector<std::string>{"compare"},
        std::vector<std::string>{"convert"}, std::vector<std::string>{"shot", "split"},
        std::vector<std::string>{"shot", "xyz"}, std::vector<std::string>{"shot", "subtract"},
        std::vector<std::string>{"shot", "rotate"}, std::vector<std::string>{"shot", "set"},
        std::vector<std::string>{"shot", "picture"}, std::vector<std::string>{"region", "auto"},
        std::vector<std::string>{"region", "blur"}, std::vector<std::string>{"region", "manual"},
        std::vector<std::string>{"region", "show"}, std::vector<std::string>{"region", "corners"},
        std::vector<std::string>{"region", "rectify"}));

TEST(CommandLine, HelpTellsTheExitCodes) {
  EXPECT_NE(RunTool({"--help"}).out.find("Exit codes: 0 done;"), std::string::npos);
}

TEST(CommandLine, VersionIsTheHeaders) {
  const Outcome outcome = RunTool({"--version"});
  EXPECT_EQ(outcome.exit, 0);
  EXPECT_EQ(outcome.out.rfind("dravix ", 0), 0U);
}

TEST(CommandLine, NoCommandIsWrongUsage) {
  const Outcome outcome = RunTool({});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(CommandLine, UnknownOptionIsWrongUsage) {
  const Outcome outcome = RunTool({"info", "--no-such-option", "x"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(CommandLine, MissingFileIsNamed) {
  const TempDir folder;
  const Outcome outcome = RunTool({"info", folder.File("absent.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("absent.shot: cannot be opened for reading"), std::string::npos);
}

TEST(CommandLine, FolderInsteadOfFileIsRefused) {
  const TempDir folder;
  const Outcome outcome = RunTool({"info", folder.Path().string()});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("is a folder, expected a file"), std::string::npos);
}

TEST(CommandLine, LibraryLogIsShownWhenAskedFor) {
  const SmallScreen screen;
  EXPECT_EQ(RunTool({"info", screen.Photo()}).err, "");
  const Outcome verbose = RunTool({"--verbose", "info", screen.Photo()});
  EXPECT_NE(verbose.err.find("[info] Shot::Load"), std::string::npos) << verbose.err;
}

#ifndef _WIN32
TEST(CommandLine, ReaderThatGoesAwayIsNoFailure) {
  const std::string tool = DRAVIX_TOOL;
  const TempDir folder;
  const std::string code = folder.File("code");
  // The sleep lets the reader end first.
  const std::string kept =
      "(sleep 0.2; '" + tool + "' --help; echo $? >'" + code + "') 2>/dev/null | true";
  static_cast<void>(std::system(kept.c_str()));  // NOLINT(cert-env33-c)
  EXPECT_EQ(dravix::test::Slurp(code), "0\n");
}
#endif

#ifdef __linux__
TEST(CommandLine, FullDiskUnderTheAnswerIsAnError) {
  const std::string command = std::string("'") + DRAVIX_TOOL + "' --help >/dev/full 2>/dev/null";
  const int status = std::system(command.c_str());  // NOLINT(cert-env33-c)
  EXPECT_EQ(status >> 8, 4);
}
#endif

}  // namespace
