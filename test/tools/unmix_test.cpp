#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Loaded;
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

TEST(UnmixCommand, JsonHasEveryKeyAlsoWhenItIsRefused) {
  for (const std::string blur : {"0.4", "0.9"}) {
    const BlurredScreen screen(blur);
    const auto json = RunTool({"unmix", screen.Photo(), "--truth", screen.Truth(), "-o",
                               screen.File("own.lum"), "--json"})
                          .Json();
    EXPECT_EQ(json["leds"], nlohmann::json({32, 26}));
    for (const char* key : {"noise_gain", "contrast_seen", "plain_error", "sigma"}) {
      EXPECT_TRUE(json[key].is_number()) << key;
    }
    EXPECT_TRUE(json["spot"]["sigma"].is_number());
    EXPECT_TRUE(json["spot"]["disk"].is_number());
    EXPECT_EQ(json["shift"].size(), 2U);
    EXPECT_TRUE(json.contains("refused"));
    EXPECT_EQ(json.contains("result"), json["refused"].is_null());
    if (json["refused"].is_null()) continue;
    EXPECT_TRUE(json["refused"]["message"].is_string());
    EXPECT_TRUE(json["refused"]["values"].is_object());
  }
}

TEST(UnmixCommand, ARefusalLeavesAnOlderFileAndSaysSo) {
  const BlurredScreen screen("0.9");
  Spill(screen.File("own.lum"), "from before");
  const Outcome outcome =
      RunTool({"unmix", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("own.lum")});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(screen.File("own.lum")), "from before");
  EXPECT_NE(outcome.err.find("own.lum stays as it was"), std::string::npos) << outcome.err;
}

