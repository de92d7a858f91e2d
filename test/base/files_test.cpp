#include "base/files.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "base/file_texts.h"
#include "base/input_file.h"
#include "base/one_file.h"
#include "support/limit.h"
#include "support/temp_dir.h"
#include "support/without_root.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "base/write_signals.h"
#endif

namespace {

namespace fs = std::filesystem;
using dravix::base::Bytes;
using dravix::base::ByteView;
using dravix::base::ReadFile;
using dravix::base::ViewOf;
using dravix::base::WriteByName;
using dravix::base::WriteFile;
using dravix::base::WriteOutcome;
using dravix::base::WriteResult;
using dravix::test::LongText;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;
using dravix::test::TextOf;
#ifndef _WIN32
using dravix::test::Limit;
using dravix::test::WithoutRoot;
#endif

class WriteFileTest : public dravix::test::OneFile {};

TEST_F(WriteFileTest, RefusesANameWithAZeroByte) {
  Spill(name_, "x");
  const std::string cut = name_ + std::string("\0.shot", 6);
  EXPECT_EQ(WriteFile(cut, {ViewOf("new")}).result, WriteResult::kCannotOpen);
  EXPECT_EQ(Slurp(name_), "x");
}

TEST_F(WriteFileTest, WritesThePiecesOneAfterAnother) {
  EXPECT_EQ(WriteFile(name_, {ViewOf("ab"), ByteView(), ViewOf("c")}).result,
            WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "abc");
  EXPECT_EQ(WriteFile(name_, {}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "");
}

TEST_F(WriteFileTest, KeepsTheOldFileWhenTheContentThrows) {
  Spill(name_, "old");
  const auto content = [](dravix::base::ByteSink& out) {
    out.Append(ViewOf(LongText()));
    throw std::runtime_error("content");
  };
  EXPECT_THROW((void)WriteFile(name_, content), std::runtime_error);
  EXPECT_THROW((void)WriteFile(dir_.File("new"), content), std::runtime_error);
  EXPECT_EQ(Slurp(name_), "old");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, ReplacesTheOldFileAndLeavesNoOther) {
  Spill(name_, LongText());
  EXPECT_EQ(WriteFile(name_, {ViewOf("short")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "short");
  EXPECT_EQ(WriteFile(name_, {ViewOf(LongText())}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), LongText());
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, TakesNamesOf255Bytes) {
  const std::string name = dir_.File(std::string(250, 'n') + ".shot");
  EXPECT_EQ(WriteFile(name, {ViewOf("x")}).result, WriteResult::kWritten);
  EXPECT_EQ(WriteFile(name, {ViewOf("y")}).result, WriteResult::kWritten);
  EXPECT_EQ(TextOf(ReadFile(name)), "y");
  EXPECT_EQ(WriteFile(dir_.File(std::string(256, 'n')), {ViewOf("x")}).result,
            WriteResult::kCannotOpen);
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, TakesNamesBeyondAscii) {
  const std::string name = dir_.File("gr\xc3\xbc\xc3\x9f \xe5\xb1\x8f.shot");
  EXPECT_EQ(WriteFile(name, {ViewOf("x")}).result, WriteResult::kWritten);
  EXPECT_EQ(TextOf(ReadFile(name)), "x");
}

TEST_F(WriteFileTest, RefusesFoldersAndMissingFolders) {
  fs::create_directory(dir_.Path() / "folder.shot");
  for (const std::string& name : {dir_.File("folder.shot"), dir_.File("folder.shot/"),
                                  dir_.File(""), dir_.File("missing/a.shot"), std::string()}) {
    EXPECT_EQ(WriteFile(name, {ViewOf("x")}).result, WriteResult::kCannotOpen) << name;
  }
  EXPECT_EQ(Entries(), 1U);
  EXPECT_TRUE(fs::is_empty(dir_.Path() / "folder.shot"));
}

TEST_F(WriteFileTest, TakesRelativeNamesFromTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.Path());
  const WriteResult result = WriteFile("relative.bin", {ViewOf("x")}).result;
  const std::optional<Bytes> read = ReadFile("relative.bin");
  fs::current_path(before);
  EXPECT_EQ(result, WriteResult::kWritten);
  EXPECT_EQ(TextOf(read), "x");
}

TEST_F(WriteFileTest, SaysWhyAFileCannotBeWritten) {
  fs::create_directory(dir_.Path() / "folder");
  EXPECT_EQ(WriteFile(dir_.File("folder"), {}).reason, std::errc::is_a_directory);
  EXPECT_EQ(WriteFile(dir_.File("missing/a.bin"), {}).reason, std::errc::no_such_file_or_directory);
  EXPECT_EQ(WriteFile("", {}).reason, std::errc::no_such_file_or_directory);
  EXPECT_EQ(WriteFile(std::string("a\0b", 3), {}).reason, std::errc::invalid_argument);
  EXPECT_FALSE(WriteFile(name_, {}).reason);
}

// --- writing by name ---

TEST_F(WriteFileTest, ByNameRenamesAFileThatIsMadeBesideTheOldOne) {
  Spill(name_, "old");
  std::string given;
  const WriteOutcome outcome = WriteByName(name_, [&](const std::string& name) {
    given = name;
    EXPECT_EQ(Slurp(name_), "old");
    Spill(name, "new");
    return true;
  });
  EXPECT_EQ(outcome.result, WriteResult::kWritten);
  EXPECT_NE(given, name_);
  EXPECT_THAT(given, testing::EndsWith(".bin"));
  EXPECT_EQ(Slurp(name_), "new");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, ByNameKeepsTheOldFileWhenTheWriterFails) {
  Spill(name_, "old");
  const WriteOutcome outcome = WriteByName(name_, [](const std::string& name) {
    Spill(name, "half");
    return false;
  });
  EXPECT_EQ(outcome.result, WriteResult::kFailed);
  EXPECT_FALSE(outcome.reason);
  EXPECT_EQ(Slurp(name_), "old");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, ByNameDoesNotAskTheWriterWhereNothingCanBeWritten) {
  const auto write = [](const std::string& /*name*/) {
    ADD_FAILURE() << "was asked";
    return true;
  };
  const WriteOutcome missing = WriteByName(dir_.File("missing/a.bin"), write);
  EXPECT_EQ(missing.result, WriteResult::kCannotOpen);
  EXPECT_EQ(missing.reason, std::errc::no_such_file_or_directory);
  EXPECT_EQ(WriteByName(dir_.File(""), write).result, WriteResult::kCannotOpen);
}

TEST_F(WriteFileTest, ByNameKeepsTheOldFileWhenTheWriterThrows) {
  Spill(name_, "old");
  const auto write = [](const std::string& /*name*/) -> bool { throw std::runtime_error("w"); };
  EXPECT_THROW((void)WriteByName(name_, write), std::runtime_error);
  EXPECT_EQ(Slurp(name_), "old");
  EXPECT_EQ(Entries(), 1U);
}

#ifndef _WIN32

TEST_F(WriteFileTest, ByNameGivesTheWriterADeviceItself) {
  fs::create_symlink("/dev/null", name_);
  std::string given;
  const WriteOutcome outcome = WriteByName(name_, [&](const std::string& name) {
    given = name;
    return true;
  });
  EXPECT_EQ(outcome.result, WriteResult::kWritten);
  EXPECT_EQ(given, "/dev/null");
  EXPECT_TRUE(fs::is_symlink(name_));
}

// Links too: the standard library of mingw-w64 neither makes nor sees them.
TEST_F(WriteFileTest, FollowsLinksAlsoToAFileThatDoesNotExistYet) {
  fs::create_directory(dir_.Path() / "deep");
  fs::create_symlink("deep/second", dir_.Path() / "first");
  fs::create_symlink(dir_.Path() / "deep/target", dir_.Path() / "deep/second");
  for (const char* text : {"new", "again"}) {
    EXPECT_EQ(WriteFile(dir_.File("first"), {ViewOf(text)}).result, WriteResult::kWritten);
    EXPECT_EQ(Slurp(dir_.File("deep/target")), text);
  }
  EXPECT_TRUE(fs::is_symlink(dir_.Path() / "first"));
  EXPECT_TRUE(fs::is_symlink(dir_.Path() / "deep/second"));
}

TEST_F(WriteFileTest, RefusesLinksInACircle) {
  fs::create_symlink("b", dir_.Path() / "a");
  fs::create_symlink("a", dir_.Path() / "b");
  EXPECT_EQ(WriteFile(dir_.File("a"), {ViewOf("x")}).result, WriteResult::kCannotOpen);
  EXPECT_EQ(ReadFile(dir_.File("a")), std::nullopt);
}

TEST_F(WriteFileTest, KeepsThePermissionsOfTheOldFile) {
  Spill(name_, "old");
  for (const auto mode : {fs::perms{0600}, fs::perms{0640}, fs::perms{0755}}) {
    fs::permissions(name_, mode);
    EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
    EXPECT_EQ(fs::status(name_).permissions(), mode);
  }
}

TEST_F(WriteFileTest, GivesNewFilesTheUsersUsualPermissions) {
  const mode_t before = umask(027);
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  umask(before);
  EXPECT_EQ(fs::status(name_).permissions(), fs::perms{0640});
}

TEST_F(WriteFileTest, KeepsTheOldFileWhenWritingBreaksOff) {
  Spill(name_, "old");
  WriteResult replaced{};
  WriteResult made{};
  {
    const Limit fullDisk(RLIMIT_FSIZE, 1 << 16);
    replaced = WriteFile(name_, {ViewOf(LongText())}).result;
    made = WriteFile(dir_.File("new"), {ViewOf("x"), ViewOf(LongText())}).result;
  }
  EXPECT_EQ(replaced, WriteResult::kFailed);
  EXPECT_EQ(made, WriteResult::kFailed);
  EXPECT_EQ(Slurp(name_), "old");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, DoesNotReplaceAFileThatMayNotBeWritten) {
  const WithoutRoot user(dir_.Path());
  Spill(name_, "old");
  fs::permissions(name_, fs::perms{0444});
  const WriteOutcome refused = WriteFile(name_, {ViewOf("new")});
  EXPECT_EQ(refused.result, WriteResult::kCannotOpen);
  EXPECT_EQ(refused.reason, std::errc::permission_denied);
  EXPECT_EQ(Slurp(name_), "old");
  fs::permissions(name_, fs::perms{0222});
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(ReadFile(name_), std::nullopt);
}

/// Makes a folder one whose files may be written but that takes no new ones.
class Closed {
 public:
  explicit Closed(fs::path folder) : folder_(std::move(folder)) {
    fs::permissions(folder_, fs::perms{0555});
  }
  Closed(const Closed&) = delete;
  Closed& operator=(const Closed&) = delete;
  ~Closed() { fs::permissions(folder_, fs::perms{0755}); }

 private:
  fs::path folder_;
};

TEST_F(WriteFileTest, WritesInPlaceWhereTheFolderTakesNoNewFile) {
  const WithoutRoot user(dir_.Path());
  Spill(name_, LongText());
  const Closed folder(dir_.Path());
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "new");
  const WriteOutcome made = WriteFile(dir_.File("new"), {ViewOf("new")});
  EXPECT_EQ(made.result, WriteResult::kCannotOpen);
  EXPECT_EQ(made.reason, std::errc::permission_denied);
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, WritesInPlaceWhereOnlyTheOwnerMayReplaceTheFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file that is another's";
  Spill(name_, "old");
  fs::permissions(name_, fs::perms{0666});
  // In a folder like /tmp everyone may make files, but only their owners may replace them.
  fs::permissions(dir_.Path(), fs::perms{01777});
  const TempDir own;
  const WithoutRoot user(own.Path());
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}).result, WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "new");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(WriteFileTest, PutsTheOldBytesBackWhenWritingInPlaceBreaksOff) {
  const WithoutRoot user(dir_.Path());
  Spill(name_, "old");
  WriteOutcome outcome;
  {
    const Closed folder(dir_.Path());
    const Limit fullDisk(RLIMIT_FSIZE, 1 << 16);
    outcome = WriteFile(name_, {ViewOf(LongText())});
  }
  EXPECT_EQ(outcome.result, WriteResult::kFailed);
  EXPECT_EQ(outcome.reason, std::errc::file_too_large);
  EXPECT_EQ(Slurp(name_), "old");
}

