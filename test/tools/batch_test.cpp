/// `dravix batch` as its users meet it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>
#endif

#include "tools/batch_folder.h"
#include "tools/output_folder.h"

using dravix::test::BatchFolder;
using dravix::test::ExpectFolderRefused;
using dravix::test::ExpectRefused;
using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::RunToolIn;
using dravix::test::Slurp;
using dravix::test::Spill;

namespace fs = std::filesystem;

namespace {

using Keys = std::vector<std::string>;

Keys KeysOf(const nlohmann::ordered_json& json) {
  Keys keys;
  for (const auto& [key, value] : json.items()) keys.push_back(key);
  return keys;
}

TEST(Batch, ResultsAreThoseOfMeasure) {
  const BatchFolder folder({"a", "b", "c"});
  ASSERT_EQ(folder.Run().exit, 0);
  const auto lines = folder.Results();
  ASSERT_EQ(lines.size(), 3U);
  for (const auto& line : lines) {
    const std::string id = line["id"];
    const Outcome measured = RunToolIn(
        folder.Path(),
        {"measure", id + ".shot", "--truth", id + ".json", "-o", id + ".alone.lum", "--json"});
    ASSERT_EQ(measured.exit, 0) << measured.err;
    EXPECT_EQ(Slurp(folder.File("out/" + id + ".lum")), Slurp(folder.File(id + ".alone.lum")));
    EXPECT_EQ(line["code"], 0);
    EXPECT_EQ(line["message"], "");
    EXPECT_EQ(line["leds"], nlohmann::json({40, 30}));
    const auto report = measured.Json();
    nlohmann::json ids = nlohmann::json::array();
    for (const auto& finding : report["findings"]) ids.push_back(finding["id"]);
    EXPECT_FALSE(ids.empty());
    EXPECT_EQ(line["findings"], ids);
    const auto level =
        RunTool({"analyze", folder.File(id + ".alone.lum"), "--json"}).Json()["level"];
    EXPECT_EQ(line["mean"], level["mean"]);
    EXPECT_EQ(line["cv"], level["cv"]);
  }
}

TEST(Batch, KeysOfAResultStandInTheirOrder) {
  const BatchFolder folder({"a"});
  ASSERT_EQ(folder.Run().exit, 0);
  const auto line = nlohmann::ordered_json::parse(Slurp(folder.File("out/results.jsonl")));
  EXPECT_EQ(KeysOf(line),
            (Keys{"id", "code", "message", "sha256", "leds", "mean", "cv", "findings"}));
}

TEST(Batch, FailedJobStopsNothingAndSaysWhatMeasureSays) {
  const BatchFolder folder({"a", "b"});
  folder.Write(
      {folder.Job("a"), R"({"id":"gone","photo":"gone.shot","find":"blur"})", folder.Job("b")});
  fs::create_directories(folder.File("out"));
  Spill(folder.File("out/gone.lum"), "of an earlier manifest");
  const Outcome outcome = folder.Run();
  EXPECT_EQ(outcome.exit, 5) << outcome.err;
  EXPECT_NE(outcome.err.find("gone"), std::string::npos);
  const auto lines = folder.Results();
  ASSERT_EQ(lines.size(), 3U);
  const Outcome alone = RunToolIn(folder.Path(), {"measure", "gone.shot", "--find", "blur"});
  EXPECT_EQ(lines[1]["code"], alone.exit);
  EXPECT_EQ(lines[1]["message"].get<std::string>() + "\n", alone.err);
  for (const char* key : {"sha256", "leds", "mean", "cv", "findings"}) {
    EXPECT_TRUE(lines[1][key].is_null()) << key;
  }
  EXPECT_FALSE(fs::exists(folder.File("out/gone.lum")));
  EXPECT_TRUE(fs::exists(folder.File("out/b.lum")));
}

TEST(Batch, FailedJobIsTriedAgain) {
  const BatchFolder folder({"a"});
  folder.Write({folder.Job("a"), R"({"id":"late","photo":"late.shot","truth":"a.json"})"});
  EXPECT_EQ(folder.Run().exit, 5);
  fs::copy_file(folder.File("a.shot"), folder.File("late.shot"));
  const Outcome again = folder.Run({"--json"});
  EXPECT_EQ(again.exit, 0) << again.err;
  EXPECT_EQ(again.Json()["done_before"], 1);
  EXPECT_EQ(Slurp(folder.File("out/late.lum")), Slurp(folder.File("out/a.lum")));
}

TEST(Batch, BytesDoNotDependOnTheNumberOfWorkers) {
  const BatchFolder folder({"a", "b", "c", "d"});
  ASSERT_EQ(folder.Run({"--workers", "1"}, "one").exit, 0);
  ASSERT_EQ(folder.Run({"--workers", "4"}, "four").exit, 0);
  EXPECT_EQ(folder.Bytes("one"), folder.Bytes("four"));
}

TEST(Batch, SecondRunDoesNothingAndGivesTheSameBytes) {
  const BatchFolder folder({"a", "b"});
  ASSERT_EQ(folder.Run().exit, 0);
  const auto before = folder.Bytes("out");
  const auto written = fs::last_write_time(folder.File("out/a.lum"));
  const Outcome again = folder.Run({"--json"});
  EXPECT_EQ(again.Json()["done_before"], 2);
  EXPECT_EQ(folder.Bytes("out"), before);
  EXPECT_EQ(fs::last_write_time(folder.File("out/a.lum")), written);
}

TEST(Batch, ChangedInputOutputOrOptionIsDoneAgain) {
  const BatchFolder folder({"a", "b", "c", "d"});
  ASSERT_EQ(folder.Run().exit, 0);
  const auto before = folder.Bytes("out");
  Spill(folder.File("out/a.lum"), "damaged");
  Spill(folder.File("b.shot"), Slurp(folder.File("a.shot")));
  folder.Write({folder.Job("a"), folder.Job("b"),
                R"({"id":"c","photo":"c.shot","truth":"c.json","flip":true})", folder.Job("d")});
  const Outcome again = folder.Run({"--json"});
  EXPECT_EQ(again.Json()["done_before"], 1) << again.err;
  EXPECT_EQ(Slurp(folder.File("out/a.lum")), before.at("a.lum"));
  EXPECT_NE(Slurp(folder.File("out/b.lum")), before.at("b.lum"));
}

TEST(Batch, TornJournalIsNoObstacle) {
  const BatchFolder folder({"a", "b"});
  ASSERT_EQ(folder.Run().exit, 0);
  const auto before = folder.Bytes("out");
  const std::string journal = Slurp(folder.File("out/journal.jsonl"));
  Spill(folder.File("out/journal.jsonl"), journal.substr(0, journal.size() - 40));
  EXPECT_EQ(folder.Run({"--json"}).Json()["done_before"], 1);
  EXPECT_EQ(folder.Run({"--json"}).Json()["done_before"], 2);
  EXPECT_EQ(folder.Bytes("out"), before);
}

TEST(Batch, FindMeasuresAsWithTheRegionThatRegionFinds) {
  const BatchFolder folder({});
  folder.Simulate("a", {"--leds", "64x48", "--block", "8", "--pitch", "10", "--size", "900x700"});
  folder.Write({R"({"id":"blur","photo":"a.shot","find":"blur"})",
                R"({"id":"auto","photo":"a.shot","find":"auto"})"});
  static_cast<void>(folder.Run());
  const auto lines = folder.Results();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["code"], 0) << lines[0];
  for (const auto& line : lines) {
    const std::string how = line["id"];
    ASSERT_EQ(RunToolIn(folder.Path(), {"region", how, "a.shot", "-o", how + ".roi"}).exit, 0);
    const Outcome measured = RunToolIn(
        folder.Path(), {"measure", "a.shot", "--region", how + ".roi", "-o", how + ".lum"});
    EXPECT_EQ(line["code"], measured.exit) << measured.err;
    if (measured.exit != 0) continue;
    EXPECT_EQ(Slurp(folder.File("out/" + how + ".lum")), Slurp(folder.File(how + ".lum")));
  }
}

