/// What a batch is made of: hashes, manifests, journals, shards, limits of the machine, estimates.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "batch/jobs/append_file.h"
#include "batch/jobs/batch_job.h"
#include "batch/jobs/journal.h"
#include "batch/jobs/manifest.h"
#include "batch/jobs/shard.h"
#include "batch/time_left.h"
#include "batch/workers/crew.h"
#include "batch/workers/machine.h"
#include "batch/workers/memory_budget.h"
#include "commands/arguments/job_options.h"
#include "files/sha256.h"
#include "support/temp_dir.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

// The examples of FIPS 180-4 as NIST publishes them.
TEST(Sha256, GivesTheDigitsOfThePublishedExamples) {
  EXPECT_EQ(Sha256Of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256Of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256Of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256, OfAFileIsThatOfItsBytes) {
  const test::TempDir folder;
  const std::string bytes((std::size_t{1} << 20) + 7, 'x');
  test::Spill(folder.File("f"), bytes);
  EXPECT_EQ(Sha256OfFile(folder.File("f")), Sha256Of(bytes));
  EXPECT_FALSE(Sha256OfFile(folder.File("none")));
  EXPECT_FALSE(Sha256OfFile(folder.Path().string()));
}

TEST(Shard, TakesEveryNthJob) {
  const Shard shard = ParseShard("2/3");
  EXPECT_FALSE(shard.Has(0));
  EXPECT_TRUE(shard.Has(1));
  EXPECT_TRUE(shard.Has(4));
}

TEST(Shard, FilesSayTheirShard) {
  EXPECT_EQ(FileOf("results", std::nullopt), "results.jsonl");
  EXPECT_EQ(FileOf("results", Shard{2, 8}), "results.2-of-8.jsonl");
  const auto shard = ShardOfFile("results", "results.2-of-8.jsonl");
  ASSERT_TRUE(shard);
  EXPECT_EQ(shard->index, 2U);
  EXPECT_EQ(shard->count, 8U);
  for (const char* name :
       {"results.jsonl", "results.0-of-8.jsonl", "results.9-of-8.jsonl", "results.02-of-8.jsonl",
        "times.2-of-8.jsonl", "results.2-of-8.jsonl~"}) {
    EXPECT_FALSE(ShardOfFile("results", name)) << name;
  }
}

TEST(Manifest, LinesAreCountedWithTheEmptyOnes) {
  const auto lines = ParseManifest("m", "\n{\"id\":\"a\"}\r\n  \n{\"id\":\"b\",\"photo\":\"p\"}");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].number, 2U);
  EXPECT_EQ(lines[1].number, 4U);
  EXPECT_EQ(lines[1].id, "b");
  EXPECT_EQ(lines[1].options, R"({"photo":"p"})");
}

JournalEntry Entry(const std::string& id) {
  JournalEntry entry;
  entry.options = "o";
  entry.inputs = {{"a.shot", "1"}};
  entry.result = {id, 0, "", JobFigures{"2", {4, 3}, 0.1, std::nullopt, {"edge-copied"}}};
  return entry;
}

TEST(Manifest, OptionsAreTheSameHoweverTheLineIsWritten) {
  const auto lines = ParseManifest("m",
                                   "{\"id\":\"a\",\"photo\":\"\\u0070\",\"top_leds\":3}\n"
                                   "{ \"photo\" : \"p\", \"id\": \"b\", \"top_leds\": 3 }");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].options, lines[1].options);
  BatchJob job;
  job.options = lines[0].options;
  // Journals hold this hash, so that it must not change from one version to the next.
  EXPECT_EQ(job.OptionsHash(), Sha256Of("{\"photo\":\"p\",\"top_leds\":3}\n"));
}

TEST(Manifest, MarkThatEditorsPutInFrontIsSkipped) {
  const auto lines = ParseManifest("jobs.jsonl", "\xEF\xBB\xBF{\"id\": \"a\"}\r\n");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].id, "a");
}

TEST(Journal, LastEntryOfAnIdCounts) {
  JournalEntry later = Entry("a");
  later.options = "later";
  const auto entries = ParseJournal(JournalLine(Entry("a")) + "\n" + JournalLine(later));
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries.at("a").options, "later");
  EXPECT_EQ(JournalLine(entries.at("a")), JournalLine(later));
}

TEST(Journal, LineThatIsCutAnywhereCountsForNothing) {
  const std::string whole = JournalLine(Entry("a"));
  const std::string second = JournalLine(Entry("b"));
  for (std::size_t cut = 0; cut < second.size(); ++cut) {
    EXPECT_EQ(ParseJournal(whole + second.substr(0, cut)).size(), 1U) << cut;
    // The next run gives it an end.
    EXPECT_EQ(ParseJournal(whole + second.substr(0, cut) + "\n" + second).size(), 2U) << cut;
  }
}

TEST(AppendFile, LineBehindATornOneBeginsANewOne) {
  const test::TempDir folder;
  const auto path = folder.Path() / "j";
  test::Spill(path.string(), "torn");
  AppendFile file;
  ASSERT_EQ(file.Open(path), AppendFile::Opened::kYes);
  EXPECT_FALSE(file.Add("one\n"));
  EXPECT_FALSE(file.Add("two\n"));
  EXPECT_EQ(file.Content(1000), "torn\none\ntwo\n");
}