TEST_F(WriteFileTest, FailsOnAFullDevice) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  const WriteOutcome outcome = WriteFile("/dev/full", {ViewOf("x")});
  EXPECT_EQ(outcome.result, WriteResult::kFailed);
  EXPECT_EQ(outcome.reason, std::errc::no_space_on_device);
  fs::create_symlink("/dev/full", name_);
  EXPECT_EQ(WriteFile(name_, {ViewOf(LongText())}).result, WriteResult::kFailed);
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(WriteFileTest, WritesADeviceStraight) {
  EXPECT_EQ(WriteFile("/dev/null", {ViewOf(LongText())}).result, WriteResult::kWritten);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(TextOf(ReadFile("/dev/null")), "");
}

TEST_F(WriteFileTest, WritesToAPipe) {
  ASSERT_EQ(mkfifo(name_.c_str(), 0600), 0);
  WriteResult result{};
  std::thread writer([&] { result = WriteFile(name_, {ViewOf(LongText())}).result; });
  const std::optional<Bytes> read = ReadFile(name_);
  writer.join();
  EXPECT_EQ(result, WriteResult::kWritten);
  EXPECT_EQ(TextOf(read), LongText());
}

TEST_F(WriteFileTest, FailsOnAClosedPipeWithoutEndingTheProcess) {
  ASSERT_EQ(mkfifo(name_.c_str(), 0600), 0);
  std::thread reader([&] {
    const int pipe = open(name_.c_str(), O_RDONLY | O_CLOEXEC);
    char some[10];
    EXPECT_GT(read(pipe, some, sizeof some), 0);
    close(pipe);
  });
  EXPECT_EQ(WriteFile(name_, {ViewOf(LongText())}).result, WriteResult::kFailed);
  reader.join();
}