TEST(Batch, CheckerboardsAndPicturesAreOptionsOfAJob) {
  const BatchFolder folder({});
  folder.Simulate("a", {"--leds", "64x48", "--block", "8"});
  folder.Write({R"({"id":"a","photo":"a.shot","truth":"a.json","checkerboard":"a.board.shot",)"
                R"("blocks":[8,6],"image":"a.png"})"});
  const Outcome outcome = folder.Run();
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_TRUE(fs::exists(folder.File("a.png")));
  fs::remove(folder.File("a.png"));
  EXPECT_EQ(folder.Run({"--json"}).Json()["done_before"], 0);
  EXPECT_TRUE(fs::exists(folder.File("a.png")));
}

struct BadLine {
  const char* line;
  int exit;
  const char* says;
};
// Names of tests show it.
void PrintTo(const BadLine& line, std::ostream* out) { *out << line.line; }

class BatchRefuses : public testing::TestWithParam<BadLine> {};

TEST_P(BatchRefuses, TheLineBeforeAnythingIsMeasured) {
  const BatchFolder folder({"a"});
  folder.Write({folder.Job("a"), "", GetParam().line});
  const Outcome outcome = folder.Run();
  ExpectRefused(outcome, GetParam().exit, GetParam().says);
  EXPECT_NE(outcome.err.find("jobs.jsonl: line 3: "), std::string::npos) << outcome.err;
  EXPECT_FALSE(fs::exists(folder.File("out")));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BatchRefuses,
    testing::Values(
        BadLine{"{", 3, "no valid JSON"}, BadLine{"[1]", 3, "no JSON object"},
        BadLine{R"({"photo":"a.shot","truth":"a.json"})", 2, "has no \"id\""},
        BadLine{R"({"id":"a","photo":"a.shot","truth":"a.json"})", 2, "that of line 1"},
        BadLine{R"({"id":".b","photo":"a.shot","truth":"a.json"})", 2, "not '.' first"},
        BadLine{R"({"id":"b/c","photo":"a.shot","truth":"a.json"})", 2, "letters"},
        BadLine{R"({"id":7,"photo":"a.shot","truth":"a.json"})", 2, "found 7"},
        BadLine{R"({"id":"b","truth":"a.json"})", 2, "photo"},
        BadLine{R"({"id":"b","photo":5,"truth":"a.json"})", 2, "photo: found 5"},
        BadLine{R"({"id":"b","photo":"a.shot"})", 2, "--corners"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","find":"blur"})", 2, "--find"},
        BadLine{R"({"id":"b","photo":"a.shot","find":"sharp"})", 2, "blur or auto"},
        BadLine{R"({"id":"b","photo":"a.shot","corner":[[0,0]]})", 2, "corners"},
        BadLine{R"({"id":"b","photo":"a.shot","corners":[[1,2],[3,4],[5,6]]})", 2, "four"},
        BadLine{R"({"id":"b","photo":"a.shot","corners":[[1,9],[3,9],[5,9],[7,99]]})", 2,
                "mean height"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","blocks":[8,6]})", 2,
                "--checkerboard"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","top-leds":3})", 2, "top-leds"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","top_leds":"3"})", 2, "top_leds"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","top_leds":0,"bottom_leds":9})", 2,
                "--top-leds"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","output":"b.lum"})", 2, "output"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","image":"b.xyz"})", 2, ".xyz"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","image":"a.shot"})", 2, "a.shot"},
        // What shows only beside the photograph.
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","linearize":"srgb"})", 2,
                "--linearize"},
        BadLine{R"({"id":"b","photo":"a.shot","truth":"a.json","black_level":"subtract"})", 2,
                "black level"}));

