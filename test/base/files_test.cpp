#include "base/files.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "support/temp_dir.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "base/broken_pipe.h"
#endif

namespace {

namespace fs = std::filesystem;
using dravix::base::ByteReader;
using dravix::base::Bytes;
using dravix::base::ByteView;
using dravix::base::InputFile;
using dravix::base::PathOf;
using dravix::base::ReadFile;
using dravix::base::ViewOf;
using dravix::base::WriteFile;
using dravix::base::WriteResult;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

class Files : public testing::Test {
 protected:
  [[nodiscard]] std::size_t Entries() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(dir_.Path()), fs::directory_iterator()));
  }
  TempDir dir_;
  std::string name_ = dir_.File("a.bin");
};

std::string TextOf(const std::optional<Bytes>& bytes) {
  EXPECT_TRUE(bytes.has_value());
  if (!bytes) return "";
  return {static_cast<const char*>(static_cast<const void*>(bytes->data())), bytes->size()};
}

/// More than any buffer on the way.
std::string Long() {
  std::string text(3'000'001, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 >> 3);
  return text;
}

// --- reading ---

TEST_F(Files, AreReadWhole) {
  for (const std::string& text : {std::string(), std::string("a\0b\r\n\x1a", 6), Long()}) {
    Spill(name_, text);
    EXPECT_EQ(TextOf(ReadFile(name_)), text);
  }
}

TEST_F(Files, ThatAreMissingOrFoldersCannotBeRead) {
  EXPECT_EQ(ReadFile(name_), std::nullopt);
  EXPECT_EQ(ReadFile(dir_.File("")), std::nullopt);
  EXPECT_EQ(ReadFile(""), std::nullopt);
}

TEST_F(Files, NamesWithAZeroByteAreNoNames) {
  Spill(name_, "x");
  const std::string cut = name_ + std::string("\0.shot", 6);
  EXPECT_EQ(PathOf(cut), std::nullopt);
  EXPECT_EQ(ReadFile(cut), std::nullopt);
  EXPECT_EQ(WriteFile(cut, {ViewOf("new")}), WriteResult::kCannotOpen);
  EXPECT_EQ(Slurp(name_), "x");
}

