#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/npy_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::NpyBytes;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// A folder with screen.npy: 10 x 8 LEDs of 100 with a dead one at column 6, row 3.
class OneDeadLed {
 public:
  OneDeadLed() {
    std::vector<float> values(10 * 8, 100.0F);
    values[3 * 10 + 6] = 0;
    Spill(Npy(), NpyBytes(8, 10, values));
  }
  [[nodiscard]] std::string Npy() const { return folder_.File("screen.npy"); }
  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }

 private:
  TempDir folder_;
};

TEST(Analyze, AnswersInJson) {
  const OneDeadLed screen;
  const Outcome outcome = RunTool({"analyze", screen.Npy(), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  const auto json = outcome.Json();
  EXPECT_EQ(json["size"], nlohmann::json::parse("[10, 8]"));
  EXPECT_DOUBLE_EQ(json["level"]["mean"], 100 * 79.0 / 80);
  EXPECT_DOUBLE_EQ(json["level"]["median"], 100);
  EXPECT_EQ(json["counts"]["dead"], 1);
  EXPECT_EQ(json["defects"][0]["x"], 6);
  EXPECT_EQ(json["defects"][0]["y"], 3);
  EXPECT_FALSE(json.contains("modules"));
}

TEST(Analyze, OptionsReachTheAnalysis) {
  const OneDeadLed screen;
  const auto json =
      RunTool({"analyze", screen.Npy(), "--json", "--module", "4x4", "--cabinet", "8x8", "--at",
               "100,50", "--edge", "1", "--dead", "0", "--dim", "0.4", "--bright", "9"})
          .Json();
  EXPECT_EQ(json["at"], nlohmann::json::parse("[100, 50]"));
  EXPECT_EQ(json["counted"], 8 * 6);
  EXPECT_EQ(json["counts"]["dim"], 1);
  EXPECT_EQ(json["defects"][0]["x"], 106);
  EXPECT_EQ(json["defects"][0]["module"], nlohmann::json::parse("[26, 13]"));
  EXPECT_EQ(json["defects"][0]["cabinet"], nlohmann::json::parse("[13, 6]"));
  EXPECT_EQ(json["modules"]["first"], nlohmann::json::parse("[25, 12]"));
}

TEST(Analyze, PlaceMayBeNegative) {
  const OneDeadLed screen;
  EXPECT_EQ(RunTool({"analyze", screen.Npy(), "--json", "--at=-5,-1"}).Json()["at"],
            nlohmann::json::parse("[-5, -1]"));
}

TEST(Analyze, TellsPeopleTheSame) {
  const OneDeadLed screen;
  const Outcome outcome = RunTool({"analyze", screen.Npy(), "--module", "5x4"});
  ASSERT_EQ(outcome.exit, 0);
  for (const char* text : {"10 x 8", "98.75", "25 points", "modules", "seams", "1 dead, 0 dim",
                           "6,3, 0.00 % of its neighbors, module 1,0"}) {
    EXPECT_THAT(outcome.out, HasSubstr(text));
  }
  EXPECT_THAT(outcome.out, Not(HasSubstr("copied border")));
}

TEST(Analyze, LongListsOfDefectsAreCutInTheText) {
  const TempDir folder;
  std::vector<float> values(60 * 60, 100.0F);
  for (std::size_t i = 0; i < 25; ++i) values[(i / 5 * 10 + 5) * 60 + i % 5 * 10 + 5] = 0;
  Spill(folder.File("m.npy"), NpyBytes(60, 60, values));
  const Outcome outcome = RunTool({"analyze", folder.File("m.npy")});
  EXPECT_THAT(outcome.out, HasSubstr("25 dead"));
  EXPECT_THAT(outcome.out, HasSubstr("5 more; --defects FILE.csv writes all"));
}

TEST(Analyze, WritesTheDefectsAsATable) {
  const OneDeadLed screen;
  ASSERT_EQ(RunTool({"analyze", screen.Npy(), "--defects", screen.File("d.csv")}).exit, 0);
  EXPECT_EQ(Slurp(screen.File("d.csv")),
            "x,y,kind,value,ratio,module_column,module_row,cabinet_column,cabinet_row\n"
            "6,3,dead,0,0,,,,\n");
}

TEST(Analyze, ResultSaysHowManyOfItsLedsAreCopies) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const auto json = RunTool({"analyze", result, "--json"}).Json();
  EXPECT_EQ(json["copied_border"], 4);
  EXPECT_EQ(json["copied_leds"], 40 * 30 - 32 * 22);
  EXPECT_EQ(json["counted"], 40 * 30);
  EXPECT_THAT(RunTool({"analyze", result}).out, HasSubstr("496 of 1200 LEDs"));
}

TEST(Analyze, CopiesCanBeLeftOut) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const auto without = RunTool({"analyze", result, "--json", "--without-copies"}).Json();
  const auto edge = RunTool({"analyze", result, "--json", "--edge", "4"}).Json();
  EXPECT_EQ(without["counted"], 32 * 22);
  EXPECT_EQ(without, edge);
  // A wider edge stays.
  EXPECT_EQ(
      RunTool({"analyze", result, "--json", "--without-copies", "--edge", "5"}).Json()["counted"],
      30 * 20);
}

