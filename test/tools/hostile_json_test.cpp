/// JSON files that nobody wrote by hand: the tool says what is wrong with them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::SpillWithHoles;

namespace {

std::string Repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

/// Nested that deep, once with lists and once with objects, under a name that each reader knows.
std::vector<std::string> Nested(int depth) {
  return {R"({"name": )" + Repeated("[", depth - 1) + Repeated("]", depth - 1) + "}",
          Repeated(R"({"name": )", depth) + "1" + Repeated("}", depth)};
}

/// The command lines that read a JSON file.
std::vector<std::vector<std::string>> Readers(const SmallScreen& screen, const std::string& json) {
  const std::string out = screen.File("out.shot");
  return {{"simulate", out, "--scene", json},
          {"shot", "set", screen.Photo(), out, "--metadata", json},
          {"measure", screen.Photo(), "--truth", json},
          {"compare", screen.Truth(), json},
          {"info", json}};
}

TEST(HostileJson, NestingBeyondAnyUseIsRefusedByEveryReader) {
  const SmallScreen screen;
  const std::string json = screen.File("deep.json");
  for (const std::string& text : Nested(100000)) {
    Spill(json, text);
    for (const auto& words : Readers(screen, json)) {
      const Outcome outcome = RunTool(words);
      EXPECT_EQ(outcome.exit, 3) << words[0];
      EXPECT_TRUE(IsOneLine(outcome)) << words[0] << ": " << outcome.err;
    }
  }
  const Outcome outcome = RunTool({"info", json});
  EXPECT_NE(outcome.err.find("nests its values deeper than 64 levels"), std::string::npos)
      << outcome.err;
}

TEST(HostileJson, TheLimitIsSixtyFourLevels) {
  const SmallScreen screen;
  const std::string json = screen.File("deep.json");
  for (const int depth : {64, 65}) {
    for (const std::string& text : Nested(depth)) {
      Spill(json, text);
      const std::string err = RunTool({"simulate", screen.File("o.shot"), "--scene", json}).err;
      EXPECT_EQ(err.find("deeper than 64") != std::string::npos, depth == 65) << err;
    }
  }
}

TEST(HostileJson, BracketsAndCommasInStringsDoNotCount) {
  const SmallScreen screen;
  const std::string json = screen.File("text.json");
  Spill(json, R"({"name": ")" + Repeated(R"([{,\")", 2000) + R"("})");
  const std::string err = RunTool({"simulate", screen.File("o.shot"), "--scene", json}).err;
  EXPECT_EQ(err.find("expected a file that the tool or a person wrote"), std::string::npos) << err;
  EXPECT_EQ(err.find("is no valid JSON"), std::string::npos) << err;
}

// Reading such a list took hours as long as the time grew with the square of its length.
TEST(HostileJson, AListOfAMillionObjectsIsAnswered) {
  const SmallScreen screen;
  const std::string json = screen.File("long.json");
  Spill(json, R"({"name": [)" + Repeated("{},", 1000000) + "{}]}");
  const Outcome outcome = RunTool({"simulate", screen.File("o.shot"), "--scene", json});
  EXPECT_NE(outcome.exit, 0);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(HostileJson, AnObjectHasAtMostAThousandMembers) {
  const SmallScreen screen;
  const std::string json = screen.File("wide.json");
  for (const int others : {999, 1000}) {
    Spill(json, R"({"seed": [{}, {"a": 0}])" + Repeated(R"(, "a": {})", others) + "}");
    for (const auto& words : Readers(screen, json)) {
      const Outcome outcome = RunTool(words);
      EXPECT_NE(outcome.exit, 0) << words[0];
      EXPECT_EQ(outcome.err.find("has an object of more than 1000 members") != std::string::npos,
                others == 1000)
          << words[0] << ": " << outcome.err;
    }
  }
}

TEST(HostileJson, AFileThatIsFarTooLargeIsNotRead) {
  const SmallScreen screen;
  const std::string json = screen.File("large.json");
  if (!SpillWithHoles(json, "{")) GTEST_SKIP() << "no file can be that large here";
  for (const auto& words : Readers(screen, json)) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 3) << words[0];
    EXPECT_NE(outcome.err.find("expected at most 67108864"), std::string::npos)
        << words[0] << ": " << outcome.err;
  }
}

