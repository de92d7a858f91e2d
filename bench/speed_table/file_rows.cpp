// Saving a photograph and reading a raw dump beside writing and reading the same bytes as plainly
// as the system allows, into new memory. Processor time, so that waiting for a disk does not count.
#include <dravix/bimage.h>
#include <dravix/dravix.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "speed_table/measure.h"
#include "speed_table/rows.h"

namespace dravix::bench {
namespace {

namespace fs = std::filesystem;

/// A folder that vanishes.
class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / "dravix-speed-table") {
    fs::create_directories(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  [[nodiscard]] std::string File(const char* name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<char, Free>;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

File Open(const std::string& name, const char* mode) {
  File file(std::fopen(name.c_str(), mode));
  if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);  // straight from and to the memory
  return file;
}

Memory ReadPlainly(const std::string& name, std::size_t bytes) {
  Memory memory(static_cast<char*>(std::malloc(bytes)));
  const File file = Open(name, "rb");
  if (!file || std::fread(memory.get(), 1, bytes, file.get()) != bytes) return nullptr;
  return memory;
}

bool WritePlainly(const std::string& name, const char* data, std::size_t bytes) {
  const File file = Open(name, "wb");
  return file && std::fwrite(data, 1, bytes, file.get()) == bytes;
}

void SaveRow(const Options& options, double megapixels, const Shot& shot, Table& table) {
  constexpr double kAim = 1.2;
  const Folder folder;
  const std::string saved = folder.File("saved.shot");
  const std::string plain = folder.File("plain.shot");
  bool done = shot.Save(saved) == DRAVIX_OK;
  const std::size_t bytes = done ? fs::file_size(saved) : 0;
  const Memory content = ReadPlainly(saved, bytes);
  const std::vector<double> times = ShortestInTurns(
      options.Turns(), {[&] { done = done && WritePlainly(plain, content.get(), bytes); },
                        [&] { done = done && shot.Save(saved) == DRAVIX_OK; }});
  const Case what{"`Shot::Save` beside writing", megapixels, "16 bits"};
  const Memory again = ReadPlainly(saved, bytes);
  table.Compared(what,
                 done && again && std::equal(again.get(), again.get() + bytes, content.get()));
  table.AtMost(what, times[0], times[1], kAim, "ms");
}

void ReadRow(const Options& options, double megapixels, const cv::Mat& samples, Table& table) {
  constexpr double kAim = 1.2;
  const Folder folder;
  const std::string name = folder.File("dump.raw");
  const std::size_t bytes = samples.total() * samples.elemSize();
  bool done = WritePlainly(name, samples.ptr<char>(), bytes);
  cv::Mat found;
  const std::vector<double> times = ShortestInTurns(
      options.Turns(), {[&] { done = ReadPlainly(name, bytes) && done; },
                        [&] {
                          found.release();
                          found = BImage::ReadOrvelRaw(name, samples.rows, samples.cols);
                        }});
  const Case what{"`ReadOrvelRaw` beside reading", megapixels, "16 bits"};
  table.Compared(what, done && SameBits(found, samples));
  table.AtMost(what, times[0], times[1], kAim, "ms");
}

}  // namespace

void FileRows(const Options& options, Table& table) {
  const double megapixels = options.Megapixels(20);
  const sim::Photograph photo = sim::Render(SceneOf(megapixels, {480, 270}));
  SaveRow(options, megapixels, photo.shot, table);
  ReadRow(options, megapixels, photo.shot.image, table);
}

}  // namespace dravix::bench
