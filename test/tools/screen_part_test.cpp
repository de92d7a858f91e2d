/// `dravix simulate` of a part of a larger screen, and with gains.
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/npy_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::ExpectRefused;
using dravix::test::Joined;
using dravix::test::Loaded;
using dravix::test::NpyBytes;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// The values of a .npy file of 32-bit floats that the tool wrote.
std::vector<float> NpyValues(const std::string& name) {
  constexpr std::size_t kHeader = 128;
  const std::string bytes = Slurp(name);
  EXPECT_GE(bytes.size(), kHeader);
  std::vector<float> values((bytes.size() - kHeader) / sizeof(float));
  std::memcpy(values.data(), bytes.data() + kHeader, values.size() * sizeof(float));
  return values;
}

/// Simulates with `more` words into a folder of its own and keeps the truth's luminances.
struct Simulated {
  explicit Simulated(const std::vector<std::string>& more) {
    const std::vector<std::string> words = {"simulate",     folder.File("p.shot"),
                                            "--truth",      folder.File("t.json"),
                                            "--scatter",    "0.08",
                                            "--dead",       "0.01",
                                            "--save-scene", folder.File("s.json"),
                                            "--json"};
    outcome = RunTool(Joined(words, more));
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    truth = NpyValues(folder.File("t.truth.npy"));
  }
  TempDir folder;
  Outcome outcome;
  std::vector<float> truth;
};

const std::vector<std::string> kPart = {"--screen",   "60x40", "--part",  "20,10,31,21",
                                        "--interval", "3,2",   "--phase", "2,1",
                                        "--plane",    "CIE_X"};

TEST(SimulatePart, LedsAreThoseOfTheWholeScreen) {
  const Simulated whole({"--screen", "60x40", "--plane", "CIE_X", "--pitch", "4"});
  const Simulated part(kPart);
  ASSERT_EQ(whole.truth.size(), 60U * 40U);
  ASSERT_EQ(part.truth.size(), 10U * 10U);
  for (std::size_t row = 0; row < 10; ++row) {
    for (std::size_t column = 0; column < 10; ++column) {
      EXPECT_EQ(part.truth[row * 10 + column], whole.truth[(11 + 2 * row) * 60 + 22 + 3 * column]);
    }
  }
}

TEST(SimulatePart, JsonTruthAndPhotographSayThePart) {
  const Simulated part(kPart);
  const auto json = part.outcome.Json();
  EXPECT_EQ(json["leds"], nlohmann::json({10, 10}));
  EXPECT_EQ(json["screen"], nlohmann::json({60, 40}));
  EXPECT_EQ(json["part"], nlohmann::json({20, 10, 31, 21}));
  EXPECT_EQ(json["interval"], nlohmann::json({3, 2}));
  EXPECT_EQ(json["phase"], nlohmann::json({2, 1}));
  EXPECT_EQ(json["plane"], "CIE_X");
  EXPECT_EQ(nlohmann::json::parse(Slurp(part.folder.File("t.json")))["leds"],
            nlohmann::json({10, 10}));
  const Shot shot = Loaded(part.folder.File("p.shot"));
  EXPECT_EQ(shot.type, CIE_X);
  ASSERT_TRUE(shot.partition && shot.pattern);
  EXPECT_EQ(shot.partition->x, 20);
  EXPECT_EQ(shot.partition->screen_h, 40);
  EXPECT_EQ(shot.pattern->loc_x, 2);
  EXPECT_EQ(shot.pattern->lighted_led_w, 10);
}

TEST(SimulatePart, TextSaysThePart) {
  const TempDir folder;
  const Outcome outcome = RunTool(Joined({"simulate", folder.File("p.shot")}, kPart));
  EXPECT_NE(outcome.out.find("31 x 21 of 60 x 40 LEDs from 20,10 on, one of 3 x 2 lit from 2,1 on, "
                             "CIE_X"),
            std::string::npos)
      << outcome.out;
}

TEST(SimulatePart, SavedSceneGivesTheSamePhotograph) {
  const Simulated part(kPart);
  const std::string again = part.folder.File("again.shot");
  ASSERT_EQ(RunTool({"simulate", again, "--scene", part.folder.File("s.json")}).exit, 0);
  EXPECT_EQ(Slurp(again), Slurp(part.folder.File("p.shot")));
}

