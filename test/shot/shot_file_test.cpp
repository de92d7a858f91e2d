#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "shot/sample_shot.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/pipe_writer.h"
#include "support/record_bytes.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::FullShot;
using dravix::test::Le;
using dravix::test::LogCapture;
#ifndef _WIN32
using dravix::test::PipeWriter;
#endif
using dravix::test::RandomMat;
using dravix::test::RecordHeader;
using dravix::test::SameBytes;
using dravix::test::SameShot;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kEndTag = Le(std::uint32_t{0xFFFFFFFF});
const std::string kNoImage = RecordHeader{}.Bytes();

/// Mark, version 1 and type.
std::string Head(std::uint32_t type) { return "L" + Le(1) + Le(type); }

/// A text field of 64 bytes, filled up with zeros.
std::string Text64(const std::string& text) { return text + std::string(64 - text.size(), '\0'); }

std::string BufferOf(const Shot& shot) {
  std::string buffer(1 << 16, '\0');
  std::size_t size = buffer.size();
  EXPECT_EQ(shot.ToBuffer(buffer.data(), &size), DRAVIX_OK);
  return buffer.substr(0, size);
}

std::int32_t ReadInto(Shot& shot, const std::string& bytes) {
  return shot.FromBuffer(bytes.data(), bytes.size());
}

Shot ShotOf(const std::string& bytes) {
  Shot shot;
  EXPECT_EQ(ReadInto(shot, bytes), DRAVIX_OK);
  return shot;
}

/// A shot with the groups of FullShot and an image of one sample.
Shot SmallFullShot() {
  Shot shot = FullShot();
  shot.image = cv::Mat(1, 1, CV_16UC1, cv::Scalar(0x1234));
  return shot;
}

// --- layout ---

TEST(ShotStream, TwoByTwoWithoutGroupsIs37Bytes) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = (cv::Mat_<std::uint16_t>(2, 2) << 1, 2, 3, 0xabcd);
  const std::string bytes = BufferOf(shot);
  EXPECT_EQ(bytes.size(), 37U);
  EXPECT_EQ(bytes, "L" + Le(1) + Le(2) + Le(2) + Le(2) + Le(int{CV_16UC1}) + Le(1) +
                       std::string("\1\0\2\0\3\0\xcd\xab", 8) + "\xff\xff\xff\xff");
}

TEST(ShotStream, GroupsFollowInTagOrderFieldByField) {
  const std::string bytes = BufferOf(SmallFullShot());
  const std::string expected =
      Head(2) + RecordHeader{1, 1, CV_16UC1, 1}.Bytes() + "\x34\x12" +   //
      Le(1) + Text64("camera") + Le(120016) + Text64("lens") + Le(44) +  // device
      Le(2) + Le(51) + Le(52) + Le(53) + Le(54) + Le(55) +               // capture
      Le(4) + Le(1) + Le(2) + Le(8) + Le(6) + Le(16) + Le(9) +           // partition
      Le(8) + Le(11) + Le(12) + Le(13) + Le(14) + Le(15) + Le(1.5F) +    // panel
      Le(16) + Le(21) + Le(0.25F) + Le(23) +                             // layer
      Le(32) + Le(31) + Le(3) + Le(2) + Le(1) + Le(0) + Le(3) + Le(3) +  // pattern
      Le(64) + Le(4) + kEndTag;                                          // color
  EXPECT_EQ(bytes, expected);
}

TEST(ShotStream, EachGroupHasItsLength) {
  const std::size_t bare = 9 + 16 + 2 + 4;
  Shot all = SmallFullShot();
  const auto length = [&all](auto member) {
    Shot one;
    one.image = all.image;
    one.*member = all.*member;
    return BufferOf(one).size();
  };
  EXPECT_EQ(length(&Shot::device), bare + 4 + 136);
  EXPECT_EQ(length(&Shot::capture), bare + 4 + 20);
  EXPECT_EQ(length(&Shot::partition), bare + 4 + 24);
  EXPECT_EQ(length(&Shot::panel), bare + 4 + 24);
  EXPECT_EQ(length(&Shot::layer), bare + 4 + 12);
  EXPECT_EQ(length(&Shot::pattern), bare + 4 + 28);
  EXPECT_EQ(length(&Shot::color), bare + 4 + 4);
}

TEST(ShotStream, ReadsBackEqual) {
  for (const int channels : {1, 3}) {
    Shot shot = FullShot();
    shot.image = RandomMat({37, 23}, CV_MAKETYPE(CV_16U, channels), 6, 0, 65536);
    EXPECT_TRUE(SameShot(ShotOf(BufferOf(shot)), shot));
  }
}

