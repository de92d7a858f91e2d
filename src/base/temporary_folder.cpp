#include "base/temporary_folder.h"

#include <exception>
#include <string>
#include <utility>

#ifdef _WIN32
#include <chrono>
#else
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "base/output_file.h"
#endif

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

// Short names, because the target's own may already have the 255 bytes that file systems allow.
constexpr const char* kFolderName = ".dravix-";
constexpr const char* kFileName = "new";

/// How many folders are looked for whatever is missing among them: more than save into one place at
/// a time.
constexpr int kAlwaysSought = 16;
/// How many there can be at a time.
constexpr int kMost = 1000;

constexpr int kOldAge = 3600;  // seconds; no save takes so long

fs::path NameOfFolder(const fs::path& parent, int number) {
  return parent / (kFolderName + std::to_string(number));
}

#ifdef _WIN32

bool IsOld(const fs::path& folder) {
  std::error_code error;
  const fs::file_time_type changed = fs::last_write_time(folder, error);
  return !error && fs::file_time_type::clock::now() - changed > std::chrono::seconds(kOldAge);
}

/// Windows refuses to remove a file that is open.
void RemoveIfLeftOver(const fs::path& folder) {
  std::error_code ignored;
  if (fs::is_directory(folder, ignored) && IsOld(folder)) fs::remove_all(folder, ignored);
}

#else

/// An open folder, not what a link of its name points to.
class Folder {
 public:
  explicit Folder(const fs::path& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    if (IsOpen()) close(descriptor_);
  }
  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] int Descriptor() const { return descriptor_; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

enum class Lock { kOurs, kAnothers, kUnknown };

Lock TakeLock(int folder) {
  if (flock(folder, LOCK_EX | LOCK_NB) == 0) return Lock::kOurs;
  return errno == EWOULDBLOCK ? Lock::kAnothers : Lock::kUnknown;
}

/// True when the name still stands for the open folder: before a lock is taken, another process may
/// have removed it.
bool IsStill(const fs::path& path, int folder) {
  struct stat named {};
  struct stat opened {};
  return lstat(path.c_str(), &named) == 0 && fstat(folder, &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

bool IsOld(int folder) {
  struct stat status {};
  return fstat(folder, &status) == 0 && std::time(nullptr) - status.st_mtime > kOldAge;
}

/// Removes our files from the open folder, by name inside it: nobody can put a link to another
/// place in the way.
void Empty(int folder) {
  const int copy = fcntl(folder, F_DUPFD_CLOEXEC, 0);
  DIR* const entries = copy >= 0 ? fdopendir(copy) : nullptr;
  if (entries == nullptr) {
    if (copy >= 0) close(copy);
    return;
  }
  while (const dirent* const entry = readdir(entries)) {  // NOLINT(concurrency-mt-unsafe)
    if (std::strncmp(entry->d_name, kFileName, std::strlen(kFileName)) != 0) continue;
    unlinkat(folder, entry->d_name, 0);
  }
  closedir(entries);
}

void RemoveIfLeftOver(const fs::path& path, int depth = 0);

/// Empties and removes a folder whose lock is ours.
void RemoveLocked(const fs::path& path, int folder, int depth) {
  constexpr int kMostDepth = 2;  // a writer by name saves into our folder and has one of its own
  if (depth < kMostDepth) RemoveIfLeftOver(NameOfFolder(path, 0), depth + 1);
  Empty(folder);
  rmdir(path.c_str());
}

void RemoveIfLeftOver(const fs::path& path, int depth) {
  const Folder folder(path);
  if (!folder.IsOpen()) return;
  const int open = folder.Descriptor();
  const Lock lock = TakeLock(open);
  const bool leftOver = lock == Lock::kOurs || (lock == Lock::kUnknown && IsOld(open));
  if (leftOver && IsStill(path, open)) RemoveLocked(path, open, depth);
}

#endif

}  // namespace

void TemporaryFolder::RemoveLeftOvers(const fs::path& parent) {
  for (int i = 0; i < kAlwaysSought; ++i) RemoveIfLeftOver(NameOfFolder(parent, i));
}

fs::path TemporaryFolder::FileName(const fs::path& extension) const {
  fs::path name = path_ / kFileName;
  name += extension;
  return name;
}

#ifdef _WIN32

std::error_code TemporaryFolder::Make(const fs::path& parent) {
  std::error_code reason;
  for (int i = 0; i < kMost; ++i) {
    fs::path path = NameOfFolder(parent, i);
    if (fs::create_directory(path, reason)) {
      path_ = std::move(path);
      return {};
    }
    if (reason) return reason;  // a folder that exists is no error
  }
  return std::make_error_code(std::errc::file_exists);
}

void TemporaryFolder::Remove() noexcept {
  if (path_.empty()) return;
  try {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  } catch (const std::exception&) {
    // There is no memory for the names.
  }
  path_.clear();
}

#else

std::error_code TemporaryFolder::Make(const fs::path& parent) {
  constexpr mode_t kOwnerOnly = 0700;
  for (int i = 0; i < kMost; ++i) {
    fs::path path = NameOfFolder(parent, i);
    if (mkdir(path.c_str(), kOwnerOnly) != 0) {
      if (errno == EEXIST) continue;
      return LastReason();
    }
    Folder folder(path);
    const std::error_code reason = folder.IsOpen() ? std::error_code() : LastReason();
    // Between its making and its locking, another process may take the folder for a left-over.
    if (!reason && TakeLock(folder.Descriptor()) != Lock::kAnothers &&
        IsStill(path, folder.Descriptor())) {
      path_ = std::move(path);
      lock_ = folder.Release();
      return {};
    }
    if (reason && reason != std::errc::no_such_file_or_directory) {
      rmdir(path.c_str());
      return reason;
    }
  }
  return std::make_error_code(std::errc::file_exists);
}

void TemporaryFolder::Remove() noexcept {
  if (path_.empty()) return;
  try {
    RemoveLocked(path_, lock_, 0);
  } catch (const std::exception&) {  // there is no memory to look for a folder in the folder
    Empty(lock_);
    rmdir(path_.c_str());
  }
  close(std::exchange(lock_, -1));
  path_.clear();
}

#endif

}  // namespace dravix::base
