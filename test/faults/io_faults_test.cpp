/// Every system call of every method that writes or reads a file fails in turn.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "base/files.h"
#include "faults/methods.h"
#include "support/failing_calls.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/without_root.h"

namespace {

namespace fs = std::filesystem;
using dravix::test::AllCalls;
using dravix::test::BytesOf;
using dravix::test::Call;
using dravix::test::FailingCall;
using dravix::test::HaltingWrites;
using dravix::test::Loader;
using dravix::test::Loaders;
using dravix::test::LogCapture;
using dravix::test::NameOf;
using dravix::test::Objects;
using dravix::test::Saver;
using dravix::test::Savers;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

constexpr int kBeyondAllCalls = 1000;

/// A file system in memory is as good here, and flushing it takes no time.
const bool kFoldersAreInMemory =
    access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;

std::size_t EntriesOf(const fs::path& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}
std::size_t OpenFiles() { return EntriesOf("/proc/self/fd"); }

/// Where a saver's file is before it is saved.
enum class Before { kNothing, kAFile, kAFileInAClosedFolder };

/// One saver with one place to save to.
class Saving {
 public:
  Saving(const Saver& saver, Before before)
      : saver_(saver), before_(before), name_(dir_.File("a" + saver.extension)) {
    const std::string reference = dir_.File("b" + saver.extension);
    EXPECT_TRUE(saver.save(objects_, reference)) << saver.name;
    new_ = Slurp(reference);
    fs::remove(reference);
  }

  /// Saves while the n-th call fails. False when there was no such call.
  bool Fails(Call call, int n, int error) {
    SetUp();
    const std::size_t open = OpenFiles();
    bool saved = false;
    bool happened = false;
    bool folderNotFlushed = false;
    {
      const FailingCall failing(call, n, error);
      saved = Save();
      happened = failing.Happened();
      folderNotFlushed = failing.WasFlushOf(dir_.Path());
    }
    SCOPED_TRACE(saver_.name + ": " + NameOf(call) + " " + std::to_string(n) + ", errno " +
                 std::to_string(error));
    EXPECT_EQ(OpenFiles(), open);
    // The new bytes are there when only the folder was not flushed, which no longer can be undone.
    ExpectFile(saved || folderNotFlushed);
    if (!happened) {
      EXPECT_TRUE(saved);
    }
    TakeDown();
    return happened;
  }

  [[nodiscard]] bool Save() {
    try {
      return saver_.save(objects_, name_);
    } catch (const std::exception&) {
      return false;
    }
  }
  void SetUp() {
    if (before_ == Before::kNothing) {
      fs::remove(name_);
    } else {
      Spill(name_, kOld);
    }
    if (before_ == Before::kAFileInAClosedFolder) fs::permissions(dir_.Path(), fs::perms{0555});
  }
  /// After one more save without a fault nothing is left behind.
  void TakeDown() {
    fs::permissions(dir_.Path(), fs::perms{0755});
    EXPECT_TRUE(Save());
    EXPECT_EQ(Slurp(name_), new_);
    EXPECT_EQ(EntriesOf(dir_.Path()), 1U);
  }
  void ExpectFile(bool isNew) const {
    if (isNew) {
      EXPECT_EQ(Slurp(name_), new_);
    } else if (before_ == Before::kNothing) {
      EXPECT_FALSE(fs::exists(name_));
    } else {
      EXPECT_EQ(Slurp(name_), kOld);
    }
  }
  [[nodiscard]] const fs::path& Folder() const { return dir_.Path(); }

 private:
  static constexpr const char* kOld = "what was there before";

