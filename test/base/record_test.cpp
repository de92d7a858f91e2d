#include "base/record.h"

#include <dravix/dravix.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "support/log_capture.h"
#include "support/pipe_writer.h"
#include "support/temp_dir.h"
#include "support/without_root.h"

namespace {

using dravix::base::ByteReader;
using dravix::base::HeaderTexts;
using dravix::base::LoadTexts;
using dravix::base::SaveTexts;
using dravix::base::ViewOf;
using dravix::test::LogCapture;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::SpillWithHoles;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr SaveTexts kSave{".rec", "save name", "save open %s", "save finish %s"};
constexpr LoadTexts kLoad{".rec", "load name", "load open %s"};
constexpr HeaderTexts kHeader{"mark", "version"};
const std::string kGoodHeader("L\1\0\0\0", 5);

class Record : public testing::Test {
 protected:
  std::int32_t Save(const std::string& name) {
    return dravix::base::SaveRecord(name, kSave, [this](dravix::base::ByteSink& out) {
      ++made_;
      out.Append(ViewOf("xxx"));
    });
  }
  std::int32_t Load(const std::string& name) {
    return dravix::base::LoadRecord(name, kLoad, kHeader, [this](ByteReader& in) { Take(in); });
  }
  std::int32_t Read(const std::string& bytes) {
    return dravix::base::ReadRecord(ViewOf(bytes), kHeader, [this](ByteReader& in) { Take(in); });
  }
  /// Reads the first bytes of the body, as many as there are.
  void Take(ByteReader& in) {
    std::string text(10, '\0');
    text.resize(in.ReadUpTo(std::as_writable_bytes(std::span(text))));
    body_ = text;
  }
  TempDir dir_;
  LogCapture log_;
  int made_ = 0;
  std::optional<std::string> body_;
};

TEST_F(Record, LogsANameWithAPercentSignAsItIs) {
  const std::string name = dir_.File("100%s.rec");
  EXPECT_EQ(Load(name), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(), ElementsAre("load open " + name));
}

TEST_F(Record, IsSavedUnderItsExtension) {
  EXPECT_EQ(Save(dir_.File("a.rec")), DRAVIX_OK);
  EXPECT_EQ(Slurp(dir_.File("a.rec")), "xxx");
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(Record, IsNotMadeForAWrongExtension) {
  EXPECT_EQ(Save(dir_.File("a.txt")), DRAVIX_WRONG_EXTENSION);
  EXPECT_EQ(made_, 0);
  EXPECT_THAT(log_.Errors(), ElementsAre("save name"));
}

TEST_F(Record, ThatCannotBeMadeLeavesTheFileAlone) {
  const std::string name = dir_.File("a.rec");
  Spill(name, "old");
  const auto save = [&] {
    return dravix::base::SaveRecord(name, kSave, [](dravix::base::ByteSink& out) {
      out.Append(ViewOf("new"));
      throw std::runtime_error("record");
    });
  };
  EXPECT_THROW((void)save(), std::runtime_error);
  EXPECT_EQ(Slurp(name), "old");
}

TEST_F(Record, LogsTheNameOfAFileThatCannotBeOpened) {
  const std::string name = dir_.File("missing/a.rec");
  EXPECT_EQ(Save(name), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(Load(name), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(), ElementsAre("save open " + name, "load open " + name));
  EXPECT_THAT(log_.Formats(), ElementsAre("save open %s", "load open %s"));
  EXPECT_EQ(body_, std::nullopt);
}

#ifdef __linux__
TEST_F(Record, AFileThatCannotBeReadIsLikeOneThatCannotBeOpened) {
  const char* const kRefusesToBeRead = "/sys/class/net/lo/speed";
  std::ifstream probe(kRefusesToBeRead);
  if (!probe || (probe.peek(), !probe.bad())) GTEST_SKIP() << "no such file here";
  const std::string name = dir_.File("a.rec");
  std::filesystem::create_symlink(kRefusesToBeRead, name);
  EXPECT_EQ(Load(name), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(), ElementsAre("load open " + name));
}

TEST_F(Record, LogsTheNameOfAFileThatCannotBeFinished) {
  const std::string name = dir_.File("full.rec");
  std::filesystem::create_symlink("/dev/full", name);
  EXPECT_EQ(Save(name), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log_.Errors(), ElementsAre("save finish " + name));
}
#endif

#ifndef _WIN32
using dravix::test::PipeWriter;

TEST_F(Record, AnEndlessDeviceIsAnsweredByItsMark) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  const std::string name = dir_.File("endless.rec");
  std::filesystem::create_symlink("/dev/zero", name);
  EXPECT_EQ(Load(name), DRAVIX_WRONG_BYTE_ORDER);
  EXPECT_THAT(log_.Errors(), ElementsAre("mark"));
}

TEST_F(Record, APipeIsAnsweredBeforeItCloses) {
  {
    const PipeWriter pipe(dir_.File("mark.rec"), "X");
    EXPECT_EQ(Load(dir_.File("mark.rec")), DRAVIX_WRONG_BYTE_ORDER);
  }
  {
    const PipeWriter pipe(dir_.File("version.rec"), std::string("L\2\0\0\0", 5));
    EXPECT_EQ(Load(dir_.File("version.rec")), DRAVIX_WRONG_VERSION);
  }
  EXPECT_EQ(body_, std::nullopt);
  const PipeWriter pipe(dir_.File("body.rec"), kGoodHeader + "0123456789");
  EXPECT_EQ(Load(dir_.File("body.rec")), DRAVIX_OK);
  EXPECT_EQ(body_, "0123456789");
}

TEST_F(Record, IsSavedInPlaceWhereTheFolderTakesNoNewFile) {
  const dravix::test::WithoutRoot user(dir_.Path());
  const std::string name = dir_.File("a.rec");
  Spill(name, "old");
  std::filesystem::permissions(dir_.Path(), std::filesystem::perms{0555});
  EXPECT_EQ(Save(name), DRAVIX_OK);
  std::filesystem::permissions(dir_.Path(), std::filesystem::perms{0755});
  EXPECT_EQ(Slurp(name), "xxx");
  EXPECT_THAT(log_.Lines(), IsEmpty());
}
#endif

TEST_F(Record, IsLoadedAfterItsHeader) {
  Spill(dir_.File("a.rec"), kGoodHeader + "body");
  EXPECT_EQ(Load(dir_.File("a.rec")), DRAVIX_OK);
  EXPECT_EQ(body_, "body");
  EXPECT_EQ(Read(kGoodHeader), DRAVIX_OK);
  EXPECT_EQ(body_, "");
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(Record, WithAWrongHeaderIsNotRead) {
  EXPECT_EQ(Read("X"), DRAVIX_WRONG_BYTE_ORDER);
  EXPECT_EQ(Read("L"), DRAVIX_WRONG_VERSION);
  EXPECT_EQ(Load(dir_.File("a.txt")), DRAVIX_WRONG_EXTENSION);
  EXPECT_THAT(log_.Errors(), ElementsAre("mark", "version", "load name"));
  EXPECT_EQ(log_.Formats(), log_.Errors());
  EXPECT_EQ(body_, std::nullopt);
}

TEST_F(Record, IsNotReadBeyondWhatIsAskedFor) {
  const std::string name = dir_.File("huge.rec");
  if (!SpillWithHoles(name, "X")) GTEST_SKIP() << "no files of this size here";
  EXPECT_EQ(Load(name), DRAVIX_WRONG_BYTE_ORDER);
  ASSERT_TRUE(SpillWithHoles(name, "L\2"));
  EXPECT_EQ(Load(name), DRAVIX_WRONG_VERSION);
  EXPECT_EQ(body_, std::nullopt);
  ASSERT_TRUE(SpillWithHoles(name, kGoodHeader));
  EXPECT_EQ(Load(name), DRAVIX_OK);
  EXPECT_EQ(body_, std::string(10, '\0'));
}

TEST_F(Record, PassesOnWhatTheBodyReaderThrows) {
  const auto read = [] {
    return dravix::base::ReadRecord(ViewOf(kGoodHeader), kHeader,
                                    [](ByteReader&) { throw std::runtime_error("body"); });
  };
  EXPECT_THROW(read(), std::runtime_error);
}

}  // namespace
