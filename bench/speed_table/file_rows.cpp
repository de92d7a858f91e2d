// Saving a photograph and reading a raw dump beside writing and reading the same bytes as plainly
// as the system allows, into new memory. Processor time, so that waiting for a disk does not count.
#include <dravix/bimage.h>
#include <dravix/dravix.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "measure.h"
#include "rows.h"

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

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

#ifndef _WIN32
/// What a save promises, done as plainly as the system allows: the file is new and on the disk
/// before it takes the old one's name, and so is the folder afterwards.
bool ReplacePlainly(const std::string& name, const char* data, std::size_t bytes) {
  const auto flushed = [](int opened) { return opened >= 0 && fsync(opened) == 0; };
  const std::string made = name + ".new";
  const int file = open(made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  const bool written =
      file >= 0 && write(file, data, bytes) == static_cast<ssize_t>(bytes) && flushed(file);
  close(file);
  const int folder = open(fs::path(name).parent_path().c_str(), O_RDONLY | O_CLOEXEC);
  const bool done = written && std::rename(made.c_str(), name.c_str()) == 0 && flushed(folder);
  close(folder);
  return done;
}
#endif

/// Which plain way a save is compared with.
struct PlainSave {
  const char* name;
  bool (*write)(const std::string& name, const char* data, std::size_t bytes);
};

void SaveRow(const Options& options, double megapixels, const Shot& shot, const PlainSave& way,
             Table& table) {
  constexpr double kAim = 1.2;
  constexpr int kTimesTurns = 3;  // a file system's times vary more than a processor's
  const Folder folder;
  const std::string saved = folder.File("saved.shot");
  const std::string plain = folder.File("plain.shot");
  bool done = shot.Save(saved) == DRAVIX_OK;
  const std::size_t bytes = done ? fs::file_size(saved) : 0;
  const Memory content = ReadPlainly(saved, bytes);
  const std::vector<double> times =
      ShortestInTurns(kTimesTurns * options.Turns(),
                      {[&] { done = done && way.write(plain, content.get(), bytes); },
                       [&] { done = done && shot.Save(saved) == DRAVIX_OK; }});
  const Case what{way.name, megapixels, "16 bits"};
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
  constexpr PlainSave kWriting{"`Shot::Save` beside writing", WritePlainly};
  const double megapixels = options.Megapixels(20);
  const sim::Photograph photo = sim::Render(SceneOf(megapixels, {480, 270}));
  SaveRow(options, megapixels, photo.shot, kWriting, table);
#ifndef _WIN32
  // A save costs the same few system calls whatever its size: they show in a small one.
  constexpr PlainSave kReplacing{"`Shot::Save` beside replacing", ReplacePlainly};
  const double small = options.Megapixels(5);
  const sim::Photograph smallPhoto = sim::Render(SceneOf(small, {240, 135}));
  SaveRow(options, small, smallPhoto.shot, kReplacing, table);
#endif
  ReadRow(options, megapixels, photo.shot.image, table);
}

}  // namespace dravix::bench
