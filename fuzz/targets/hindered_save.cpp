// Saving where the system hinders it: a folder that takes no new files, a file that may not be
// written, a limit for the size of files, a descriptor of the process itself.
#include "base/files.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "fuzz/without_root.h"

#ifdef __linux__

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace dravix::fuzz {
namespace {

namespace fs = std::filesystem;
using base::WriteResult;

/// While it lives, no file grows beyond that many bytes.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) {
    Require(getrlimit(RLIMIT_FSIZE, &before_) == 0, "limits can be read");
    const rlimit limited{bytes, before_.rlim_max};
    Require(setrlimit(RLIMIT_FSIZE, &limited) == 0, "limits can be set");
  }
  SizeLimit(const SizeLimit&) = delete;
  SizeLimit& operator=(const SizeLimit&) = delete;
  ~SizeLimit() { Require(setrlimit(RLIMIT_FSIZE, &before_) == 0, "limits can be set again"); }

 private:
  rlimit before_{};
};

struct SavePlace {
  fs::path folder;
  std::string name;
  std::string old;
};

SavePlace Fresh(base::ByteView old) {
  const fs::path folder = ScratchName("hindered");
  std::error_code ignored;
  fs::permissions(folder, fs::perms::owner_all, ignored);
  fs::remove_all(folder);
  fs::create_directory(folder);
  return {folder, ScratchFile("hindered/file.bin", old), Text(old)};
}

void SaveInPlace(const SavePlace& place, base::ByteView content, bool byName) {
  fs::permissions(place.folder, fs::perms::owner_read | fs::perms::owner_exec);
  base::WriteOutcome outcome;
  {
    const WithoutRoot guard(place.folder);
    outcome = byName ? base::WriteByName(place.name,
                                         [&](const std::string& name) {
                                           return base::WriteFile(name, {content}).result ==
                                                  WriteResult::kWritten;
                                         })
                     : base::WriteFile(place.name, {content});
  }
  Require(outcome.result == WriteResult::kWritten, "a file is saved in place");
  Require(ContentOf(place.name) == Text(content), "all of it is there");
}

void SaveWhereForbidden(const SavePlace& place, base::ByteView content) {
  fs::permissions(place.name, fs::perms::owner_read);
  base::WriteOutcome outcome;
  {
    const WithoutRoot guard(place.folder);
    outcome = base::WriteFile(place.name, {content});
  }
  Require(outcome.result == WriteResult::kCannotOpen && outcome.reason,
          "a file that may not be written is not replaced");
  Require(ContentOf(place.name) == place.old, "the old content stays");
}

void SaveWithinLimit(const SavePlace& place, base::ByteView content, rlim_t bytes) {
  base::WriteOutcome outcome;
  {
    const SizeLimit limit(bytes);
    outcome = base::WriteFile(place.name, {content});
  }
  const bool fits = content.size() <= bytes;
  Require((outcome.result == WriteResult::kWritten) == fits, "what fits is saved");
  Require(ContentOf(place.name) == (fits ? Text(content) : place.old),
          "the old content or the new");
}

/// The system's name of something that this process has open.
void SaveToDescriptor(const SavePlace& place, base::ByteView content, unsigned how) {
  const int access = how % 4 == 0 ? O_RDONLY : how % 4 == 1 ? O_WRONLY : O_RDWR;
  const int descriptor = open(place.name.c_str(), access | O_CLOEXEC);
  Require(descriptor >= 0, "a file that is there can be opened");
  const std::string name =
      (how % 8 < 4 ? "/dev/fd/" : "/proc/self/fd/") + std::to_string(descriptor);
  const base::WriteOutcome outcome = base::WriteFile(name, {content});
  close(descriptor);
  const std::string after = ContentOf(place.name);
  if (outcome.result == WriteResult::kWritten) {
    Require(after == Text(content), "all of it is there");
  } else {
    Require(after == place.old, "the old content stays");
  }
  Require(std::distance(fs::directory_iterator(place.folder), fs::directory_iterator()) == 1,
          "nothing is left behind");
}

}  // namespace

FUZZ_TARGET(hindered_save, input) {
  for (int steps = 0; steps < 8 && !input.Empty(); ++steps) {
    const unsigned choice = input.Take<std::uint8_t>();
    const SavePlace place = Fresh(input.TakePiece());
    const base::ByteView content = input.TakePiece();
    switch (choice % 4) {
      case 0:
        SaveInPlace(place, content, (choice & 0x80U) != 0);
        break;
      case 1:
        SaveWhereForbidden(place, content);
        break;
      case 2:
        SaveWithinLimit(place, content, input.Take<std::uint8_t>());
        break;
      default:
        SaveToDescriptor(place, content, choice / 4);
    }
  }
}

}  // namespace dravix::fuzz

#else

namespace dravix::fuzz {

FUZZ_TARGET(hindered_save, input) { static_cast<void>(input); }

}  // namespace dravix::fuzz

#endif
