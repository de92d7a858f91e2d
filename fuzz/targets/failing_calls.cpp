// Saving and reading while one call of the system fails: any call, for any of the usual reasons,
// over whatever the name stands for.
#include "base/files.h"
#include "base/input_file.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

#ifdef __linux__

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <optional>

#include "fuzz/without_root.h"
#include "support/failing_calls.h"

namespace dravix::fuzz {
namespace {

namespace fs = std::filesystem;
using base::WriteResult;
using test::Call;
using test::FailingCall;
using test::HaltingWrites;

const std::string kOld = "the old content";

enum class Before { kNothing, kFile, kLink, kDangling, kClosedFolder, kOpenFile };
constexpr unsigned kKinds = 6;

/// What a name stands for in a new folder.
struct Place {
  fs::path folder;
  std::string name;
  std::string file;  ///< what the name leads to
  int descriptor = -1;
};

Place Fresh(Before before) {
  Place place{ScratchName("failing"), ScratchName("failing/file.bin"),
              ScratchName("failing/file.bin")};
  std::error_code ignored;
  fs::permissions(place.folder, fs::perms::owner_all, ignored);
  fs::remove_all(place.folder);
  fs::create_directory(place.folder);
  if (before == Before::kLink || before == Before::kDangling) {
    place.file = ScratchName("failing/other.bin");
    fs::create_symlink("other.bin", place.name);
  }
  if (before != Before::kNothing && before != Before::kDangling) {
    ScratchFile("failing/" + fs::path(place.file).filename().string(), base::ViewOf(kOld));
  }
  if (before == Before::kOpenFile) {
    place.descriptor = open(place.file.c_str(), O_RDWR | O_CLOEXEC);
    place.name = "/proc/self/fd/" + std::to_string(place.descriptor);
  }
  if (before == Before::kClosedFolder) {
    fs::permissions(place.folder, fs::perms::owner_read | fs::perms::owner_exec);
  }
  return place;
}

struct Fault {
  Call call;
  int n;
  int error;
  bool halting;
};

Fault TakeFault(Input& input) {
  constexpr int kErrors[] = {EIO,   ENOSPC, EACCES, EPERM,   EINTR,   EINVAL, EEXIST, ENOENT,
                             EXDEV, EMFILE, ENFILE, ENOTSUP, ENODATA, EAGAIN, EROFS,  0};
  const auto calls = test::AllCalls();
  const auto call = calls[input.TakeBelow(static_cast<unsigned>(calls.size()))];
  const int n = 1 + static_cast<int>(input.TakeBelow(32));
  const unsigned error = input.Take<std::uint8_t>();
  return {call, n, kErrors[error % std::size(kErrors)], (error & 0x80U) != 0};
}

base::WriteOutcome SaveWith(const Fault& fault, const Place& place, bool asNobody, bool byName,
                            base::ByteView content) {
  std::optional<WithoutRoot> user;
  if (asNobody) user.emplace(place.folder);
  const FailingCall failing(fault.call, fault.n, fault.error);
  std::optional<HaltingWrites> halting;
  if (fault.halting) halting.emplace();
  if (!byName) return base::WriteFile(place.name, {content});
  return base::WriteByName(place.name, [&](const std::string& name) {
    return base::WriteFile(name, {content}).result == WriteResult::kWritten;
  });
}

void Save(Before before, bool byName, const Fault& fault, base::ByteView content) {
  const Place place = Fresh(before);
  const base::WriteOutcome outcome =
      SaveWith(fault, place, before == Before::kClosedFolder, byName, content);
  if (place.descriptor >= 0) close(place.descriptor);
  std::error_code ignored;
  fs::permissions(place.folder, fs::perms::owner_all, ignored);
  // Where the old bytes cannot be put back, or the folder not be flushed, a failure changes the
  // file.
  const bool maySpoil = before == Before::kClosedFolder || before == Before::kOpenFile;
  const bool isThere = fs::exists(place.file);
  if (outcome.result == WriteResult::kWritten) {
    Require(isThere && ContentOf(place.file) == Text(content), "all of it is there");
  } else if (isThere && !maySpoil) {
    const std::string after = ContentOf(place.file);
    Require(after == kOld || after == Text(content), "the old content or the new");
  }
  Require(isThere || before == Before::kNothing || before == Before::kDangling, "no file is lost");
}

void Read(const Fault& fault, base::ByteView content) {
  const std::string name = ScratchFile("failing.bin", content);
  std::optional<base::Bytes> read;
  {
    const FailingCall failing(fault.call, fault.n, fault.error);
    read = base::ReadFile(name);
  }
  Require(!read || *read == base::Bytes(content.begin(), content.end()), "all of it or nothing");
}

}  // namespace

FUZZ_TARGET(failing_calls, input) {
  for (int steps = 0; steps < 8 && !input.Empty(); ++steps) {
    const unsigned choice = input.Take<std::uint8_t>();
    const Fault fault = TakeFault(input);
    const base::ByteView content = input.TakePiece();
    if (choice % (kKinds + 1) == kKinds) {
      Read(fault, content);
    } else {
      Save(static_cast<Before>(choice % (kKinds + 1)), (choice & 0x80U) != 0, fault, content);
    }
  }
}

}  // namespace dravix::fuzz

#else

namespace dravix::fuzz {

FUZZ_TARGET(failing_calls, input) { static_cast<void>(input); }

}  // namespace dravix::fuzz

#endif