TEST(Batch, ManifestThatIsMissingIsNamed) {
  const BatchFolder folder({});
  const Outcome outcome = folder.Run();
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Batch, CommandLineIsChecked) {
  const BatchFolder folder({"a"});
  for (const std::vector<std::string>& words : {std::vector<std::string>{"--workers", "0"},
                                                {"--shard", "0/2"},
                                                {"--shard", "3/2"},
                                                {"--shard", "1-2"},
                                                {"--join", "out"}}) {
    const Outcome outcome = folder.Run(words);
    EXPECT_EQ(outcome.exit, 2) << words[0];
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  }
  EXPECT_EQ(RunTool({"batch"}).exit, 2);
}

TEST(Batch, ShardsJoinToTheBytesOfAnUndividedRun) {
  const BatchFolder folder({"a", "b", "c", "d", "e"});
  folder.Write({folder.Job("a"), folder.Job("b"), folder.Job("c"),
                R"({"id":"gone","photo":"gone.shot","find":"blur"})", folder.Job("d"),
                folder.Job("e")});
  EXPECT_EQ(folder.Run({}, "whole").exit, 5);
  EXPECT_EQ(folder.Run({"--shard", "1/3"}, "parts").exit, 5);
  const Outcome early = RunTool({"batch", "--join", folder.File("parts")});
  EXPECT_EQ(early.exit, 3);
  EXPECT_TRUE(IsOneLine(early)) << early.err;
  EXPECT_NE(early.err.find("results.2-of-3.jsonl"), std::string::npos) << early.err;
  EXPECT_FALSE(fs::exists(folder.File("parts/results.jsonl")));
  EXPECT_EQ(folder.Run({"--shard", "2/3"}, "parts").exit, 0);
  EXPECT_EQ(folder.Run({"--shard", "3/3"}, "parts").exit, 0);
  EXPECT_EQ(RunTool({"batch", "--join", folder.File("parts")}).exit, 5);
  EXPECT_EQ(folder.Bytes("parts"), folder.Bytes("whole"));
  EXPECT_TRUE(fs::exists(folder.File("parts/journal.2-of-3.jsonl")));
  EXPECT_TRUE(fs::exists(folder.File("parts/times.2-of-3.jsonl")));
}

