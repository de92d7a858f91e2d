#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <limits>
#include <opencv2/core.hpp>
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

constexpr const char* kLeft = R"("partition": {"x": 0, "y": 0, "w": 2, "h": 1, "screen_w": 4,
"screen_h": 1})";
constexpr const char* kAll =
    R"("pattern": {"interval_x": 1, "interval_y": 1, "loc_x": 0, "loc_y": 0})";

std::string OneLine(std::string text) {
  for (char& sign : text) sign = sign == '\n' ? ' ' : sign;
  return text + "\n";
}

std::string Entry(const std::string& fields) {
  return OneLine(R"({"result": "left.npy", )" + fields + "}");
}

std::string Plain(const std::string& more = R"("plane": "CIE_Y")") {
  return Entry(std::string(kLeft) + ", " + kAll + ", " + more);
}

/// A folder with two results of a screen of 4 x 1 LEDs, the shot of one of them, and a manifest.
class TwoResults {
 public:
  TwoResults() {
    Spill(folder_.File("left.npy"), NpyBytes(1, 2, std::vector<float>{1.5F, 2.5F}));
    Spill(folder_.File("right.npy"), NpyBytes(1, 1, std::vector<double>{7.0}));
    Shot shot;
    static_cast<void>(shot.SetPartition({2, 0, 2, 1, 4, 1}));
    static_cast<void>(shot.SetPattern({0, 2, 1, 1, 0, 0, 0}));
    static_cast<void>(shot.SetImageSingle(cv::Mat(3, 5, CV_16UC1, cv::Scalar(9)), CIE_Y));
    EXPECT_EQ(shot.Save(folder_.File("right.shot")), 0);
    Manifest(Plain() + "\r\n\n" + R"({"result": "right.npy", "shot": "right.shot"})");
  }
  void Manifest(const std::string& text) const { Spill(Name(), text); }
  [[nodiscard]] std::string Name() const { return folder_.File("m.jsonl"); }
  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  [[nodiscard]] Outcome Assembled(const std::vector<std::string>& more = {}) const {
    return RunTool(Joined({"assemble", Name(), "-o", File("out/of")}, more));
  }

 private:
  TempDir folder_;
};

