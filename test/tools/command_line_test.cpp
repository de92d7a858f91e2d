#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
#ifndef _WIN32
using dravix::test::RunToolAfter;
#endif
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
        std::vector<std::string>{"shot", "demosaic"}, std::vector<std::string>{"shot", "xyz"},
        std::vector<std::string>{"shot", "subtract"}, std::vector<std::string>{"shot", "rotate"},
        std::vector<std::string>{"shot", "set"}, std::vector<std::string>{"shot", "picture"},
        std::vector<std::string>{"region", "auto"}, std::vector<std::string>{"region", "blur"},
        std::vector<std::string>{"region", "manual"}, std::vector<std::string>{"region", "show"},
        std::vector<std::string>{"region", "corners"},
        std::vector<std::string>{"region", "rectify"}));

TEST(CommandLine, HelpTellsTheExitCodes) {
  EXPECT_NE(RunTool({"--help"}).out.find("Exit codes: 0 done;"), std::string::npos);
}

TEST(CommandLine, VersionIsTheHeaders) {
  const Outcome outcome = RunTool({"--version"});
  EXPECT_EQ(outcome.exit, 0);
  EXPECT_EQ(outcome.out.rfind("dravix ", 0), 0U);
}

TEST(CommandLine, NoCommandShowsTheHelpAsWrongUsage) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{}, std::vector<std::string>{"-v"}}) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_EQ(outcome.out, RunTool({"--help"}).out);
    EXPECT_EQ(outcome.err, "");
  }
}

TEST(CommandLine, GroupWithoutACommandShowsItsHelp) {
  const Outcome outcome = RunTool({"shot"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(outcome.out, RunTool({"shot", "--help"}).out);
}

struct Slip {
  const char* name;
  std::vector<std::string> words;
  const char* says;
};

class SlipOf : public testing::TestWithParam<Slip> {};

TEST_P(SlipOf, TheHandIsAnsweredWithWhatWasMeant) {
  const Outcome outcome = RunTool(GetParam().words);
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(GetParam().says), std::string::npos) << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(
    Words, SlipOf,
    testing::Values(
        Slip{"Missing", {"mesure"}, "\"mesure\"; did you mean \"measure\"?"},
        Slip{"MissingBeforeOptions", {"mesure", "x.shot", "-o", "y.lum"}, "\"measure\"?"},
        Slip{"Swapped", {"-v", "exprot", "a", "b"}, "did you mean \"export\"?"},
        Slip{"Begun", {"simul", "a.shot"}, "did you mean \"simulate\"?"},
        Slip{"CommandOfAGroup", {"shot", "rotat", "a.shot"}, "did you mean \"rotate\"?"},
        Slip{"CommandOfAnotherGroup", {"region", "shwo"}, "did you mean \"show\"?"},
        Slip{"Option", {"simulate", "a.shot", "--trth", "t.json"}, "did you mean --truth?"},
        Slip{"OptionWithValue", {"info", "a.shot", "--jsn=3"}, "did you mean --json?"},
        Slip{"Unlike", {"frobnicate"}, "expected one of simulate measure batch analyze"},
        Slip{"UnlikeInAGroup", {"shot", "xylophone"}, "expected one of split demosaic xyz"}),
    [](const auto& test) { return std::string(test.param.name); });

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

TEST(CommandLine, ExtensionInUpperCaseIsExplained) {
  const SmallScreen screen;
  const std::string why = "compared letter for letter, in lower case";
  std::filesystem::copy_file(screen.Photo(), screen.File("photo2.SHOT"));
  const Outcome in = RunTool({"info", screen.File("photo2.SHOT")});
  EXPECT_EQ(in.exit, 3);
  EXPECT_TRUE(IsOneLine(in)) << in.err;
  EXPECT_NE(in.err.find(why), std::string::npos) << in.err;
  const Outcome out = RunTool({"simulate", screen.File("new.SHOT")});
  EXPECT_EQ(out.exit, 2);
  EXPECT_NE(out.err.find(why), std::string::npos) << out.err;
  EXPECT_EQ(RunTool({"simulate", screen.File("new.xyz")}).err.find(why), std::string::npos);
}

TEST(CommandLine, RenamedFileIsCalledWhatItHolds) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const std::string region = screen.File("area.roi");
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", region}).exit, 0);
  struct Renamed {
    std::string from;
    const char* to;
    const char* says;
  };
  for (const Renamed& renamed :
       {Renamed{screen.Photo(), "a.lum", "holds a photograph (.shot), expected a measurement's"},
        Renamed{screen.Photo(), "a.roi", "holds a photograph (.shot), expected a region"},
        Renamed{result, "b.shot", "holds a measurement's result (.lum), expected a photograph"},
        Renamed{region, "c.shot", "holds a region (.roi), expected a photograph (.shot)"},
        Renamed{region, "c.lum", "holds a region (.roi), expected a measurement's result"}}) {
    std::filesystem::copy_file(renamed.from, screen.File(renamed.to));
    const Outcome outcome = RunTool({"info", screen.File(renamed.to)});
    EXPECT_EQ(outcome.exit, 3);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find(renamed.says), std::string::npos) << outcome.err;
  }
}

