#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <random>
#include <sstream>

namespace dravix::test {

TempDir::TempDir() {
  // The name is unique among processes, of which ctest runs several, and within one.
  static std::atomic<unsigned> counter{0};
  std::random_device random;
  path_ = std::filesystem::temp_directory_path() /
          ("dravix-test-" + std::to_string(random()) + "-" + std::to_string(counter++));
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::File(std::string_view name) const {
  const std::u8string utf8(name.begin(), name.end());
  const std::u8string full = (path_ / std::filesystem::path(utf8)).u8string();
  return {full.begin(), full.end()};
}

std::string Slurp(const std::string& fullname) {
  std::ifstream in(std::filesystem::path(std::u8string(fullname.begin(), fullname.end())),
                   std::ios::binary);
  EXPECT_TRUE(in.good()) << "cannot read " << fullname;
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void Spill(const std::string& fullname, std::string_view content) {
  std::ofstream out(std::filesystem::path(std::u8string(fullname.begin(), fullname.end())),
                    std::ios::binary);
  out << content;
  out.close();
  EXPECT_TRUE(out.good()) << "cannot write " << fullname;
}

bool SpillWithHoles(const std::string& fullname, std::string_view content, std::uintmax_t size) {
  Spill(fullname, content);
  std::error_code error;
  std::filesystem::resize_file(fullname, size, error);
  return !error;
}

}  // namespace dravix::test