TEST(Batch, ShardsOfOtherDivisionsAreNotMixed) {
  const BatchFolder folder({"a", "b"});
  ASSERT_EQ(folder.Run({"--shard", "1/2"}).exit, 0);
  ASSERT_EQ(folder.Run({"--shard", "1/3"}).exit, 0);
  const Outcome outcome = RunTool({"batch", "--join", folder.File("out")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("one division"), std::string::npos) << outcome.err;
}

TEST(Batch, ResultsSayNothingOfPlacesAndTimes) {
  const BatchFolder one({"a"});
  const BatchFolder other({"a"});
  ASSERT_EQ(one.Run({}, "x").exit, 0);
  ASSERT_EQ(other.Run({}, "some/deep/folder").exit, 0);
  EXPECT_EQ(one.Bytes("x"), other.Bytes("some/deep/folder"));
}

TEST(Batch, NamesAreRelativeToTheManifest) {
  const BatchFolder folder({"a"});
  fs::create_directory(folder.File("elsewhere"));
  const Outcome outcome =
      RunToolIn(folder.File("elsewhere"), {"batch", "../jobs.jsonl", "-o", "here"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_TRUE(fs::exists(folder.File("elsewhere/here/a.lum")));
}

TEST(Batch, FolderThatTakesNothingIsRefused) {
  const BatchFolder folder({"a"});
  ExpectFolderRefused({"batch", folder.File("jobs.jsonl")});
}

TEST(Batch, OutputThatCannotBeWrittenFailsItsJobAlone) {
  const BatchFolder folder({"a", "b"});
  fs::create_directories(folder.File("out/a.lum/full"));
  EXPECT_EQ(folder.Run().exit, 4);
  const auto lines = folder.Results();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["code"], 4);
  EXPECT_EQ(lines[0]["message"].get<std::string>().rfind("dravix: a.lum: ", 0), 0U)
      << lines[0]["message"];
  EXPECT_TRUE(lines[0]["sha256"].is_null());
  EXPECT_EQ(lines[1]["code"], 0);
}

#ifndef _WIN32

/// A run of a batch that can be killed.
class Running {
 public:
  Running(const BatchFolder& folder, const std::string& out) : process_(fork()) {
    if (process_ != 0) return;
    const std::string tool = dravix::test::ToolName();
    const std::string manifest = folder.File("jobs.jsonl");
    const std::string output = folder.File(out);
    if (freopen("/dev/null", "w", stdout) == nullptr) _exit(1);
    if (freopen("/dev/null", "w", stderr) == nullptr) _exit(1);
    execl(tool.c_str(), "dravix", "batch", manifest.c_str(), "-o", output.c_str(), nullptr);
    _exit(1);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { Wait(); }

  void Kill() const { kill(process_, SIGKILL); }
  int Wait() {
    int status = 0;
    if (process_ > 0) waitpid(process_, &status, 0);
    process_ = -1;
    return status;
  }

 private:
  pid_t process_;
};

/// Kills runs at random moments, and finishes in the end.
void ExpectSameBytesAfterKills(const BatchFolder& folder, int kills) {
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(folder.Run({}, "whole").exit, 0);
  const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - start;
  std::mt19937 random(7);
  for (int i = 0; i < kills; ++i) {
    // Every few kills begin anew, so that early moments are met as often as late ones.
    if (i % 5 == 0) fs::remove_all(folder.File("out"));
    Running running(folder, "out");
    std::this_thread::sleep_for(
        std::chrono::duration<double>(std::uniform_real_distribution<>(0, 0.6)(random) * whole));
    running.Kill();
    running.Wait();
  }
  const Outcome last = folder.Run();
  EXPECT_EQ(last.exit, 0) << last.err;
  EXPECT_EQ(folder.Bytes("out"), folder.Bytes("whole"));
  EXPECT_EQ(folder.Names("out"), folder.Names("whole"));
}

TEST(Batch, KilledAtAFewMomentsEndsWithTheSameBytes) {
  const BatchFolder folder({"a", "b", "c"});
  ExpectSameBytesAfterKills(folder, 4);
}

TEST(BatchSweep, KilledAtFiftyMomentsEndsWithTheSameBytes) {
  BatchFolder folder({"a", "b", "c", "d"});
  std::vector<std::string> lines;
  for (int i = 0; i < 40; ++i) {
    lines.push_back(
        folder.Job(std::string(1, static_cast<char>('a' + i % 4)), "job-" + std::to_string(i)));
  }
  folder.Write(lines);
  ExpectSameBytesAfterKills(folder, 50);
}

TEST(BatchSweep, ThousandJobsAreMeasured) {
  BatchFolder folder({"a", "b", "c", "d", "e"});
  std::vector<std::string> lines;
  for (int i = 0; i < 1000; ++i) {
    lines.push_back(
        folder.Job(std::string(1, static_cast<char>('a' + i % 5)), "job-" + std::to_string(i)));
  }
  folder.Write(lines);
  const Outcome outcome = folder.Run({"--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.Json()["measured"], 1000);
  EXPECT_EQ(folder.Results().size(), 1000U);
  EXPECT_EQ(folder.Run({"--json"}).Json()["done_before"], 1000);
}

TEST(Batch, SecondRunInOneFolderSaysThatThereIsAnother) {
  const BatchFolder folder({"a"});
  ASSERT_EQ(folder.Run().exit, 0);
  // flock(1) holds the journal as another run would.
  const Outcome outcome =
      dravix::test::RunToolAfter("flock '" + folder.File("out/journal.jsonl") + "' ",
                                 {"batch", folder.File("jobs.jsonl"), "-o", folder.File("out")});
  EXPECT_EQ(outcome.exit, 4);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("another run"), std::string::npos) << outcome.err;
}

TEST(Batch, FullDiskFailsTheJobsAndALaterRunDoesThem) {
  const BatchFolder folder({"a", "b"});
  ASSERT_EQ(folder.Run({}, "whole").exit, 0);
  // One block of 512 bytes is enough for no result.
  const Outcome full = dravix::test::RunToolAfter(
      "ulimit -f 1; ", {"batch", folder.File("jobs.jsonl"), "-o", folder.File("out")});
  EXPECT_EQ(full.exit, 4) << full.err;
  EXPECT_FALSE(fs::exists(folder.File("out/a.lum")));
  EXPECT_EQ(folder.Run().exit, 0);
  EXPECT_EQ(folder.Bytes("out"), folder.Bytes("whole"));
}

#endif

}  // namespace