TEST(CommandLine, MessagesKeepTheLibrarysConditionsToThemselves) {
  const SmallScreen screen;
  const std::vector<std::vector<std::string>> commands = {
      {"measure", screen.Photo(), "--corners", "10,10", "100,50", "190,90", "10,200"},
      {"measure", screen.Photo(), "--truth", screen.Truth(), "--top-leds", "3000", "--bottom-leds",
       "1"},
      {"region", "manual", "--frame", "10x10", "--corners", "1,1", "50,1", "50,50", "1,50", "-o",
       screen.File("a.roi")},
      {"shot", "split", screen.Photo(), "--red", screen.File("r.shot")},
      {"shot", "set", screen.Photo(), "-o", screen.File("s.shot"), "--pattern", "interval_x=0"}};
  for (const auto& words : commands) {
    const Outcome outcome = RunTool(words);
    EXPECT_NE(outcome.exit, 0) << words[0];
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    for (const char* inner : {"::", "&&", "||", ">=", "==", "--Error"}) {
      EXPECT_EQ(outcome.err.find(inner), std::string::npos) << outcome.err;
    }
  }
}

#ifndef _WIN32
TEST(CommandLine, PipeIsRefusedInsteadOfWaitedFor) {
  const SmallScreen screen;
  for (const char* name : {"p.shot", "p.lum", "p.roi", "p.npy", "p.json", "p.png", "p.raw"}) {
    const std::string pipe = screen.File(name);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Outcome outcome = RunToolAfter("timeout 60 ", {"info", pipe});
    EXPECT_EQ(outcome.exit, 3) << name;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("is a pipe, expected a file"), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(RunToolAfter("timeout 60 ", {"measure", screen.Photo(), "--truth",
                                         screen.File("p.json"), "-o", screen.File("r.lum")})
                .exit,
            3);
}

TEST(CommandLine, EndlessDeviceIsRefused) {
  const Outcome outcome = RunToolAfter("timeout 60 ", {"info", "/dev/zero"});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("is a device, expected a file"), std::string::npos) << outcome.err;
}

// A limit on the size of files stands in for a full disk: it needs no rights and no disk.
TEST(CommandLine, EveryFormatSaysWhyItCouldNotBeWritten) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const std::vector<std::vector<std::string>> commands = {
      {"simulate", "--leds", "20x16", screen.File("x.shot")},
      {"measure", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("x.lum")},
      {"region", "blur", screen.Photo(), "-o", screen.File("x.roi")},
      {"shot", "picture", screen.Photo(), screen.File("x.png")},
      {"export", result, screen.File("x.bmp")},
      {"export", result, screen.File("x.npy")},
      {"export", result, screen.File("y.png"), "--false-color"}};
  for (const auto& words : commands) {
    // The shell's unit is 512 or 1024 bytes; without the signal the writing fails instead.
    const Outcome outcome = RunToolAfter("trap '' XFSZ; ulimit -f 1; ", words);
    EXPECT_EQ(outcome.exit, 4) << words[0] << ": " << outcome.err;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("cannot be written: File too large"), std::string::npos)
        << outcome.err;
  }
}

TEST(CommandLine, FolderInPlaceOfAnOutputIsNamed) {
  const SmallScreen screen;
  for (const char* name : {"d.shot", "d.png"}) std::filesystem::create_directory(screen.File(name));
  for (const auto& words : {std::vector<std::string>{"simulate", screen.File("d.shot")},
                            {"shot", "picture", screen.Photo(), screen.File("d.png")}}) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 4);
    EXPECT_NE(outcome.err.find("is a folder, expected the name of a file"), std::string::npos)
        << outcome.err;
  }
}

TEST(CommandLine, ReaderThatGoesAwayIsNoFailure) {
  const std::string tool = DRAVIX_TOOL;
  const TempDir folder;
  const std::string code = folder.File("code");
  // The sleep lets the reader end first.
  const std::string kept =
      "(sleep 0.2; '" + tool + "' --help; echo $? >'" + code + "') 2>/dev/null | true";
  EXPECT_EQ(std::system(kept.c_str()), 0);  // NOLINT(cert-env33-c)
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

#ifndef _WIN32
// Names of Windows cannot hold control characters.
TEST(CommandLine, NamesCannotForgeLinesOrSteerTheTerminal) {
  const SmallScreen screen;
  const std::string evil = screen.File("a\n[error] forged\r\x1b[2J.shot");
  const std::string written = "a\\n[error] forged\\r\\x1b[2J.shot";
  const auto isPlain = [](const std::string& text) {
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return c < ' ' && c != '\n'; });
  };
  const Outcome missing = RunTool({"-v", "info", evil});
  EXPECT_EQ(missing.exit, 3);
  EXPECT_NE(missing.err.find(written), std::string::npos) << missing.err;
  EXPECT_EQ(missing.err.find("\n[error] forged"), std::string::npos) << missing.err;
  EXPECT_TRUE(isPlain(missing.err)) << missing.err;

  std::filesystem::copy_file(screen.Photo(), evil);
  const Outcome set = RunTool({"-v", "shot", "set", evil, screen.File("b.shot"), "--device",
                               "id=cam\n[error] forged,lens_id=\x1b]0;x\x07"});
  ASSERT_EQ(set.exit, 0) << set.err;
  for (const Outcome& shown :
       {RunTool({"-v", "info", screen.File("b.shot")}), RunTool({"-v", "info", evil})}) {
    EXPECT_EQ(shown.exit, 0) << shown.err;
    for (const std::string& text : {shown.out, shown.err}) {
      EXPECT_EQ(text.find("\n[error] forged"), std::string::npos) << text;
      EXPECT_TRUE(isPlain(text)) << text;
    }
  }
}
#endif

}  // namespace