TEST_F(Files, AreReadAsTheirBytesAreAskedFor) {
  const std::string text = Long();
  Spill(name_, text);
  const auto file = InputFile::Open(name_);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Size(), text.size());
  ByteReader in(*file);
  EXPECT_EQ(in.Read<char>(), text[0]);
  in.Skip(99'999);
  Bytes some(200'000);
  EXPECT_EQ(in.ReadUpTo(some), some.size());
  EXPECT_EQ(TextOf(some), text.substr(100'000, some.size()));
  EXPECT_EQ(in.Remaining(), text.size() - 300'000);
  file->SeekTo(text.size() - 2);
  EXPECT_EQ(file->Fetch(some), 2U);
  EXPECT_EQ(file->FetchSome().size(), 0U);
  file->SeekTo(std::uint64_t{1} << 60);
  EXPECT_EQ(file->Left(), 0U);
  file->SeekTo(1);
  EXPECT_EQ(ByteReader(*file).Read<char>(), text[1]);
}

TEST_F(Files, ThatBecomeShorterEndEarlier) {
  Spill(name_, Long());
  const auto file = InputFile::Open(name_);
  ASSERT_NE(file, nullptr);
  fs::resize_file(name_, 5);
  Bytes some(10);
  EXPECT_EQ(file->Fetch(some), 5U);
  EXPECT_EQ(file->Left(), 0U);
}

TEST_F(Files, ThatAreMissingOrFoldersAreNotOpenedEmptyOnesAre) {
  EXPECT_EQ(InputFile::Open(name_), nullptr);
  EXPECT_EQ(InputFile::Open(dir_.File("")), nullptr);
  Spill(name_, "");
  const auto file = InputFile::Open(name_);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Left(), 0U);
}

// --- writing ---

TEST_F(Files, AreWrittenPieceByPiece) {
  EXPECT_EQ(WriteFile(name_, {ViewOf("ab"), ByteView(), ViewOf("c")}), WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "abc");
  EXPECT_EQ(WriteFile(name_, {}), WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "");
}

TEST_F(Files, ReplaceWhatWasThereAndLeaveNothingElse) {
  Spill(name_, Long());
  EXPECT_EQ(WriteFile(name_, {ViewOf("short")}), WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), "short");
  EXPECT_EQ(WriteFile(name_, {ViewOf(Long())}), WriteResult::kWritten);
  EXPECT_EQ(Slurp(name_), Long());
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Files, OfNamesWith255BytesAreWritten) {
  const std::string name = dir_.File(std::string(250, 'n') + ".shot");
  EXPECT_EQ(WriteFile(name, {ViewOf("x")}), WriteResult::kWritten);
  EXPECT_EQ(WriteFile(name, {ViewOf("y")}), WriteResult::kWritten);
  EXPECT_EQ(TextOf(ReadFile(name)), "y");
  EXPECT_EQ(WriteFile(dir_.File(std::string(256, 'n')), {ViewOf("x")}), WriteResult::kCannotOpen);
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Files, WithNamesBeyondAsciiAreWritten) {
  const std::string name = dir_.File("gr\xc3\xbc\xc3\x9f \xe5\xb1\x8f.shot");
  EXPECT_EQ(WriteFile(name, {ViewOf("x")}), WriteResult::kWritten);
  EXPECT_EQ(TextOf(ReadFile(name)), "x");
}

TEST_F(Files, FoldersAndMissingFoldersCannotBeWritten) {
  fs::create_directory(dir_.Path() / "folder.shot");
  for (const std::string& name : {dir_.File("folder.shot"), dir_.File("folder.shot/"),
                                  dir_.File(""), dir_.File("missing/a.shot"), std::string()}) {
    EXPECT_EQ(WriteFile(name, {ViewOf("x")}), WriteResult::kCannotOpen) << name;
  }
  EXPECT_EQ(Entries(), 1U);
  EXPECT_TRUE(fs::is_empty(dir_.Path() / "folder.shot"));
}

TEST_F(Files, RelativeNamesAreTakenFromTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.Path());
  const WriteResult result = WriteFile("relative.bin", {ViewOf("x")});
  const std::optional<Bytes> read = ReadFile("relative.bin");
  fs::current_path(before);
  EXPECT_EQ(result, WriteResult::kWritten);
  EXPECT_EQ(TextOf(read), "x");
}

#ifndef _WIN32

// Links too: the standard library of mingw-w64 neither makes nor sees them.
TEST_F(Files, LinksAreFollowedAlsoToWhatDoesNotExistYet) {
  fs::create_directory(dir_.Path() / "deep");
  fs::create_symlink("deep/second", dir_.Path() / "first");
  fs::create_symlink(dir_.Path() / "deep/target", dir_.Path() / "deep/second");
  for (const char* text : {"new", "again"}) {
    EXPECT_EQ(WriteFile(dir_.File("first"), {ViewOf(text)}), WriteResult::kWritten);
    EXPECT_EQ(Slurp(dir_.File("deep/target")), text);
  }
  EXPECT_TRUE(fs::is_symlink(dir_.Path() / "first"));
  EXPECT_TRUE(fs::is_symlink(dir_.Path() / "deep/second"));
}

TEST_F(Files, LinksInACircleCannotBeWritten) {
  fs::create_symlink("b", dir_.Path() / "a");
  fs::create_symlink("a", dir_.Path() / "b");
  EXPECT_EQ(WriteFile(dir_.File("a"), {ViewOf("x")}), WriteResult::kCannotOpen);
  EXPECT_EQ(ReadFile(dir_.File("a")), std::nullopt);
}

TEST_F(Files, PermissionsAreKept) {
  Spill(name_, "old");
  for (const auto mode : {fs::perms{0600}, fs::perms{0640}, fs::perms{0755}}) {
    fs::permissions(name_, mode);
    EXPECT_EQ(WriteFile(name_, {ViewOf("new")}), WriteResult::kWritten);
    EXPECT_EQ(fs::status(name_).permissions(), mode);
  }
}

TEST_F(Files, NewOnesHaveTheUsersUsualPermissions) {
  const mode_t before = umask(027);
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}), WriteResult::kWritten);
  umask(before);
  EXPECT_EQ(fs::status(name_).permissions(), fs::perms{0640});
}

TEST_F(Files, ThatMayNotBeWrittenAreNotReplaced) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write everything";
  Spill(name_, "old");
  fs::permissions(name_, fs::perms{0444});
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}), WriteResult::kCannotOpen);
  EXPECT_EQ(Slurp(name_), "old");
  fs::permissions(name_, fs::perms{0222});
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}), WriteResult::kWritten);
  EXPECT_EQ(ReadFile(name_), std::nullopt);
}

TEST_F(Files, AFolderThatMayNotBeWrittenKeepsItsFiles) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write everything";
  Spill(name_, "old");
  fs::permissions(dir_.Path(), fs::perms{0555});
  EXPECT_EQ(WriteFile(dir_.File("new"), {ViewOf("new")}), WriteResult::kCannotOpen);
  EXPECT_EQ(WriteFile(name_, {ViewOf("new")}), WriteResult::kCannotOpen);
  EXPECT_EQ(Slurp(name_), "old");
  fs::permissions(dir_.Path(), fs::perms{0755});
}

