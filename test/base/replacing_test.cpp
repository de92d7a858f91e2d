/// What stands under a name, and beside it, while and after a file is replaced. Files on a disk
/// have owners, modes, access lists and links as POSIX knows them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/file_texts.h"
#include "base/files.h"
#include "base/one_file.h"
#include "support/temp_dir.h"
#include "support/without_root.h"

#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace {

namespace fs = std::filesystem;
using dravix::base::ByteSink;
using dravix::base::ViewOf;
using dravix::base::WriteByName;
using dravix::base::WriteFile;
using dravix::base::WriteResult;
using dravix::test::LongText;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::WithoutRoot;

constexpr unsigned kNobody = 65534;
constexpr unsigned kAnother = 65533;

struct stat StatusOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status;
}

mode_t ModeOf(const fs::path& path) { return StatusOf(path).st_mode & 07777; }

class Replacing : public dravix::test::OneFile {};

// --- modes, owners, lists, links ---

/// What others than the owner may do with any regular file below a folder, also with one that has
/// no name.
mode_t OpenToOthers(const fs::path& folder) {
  mode_t others = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string target = fs::read_symlink(entry.path(), error).string();
    struct stat status {};
    if (error || target.find(folder.string()) == std::string::npos) continue;
    if (stat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
      others |= status.st_mode & 077;
    }
  }
  return others;
}

TEST_F(Replacing, NeverOpensAPrivateFileToOthers) {
  if (!fs::exists("/proc/self/fd")) GTEST_SKIP() << "no /proc";
  const mode_t before = umask(0);
  for (const bool exists : {true, false}) {
    if (exists) {
      Spill(name_, "old");
      fs::permissions(name_, fs::perms{0600});
    } else {
      fs::remove(name_);
      umask(077);
    }
    const auto look = [&](ByteSink& out) {
      out.Append(ViewOf("new"));
      EXPECT_EQ(OpenToOthers(dir_.Path()), 0U);
    };
    EXPECT_EQ(WriteFile(name_, look).result, WriteResult::kWritten);
    EXPECT_EQ(ModeOf(name_), 0600U);
  }
  umask(before);
}

TEST_F(Replacing, LetsAWriterByNameWorkWhereNobodyElseGets) {
  Spill(name_, "old");
  fs::permissions(name_, fs::perms{0600});
  const auto write = [](const std::string& name) {
    EXPECT_EQ(ModeOf(fs::path(name).parent_path()), 0700U);
    Spill(name, "new");
    return true;
  };
  EXPECT_EQ(WriteByName(name_, write).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "new");
  EXPECT_EQ(ModeOf(name_), 0600U);
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Replacing, GivesAWritersNewFileTheUsualMode) {
  const mode_t before = umask(027);
  EXPECT_EQ(WriteByName(name_,
                        [](const std::string& name) {
                          Spill(name, "new");
                          return true;
                        })
                .result,
            WriteResult::kWritten);
  umask(before);
  EXPECT_EQ(ModeOf(name_), 0640U);
}

TEST_F(Replacing, FailsWhenTheWriterMakesNoFile) {
  Spill(name_, "old");
  EXPECT_EQ(WriteByName(name_, [](const std::string& /*name*/) { return true; }).result,
            WriteResult::kFailed);
  EXPECT_EQ(Slurp(name_), "old");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Replacing, KeepsOwnerAndGroupWhereItMay) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  Spill(name_, "old");
  ASSERT_EQ(chown(name_.c_str(), kNobody, kAnother), 0);
  fs::permissions(name_, fs::perms{0640});
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(StatusOf(name_).st_uid, kNobody);
  EXPECT_EQ(StatusOf(name_).st_gid, kAnother);
  EXPECT_EQ(ModeOf(name_), 0640U);
  const auto write = [](const std::string& name) {
    Spill(name, "again");
    return true;
  };
  EXPECT_EQ(WriteByName(name_, write).result, WriteResult::kWritten);
  EXPECT_EQ(StatusOf(name_).st_uid, kNobody);
  EXPECT_EQ(StatusOf(name_).st_gid, kAnother);
}

TEST_F(Replacing, GivesAGroupThatIsNotTheOldOneNoMoreThanEverybody) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file that is another's";
  Spill(name_, "old");
  ASSERT_EQ(chown(name_.c_str(), kAnother, kAnother), 0);
  fs::permissions(name_, fs::perms{0676});
  const WithoutRoot user(dir_.Path());
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(StatusOf(name_).st_uid, kNobody);
  EXPECT_EQ(ModeOf(name_), 0666U);
}

TEST_F(Replacing, LeavesOtherHardLinksTheOldBytes) {
  Spill(name_, "old");
  fs::create_hard_link(name_, dir_.File("other"));
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "new");
  EXPECT_EQ(Slurp(dir_.File("other")), "old");
}

#ifdef __linux__