TEST(ShotStream, SamplesAreStoredInSixteenBitsAndSaturate) {
  Shot shot;
  shot.image = (cv::Mat_<float>(1, 5) << -3.0F, 0.4F, 1.6F, 70000.0F, 65535.0F);
  const cv::Mat before = shot.image.clone();
  const Shot read = ShotOf(BufferOf(shot));
  EXPECT_TRUE(SameBytes(read.image, (cv::Mat_<std::uint16_t>(1, 5) << 0, 0, 2, 65535, 65535)));
  EXPECT_TRUE(SameBytes(shot.image, before));
}

TEST(ShotStream, EveryDepthIsStoredWithItsChannels) {
  for (const int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F}) {
    Shot shot;
    shot.image = RandomMat({5, 4}, CV_MAKETYPE(depth, 3), 9, -100, 100);
    cv::Mat expected;
    shot.image.convertTo(expected, CV_16U);
    EXPECT_TRUE(SameBytes(ShotOf(BufferOf(shot)).image, expected)) << depth;
  }
}

TEST(ShotStream, APartOfAnImageIsStoredLikeItsCopy) {
  Shot shot = FullShot();
  const cv::Mat whole = shot.image;
  shot.image = whole(cv::Rect(3, 2, 5, 4));
  EXPECT_TRUE(SameBytes(ShotOf(BufferOf(shot)).image, shot.image));
}

TEST(ShotStream, AnEmptyImageIsStoredAsSuch) {
  Shot shot;
  shot.color = 7;
  EXPECT_EQ(BufferOf(shot), Head(0) + kNoImage + Le(64) + Le(7) + kEndTag);
  EXPECT_TRUE(ShotOf(BufferOf(shot)).image.empty());
}

TEST(ShotStream, TextsWithoutAZeroAreStoredWhole) {
  Shot shot = SmallFullShot();
  std::fill(std::begin(shot.device->id), std::end(shot.device->id), 'x');
  std::fill(std::begin(shot.device->lens_id), std::end(shot.device->lens_id), 'y');
  const std::string bytes = BufferOf(shot);
  EXPECT_EQ(bytes.substr(31, 64), std::string(64, 'x'));
  EXPECT_EQ(bytes.substr(99, 64), std::string(64, 'y'));
  EXPECT_TRUE(SameShot(ShotOf(bytes), shot));
}

// --- reading ---

TEST(ShotRead, GroupsMayComeInAnyOrderAndTheLastOfAKindCounts) {
  const Shot shot = ShotOf(Head(1) + kNoImage + Le(64) + Le(1) + Le(16) + Le(5) + Le(2.0F) + Le(6) +
                           Le(64) + Le(3) + kEndTag);
  EXPECT_EQ(shot.color, 3);
  EXPECT_EQ(shot.layer->index, 5);
  EXPECT_EQ(shot.layer->linear_norms, 2.0F);
  EXPECT_EQ(shot.layer->value, 6);
}

TEST(ShotRead, ATagWithoutAGroupCarriesNothing) {
  for (const std::uint32_t tag : {0U, 3U, 128U, 65U, 0xFFFFFFFEU, 0x80000000U}) {
    const Shot shot = ShotOf(Head(1) + kNoImage + Le(tag) + Le(64) + Le(9) + kEndTag);
    EXPECT_EQ(shot.color, 9) << tag;
    EXPECT_FALSE(shot.layer || shot.device);
  }
}

TEST(ShotRead, NothingIsReadAfterTheEndTag) {
  EXPECT_FALSE(ShotOf(Head(1) + kNoImage + kEndTag + Le(64) + Le(9)).color);
}

TEST(ShotRead, GroupsThatTheStreamLacksStay) {
  Shot shot = FullShot();
  EXPECT_EQ(ReadInto(shot, Head(CAM_G) + kNoImage + Le(64) + Le(1) + kEndTag), DRAVIX_OK);
  Shot expected = FullShot();
  expected.type = CAM_G;
  expected.image = cv::Mat();
  expected.color = 1;
  EXPECT_TRUE(SameShot(shot, expected));
}