TEST(UnmixCommand, TakesAnyPictureAsMeasureDoes) {
  const BlurredScreen screen("0.4");
  ASSERT_TRUE(cv::imwrite(screen.File("screen.png"), Loaded(screen.Photo()).image));
  const Outcome outcome = RunTool({"unmix", screen.File("screen.png"), "--leds", "32x26", "--truth",
                                   screen.Truth(), "-o", screen.File("own.lum"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.Json()["source"]["format"], "png");
  const auto compared =
      RunTool({"compare", screen.File("own.lum"), screen.Truth(), "--json"}).Json();
  EXPECT_LT(compared["rms"], 0.004);
}

TEST(UnmixCommand, APictureWithoutItsLedCountsIsRefused) {
  const BlurredScreen screen("0.4");
  ASSERT_TRUE(cv::imwrite(screen.File("screen.png"), Loaded(screen.Photo()).image));
  const Outcome outcome = RunTool({"unmix", screen.File("screen.png"), "--truth", screen.Truth(),
                                   "-o", screen.File("own.lum")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("--leds"), std::string::npos) << outcome.err;
}

/// A screen in one part of the picture, behind a lens that loses a third of the light in the
/// corners.
class DarkCorners {
 public:
  DarkCorners() {
    Take("left", -60, -35);
    Take("right", 60, 35);
    Take("near", -59, -35);
  }
  std::string File(const std::string& name) const { return folder_.File(name); }
  Outcome Unmix(const std::vector<std::string>& more) const {
    std::vector<std::string> words = {"unmix", File("left.shot"), "--truth", File("left.json"),
                                      "-o",    File("own.lum"),   "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return RunTool(words);
  }
  double RmsOf(const std::string& result) const {
    const auto json =
        RunTool({"compare", File(result), File("left.json"), "--edge", "0", "--json"}).Json();
    return json["rms"];
  }
  /// A blank: stray light alone, beside a dark LED.
  void TakeBlank(const std::string& name, const std::string& exposure) const {
    Spill(File("blank.scene"),
          R"({"screen": {"led_width": 1, "led_height": 1, "emitter_fill": 1},
              "pose": {"pitch": 64}, "optics": {"stray_light": 1, "vignetting": 0},
              "sensor": {"width": 640, "height": 500}})");
    const Outcome made = RunTool({"simulate", File(name), "--scene", File("blank.scene"),
                                  "--exposure", exposure, "--dead", "1"});
    EXPECT_EQ(made.exit, 0) << made.err;
  }

 private:
  void Take(const std::string& name, int x, int y) const {
    Spill(File(name + ".scene"),
          R"({"optics": {"fine_spots": true, "vignetting": 0.35, "blur": 0.4},
              "pose": {"offset": [)" +
              std::to_string(x) + ", " + std::to_string(y) +
              R"(]}, "sensor": {"width": 640, "height": 500, "exposure": 0.4}})");
    const Outcome made =
        RunTool({"simulate", File(name + ".shot"), "--scene", File(name + ".scene"), "--leds",
                 "48x36", "--scatter", "0.08", "--truth", File(name + ".json")});
    EXPECT_EQ(made.exit, 0) << made.err;
  }

  TempDir folder_;
};

TEST(UnmixFlatField, TwoShiftedPhotographsTakeVignettingOut) {
  const DarkCorners screen;
  ASSERT_EQ(screen.Unmix({}).exit, 0);
  EXPECT_GT(screen.RmsOf("own.lum"), 0.03);
  const Outcome outcome =
      screen.Unmix({"--flat-from", screen.File("left.shot"), screen.File("right.shot")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_LT(screen.RmsOf("own.lum"), 0.005);
  EXPECT_GT(outcome.Json()["flat"]["lost"], 0.1);
  EXPECT_LT(outcome.Json()["flat"]["deviation"], 0.003);
}

TEST(UnmixFlatField, PhotographsThatHardlyMoveAreRefused) {
  const DarkCorners screen;
  const Outcome outcome =
      screen.Unmix({"--flat-from", screen.File("left.shot"), screen.File("near.shot")});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("left.shot and "), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("shift: the screen moves by "), std::string::npos) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(screen.File("own.lum")));
}

TEST(UnmixFlatField, ABlankThatIsClippedDarkOrAPictureIsRefused) {
  const DarkCorners screen;
  screen.TakeBlank("clipped.shot", "1.2");
  screen.TakeBlank("dark.shot", "0.01");
  for (const auto& [name, id] : {std::pair<std::string, std::string>("clipped.shot", "clipped: "),
                                 {"dark.shot", "dark: "},
                                 {"right.shot", ""}}) {
    const Outcome outcome = screen.Unmix({"--flat", screen.File(name)});
    EXPECT_EQ(outcome.exit, 5) << name;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find(screen.File(name) + ": " + id), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(" %"), std::string::npos) << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(screen.File("own.lum")));
  }
}

TEST(UnmixFlatField, AnEvenBlankChangesNothing) {
  const DarkCorners screen;
  ASSERT_EQ(screen.Unmix({}).exit, 0);
  const double without = screen.RmsOf("own.lum");
  screen.TakeBlank("even.shot", "0.6");
  const Outcome outcome = screen.Unmix({"--flat", screen.File("even.shot")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NEAR(screen.RmsOf("own.lum"), without, 0.002);
  EXPECT_LT(outcome.Json()["flat"]["lost"], 0.01);
}

TEST(UnmixFlatField, PhotographsOfOtherSizesAndPlanesAreRefused) {
  const DarkCorners screen;
  const BlurredScreen other("0.4");
  const Outcome size = screen.Unmix({"--flat", other.Photo()});
  EXPECT_EQ(size.exit, 3);
  EXPECT_NE(size.err.find("expected 640 x 500 as in "), std::string::npos) << size.err;
  EXPECT_EQ(screen.Unmix({"--flat-from", screen.File("left.shot"), other.Photo()}).exit, 3);
}

TEST(UnmixFlatField, OneSourceAndNoOutputOverAnInput) {
  EXPECT_EQ(RunTool({"unmix", "a.shot", "--truth", "t.json", "-o", "b.lum", "--flat", "f.shot",
                     "--flat-from", "l.shot", "r.shot"})
                .exit,
            2);
  EXPECT_EQ(RunTool({"unmix", "a.shot", "--region", "t.roi", "-o", "b.lum", "--flat-from", "l.shot",
                     "b.lum"})
                .exit,
            2);
}

/// A screen that the lens bends by more than half a pitch, and its checkerboard.
class BentScreen {
 public:
  BentScreen() {
    Spill(File("scene.json"), R"({"optics": {"fine_spots": true, "distortion": 0.05},
                                  "sensor": {"margin": 70, "exposure": 0.4}})");
    const Outcome made =
        RunTool({"simulate", File("screen.shot"), "--scene", File("scene.json"), "--leds", "96x64",
                 "--scatter", "0.08", "--blur", "0.4", "--block", "8", "--checkerboard",
                 File("board.shot"), "--truth", File("screen.json")});
    EXPECT_EQ(made.exit, 0) << made.err;
  }
  std::string File(const std::string& name) const { return folder_.File(name); }
  Outcome Unmix(const std::vector<std::string>& more) const {
    std::vector<std::string> words = {"unmix", File("screen.shot"), "--truth", File("screen.json"),
                                      "-o",    File("own.lum"),     "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return RunTool(words);
  }

 private:
  TempDir folder_;
};

TEST(UnmixByBlocks, TheCheckerboardSaysHowTheLensBends) {
  const BentScreen screen;
  const Outcome outcome =
      screen.Unmix({"--checkerboard", screen.File("board.shot"), "--blocks", "12x8"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  const auto compared =
      RunTool({"compare", screen.File("own.lum"), screen.File("screen.json"), "--json"}).Json();
  EXPECT_LT(compared["rms"], 0.006);
}

TEST(UnmixByBlocks, TheCheckerboardMayShowTheSpotToo) {
  const BentScreen screen;
  const Outcome outcome = screen.Unmix({"--checkerboard", screen.File("board.shot"), "--blocks",
                                        "12x8", "--spot-from", screen.File("board.shot")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NEAR(outcome.Json()["spot_from"]["sigma"], 0.4, 0.03);
  const auto compared =
      RunTool({"compare", screen.File("own.lum"), screen.File("screen.json"), "--json"}).Json();
  EXPECT_LT(compared["rms"], 0.006);
}

TEST(UnmixByBlocks, RefusesBlocksThatAreNotThere) {
  const BentScreen screen;
  for (const std::string blocks : {"6x4", "7x8", "1x8"}) {
    const Outcome outcome =
        screen.Unmix({"--checkerboard", screen.File("board.shot"), "--blocks", blocks});
    EXPECT_EQ(outcome.exit, 5) << blocks;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("board.shot: "), std::string::npos) << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(screen.File("own.lum")));
  }
  EXPECT_EQ(screen.Unmix({"--checkerboard", screen.File("board.shot")}).exit, 2);
  EXPECT_EQ(screen.Unmix({"--blocks", "12x8"}).exit, 2);
}

/// A screen that is photographed with all LEDs lit and with one of every 3 x 3.
class SparseScreen {
 public:
  explicit SparseScreen(const std::string& blur = "0.5") {
    for (const auto& [name, interval, exposure] :
         {std::tuple<std::string, std::string, std::string>("screen", "1,1", "0.4"),
          {"sparse", "3,3", "0.6"}}) {
      Take(name, interval, exposure, blur, "CIE_Y");
    }
  }
  std::string File(const std::string& name) const { return folder_.File(name); }
  void Take(const std::string& name, const std::string& interval, const std::string& exposure,
            const std::string& blur, const std::string& plane) const {
    Spill(File("scene.json"),
          R"({"optics": {"fine_spots": true}, "sensor": {"width": 420, "height": 370}})");
    const Outcome made = RunTool({"simulate",   File(name + ".shot"),
                                  "--scene",    File("scene.json"),
                                  "--screen",   "32x26",
                                  "--interval", interval,
                                  "--phase",    "0,0",
                                  "--scatter",  "0.03",
                                  "--blur",     blur,
                                  "--exposure", exposure,
                                  "--plane",    plane,
                                  "--truth",    File(name + ".json")});
    EXPECT_EQ(made.exit, 0) << made.err;
  }
  Outcome Unmix(const std::vector<std::string>& more) const {
    std::vector<std::string> words = {"unmix", File("screen.shot"), "--truth", File("screen.json"),
                                      "-o",    File("own.lum"),     "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return RunTool(words);
  }

 private:
  TempDir folder_;
};

TEST(UnmixSpotFrom, TakesTheSpotFromASparsePhotograph) {
  const SparseScreen screen;
  const Outcome outcome = screen.Unmix({"--spot-from", screen.File("sparse.shot")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  const auto json = outcome.Json();
  EXPECT_EQ(json["spot_from"]["photo"], screen.File("sparse.shot"));
  EXPECT_NEAR(json["spot_from"]["sigma"], 0.5, 0.02);
  EXPECT_NEAR(json["spot"]["sigma"], 0.5, 0.02);
  EXPECT_FALSE(screen.Unmix({}).Json().contains("spot_from"));
}

TEST(UnmixSpotFrom, RefusesPhotographsThatShowNoSpots) {
  const SparseScreen screen;
  screen.Take("dark", "3,3", "0.001", "0.5", "CIE_Y");
  screen.Take("bright", "3,3", "9", "0.5", "CIE_Y");
  for (const auto& [name, reason] : {std::pair<std::string, std::string>("dark", "no brighter"),
                                     {"bright", "samples saturated"}}) {
    const Outcome outcome = screen.Unmix({"--spot-from", screen.File(name + ".shot")});
    EXPECT_EQ(outcome.exit, 5) << name;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find(name + ".shot: "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_FALSE(std::filesystem::exists(screen.File("own.lum")));
  }
}

TEST(UnmixSpotFrom, PhotographsThatDoNotBelongAreRefused) {
  const SparseScreen screen;
  screen.Take("red", "3,3", "0.6", "0.5", "CIE_X");
  const Outcome plane = screen.Unmix({"--spot-from", screen.File("red.shot")});
  EXPECT_EQ(plane.exit, 3);
  EXPECT_NE(plane.err.find("holds the plane CIE_X, expected CIE_Y"), std::string::npos)
      << plane.err;
  const Outcome same = screen.Unmix({"--spot-from", screen.File("screen.shot")});
  EXPECT_EQ(same.exit, 3);
  EXPECT_NE(same.err.find("interval of 1 x 1, expected more"), std::string::npos) << same.err;
  EXPECT_TRUE(IsOneLine(same)) << same.err;
  EXPECT_EQ(screen.Unmix({"--spot-from", screen.File("none.shot")}).exit, 3);
  EXPECT_EQ(screen.Unmix({"--spot-from", screen.File("own.lum")}).exit, 2);
}

TEST(UnmixCommand, AsksForOneSourceOfCorners) {
  const Outcome outcome = RunTool({"unmix", "a.shot", "-o", "b.lum"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("--corners"), std::string::npos);
}

}  // namespace
