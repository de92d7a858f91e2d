#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/npy_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// Four photographs of one even screen that differ by their noise, measured.
class Repeated {
 public:
  Repeated() {
    for (int k = 0; k < 4; ++k) {
      const std::string name = std::to_string(k);
      const Outcome made = RunTool({"simulate", File(name + ".shot"), "--leds", "40x30", "--seed",
                                    std::to_string(k + 1), "--truth", File(name + ".json")});
      EXPECT_EQ(made.exit, 0) << made.err;
      const Outcome measured = RunTool({"measure", File(name + ".shot"), "--truth",
                                        File(name + ".json"), "-o", File(name + ".lum")});
      EXPECT_EQ(measured.exit, 0) << measured.err;
      names_.push_back(File(name + ".lum"));
    }
  }
  std::string File(const std::string& name) const { return folder_.File(name); }
  /// `repeat` with all results and these words.
  Outcome Run(const std::vector<std::string>& more) const {
    std::vector<std::string> words = {"repeat"};
    words.insert(words.end(), names_.begin(), names_.end());
    words.insert(words.end(), more.begin(), more.end());
    return RunTool(words);
  }

 private:
  TempDir folder_;
  std::vector<std::string> names_;
};

TEST(RepeatCommand, WritesMeanAndDeviationAndSaysWhatIsReal) {
  const Repeated repeated;
  const Outcome outcome = repeated.Run(
      {"-o", repeated.File("mean.lum"), "--sigma", repeated.File("sigma.npy"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  const auto json = outcome.Json();
  EXPECT_EQ(json["size"], nlohmann::json({40, 30}));
  EXPECT_EQ(json["results"], 4);
  EXPECT_EQ(json["levels"].size(), 4U);
  EXPECT_EQ(json["confidence"], 0.95);
  EXPECT_EQ(json["unmeasured"], 0);
  EXPECT_EQ(json["partly_measured"], 0);
  EXPECT_NEAR(json["leveled"]["single"].get<double>(),
              1.9604 * std::sqrt(2.0) * json["leveled"]["deviation"].get<double>(), 1e-5);
  EXPECT_NEAR(json["leveled"]["means"].get<double>(), json["leveled"]["single"].get<double>() / 2,
              1e-9);
  EXPECT_LT(json["leveled"]["deviation"], 0.01);
  EXPECT_EQ(json["result"], repeated.File("mean.lum"));
  EXPECT_EQ(json["files"].size(), 4U);
  EXPECT_EQ(Slurp(repeated.File("mean.lum")).size(), Slurp(repeated.File("0.lum")).size());
  EXPECT_EQ(Slurp(repeated.File("sigma.npy")).substr(1, 5), "NUMPY");
  EXPECT_EQ(RunTool({"analyze", repeated.File("mean.lum"), "--json"}).exit, 0);
}

TEST(RepeatCommand, TextNamesTheSmallestRealDifference) {
  const Repeated repeated;
  const Outcome outcome = repeated.Run({});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("real difference"), std::string::npos);
  EXPECT_NE(outcome.out.find("means of 4"), std::string::npos);
}

TEST(RepeatCommand, AsksForTwoResults) {
  const Outcome outcome = RunTool({"repeat", "a.lum"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(RepeatCommand, RefusesOtherSizesWithBothNames) {
  const SmallScreen small;
  const SmallScreen large({"--leds", "64x48", "--block", "8"});
  const std::string a = small.Measured();
  const std::string b = large.Measured();
  const Outcome outcome = RunTool({"repeat", a, b, "-o", small.File("mean.lum")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(b + ": has 64 x 48 LEDs, expected 40 x 30"), std::string::npos)
      << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(small.File("mean.lum")));
}

TEST(RepeatCommand, RefusesTheSameResultTwice) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  Spill(screen.File("copy.lum"), Slurp(result));
  const Outcome outcome = RunTool({"repeat", result, screen.File("copy.lum")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("the same values"), std::string::npos) << outcome.err;
}

TEST(RepeatCommand, NeverWritesOverAResult) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const std::string before = Slurp(result);
  const Outcome outcome = RunTool({"repeat", result, "b.lum", "-o", result});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(Slurp(result), before);
}

TEST(RepeatCommand, CountsLedsThatAreMissing) {
  const TempDir folder;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Spill(folder.File("a.npy"), dravix::test::NpyBytes<float>(1, 4, {10, nan, nan, 5}));
  Spill(folder.File("b.npy"), dravix::test::NpyBytes<float>(1, 4, {12, 7, nan, 5}));
  const Outcome outcome = RunTool({"repeat", folder.File("a.npy"), folder.File("b.npy"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.Json()["unmeasured"], 1);
  EXPECT_EQ(outcome.Json()["partly_measured"], 1);
  EXPECT_NE(outcome.err.find("not all 2 results measured 1 of 4 LEDs"), std::string::npos);
}

TEST(RepeatCommand, ResultsWithoutACommonLedCannotBeCompared) {
  const TempDir folder;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Spill(folder.File("a.npy"), dravix::test::NpyBytes<float>(1, 2, {10, nan}));
  Spill(folder.File("b.npy"), dravix::test::NpyBytes<float>(1, 2, {nan, 7}));
  const Outcome outcome = RunTool({"repeat", folder.File("a.npy"), folder.File("b.npy")});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

}  // namespace