TEST(SimulatePart, EveryPhaseIsMeasuredAsItsTruthSays) {
  for (const char* phase : {"0,0", "1,0", "0,1", "1,1"}) {
    // Spots that touch, as measuring needs; odd sides, so that phases differ in their number of
    // LEDs.
    const Simulated part({"--screen", "90x70", "--part", "9,5,49,37", "--interval", "2,2",
                          "--phase", phase, "--blur", "0.5", "--vignetting", "0", "--no-noise"});
    const std::string result = part.folder.File("r.lum");
    const std::string truth = part.folder.File("t.json");
    const Outcome measured =
        RunTool({"measure", part.folder.File("p.shot"), "--truth", truth, "-o", result});
    ASSERT_EQ(measured.exit, 0) << measured.err;
    const auto compared = RunTool({"compare", result, truth, "--json"}).Json();
    EXPECT_LT(compared["rms"].get<double>(), 0.04) << phase;
    EXPECT_GT(compared["correlation"].get<double>(), 0.97) << phase;
  }
}

TEST(SimulatePart, GainsMultiplyTheTruthToTheBit) {
  const std::vector<std::string> screen = {"--screen",   "12x9", "--part",  "2,1,10,8",
                                           "--interval", "2,2",  "--phase", "1,0"};
  const Simulated before(screen);
  std::vector<float> gains(12 * 9);
  for (std::size_t i = 0; i < gains.size(); ++i) {
    gains[i] = 1.0F / (1.0F + 0.01F * static_cast<float>(i));
  }
  Spill(before.folder.File("g.npy"), NpyBytes(9, 12, gains));
  const Simulated after(Joined(screen, {"--gains", before.folder.File("g.npy")}));
  ASSERT_EQ(after.truth.size(), 5U * 4U);
  for (std::size_t row = 0; row < 4; ++row) {
    for (std::size_t column = 0; column < 5; ++column) {
      const float gain = gains[(1 + 2 * row) * 12 + 3 + 2 * column];
      EXPECT_EQ(after.truth[row * 5 + column], before.truth[row * 5 + column] * gain);
    }
  }
}

TEST(SimulatePart, GainsOfOneLeaveEveryByte) {
  const Simulated before({"--leds", "12x9"});
  const std::string gains = before.folder.File("g.npy");
  Spill(gains, NpyBytes(9, 12, std::vector<float>(12 * 9, 1.0F)));
  const Simulated after({"--leds", "12x9", "--gains", gains});
  EXPECT_EQ(Slurp(after.folder.File("p.shot")), Slurp(before.folder.File("p.shot")));
  EXPECT_EQ(Slurp(after.folder.File("t.truth.npy")), Slurp(before.folder.File("t.truth.npy")));
}

struct BadGains {
  const char* name;
  std::string bytes;
  std::vector<std::string> words;
  int exit;
  const char* says;
};

class BadGainsOf : public testing::TestWithParam<BadGains> {};

TEST_P(BadGainsOf, AreRefusedBeforeAnythingIsWritten) {
  const TempDir folder;
  Spill(folder.File("g.npy"), GetParam().bytes);
  const std::vector<std::string> words = {"simulate", folder.File("p.shot"), "--gains",
                                          folder.File("g.npy")};
  const Outcome outcome = RunTool(Joined(words, GetParam().words));
  ExpectRefused(outcome, GetParam().exit, GetParam().says);
  EXPECT_NE(outcome.err.find("g.npy: "), std::string::npos) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(folder.File("p.shot")));
}