TEST(AppendFile, IsOpenOnlyOnce) {
  const test::TempDir folder;
  const auto path = folder.Path() / "j";
  {
    AppendFile file;
    AppendFile other;
    ASSERT_EQ(file.Open(path), AppendFile::Opened::kYes);
    EXPECT_EQ(other.Open(path), AppendFile::Opened::kInUse);
  }
  AppendFile later;
  EXPECT_EQ(later.Open(path), AppendFile::Opened::kYes);
}

TEST(Machine, LimitsAreRead) {
  EXPECT_EQ(MemoryIn("MemTotal: 9 kB\nMemAvailable:   2048 kB\n"), 2097152U);
  EXPECT_FALSE(MemoryIn("MemTotal: 9 kB\n"));
  EXPECT_EQ(LimitIn("4096\n"), 4096U);
  EXPECT_FALSE(LimitIn("max\n"));
  EXPECT_EQ(CoresIn("150000 100000\n"), 2U);
  EXPECT_EQ(CoresIn("100 100000\n"), 1U);
  EXPECT_FALSE(CoresIn("max 100000\n"));
  EXPECT_FALSE(CoresIn("5 0\n"));
  EXPECT_GE(UsableCores(), 1U);
}

TEST(MemoryBudget, NeverHandsOutMoreThanThereIs) {
  MemoryBudget budget(10);
  std::atomic<int> used = 0;
  std::atomic<bool> tooMuch = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 200; ++turn) {
        const auto part = budget.Take(4);
        if ((used += 4) > 10) tooMuch = true;
        used -= 4;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(tooMuch);
}

TEST(MemoryBudget, WhatIsTooLargeWorksAlone) {
  MemoryBudget budget(10);
  { const auto part = budget.Take(1000); }
  const auto again = budget.Take(10);
}

TEST(Worker, DoesOneThingAfterTheOtherBesideItsQuestions) {
  const std::vector<std::string> words;
  Worker worker(words);
  std::vector<int> done;  // two at once would be a race
  for (int i = 0; i < 20; ++i) worker.DoBeside([&done, i] { done.push_back(i); });
  worker.FinishBeside();
  ASSERT_EQ(done.size(), 20U);
  EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
}

TEST(Worker, ForgetsWhatIsDoneWithoutBeingAsked) {
  const std::vector<std::string> words;
  Worker worker(words);
  MemoryBudget budget(10);
  for (int i = 0; i < 20; ++i) {
    // Waits for ever unless the part before has gone back.
    const std::shared_ptr<MemoryBudget::Part> part(new MemoryBudget::Part(budget.Take(10)));
    worker.DoBeside([part] {});
  }
  worker.FinishBeside();
}

TEST(Worker, ThrowsOnWhatWasThrownBesideItsQuestions) {
  const std::vector<std::string> words;
  Worker worker(words);
  worker.DoBeside([] { throw std::runtime_error("beside"); });
  EXPECT_THROW(worker.DoBeside([] {}), std::runtime_error);
  worker.DoBeside([] { throw std::runtime_error("beside"); });
  EXPECT_THROW(worker.FinishBeside(), std::runtime_error);
  worker.FinishBeside();
}

TEST(TimeLeft, IsWhatTheRestTakesAtTheRateSoFar) {
  EXPECT_DOUBLE_EQ(SecondsLeft({10, 4, 40, 60, 2}).value(), 15);
  EXPECT_FALSE(SecondsLeft({10, 3, 40, 60, 2}));
  EXPECT_FALSE(SecondsLeft({10, 4, 0, 60, 2}));
  EXPECT_EQ(DurationText(42.4), "about 42 s");
  EXPECT_EQ(DurationText(12 * 60), "about 12 min");
  EXPECT_EQ(DurationText(3.3 * 3600), "about 3 h 20 min");
}

TEST(JobOptions, AreThoseOfTheCommandLine) {
  const MeasurementOptions o = OptionsOfJob(Json::parse(
      R"({"photo":"-a.shot","corners":[[-1,2],[3.5,4],[5,6],[7,8]],"checkerboard":"b.shot",
          "blocks":[8,6],"last_width":3,"flip":true,"black_level":16,"leds":"40x30",
          "partition":{"x":0,"w":64},"color":1,"cam_type":320012})"));
  EXPECT_EQ(o.photo, "-a.shot");
  EXPECT_EQ(o.area.corners, (std::vector<std::string>{"-1,2", "3.5,4", "5,6", "7,8"}));
  EXPECT_EQ(o.blocks, "8x6");
  EXPECT_EQ(o.lastWidth, 3);
  EXPECT_TRUE(o.photograph.flip);
  EXPECT_EQ(o.photograph.blackLevel, "16");
  EXPECT_EQ(o.photograph.camType, 320012);
  EXPECT_EQ(o.metadata.leds, "40x30");
  ASSERT_EQ(o.metadata.groups.size(), 2U);
  EXPECT_EQ(o.metadata.groups[0].second, "x=0,w=64");
}

TEST(JobOptions, OfOtherTypesAreRefused) {
  for (const char* text : {R"({"photo":"a","region":7})", R"({"photo":"a","flip":1})",
                           R"({"photo":"a","blocks":[8]})", R"({"photo":"a","top_leds":1.5})",
                           R"({"photo":"a","partition":[1]})", R"({"photo":"a","region":""})",
                           R"({"photo":"a","help":true})", R"({"photo":"a","json":true})",
                           R"({"photo":"a","top_leds":99999999999})", R"({"region":"r"})"}) {
    EXPECT_THROW((void)OptionsOfJob(Json::parse(text)), Failure) << text;
  }
}

}  // namespace
}  // namespace dravix::tool
