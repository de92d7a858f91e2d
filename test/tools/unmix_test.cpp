#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// A simulated photograph of 32 x 26 LEDs that differ, with spots of that sigma.
class BlurredScreen {
 public:
  explicit BlurredScreen(const std::string& blur) {
    Spill(File("scene.json"), R"({"optics": {"fine_spots": true}, "sensor": {"margin": 70}})");
    const Outcome made =
        RunTool({"simulate", Photo(), "--scene", File("scene.json"), "--leds", "32x26", "--scatter",
                 "0.08", "--blur", blur, "--exposure", "0.4", "--truth", Truth()});
    EXPECT_EQ(made.exit, 0) << made.err;
  }
  std::string File(const std::string& name) const { return folder_.File(name); }
  std::string Photo() const { return File("screen.shot"); }
  std::string Truth() const { return File("screen.json"); }

 private:
  TempDir folder_;
};

TEST(UnmixCommand, WritesTheResultAndItsDeviations) {
  const BlurredScreen screen("0.4");
  const Outcome outcome =
      RunTool({"unmix", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("own.lum"),
               "--sigma", screen.File("sigma.npy"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  const auto json = outcome.Json();
  EXPECT_EQ(json["leds"], nlohmann::json({32, 26}));
  EXPECT_NEAR(json["spot"]["sigma"], 0.4, 0.05);
  EXPECT_TRUE(json["refused"].is_null());
  EXPECT_TRUE(std::filesystem::exists(screen.File("sigma.npy")));
  const auto compared =
      RunTool({"compare", screen.File("own.lum"), screen.Truth(), "--json"}).Json();
  EXPECT_LT(compared["rms"], 0.004);
}

TEST(UnmixCommand, ResultHasTheSizeOfAMeasurement) {
  const BlurredScreen screen("0.4");
  ASSERT_EQ(RunTool({"measure", screen.Photo(), "--truth", screen.Truth(), "-o",
                     screen.File("plain.lum")})
                .exit,
            0);
  ASSERT_EQ(
      RunTool({"unmix", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("own.lum")})
          .exit,
      0);
  EXPECT_EQ(Slurp(screen.File("own.lum")).size(), Slurp(screen.File("plain.lum")).size());
  EXPECT_EQ(Slurp(screen.File("own.lum")).substr(0, 21 + 32 * 26),
            Slurp(screen.File("plain.lum")).substr(0, 21 + 32 * 26));
}

TEST(UnmixCommand, ARefusalExitsWithFiveAndWritesNothing) {
  const BlurredScreen screen("0.9");
  const Outcome outcome = RunTool(
      {"unmix", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("own.lum"), "--json"});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_EQ(outcome.Json()["refused"]["id"], "noise-gain");
  EXPECT_GT(outcome.Json()["refused"]["values"]["noise_gain"], 6);
  EXPECT_FALSE(std::filesystem::exists(screen.File("own.lum")));
}

TEST(UnmixCommand, AsksForOneSourceOfCorners) {
  const Outcome outcome = RunTool({"unmix", "a.shot", "-o", "b.lum"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("--corners"), std::string::npos);
}

}  // namespace