std::string GainsWith(float gain) {
  std::vector<float> gains(12 * 9, 1.0F);
  gains[2 * 12 + 5] = gain;
  return NpyBytes(9, 12, gains);
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadGainsOf,
    testing::Values(
        BadGains{"OtherSize",
                 GainsWith(1),
                 {"--leds", "9x12"},
                 3,
                 "found gains for 12 x 9 LEDs, expected 9 x 12"},
        BadGains{"PartsSize",
                 GainsWith(1),
                 {"--screen", "24x18", "--part", "0,0,12,9"},
                 3,
                 "found gains for 12 x 9 LEDs, expected 24 x 18, all LEDs of the screen"},
        BadGains{"Nan",
                 GainsWith(std::numeric_limits<float>::quiet_NaN()),
                 {"--leds", "12x9"},
                 3,
                 "found the gain nan at LED 5,2, expected a number from 0 on"},
        BadGains{"Negative", GainsWith(-0.5F), {"--leds", "12x9"}, 3, "found the gain -0.5 at"},
        BadGains{"Infinite",
                 GainsWith(std::numeric_limits<float>::infinity()),
                 {"--leds", "12x9"},
                 3,
                 "found the gain inf at"},
        BadGains{"NoMatrix", "gains", {"--leds", "12x9"}, 3, ""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(SimulatePart, GainsThatAreNotThereAreNamed) {
  const TempDir folder;
  ExpectRefused(RunTool({"simulate", folder.File("p.shot"), "--gains", folder.File("none.npy")}), 3,
                "none.npy");
}

TEST(SimulatePart, TruthDoesNotOverwriteTheGains) {
  const TempDir folder;
  Spill(folder.File("t.truth.npy"), GainsWith(1));
  ExpectRefused(RunTool({"simulate", folder.File("p.shot"), "--leds", "12x9", "--truth",
                         folder.File("t.json"), "--gains", folder.File("t.truth.npy")}),
                2, "would overwrite");
}

struct BadPart {
  const char* name;
  std::vector<std::string> words;
  const char* says;
};

class BadParts : public testing::TestWithParam<BadPart> {};

TEST_P(BadParts, AreRefusedWithWhatIsExpected) {
  const TempDir folder;
  ExpectRefused(RunTool(Joined({"simulate", folder.File("p.shot")}, GetParam().words)), 2,
                GetParam().says);
  EXPECT_FALSE(std::filesystem::exists(folder.File("p.shot")));
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadParts,
    testing::Values(
        BadPart{
            "LeavesTheScreen",
            {"--screen", "96x64", "--part", "60,0,48,32"},
            "found a part of 48 x 32 LEDs from 60,0 on, expected one that lies on the screen of "
            "96 x 64 LEDs"},
        BadPart{"LeftOfTheScreen",
                {"--screen", "96x64", "--part", "-1,0,48,32"},
                "--part: found -1, expected a whole number from 0"},
        BadPart{"BeginsBehindTheScreen",
                {"--screen", "96x64", "--part", "96,0,1,1"},
                "expected one that lies on the screen"},
        BadPart{"NoRectangle",
                {"--screen", "96x64", "--part", "1,2,3"},
                "--part: found \"1,2,3\", expected a rectangle of LEDs X,Y,W,H"},
        BadPart{"EmptyRectangle",
                {"--screen", "96x64", "--part", "1,2,0,3"},
                "expected a rectangle of LEDs X,Y,W,H"},
        BadPart{"WithoutAScreen", {"--part", "0,0,8,8"}, "give --screen"},
        BadPart{"PhaseWithoutAScreen", {"--interval", "2,2", "--phase", "1,1"}, "give --screen"},
        BadPart{"PhaseBeyondTheInterval",
                {"--screen", "96x64", "--interval", "2,2", "--phase", "2,0"},
                "found the phase 2,0, expected one below the interval 2,2"},
        BadPart{"NothingLit",
                {"--screen", "4x4", "--interval", "8,8", "--phase", "5,5"},
                "lights none of the part's 4 x 4 LEDs"},
        BadPart{"NoInterval",
                {"--screen", "96x64", "--interval", "0,1"},
                "--interval: found 0, expected a whole number from 1"},
        BadPart{"ThreePlanes",
                {"--screen", "96x64", "--plane", "CIE_XYZ"},
                "--plane: found \"CIE_XYZ\", expected a single plane"},
        BadPart{"UnknownPlane", {"--plane", "CIE_W"}, "--plane: found \"CIE_W\", expected one of"},
        BadPart{"Mosaic", {"--screen", "96x64", "--mosaic", "rggb"}, "leave the mosaic out"},
        BadPart{"BothSizes", {"--screen", "96x64", "--leds", "8x8"}, "--leds: not with a part"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(SimulatePart, SceneFilesNameTheSameThings) {
  const TempDir folder;
  Spill(folder.File("s.json"),
        R"({"whole_screen": {"led_width": 60, "led_height": 40, "part_x": 20, "part_y": 10,
            "part_width": 31, "part_height": 21, "interval_x": 3, "interval_y": 2, "phase_x": 2,
            "phase_y": 1}, "metadata": {"type": "CIE_X"}, "sensor": {"noise_seed": 4}})");
  const auto json =
      RunTool({"simulate", folder.File("p.shot"), "--scene", folder.File("s.json"), "--json"})
          .Json();
  EXPECT_EQ(json["part"], nlohmann::json({20, 10, 31, 21}));
  EXPECT_EQ(json["phase"], nlohmann::json({2, 1}));
  EXPECT_EQ(json["plane"], "CIE_X");
  Spill(folder.File("bad.json"), R"({"whole_screen": {"led_width": 60, "part_x": 70}})");
  ExpectRefused(RunTool({"simulate", folder.File("q.shot"), "--scene", folder.File("bad.json")}), 2,
                "bad.json: names a part of a screen");
}

}  // namespace
