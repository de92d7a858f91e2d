#include "fuzz/scratch.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <system_error>

#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

namespace fs = std::filesystem;

std::string NewName() {
  std::random_device random;
  return "dravix-fuzz-" + std::to_string(random()) + "-" + std::to_string(random());
}

class Scratch {
 public:
  Scratch() : path_(fs::temp_directory_path() / NewName()) {
    Require(fs::create_directory(path_), "the scratch folder can be made");
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  [[nodiscard]] const fs::path& Path() const { return path_; }

 private:
  fs::path path_;
};

}  // namespace

std::string ScratchName(const std::string& name) {
  static const Scratch scratch;
  return (scratch.Path() / name).string();
}

std::string ScratchFile(const std::string& name, base::ByteView bytes) {
  const std::string fullname = ScratchName(name);
  std::ofstream out(fullname, std::ios::binary | std::ios::trunc);
  if (!bytes.empty()) out.write(Chars(bytes), static_cast<std::streamsize>(bytes.size()));
  out.close();
  Require(out.good(), "a scratch file can be written");
  return fullname;
}

std::string ContentOf(const std::string& fullname) {
  std::ifstream in(fullname, std::ios::binary);
  Require(in.good(), "a file that was written can be read");
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace dravix::fuzz
