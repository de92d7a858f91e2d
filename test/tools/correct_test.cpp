#include <gmock/gmock.h>

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/npy_bytes.h"
#include "tools/output_folder.h"
#include "tools/tool_runner.h"

using dravix::test::ExpectFolderRefused;
using dravix::test::ExpectRefused;
using dravix::test::Joined;
using dravix::test::NpyBytes;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;
using testing::HasSubstr;

namespace {

/// A folder with a plane of 2 x 2 LEDs.
class OnePlane {
 public:
  OnePlane() { Spill(Plane(), NpyBytes(2, 2, std::vector<float>{100, 200, 80, 125})); }
  [[nodiscard]] std::string Plane() const { return folder_.File("CIE_Y.npy"); }
  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  [[nodiscard]] Outcome Corrected(const std::vector<std::string>& more) const {
    return RunTool(Joined({"correct", Plane(), "-o", File("out")}, more));
  }

 private:
  TempDir folder_;
};

TEST(Correct, WritesGainsForProgramsAndControllers) {
  const OnePlane screen;
  const Outcome outcome = screen.Corrected({"--target", "level:100", "--bits", "8", "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(Slurp(screen.File("out/correction.json")), outcome.out);
  EXPECT_EQ(Slurp(screen.File("out/gains.csv")), "255,128\n255,204\n");
  EXPECT_EQ(Slurp(screen.File("out/gains.bin")), std::string("\xFF\0\x80\0\xFF\0\xCC\0", 8));
  EXPECT_EQ(Slurp(screen.File("out/gains.npy")),
            NpyBytes(2, 2, std::vector<float>{1, 0.5F, 1, 0.8F}));
  const auto plane = outcome.Json()["planes"][0];
  EXPECT_EQ(plane["file"], screen.Plane());
  EXPECT_EQ(plane["clipped"], 0.25);
  EXPECT_EQ(plane["target"], 100);
}

TEST(Correct, SaysWhatItCosts) {
  const OnePlane screen;
  const Outcome outcome = screen.Corrected({"--target", "level:100"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  for (const char* text :
       {"4 good LEDs, 0 dead", "light lost", "24.75 %", "25.00 % of the LEDs cannot reach it"}) {
    EXPECT_THAT(outcome.out, HasSubstr(text));
  }
}

TEST(Correct, FilesOfSeveralPlanesAreNamedAfterThem) {
  const OnePlane screen;
  Spill(screen.File("red.1.npy"), NpyBytes(1, 1, std::vector<double>{3}));
  ASSERT_EQ(screen.Corrected({screen.File("red.1.npy")}).exit, 0);
  for (const char* name : {"CIE_Y.gains.npy", "CIE_Y.gains.bin", "CIE_Y.gains.csv",
                           "red.1.gains.npy", "red.1.gains.bin", "red.1.gains.csv"}) {
    EXPECT_TRUE(std::filesystem::exists(screen.File(std::string("out/") + name))) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(screen.File("out/gains.npy")));
}

TEST(Correct, PlanesOfOneNameAreRefused) {
  const OnePlane screen;
  std::filesystem::create_directory(screen.File("other"));
  std::filesystem::copy_file(screen.Plane(), screen.File("other/CIE_Y.npy"));
  ExpectRefused(screen.Corrected({screen.File("other/CIE_Y.npy")}), 2,
                "expected files of different names");
}

TEST(Correct, WrongOptionsAreNamed) {
  const OnePlane screen;
  const struct {
    std::vector<std::string> words;
    std::string message;
  } cases[] = {
      {{"--target", "median"}, "--target: found \"median\", expected percentile:10"},
      {{"--target", "level:"}, "--target: found \"level:\""},
      {{"--target", "level:1x"}, "--target: found \"level:1x\""},
      {{"--target", "level:0"}, "--target: found level 0"},
      {{"--target", "percentile:101"}, "--target: found percentile 101"},
      {{"--keep-gradient", "4"}, "--keep-gradient: found 4, expected an odd number"},
      {{"--keep-gradient", "0"}, "--keep-gradient: found 0, expected an odd number"},
      {{"--keep-gradient=-1"}, "--keep-gradient: found -1"},
      {{"--bits", "0"}, "--bits: found 0, expected 1 to 16"},
      {{"--bits", "17"}, "--bits: found 17"},
  };
  for (const auto& c : cases) {
    ExpectRefused(screen.Corrected(c.words), 2, c.message);
    EXPECT_FALSE(std::filesystem::exists(screen.File("out")));
  }
}

TEST(Correct, PlaneWithoutLightExitsWithFiveBeforeAnythingIsWritten) {
  const OnePlane screen;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Spill(screen.File("dark.npy"), NpyBytes(1, 3, std::vector<float>{0, nan, -1}));
  ExpectRefused(screen.Corrected({screen.File("dark.npy")}), 5,
                "found no LED with a finite value above 0 among 3 x 1");
  EXPECT_FALSE(std::filesystem::exists(screen.File("out")));
  ExpectRefused(screen.Corrected({screen.File("none.lum")}), 3, "none.lum");
}

TEST(Correct, FolderThatTakesNothingIsAnOutputError) {
  const OnePlane screen;
  ExpectFolderRefused({"correct", screen.Plane()});
}

#ifndef _WIN32
TEST(Correct, FullDiskLeavesNothingHalfWritten) {
  const OnePlane screen;
  Spill(screen.Plane(), NpyBytes(40, 40, std::vector<float>(1600, 2.5F)));
  dravix::test::ExpectWholeFilesOnFullDisk({"correct", screen.Plane()});
}
#endif

}  // namespace