TEST(Analyze, DoublesKeepTheirDigits) {
  const TempDir folder;
  const std::vector<double> values = {1.0000000001, 1.0000000003};
  Spill(folder.File("d.npy"), NpyBytes(1, 2, values));
  EXPECT_DOUBLE_EQ(RunTool({"analyze", folder.File("d.npy"), "--json"}).Json()["level"]["mean"],
                   1.0000000002);
}

TEST(Analyze, WhereNothingCountsExitsWithFive) {
  const TempDir folder;
  Spill(folder.File("nan.npy"), NpyBytes(2, 2, std::vector<float>(4, kNaN)));
  Spill(folder.File("fine.npy"), NpyBytes(2, 2, std::vector<float>(4, 1.0F)));
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"analyze", folder.File("nan.npy"), "--json"},
        {"analyze", folder.File("fine.npy"), "--edge", "1"}}) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 5);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("npy: found no LED that counts among 2 x 2"));
  }
}

TEST(Analyze, WrongOptionsAreNamed) {
  const OneDeadLed screen;
  const struct {
    std::vector<std::string> words;
    std::string message;
  } cases[] = {
      {{"--module", "4"}, "--module: found \"4\", expected a size such as 256x128"},
      {{"--module", "0x4"}, "--module: found \"0x4\""},
      {{"--cabinet", "axb"}, "--cabinet: found \"axb\""},
      {{"--at", "7"}, "--at: found \"7\", expected a place such as 1920,0"},
      {{"--at", "1.5,2"}, "--at: found \"1.5,2\""},
      {{"--edge", "-1"}, "--edge: found -1, expected 0 or more"},
      {{"--dead", "-1"}, "--dead: found -1"},
      {{"--dim", "nan"}, "--dim: found nan"},
      {{"--bright", "inf"}, "--bright: found inf"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> words = {"analyze", screen.Npy()};
    words.insert(words.end(), c.words.begin(), c.words.end());
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 2) << c.message;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
  }
}

TEST(Analyze, FilesThatHoldNoMatrixAreNamed) {
  const SmallScreen screen;
  Spill(screen.File("bad.npy"), "nothing");
  Spill(screen.File("short.lum"), Slurp(screen.Measured()).substr(0, 900));
  for (const std::string& name : {screen.File("none.lum"), screen.File("bad.npy"),
                                  screen.File("short.lum"), screen.Photo()}) {
    const Outcome outcome = RunTool({"analyze", name});
    EXPECT_EQ(outcome.exit, 3) << name;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(std::filesystem::path(name).filename().string()));
  }
}

TEST(Analyze, TableOverTheResultIsRefused) {
  const OneDeadLed screen;
  const std::string bytes = Slurp(screen.Npy());
  const Outcome outcome = RunTool({"analyze", screen.Npy(), "--defects", screen.Npy()});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(screen.Npy()), bytes);
}

TEST(Analyze, TableThatCannotBeWrittenIsAnOutputError) {
  const OneDeadLed screen;
  const Outcome outcome = RunTool({"analyze", screen.Npy(), "--defects", screen.File("no/d.csv")});
  EXPECT_EQ(outcome.exit, 4);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

}  // namespace