/// The screen's truth file with another name for its luminances.
std::string TruthNaming(const SmallScreen& screen, const std::string& luminances) {
  auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  truth["luminances"] = luminances;
  const std::string name = screen.File("other.json");
  Spill(name, truth.dump());
  return name;
}

TEST(HostileTruth, OnlyAFileOfItsOwnFolderIsRead) {
  const SmallScreen screen;
  const std::string good = screen.File("truth.truth.npy");
  std::filesystem::create_directory(screen.File("inner"));
  std::filesystem::copy_file(good, screen.File("inner/truth.truth.npy"));
  for (const std::string& name :
       {good, std::string("/dev/zero"), std::string("inner/truth.truth.npy"),
        std::string("inner/../truth.truth.npy"), std::string("../truth.truth.npy"),
        std::string(".."), std::string("."), std::string(""), std::string("./truth.truth.npy")}) {
    const Outcome outcome = RunTool({"info", TruthNaming(screen, name)});
    EXPECT_EQ(outcome.exit, 3) << name;
    EXPECT_NE(outcome.err.find("expected the name of a file in its own folder"), std::string::npos)
        << name << ": " << outcome.err;
  }
  EXPECT_EQ(RunTool({"info", TruthNaming(screen, "truth.truth.npy")}).exit, 0);
}

#ifndef _WIN32
TEST(HostileTruth, ALinkOutOfItsFolderIsNotFollowed) {
  const SmallScreen screen;
  std::filesystem::create_symlink("/dev/zero", screen.File("link.npy"));
  const Outcome outcome = RunTool({"info", TruthNaming(screen, "link.npy")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("is a link, expected a regular file"), std::string::npos)
      << outcome.err;
}
#endif

/// A .npy of version 1.0 with that shape and content.
std::string Npy(const std::string& type, const std::string& shape, const std::string& content) {
  std::string header =
      "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" + shape + "), }";
  header.append(127 - 10 - header.size(), ' ');
  header += '\n';
  const auto length = static_cast<char>(header.size());
  return std::string("\x93NUMPY\x01\x00", 8) + length + '\0' + header + content;
}

TEST(HostileTruth, ItsLuminancesMustHaveTheSizeThatItNames) {
  const SmallScreen screen;
  Spill(screen.File("odd.npy"), Npy("<f4", "2, 3", std::string(24, '\0')));
  const Outcome outcome = RunTool({"info", TruthNaming(screen, "odd.npy")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("holds 3 x 2 luminances, expected 40 x 30"), std::string::npos)
      << outcome.err;
}

TEST(HostileNpy, AShapeWhoseBytesCannotBeCountedIsCutShort) {
  const SmallScreen screen;
  const std::string npy = screen.File("huge.npy");
  for (const char* type : {"<f4", "<f8"}) {
    // 2^31 - 1 squared times 8 leaves 64 bits.
    Spill(npy, Npy(type, "2147483647, 2147483647", "few"));
    const Outcome outcome = RunTool({"info", npy});
    EXPECT_EQ(outcome.exit, 3) << type;
    EXPECT_NE(outcome.err.find("is cut short"), std::string::npos) << outcome.err;
  }
}

TEST(HostileNpy, AFileThatIsFarTooLargeIsNotRead) {
  const SmallScreen screen;
  const std::string npy = screen.File("large.npy");
  if (!SpillWithHoles(npy, Npy("<f4", "4, 4", ""))) GTEST_SKIP() << "no file can be that large";
  const Outcome outcome = RunTool({"info", npy});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("expected at most"), std::string::npos) << outcome.err;
}

}  // namespace