TEST(Assemble, WritesTheScreenItsCountsAndTheReport) {
  const TwoResults results;
  const Outcome outcome = results.Assembled({"--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(Slurp(results.File("out/of/assembly.json")), outcome.out);
  const auto plane = outcome.Json()["planes"]["CIE_Y"];
  EXPECT_EQ(plane["measured"], 3);
  EXPECT_EQ(plane["missing_rectangles"], nlohmann::json::parse("[[2, 0, 1, 1]]"));
  EXPECT_EQ(plane["gains"][1]["result"], "right.npy");
  const std::string npy = Slurp(results.File("out/of/CIE_Y.npy"));
  const std::string lum = Slurp(results.File("out/of/CIE_Y.lum"));
  ASSERT_EQ(npy.size(), 128U + 16);
  ASSERT_EQ(lum.size(), 5U + 16 + 4 + 16 + 16);
  EXPECT_EQ(npy.substr(128), lum.substr(41));
  EXPECT_EQ(lum.substr(0, 25),
            std::string("L\1\0\0\0\1\0\0\0\4\0\0\0\0\0\0\0\1\0\0\0\2\2\2\2", 25));
  const std::string counts = Slurp(results.File("out/of/CIE_Y.count.npy"));
  EXPECT_THAT(counts, HasSubstr("'descr': '|u1', 'fortran_order': False, 'shape': (1, 4), }"));
  EXPECT_EQ(counts.substr(128), std::string("\1\1\0\1", 4));
}

TEST(Assemble, PlanesKeepTheirValuesAndTheManifestsOrder) {
  const TwoResults results;
  std::string lines;
  for (const char* plane : {"b", "c", "a"}) {
    const std::string file = std::string("of.") + plane + ".npy";
    Spill(results.File(file), NpyBytes(1, 2, std::vector<float>{static_cast<float>(*plane), 5}));
    lines += OneLine(R"({"result": ")" + file + "\", " + kLeft + ", " + kAll + R"(, "plane": ")" +
                     plane + "\"}");
  }
  results.Manifest(lines);
  const Outcome outcome = results.Assembled({"--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  std::vector<std::string> order;
  const auto answer = nlohmann::ordered_json::parse(outcome.out);
  for (const auto& plane : answer["planes"].items()) {
    order.push_back(plane.key());
  }
  EXPECT_EQ(order, (std::vector<std::string>{"b", "c", "a"}));
  const float kNone = std::numeric_limits<float>::quiet_NaN();
  for (const char* plane : {"b", "c", "a"}) {
    EXPECT_EQ(Slurp(results.File(std::string("out/of/") + plane + ".npy")),
              NpyBytes(1, 4, std::vector<float>{static_cast<float>(*plane), 5, kNone, kNone}));
  }
}

TEST(Assemble, TellsPeopleWhatItFoundAndWrote) {
  const TwoResults results;
  const Outcome outcome = results.Assembled();
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  for (const char* text : {"CIE_Y, 4 x 1 LEDs", "3 LEDs, 0 more than once", "1 LEDs: 1 x 1 at 2,0",
                           "1 to 1 for 2 results", "CIE_Y.count.npy", "assembly.json"}) {
    EXPECT_THAT(outcome.out, HasSubstr(text));
  }
}

TEST(Assemble, NamesTheLineThatCannotBeUsedAndWritesNothing) {
  const TwoResults results;
  Spill(results.File("short.shot"), Slurp(results.File("right.shot")).substr(0, 40));
  const std::string pattern = R"(, "pattern": {"interval_x": 2, "interval_y": 1, "loc_x": )";
  const struct {
    std::string line;
    std::string message;
  } cases[] = {
      {"{", "is no valid JSON"},
      {"[1]", "found no JSON object"},
      {"{}", "entry.result: found nothing, expected a text"},
      {R"({"result": 7})", "entry.result: found 7, expected a text"},
      {R"({"result": "left.npy"})", "entry.partition: found nothing"},
      {Plain(R"("plane": "CIE_Y", "more": 1)"), "entry.more: unknown"},
      {Entry(std::string(kLeft) + pattern + "2, \"loc_y\": 0}, \"plane\": \"p\""),
       "place of the lit LED: found 2,0"},
      {Entry(std::string(kLeft) + pattern + "0.5, \"loc_y\": 0}, \"plane\": \"p\""),
       "pattern.loc_x: found 0.5, expected a 32-bit whole number"},
      {Entry(std::string(kLeft) + pattern + "99999999999, \"loc_y\": 0}, \"plane\": \"p\""),
       "pattern.loc_x: found 99999999999"},
      {Entry(std::string(kLeft) + pattern + "0, \"loc_y\": 0}, \"plane\": \"p\""),
       "left.npy: holds 2 x 1 LEDs, expected 1 x 1"},
      {Entry(std::string(kLeft) + pattern +
             "0, \"loc_y\": 0, \"lighted_led_w\": 2}, \"plane\": \"p\""),
       "lit LEDs: found 2 x 0, expected 1 x 1"},
      {Entry(
           std::string(
               R"("partition": {"x": 3, "y": 0, "w": 2, "h": 1, "screen_w": 4, "screen_h": 1}, )") +
           kAll + R"(, "plane": "p")"),
       "partition: found 2 x 1 LEDs at 3,0, expected a part of the screen of 4 x 1"},
      {Entry(
           std::string(
               R"("partition": {"x": 0, "y": 0, "w": 2, "h": 1, "screen_w": 5, "screen_h": 1}, )") +
           kAll + R"(, "plane": "p")"),
       "screen: found 5 x 1, expected 4 x 1 as in line 2"},
      {Plain(R"("plane": "a/b")"), "plane: found \"a/b\""},
      {Plain(R"("plane": "..")"), "plane: found \"..\""},
      {Plain(R"("plane": "")"), "plane: found \"\""},
      {Plain(R"("plane": "nul")"), "on Windows this is a device"},
      {Plain(R"("plane": "a\u0007")"), "control characters"},
      {Plain(R"("plane": "CIE_Y.count")"), "another ending"},
      {Plain(R"("plane": "cie_y")"), "in more than capital letters"},
      {R"({"result": "left.npy", "shot": "none.shot"})", "none.shot: cannot be opened"},
      {R"({"result": "left.npy", "shot": "short.shot"})", "short.shot: "},
      {R"({"result": "left.npy", "shot": "left.npy"})", "expected a name ending in \".shot\""},
      {R"({"result": "none.lum", "shot": "right.shot"})", "none.lum: cannot be opened"},
      {R"({"result": "left.npy", "shot": "right.shot"})", "left.npy: holds 2 x 1 LEDs"},
      {R"({"result": "", "shot": "right.shot"})", "found an empty file name"},
  };
  for (const auto& c : cases) {
    results.Manifest("\n" + Plain() + c.line);
    const Outcome outcome = results.Assembled();
    ExpectRefused(outcome, 3, c.message);
    EXPECT_THAT(outcome.err, HasSubstr("m.jsonl: line 3: "));
    EXPECT_FALSE(std::filesystem::exists(results.File("out"))) << c.line;
  }
}

TEST(Assemble, ManifestWithoutResultsIsRefused) {
  const TwoResults results;
  results.Manifest("\n \n");
  EXPECT_EQ(results.Assembled().exit, 3);
  EXPECT_EQ(RunTool({"assemble", results.File("none.jsonl"), "-o", results.File("out")}).exit, 3);
}

TEST(Assemble, MatchIsOneOfThree) {
  const TwoResults results;
  ExpectRefused(results.Assembled({"--match", "best"}), 2,
                "--match: found \"best\", expected none, overlap or seams");
}

TEST(Assemble, DoesNotWriteOverWhatItReads) {
  const TwoResults results;
  std::filesystem::create_directory(results.File("in"));
  std::filesystem::rename(results.File("left.npy"), results.File("in/CIE_Y.npy"));
  results.Manifest(OneLine(R"({"result": "in/CIE_Y.npy", )" + std::string(kLeft) + ", " + kAll +
                           R"(, "plane": "CIE_Y"})"));
  const std::string bytes = Slurp(results.File("in/CIE_Y.npy"));
  EXPECT_EQ(RunTool({"assemble", results.Name(), "-o", results.File("in")}).exit, 2);
  EXPECT_EQ(Slurp(results.File("in/CIE_Y.npy")), bytes);
}

TEST(Assemble, FolderThatTakesNothingIsAnOutputError) {
  const TwoResults results;
  ExpectFolderRefused({"assemble", results.Name()});
}

#ifndef _WIN32
TEST(Assemble, FullDiskLeavesNothingHalfWritten) {
  const TwoResults results;
  Spill(results.File("left.npy"), NpyBytes(40, 40, std::vector<float>(1600, 2.5F)));
  results.Manifest(OneLine(R"({"result": "left.npy", "partition": {"x": 0, "y": 0, "w": 40,
"h": 40, "screen_w": 40, "screen_h": 40}, )" +
                           std::string(kAll) + R"(, "plane": "CIE_Y"})"));
  dravix::test::ExpectWholeFilesOnFullDisk({"assemble", results.Name()});
}
#endif

}  // namespace