// --- broken pipes ---

/// Writes to a pipe without a reader; errno of it.
int WriteToClosedPipe() {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  close(ends[0]);
  const ssize_t written = write(ends[1], "x", 1);
  const int error = written < 0 ? errno : 0;
  close(ends[1]);
  return error;
}

bool SignalIsWaiting() {
  sigset_t waiting;
  sigemptyset(&waiting);
  sigpending(&waiting);
  return sigismember(&waiting, SIGPIPE) == 1;
}

TEST(HoldWriteSignals, TurnsTheSignalIntoAnError) {
  {
    const dravix::base::HoldWriteSignals hold;
    EXPECT_EQ(WriteToClosedPipe(), EPIPE);
    EXPECT_TRUE(SignalIsWaiting());
  }
  EXPECT_FALSE(SignalIsWaiting());
}

TEST_F(WriteFileTest, FailsAtTheLimitOfAFilesSizeWithoutEndingTheProcess) {
  Spill(name_, "old");
  WriteOutcome outcome;
  {
    const Limit limit(RLIMIT_FSIZE, 1 << 16);
    void (*const before)(int) = std::signal(SIGXFSZ, SIG_DFL);
    outcome = WriteFile(name_, {ViewOf(LongText())});
    std::signal(SIGXFSZ, before);
  }
  EXPECT_EQ(outcome.result, WriteResult::kFailed);
  EXPECT_EQ(outcome.reason, std::errc::file_too_large);
  EXPECT_EQ(Slurp(name_), "old");
}

TEST(HoldWriteSignals, PutsTheSignalMaskBack) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  { const dravix::base::HoldWriteSignals hold; }
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal));
  }
}

TEST(HoldWriteSignals, KeepsASignalThatWasPendingBefore) {
  sigset_t pipeSignal;
  sigset_t before;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
  pthread_kill(pthread_self(), SIGPIPE);
  {
    const dravix::base::HoldWriteSignals hold;
    EXPECT_EQ(WriteToClosedPipe(), EPIPE);
  }
  EXPECT_TRUE(SignalIsWaiting());
  const timespec now{};
  sigtimedwait(&pipeSignal, nullptr, &now);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

#endif

}  // namespace
