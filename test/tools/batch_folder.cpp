#include "tools/batch_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace dravix::test {

BatchFolder::BatchFolder(const std::vector<std::string>& ids) {
  std::vector<std::string> lines;
  for (const std::string& id : ids) {
    Simulate(id);
    lines.push_back(Job(id));
  }
  if (!lines.empty()) Write(lines);
}

void BatchFolder::Simulate(const std::string& id, const std::vector<std::string>& more) const {
  std::vector<std::string> words = {
      "simulate",       File(id + ".shot"),        "--truth",   File(id + ".json"),
      "--checkerboard", File(id + ".board.shot"),  "--modules", "0.05",
      "--seed",         std::to_string(id.front())};
  const bool sized = std::find(more.begin(), more.end(), "--leds") != more.end();
  if (!sized) words = Joined(words, {"--leds", "40x30", "--block", "5"});
  const Outcome outcome = RunTool(Joined(words, more));
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
}

std::string BatchFolder::Job(const std::string& photo, const std::string& id) const {
  const nlohmann::ordered_json job = {
      {"id", id.empty() ? photo : id}, {"photo", photo + ".shot"}, {"truth", photo + ".json"}};
  return job.dump();
}

void BatchFolder::Write(const std::vector<std::string>& lines) const {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  Spill(File("jobs.jsonl"), text);
}

Outcome BatchFolder::Run(const std::vector<std::string>& more, const std::string& out) const {
  return RunTool(Joined({"batch", File("jobs.jsonl"), "-o", File(out)}, more));
}

std::vector<nlohmann::json> BatchFolder::Results(const std::string& out) const {
  std::vector<nlohmann::json> lines;
  std::istringstream text(Slurp(File(out + "/results.jsonl")));
  for (std::string line; std::getline(text, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

std::map<std::string, std::string> BatchFolder::Bytes(const std::string& out) const {
  std::map<std::string, std::string> bytes;
  for (const std::string& name : Names(out)) {
    const bool isResult = name == "results.jsonl" || name.ends_with(".lum");
    if (isResult) bytes[name] = Slurp(File(out + "/" + name));
  }
  return bytes;
}

std::set<std::string> BatchFolder::Names(const std::string& out) const {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(File(out))) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

}  // namespace dravix::test