TEST(ShotRead, EveryCutEndsTheReading) {
  const std::string whole = BufferOf(SmallFullShot());
  const LogCapture log;
  for (std::size_t length = 5; length < whole.size(); ++length) {
    Shot shot;
    EXPECT_EQ(ReadInto(shot, whole.substr(0, length)), DRAVIX_OK) << length;
  }
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(ShotRead, FieldsThatAreCutOffKeepTheirValue) {
  Shot shot;
  shot.layer = Shot::Layer{7, 8.0F, 9};
  EXPECT_EQ(ReadInto(shot, Head(1) + kNoImage + Le(16) + Le(1) + "\1\2"), DRAVIX_OK);
  EXPECT_EQ(shot.layer->index, 1);
  EXPECT_EQ(shot.layer->linear_norms, 8.0F);
  EXPECT_EQ(shot.layer->value, 9);
  shot.device = Shot::Device{"old", 1, "old", 2};
  EXPECT_EQ(ReadInto(shot, Head(1) + kNoImage + Le(1) + Text64("new") + Le(5) + "cut"), DRAVIX_OK);
  EXPECT_STREQ(shot.device->id, "new");
  EXPECT_EQ(shot.device->cam_type, 5);
  EXPECT_STREQ(shot.device->lens_id, "old");
  EXPECT_EQ(shot.device->lens_type, 2);
}

TEST(ShotRead, AnAbsurdRecordIsAnEmptyImageAndEndsTheReading) {
  const std::string absurd = RecordHeader{1 << 15, 1 << 15, CV_16UC1, 1}.Bytes();
  const Shot shot = ShotOf(Head(2) + absurd + Le(64) + Le(9) + kEndTag);
  EXPECT_TRUE(shot.image.empty());
  EXPECT_FALSE(shot.color);
  EXPECT_EQ(shot.type, 2U);
}

TEST(ShotRead, AnImpossibleChannelCountThrowsAndLeavesTheShot) {
  const TempDir dir;
  const std::string bytes =
      Head(CAM_G) + RecordHeader{1, 1, CV_16UC1, 513}.Bytes() + "xy" + Le(64) + Le(9) + kEndTag;
  Shot shot = FullShot();
  EXPECT_THROW(ReadInto(shot, bytes), cv::Exception);
  EXPECT_TRUE(SameShot(shot, FullShot()));
  Spill(dir.File("a.shot"), bytes);
  EXPECT_THROW(shot.Load(dir.File("a.shot")), cv::Exception);
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(ShotRead, ManyTagsAreReadQuickly) {
  std::string bytes = Head(1) + kNoImage;
  for (int i = 0; i < 100000; ++i) bytes += Le(64) + Le(i);
  EXPECT_EQ(ShotOf(bytes).color, 99999);
}

TEST(ShotRead, UnknownTagsArePassedOverHoweverManyThereAre) {
  std::string bytes = Head(1) + kNoImage;
  for (int i = 0; i < 100000; ++i) bytes += Le(128);
  EXPECT_EQ(ShotOf(bytes + Le(64) + Le(9) + kEndTag).color, 9);
}

#ifndef _WIN32
TEST(ShotRead, TagsWithoutAnEndAreAnswered) {
  constexpr std::uint64_t kMostTags = 1 << 19;  // bytes, and what is on the way
  const TempDir dir;
  const LogCapture log;
  for (const std::string& tag : {std::string(), Le(64) + Le(0)}) {
    const std::string name = dir.File("pipe" + std::to_string(tag.size()) + ".shot");
    const PipeWriter pipe(name, Head(2) + kNoImage + tag, PipeWriter::Then::kZerosWithoutEnd);
    Shot shot;
    EXPECT_EQ(shot.Load(name), DRAVIX_OK);
    EXPECT_EQ(shot.type, 2U);
    EXPECT_LE(pipe.Written(), kMostTags + (3 << 16));
  }
  EXPECT_THAT(log.Errors(), IsEmpty());
}
#endif

// --- buffer ---

TEST(ShotBuffer, SizeIsTheStreamsLength) {
  const LogCapture log;
  std::size_t size = 7;
  const Shot shot = SmallFullShot();
  EXPECT_EQ(shot.GetBufferSize(&size), DRAVIX_OK);
  EXPECT_EQ(size, 9U + 18 + 7 * 4 + 136 + 20 + 24 + 24 + 12 + 28 + 4 + 4);
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::GetBufferSize"));
}

TEST(ShotBuffer, SizeOfAnEmptyImageIsNotGiven) {
  const LogCapture log;
  std::size_t size = 7;
  EXPECT_EQ(Shot().GetBufferSize(&size), DRAVIX_NO_RESULT);
  EXPECT_EQ(size, 7U);
  EXPECT_EQ(Shot().GetBufferSize(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(ShotBuffer, TheLengthIsEnoughAndOneByteLessIsNot) {
  const LogCapture log;
  const Shot shot = SmallFullShot();
  std::size_t length = 0;
  ASSERT_EQ(shot.GetBufferSize(&length), DRAVIX_OK);
  std::string buffer(length + 3, '?');
  std::size_t size = length - 1;
  EXPECT_EQ(shot.ToBuffer(buffer.data(), &size), DRAVIX_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, length - 1);
  EXPECT_EQ(buffer, std::string(length + 3, '?'));
  size = length;
  EXPECT_EQ(shot.ToBuffer(buffer.data(), &size), DRAVIX_OK);
  EXPECT_EQ(size, length);
  EXPECT_EQ(buffer.substr(length), "???");
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::GetBufferSize", "Shot::ToBuffer", "Shot::ToBuffer"));
}

TEST(ShotBuffer, NullIsRefused) {
  const LogCapture log;
  std::size_t size = 100;
  char buffer[100];
  Shot shot = FullShot();
  EXPECT_EQ(shot.ToBuffer(nullptr, &size), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(shot.ToBuffer(buffer, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(shot.FromBuffer(nullptr, 100), DRAVIX_NULL_ARGUMENT);
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(ShotBuffer, MarkThenVersionAreChecked) {
  LogCapture log;
  Shot shot = FullShot();
  const std::string rest = Le(2) + kNoImage + kEndTag;
  for (const std::string& bytes : {std::string(), "B" + Le(1) + rest, "l" + Le(2) + rest}) {
    log.Clear();
    EXPECT_EQ(ReadInto(shot, bytes), DRAVIX_WRONG_BYTE_ORDER);
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::FromBuffer -- Error file endianness."));
    EXPECT_THAT(log.Infos(), ElementsAre("Shot::FromBuffer"));
  }
  for (const std::string& bytes : {"L" + Le(0) + rest, "L" + Le(2) + rest, "L" + Le(-1) + rest,
                                   std::string("L"), std::string("L\1\0\0", 4)}) {
    log.Clear();
    EXPECT_EQ(ReadInto(shot, bytes), DRAVIX_WRONG_VERSION);
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::FromBuffer -- Error version in file."));
  }
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

// --- file ---

class ShotFile : public testing::Test {
 protected:
  TempDir dir_;
  LogCapture log_;
  Shot shot_ = FullShot();
  std::string name_ = dir_.File("a.shot");
};

TEST_F(ShotFile, HoldsTheBuffersBytesAndReadsBackEqual) {
  EXPECT_EQ(shot_.Save(name_), DRAVIX_OK);
  EXPECT_EQ(Slurp(name_), BufferOf(shot_));
  Shot read;
  EXPECT_EQ(read.Load(name_), DRAVIX_OK);
  EXPECT_TRUE(SameShot(read, shot_));
  EXPECT_THAT(log_.Infos(), ElementsAre("Shot::Save", "Shot::ToBuffer", "Shot::Load"));
  EXPECT_THAT(log_.Errors(), IsEmpty());
}

TEST_F(ShotFile, OtherExtensionsAreRefused) {
  for (const std::string name :
       {".shot", "a.SHOT", "a.Shot", "a.sho", "a.shot ", "shot", "", "a.lum"}) {
    log_.Clear();
    EXPECT_EQ(shot_.Save(name), DRAVIX_WRONG_EXTENSION) << name;
    EXPECT_EQ(shot_.Load(name), DRAVIX_WRONG_EXTENSION) << name;
    EXPECT_THAT(log_.Errors(), ElementsAre("Shot::Save--Error :: ext filename mismatch.",
                                           "Shot::Load--Error :: ext filename mismatch."));
  }
  EXPECT_TRUE(SameShot(shot_, FullShot()));
}

TEST_F(ShotFile, AMissingFolderCannotBeOpened) {
  const std::string name = dir_.File("missing/a.shot");
  EXPECT_EQ(shot_.Save(name), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(shot_.Load(name), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log_.Errors(), ElementsAre("Shot::Save -- Failed to Open file. fullname = " + name,
                                         "Shot::Load -- Failed to Open file.fullname = " + name));
  EXPECT_TRUE(SameShot(shot_, FullShot()));
}

TEST_F(ShotFile, AFolderCannotBeOpened) {
  std::filesystem::create_directory(dir_.Path() / "a.shot");
  EXPECT_EQ(shot_.Save(name_), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(shot_.Load(name_), DRAVIX_CANNOT_READ);
}

TEST_F(ShotFile, MarkThenVersionAreChecked) {
  Spill(name_, "B");
  EXPECT_EQ(shot_.Load(name_), DRAVIX_WRONG_BYTE_ORDER);
  Spill(name_, "");
  EXPECT_EQ(shot_.Load(name_), DRAVIX_WRONG_BYTE_ORDER);
  Spill(name_, "L" + Le(2));
  EXPECT_EQ(shot_.Load(name_), DRAVIX_WRONG_VERSION);
  EXPECT_THAT(log_.Errors(), ElementsAre("Shot::Load -- Error file endianness.",
                                         "Shot::Load -- Error file endianness.",
                                         "Shot::Load -- Error version in file."));
  EXPECT_TRUE(SameShot(shot_, FullShot()));
}

#ifdef __linux__
TEST_F(ShotFile, AFullDeviceIsNotASuccess) {
  std::filesystem::create_symlink("/dev/full", name_);
  EXPECT_EQ(shot_.Save(name_), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log_.Errors(),
              ElementsAre("Shot::Save -- Failed to write file. fullname = " + name_));
}
#endif

}  // namespace