/// Holds one of the process's limits down while it lives.
class Limit {
 public:
  Limit(decltype(RLIMIT_AS) what, rlim_t most) : what_(what) {
    getrlimit(what_, &before_);
    const rlimit limit{most, before_.rlim_max};
    setrlimit(what_, &limit);
    signalBefore_ = std::signal(SIGXFSZ, SIG_IGN);  // beyond it, writing fails instead
  }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  ~Limit() {
    setrlimit(what_, &before_);
    std::signal(SIGXFSZ, signalBefore_);
  }

 private:
  decltype(RLIMIT_AS) what_;
  rlimit before_{};
  void (*signalBefore_)(int) = nullptr;
};

TEST_F(Files, ThatBreakOffLeaveTheOldOne) {
  Spill(name_, "old");
  WriteResult replaced{};
  WriteResult made{};
  {
    const Limit fullDisk(RLIMIT_FSIZE, 1 << 16);
    replaced = WriteFile(name_, {ViewOf(Long())});
    made = WriteFile(dir_.File("new"), {ViewOf("x"), ViewOf(Long())});
  }
  EXPECT_EQ(replaced, WriteResult::kFailed);
  EXPECT_EQ(made, WriteResult::kFailed);
  EXPECT_EQ(Slurp(name_), "old");
  EXPECT_EQ(Entries(), 1U);
}

TEST_F(Files, FullDevicesHaveFailed) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  EXPECT_EQ(WriteFile("/dev/full", {ViewOf("x")}), WriteResult::kFailed);
  fs::create_symlink("/dev/full", name_);
  EXPECT_EQ(WriteFile(name_, {ViewOf(Long())}), WriteResult::kFailed);
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(Files, DevicesAreWrittenStraight) {
  EXPECT_EQ(WriteFile("/dev/null", {ViewOf(Long())}), WriteResult::kWritten);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(TextOf(ReadFile("/dev/null")), "");
}

TEST_F(Files, WhoseSizeIsNotKnownAreReadToTheirEnd) {
  if (!fs::exists("/proc/self/status")) GTEST_SKIP() << "no /proc";
  EXPECT_THAT(TextOf(ReadFile("/proc/self/status")), testing::HasSubstr("Name:"));
}

TEST_F(Files, ThatFailWhileBeingReadAreNotRead) {
  if (!fs::exists("/proc/self/mem")) GTEST_SKIP() << "no /proc";
  EXPECT_EQ(ReadFile("/proc/self/mem"), std::nullopt);  // its first bytes cannot be read
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they end the process instead
TEST_F(Files, LargerThanTheMemoryAreNotRead) {
  Spill(name_, "x");
  std::error_code error;
  fs::resize_file(name_, std::uintmax_t{1} << 43, error);  // holes only
  if (error) GTEST_SKIP() << "no files of this size here";
  const Limit littleMemory(RLIMIT_AS, rlim_t{1} << 40);
  EXPECT_EQ(ReadFile(name_), std::nullopt);
}
#endif

TEST_F(Files, PipesAreWrittenAndRead) {
  ASSERT_EQ(mkfifo(name_.c_str(), 0600), 0);
  WriteResult result{};
  std::thread writer([&] { result = WriteFile(name_, {ViewOf(Long())}); });
  const std::optional<Bytes> read = ReadFile(name_);
  writer.join();
  EXPECT_EQ(result, WriteResult::kWritten);
  EXPECT_EQ(TextOf(read), Long());
}

TEST_F(Files, APipeThatClosesFailsAndDoesNotEndTheProcess) {
  ASSERT_EQ(mkfifo(name_.c_str(), 0600), 0);
  std::thread reader([&] {
    const int pipe = open(name_.c_str(), O_RDONLY | O_CLOEXEC);
    char some[10];
    EXPECT_GT(read(pipe, some, sizeof some), 0);
    close(pipe);
  });
  EXPECT_EQ(WriteFile(name_, {ViewOf(Long())}), WriteResult::kFailed);
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

TEST(HoldBrokenPipe, TurnsTheSignalIntoAnError) {
  {
    const dravix::base::HoldBrokenPipe hold;
    EXPECT_EQ(WriteToClosedPipe(), EPIPE);
    EXPECT_TRUE(SignalIsWaiting());
  }
  EXPECT_FALSE(SignalIsWaiting());
}

TEST(HoldBrokenPipe, PutsTheSignalMaskBack) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  { const dravix::base::HoldBrokenPipe hold; }
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&before, SIGPIPE), sigismember(&after, SIGPIPE));
}

TEST(HoldBrokenPipe, LeavesASignalWaitingThatWasWaitingBefore) {
  sigset_t pipeSignal;
  sigset_t before;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
  pthread_kill(pthread_self(), SIGPIPE);
  {
    const dravix::base::HoldBrokenPipe hold;
    EXPECT_EQ(WriteToClosedPipe(), EPIPE);
  }
  EXPECT_TRUE(SignalIsWaiting());
  const timespec now{};
  sigtimedwait(&pipeSignal, nullptr, &now);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

#endif

}  // namespace
