// Runs a target with every file of its corpus, where there is no libFuzzer:
//
//   replay TARGET FILE|FOLDER...
//
// Fails when there is no such target or no file. A broken promise ends the process.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/quiet.h"
#include "fuzz/target.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const std::vector<std::string>& names) {
  std::vector<fs::path> files;
  for (const std::string& name : names) {
    if (!fs::is_directory(name)) {
      files.emplace_back(name);
      continue;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(name)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string ContentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  dravix::fuzz::Require(in.good(), "a corpus file can be read");
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Prints the name first, so that it is known which file has ended the process.
void Replay(const dravix::fuzz::Target& target, const fs::path& file) {
  const std::string content = ContentOf(file);
  std::printf("%s ", file.filename().string().c_str());
  std::fflush(stdout);
  const auto begin = std::chrono::steady_clock::now();
  dravix::fuzz::Run(target, dravix::base::ViewOf(content));
  const auto time = std::chrono::steady_clock::now() - begin;
  std::printf("%.1f ms\n", std::chrono::duration<double, std::milli>(time).count());
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto& targets = dravix::fuzz::Targets();
  const auto target = std::find_if(targets.begin(), targets.end(), [&](const auto& each) {
    return !words.empty() && each.name == words.front();
  });
  if (target == targets.end() || words.size() < 2) {
    std::fprintf(stderr, "usage: %s TARGET FILE|FOLDER...; the targets are:\n", argv[0]);
    for (const auto& each : targets) std::fprintf(stderr, "  %s\n", std::string(each.name).c_str());
    return 2;
  }
  const std::vector<fs::path> files = FilesOf({words.begin() + 1, words.end()});
  if (files.empty()) {
    std::fprintf(stderr, "%s: no corpus\n", words.front().c_str());
    return 1;
  }
  dravix::fuzz::WorkQuietly();
  for (const fs::path& file : files) Replay(*target, file);
  return 0;
}