  const Saver& saver_;
  Before before_;
  TempDir dir_;
  LogCapture log_;
  Objects objects_;
  std::string name_;
  std::string new_;
};

/// The reasons of which one kind of call is likely to have.
std::vector<int> ErrorsOf(Call call) {
  switch (call) {
    case Call::kOpen:
      return {EMFILE, EACCES, EIO, ENOTSUP};
    case Call::kWrite:
      return {ENOSPC, EIO, EINTR};
    case Call::kLink:
      return {EIO, ENOENT, EEXIST, ENOSPC};
    case Call::kMakeFolder:
      return {ENOSPC, EEXIST, EACCES};
    case Call::kFlush:
      return {EIO, EINVAL};
    case Call::kRename:
      return {EIO, EPERM};
    case Call::kMode:
    case Call::kOwner:
    case Call::kAccessList:
      return {EPERM, EIO};
    case Call::kLock:
      return {ENOLCK, EWOULDBLOCK};
    default:
      return {EIO};
  }
}

/// Fails each call of each saver; how many there were.
int FailEachCall(Before before) {
  int happened = 0;
  const std::vector<Saver> savers = Savers();
  for (const Saver& saver : savers) {
    Saving saving(saver, before);
    for (const Call call : AllCalls()) {
      for (const int error : ErrorsOf(call)) {
        int n = 1;
        while (n < kBeyondAllCalls && saving.Fails(call, n, error)) ++n;
        happened += n - 1;
        if (testing::Test::HasFailure()) return happened;
      }
    }
  }
  return happened;
}

TEST(FailingCalls, LeaveTheOldFileOrTheNewOne) {
  const int failed = FailEachCall(Before::kAFile);
  RecordProperty("failed", failed);
  EXPECT_GT(failed, 500);
}

TEST(FailingCalls, LeaveNoFileOrTheNewOne) {
  const int failed = FailEachCall(Before::kNothing);
  RecordProperty("failed", failed);
  EXPECT_GT(failed, 300);
}

TEST(FailingCalls, LeaveTheOldBytesOfAFileThatIsWrittenInPlace) {
  // Under a user for whom permissions count; objects make no difference.
  const std::vector<Saver> savers = Savers();
  for (const Saver& saver : savers) {
    if (saver.name == "WriteByName") continue;  // the writer's own save is what is written in place
    Saving saving(saver, Before::kAFileInAClosedFolder);
    const dravix::test::WithoutRoot user(saving.Folder());
    for (const Call call : {Call::kOpen, Call::kWrite, Call::kFlush, Call::kCut, Call::kClose,
                            Call::kRead, Call::kSeek}) {
      int n = 1;
      while (n < kBeyondAllCalls && saving.Fails(call, n, ErrorsOf(call)[0])) ++n;
      if (HasFailure()) return;
    }
  }
}

TEST(Saving, FlushesTheFileAndInTheEndItsFolder) {
  const std::vector<Saver> savers = Savers();
  for (const Saver& saver : savers) {
    for (const Before before : {Before::kNothing, Before::kAFile}) {
      Saving saving(saver, before);
      bool wasFolder = false;
      int flushes = 0;
      for (bool happened = true; happened && flushes < kBeyondAllCalls;) {
        saving.SetUp();
        const FailingCall failing(Call::kFlush, flushes + 1, EIO);
        static_cast<void>(saving.Save());
        happened = failing.Happened();
        if (!happened) break;
        wasFolder = failing.WasFlushOf(saving.Folder());
        ++flushes;
        EXPECT_TRUE(!wasFolder || flushes > 1) << saver.name << ": the folder before the file";
      }
      EXPECT_GE(flushes, 2) << saver.name;
      EXPECT_TRUE(wasFolder) << saver.name;
    }
  }
}

/// Some network file systems have no locks. A folder of ours that is an hour old is left over then.
TEST(FailingLocks, LetOnlyOldFoldersBeTakenForLeftOvers) {
  const TempDir dir;
  const fs::path leftOver = dir.Path() / ".dravix-0";
  fs::create_directory(leftOver);
  Spill((leftOver / "new").string(), "half a fi");
  const auto save = [&] {
    const FailingCall failing(Call::kLock, 1, ENOLCK);
    EXPECT_EQ(dravix::base::WriteFile(dir.File("a"), {dravix::base::ViewOf("x")}).result,
              dravix::base::WriteResult::kWritten);
    EXPECT_TRUE(failing.Happened());
  };
  save();
  EXPECT_TRUE(fs::exists(leftOver / "new"));
  fs::last_write_time(leftOver, fs::file_time_type::clock::now() - std::chrono::minutes(59));
  save();
  EXPECT_TRUE(fs::exists(leftOver / "new"));
  fs::last_write_time(leftOver, fs::file_time_type::clock::now() - std::chrono::minutes(61));
  save();
  EXPECT_FALSE(fs::exists(leftOver));
  EXPECT_EQ(EntriesOf(dir.Path()), 1U);
}

TEST(HaltingWrites, AreGoneOnWith) {
  const std::vector<Saver> savers = Savers();
  for (const Saver& saver : savers) {
    for (const Before before : {Before::kNothing, Before::kAFile}) {
      Saving saving(saver, before);
      saving.SetUp();
      const HaltingWrites halting;
      EXPECT_TRUE(saving.Save()) << saver.name;
      saving.ExpectFile(true);
    }
  }
}

// --- reading ---

TEST(FailingCalls, LeaveTheObjectOrReadTheFile) {
  int happened = 0;
  const std::vector<Loader> loaders = Loaders();
  for (const Loader& loader : loaders) {
    const TempDir dir;
    const LogCapture log;
    const std::string name = dir.File("a" + loader.extension);
    Spill(name, loader.bytes);
    Objects read;
    const std::string before = BytesOf(read);
    ASSERT_TRUE(loader.load(read, name)) << loader.name;
    const std::string after = BytesOf(read);
    ASSERT_NE(after, before) << loader.name;
    for (const Call call : {Call::kOpen, Call::kRead, Call::kSeek, Call::kClose}) {
      for (int n = 1; n < kBeyondAllCalls; ++n) {
        SCOPED_TRACE(loader.name + ": " + NameOf(call) + " " + std::to_string(n));
        Objects objects;
        const std::size_t open = OpenFiles();
        bool loaded = false;
        bool failed = false;
        {
          const FailingCall failing(call, n, call == Call::kOpen ? EMFILE : EIO);
          loaded = loader.load(objects, name);
          failed = failing.Happened();
        }
        EXPECT_EQ(OpenFiles(), open);
        EXPECT_EQ(BytesOf(objects), loaded ? after : before);
        if (HasFailure()) return;
        if (!failed) break;
        ++happened;
      }
    }
  }
  RecordProperty("failed", happened);
  EXPECT_GT(happened, 40);
}

// --- full disks ---

/// Runs the body in a process of its own that has a small disk at `folder`. False where that is not
/// allowed.
bool WithSmallDisk(const fs::path& folder, const std::function<bool()>& body) {
  constexpr int kNotAllowed = 77;
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("small", folder.c_str(), "tmpfs", 0, "size=64k") != 0) {
      _exit(kNotAllowed);
    }
    _exit(body() ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNotAllowed) return false;
  EXPECT_EQ(status, 0);
  return true;
}

TEST(FullDisk, LeavesTheOldFileAndNothingElse) {
  const TempDir dir;
  const bool allowed = WithSmallDisk(dir.Path(), [&] {
    const LogCapture log;
    Shot shot;
    shot.image = cv::Mat(40, 100, CV_16UC1, cv::Scalar(7));
    const std::string name = dir.File("a.shot");
    if (shot.Save(name) != DRAVIX_OK) return false;
    const std::string old = Slurp(name);
    shot.image = cv::Mat(400, 100, CV_16UC1, cv::Scalar(8));
    const bool refused = shot.Save(name) == DRAVIX_CANNOT_WRITE &&
                         shot.Save(dir.File("b.shot")) == DRAVIX_CANNOT_WRITE;
    return refused && Slurp(name) == old && EntriesOf(dir.Path()) == 1;
  });
  if (!allowed) GTEST_SKIP() << "no disks may be mounted here";
}

}  // namespace