/// An access list of version 2: owner and nobody read and write, group and others nothing.
std::string ListForNobody() {
  struct Entry {
    std::uint16_t tag, permissions;
    std::uint32_t id;
  };
  const std::array<Entry, 5> entries = {
      Entry{0x01, 6, 0xffffffff}, {0x02, 6, kNobody},    {0x04, 0, 0xffffffff},
      {0x10, 6, 0xffffffff},      {0x20, 0, 0xffffffff},
  };
  std::string list("\2\0\0\0", 4);
  list.append(static_cast<const char*>(static_cast<const void*>(entries.data())), sizeof entries);
  return list;
}

constexpr const char* kAccess = "system.posix_acl_access";

std::string ListOf(const std::string& name) {
  std::string list(1000, '\0');
  const ssize_t size = getxattr(name.c_str(), kAccess, list.data(), list.size());
  return list.substr(0, size < 0 ? 0 : static_cast<std::size_t>(size));
}

TEST_F(Replacing, KeepsTheAccessList) {
  Spill(name_, "old");
  const std::string list = ListForNobody();
  if (setxattr(name_.c_str(), kAccess, list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "no access lists here";
  }
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(ListOf(name_), list);
}

TEST_F(Replacing, TakesNoAccessListFromTheFolder) {
  Spill(name_, "old");
  fs::permissions(name_, fs::perms{0640});
  const std::string list = ListForNobody();
  if (setxattr(dir_.Path().c_str(), "system.posix_acl_default", list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "no access lists here";
  }
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(ListOf(name_), "");
  EXPECT_EQ(ModeOf(name_), 0640U);
}

// --- what is open ---

/// A descriptor that is closed in the end.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) { EXPECT_GE(number, 0); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Close(); }
  void Close() {
    if (number_ >= 0) close(number_);
    number_ = -1;
  }
  [[nodiscard]] int Number() const { return number_; }
  [[nodiscard]] std::string Name() const { return "/dev/fd/" + std::to_string(number_); }

 private:
  int number_;
};

/// All bytes of an open file.
std::string Whole(int file) {
  std::string text(4'000'000, '\0');
  const ssize_t size = pread(file, text.data(), text.size(), 0);
  EXPECT_GE(size, 0);
  return text.substr(0, static_cast<std::size_t>(size));
}

TEST_F(Replacing, WritesToADeletedFileThatIsOpen) {
  const Descriptor file(open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(unlink(name_.c_str()), 0);
  EXPECT_EQ(WriteFile(file.Name(), {ViewOf(LongText())}).result, WriteResult::kWritten);
  EXPECT_EQ(Whole(file.Number()), LongText());
  EXPECT_EQ(Entries(), 0U);
}

TEST_F(Replacing, WritesOnInAFileThatIsOpenAndEndsItThere) {
  Spill(name_, "0123456789");
  const Descriptor file(open(name_.c_str(), O_RDWR | O_CLOEXEC));
  const struct stat before = StatusOf(name_);
  ASSERT_EQ(lseek(file.Number(), 3, SEEK_SET), 3);
  EXPECT_EQ(WriteFile(file.Name(), {ViewOf("ab")}).result, WriteResult::kWritten);
  EXPECT_EQ(WriteFile("/proc/self/fd/" + std::to_string(file.Number()), {ViewOf("cd")}).result,
            WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "012abcd");
  EXPECT_EQ(StatusOf(name_).st_ino, before.st_ino);
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Replacing, AppendsToAFileThatIsOpenForAppending) {
  Spill(name_, "old");
  const Descriptor file(open(name_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  EXPECT_EQ(WriteFile(file.Name(), {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "oldnew");
}

TEST_F(Replacing, WritesThroughALinkToWhatIsOpen) {
  const Descriptor file(open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  fs::create_symlink(file.Name(), dir_.File("link"));
  EXPECT_EQ(WriteFile(dir_.File("link"), {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "new");
  EXPECT_TRUE(fs::is_symlink(dir_.File("link")));
}

TEST_F(Replacing, WritesToAFileThatIsOpenOnlyForReading) {
  Spill(name_, LongText());
  const Descriptor file(open(name_.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(unlink(name_.c_str()), 0);
  EXPECT_EQ(WriteFile(file.Name(), {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Whole(file.Number()), "new");
}

TEST_F(Replacing, WritesToAnOpenPipe) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const Descriptor out(ends[0]);
  Descriptor in(ends[1]);
  ASSERT_EQ(fcntl(in.Number(), F_SETFL, O_NONBLOCK), 0);  // as some hosts have theirs
  std::string read;
  std::thread reader([&] {
    std::array<char, 4096> some{};
    for (ssize_t n = 0; (n = ::read(out.Number(), some.data(), some.size())) > 0;) {
      read.append(some.data(), static_cast<std::size_t>(n));
    }
  });
  EXPECT_EQ(WriteFile(in.Name(), {ViewOf(LongText()), ViewOf("x")}).result, WriteResult::kWritten);
  in.Close();
  reader.join();
  EXPECT_EQ(read, LongText() + "x");
}

TEST_F(Replacing, GivesAWriterByNameThePathOfAnOpenPipe) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const Descriptor out(ends[0]);
  const Descriptor in(ends[1]);
  const auto write = [&](const std::string& name) {
    return WriteFile(name, {ViewOf("new")}).result == WriteResult::kWritten;
  };
  EXPECT_EQ(WriteByName(in.Name(), write).result, WriteResult::kWritten);
  std::array<char, 4> some{};
  EXPECT_EQ(::read(out.Number(), some.data(), some.size()), 3);
  EXPECT_STREQ(some.data(), "new");
}

#endif

// --- left-overs ---

/// A folder as a process that has ended leaves it.
void LeaveBehind(const fs::path& folder) {
  fs::create_directory(folder);
  Spill((folder / "new").string(), "left");
  Spill((folder / "new.png").string(), "left");
  fs::create_directory(folder / ".dravix-0");
  Spill((folder / ".dravix-0/new").string(), "left");
}

TEST_F(Replacing, RemovesWhatEndedProcessesHaveLeft) {
  for (const int number : {0, 1, 7, 15}) {
    LeaveBehind(dir_.Path() / (".dravix-" + std::to_string(number)));
  }
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Entries(), 1U);
  LeaveBehind(dir_.Path() / ".dravix-0");
  EXPECT_EQ(WriteByName(name_,
                        [](const std::string& name) {
                          Spill(name, "by name");
                          return true;
                        })
                .result,
            WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "by name");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Replacing, LeavesAloneWhatIsInUseOrNotItsOwn) {
  LeaveBehind(dir_.Path() / ".dravix-0");
  const int inUse = open(dir_.File(".dravix-0").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(inUse, LOCK_EX | LOCK_NB), 0);
  Spill(dir_.File(".dravix-1"), "a file");
  fs::create_directory(dir_.File("elsewhere"));
  Spill(dir_.File("elsewhere/new"), "kept");
  fs::create_directory_symlink("elsewhere", dir_.File(".dravix-2"));
  fs::create_directory(dir_.File(".dravix-3"));
  Spill(dir_.File(".dravix-3/diary"), "kept");
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(WriteFile(name_, {ViewOf("again")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(dir_.File(".dravix-0/new")), "left");
  EXPECT_EQ(Slurp(dir_.File(".dravix-1")), "a file");
  EXPECT_EQ(Slurp(dir_.File("elsewhere/new")), "kept");
  EXPECT_EQ(Slurp(dir_.File(".dravix-3/diary")), "kept");
  EXPECT_EQ(Entries(), 6U);
  close(inUse);
}

TEST_F(Replacing, SavesOfManyThreadsDoNotDisturbEachOther) {
  constexpr int kThreads = 8;
  constexpr int kSaves = 25;
  std::array<int, kThreads> written{};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      // Two threads share each name.
      const std::string name = dir_.File("shared" + std::to_string(t / 2));
      const std::string text(100'000, static_cast<char>('a' + t));
      const auto write = [&](const std::string& given) {
        return WriteFile(given, {ViewOf(text)}).result == WriteResult::kWritten;
      };
      for (int i = 0; i < kSaves; ++i) {
        const bool byName = i % 2 == 1;
        const auto result =
            byName ? WriteByName(name, write).result : WriteFile(name, {ViewOf(text)}).result;
        written[static_cast<std::size_t>(t)] += result == WriteResult::kWritten ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(written, testing::Each(kSaves));
  EXPECT_EQ(Entries(), kThreads / 2U);
  for (int t = 0; t < kThreads; t += 2) {
    const std::string text = Slurp(dir_.File("shared" + std::to_string(t / 2)));
    EXPECT_EQ(text, std::string(100'000, text.empty() ? '?' : text[0]));
  }
}

// --- kills ---

/// Saves one content after another, each of a single letter, until the process is killed.
[[noreturn]] void SaveForever(const std::string& name, bool byName) {
  for (int i = 0;; ++i) {
    const std::string text(1'000'000, static_cast<char>('a' + i % 26));
    const auto write = [&](const std::string& given) {
      return WriteFile(given, {ViewOf(text)}).result == WriteResult::kWritten;
    };
    if (byName) {
      (void)WriteByName(name, write);
    } else {
      (void)WriteFile(name, {ViewOf(text)});
    }
  }
}

TEST_F(Replacing, AKilledProcessLeavesTheOldOrTheNewFileAndNothingForLong) {
  constexpr int kKills = 200;
  Spill(name_, std::string(1'000'000, '-'));
  for (int i = 0; i < kKills; ++i) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) SaveForever(name_, i % 2 == 1);
    // Different times, so that each step of a save is met.
    std::this_thread::sleep_for(std::chrono::microseconds(500 + 97 * (i % 100)));
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const std::string text = Slurp(name_);
    ASSERT_EQ(text, std::string(1'000'000, text.empty() ? '?' : text[0])) << i;
    ASSERT_LE(Entries(), 2U) << i;  // what one process has left, and never more
  }
  EXPECT_EQ(WriteFile(name_, {ViewOf("last")}).result, WriteResult::kWritten);
  EXPECT_EQ(Entries(), 1U);
}

}  // namespace
