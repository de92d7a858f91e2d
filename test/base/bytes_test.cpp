#include "base/bytes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <string>

#include "base/checked.h"

namespace {

using dravix::base::ByteReader;
using dravix::base::Bytes;
using dravix::base::ByteSource;
using dravix::base::ByteView;
using dravix::base::ByteWriter;
using dravix::base::CheckedMul;
using dravix::base::FitsInt32;
using dravix::base::ViewOf;
using testing::Each;
using testing::ElementsAre;

std::string Text(ByteView view) {
  return {static_cast<const char*>(static_cast<const void*>(view.data())), view.size()};
}

testing::AssertionResult HasExactly(const ByteReader& in, std::uint64_t count) {
  if (!in.Has(count)) return testing::AssertionFailure() << "fewer bytes than " << count;
  if (in.Has(count + 1)) return testing::AssertionFailure() << "more bytes than " << count;
  return testing::AssertionSuccess();
}

TEST(ByteReader, ReadsNumbersLowByteFirst) {
  ByteReader in(ViewOf("\x34\x12\xff\xff\xff\xff"));
  EXPECT_EQ(in.Read<std::uint16_t>(), 0x1234);
  EXPECT_EQ(in.Read<std::int32_t>(), -1);
  EXPECT_TRUE(HasExactly(in, 0));
}

TEST(ByteReader, ReadsRealNumbers) {
  ByteReader in(ViewOf(std::string_view("\x00\x00\xc0\x3f", 4)));
  EXPECT_EQ(in.Read<float>(), 1.5F);
}

TEST(ByteReader, GivesNoNumberThatIsCutShortAndConsumesNothing) {
  ByteReader in(ViewOf("abc"));
  EXPECT_EQ(in.Read<std::int32_t>(), std::nullopt);
  EXPECT_TRUE(HasExactly(in, 3));
  EXPECT_EQ(in.Read<char>(), 'a');
}

TEST(ByteReader, GivesTheFallbackForANumberThatIsCutShort) {
  ByteReader in(ViewOf("abc"));
  EXPECT_EQ(in.ReadOr<std::int32_t>(-7), -7);
  EXPECT_TRUE(HasExactly(in, 0));
  EXPECT_EQ(in.ReadOr<char>('z'), 'z');
}

TEST(ByteReader, FillsWithZerosWhereTheBytesRunOut) {
  ByteReader in(ViewOf("abc"));
  Bytes out(5, std::byte{9});
  EXPECT_EQ(in.ReadUpTo(out), 3U);
  EXPECT_EQ(Text(out), std::string("abc\0\0", 5));
  EXPECT_EQ(in.ReadUpTo(out), 0U);
  EXPECT_THAT(out, Each(std::byte{0}));
}

TEST(ByteReader, FillsAShortBufferAndKeepsTheRest) {
  ByteReader in(ViewOf("abc"));
  Bytes out(2);
  EXPECT_EQ(in.ReadUpTo(out), 2U);
  EXPECT_EQ(in.ReadUpTo({}), 0U);
  EXPECT_TRUE(HasExactly(in, 1));
}

TEST(ByteReader, SkipsNoFartherThanTheEnd) {
  ByteReader in(ViewOf("abcd"));
  in.Skip(3);
  EXPECT_TRUE(HasExactly(in, 1));
  in.Skip(std::numeric_limits<std::uint64_t>::max());
  EXPECT_TRUE(HasExactly(in, 0));
}

/// Hands out three bytes at a time of those it holds.
class Trickle final : public ByteSource {
 public:
  explicit Trickle(std::string_view bytes) : rest_(ViewOf(bytes)) {}
  std::size_t Fetch(std::span<std::byte> out) override {
    const std::size_t there = std::min(out.size(), rest_.size());
    std::copy_n(rest_.begin(), there, out.begin());
    Skip(there);
    return there;
  }
  ByteView FetchSome() override {
    const ByteView some = rest_.first(std::min<std::size_t>(3, rest_.size()));
    Skip(some.size());
    return some;
  }
  [[nodiscard]] bool Has(std::uint64_t count) override { return count <= rest_.size(); }
  void Skip(std::uint64_t count) override {
    rest_ = rest_.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(count, rest_.size())));
  }
  void End() override { rest_ = {}; }

 private:
  ByteView rest_;
};

TEST(ByteReader, TakesNumbersOutOfWhatASourceHandsOut) {
  Trickle source(std::string_view("\1\0\2\0\0\0\3\0\0\0\0\0\0\0\4\5", 16));
  ByteReader in(source);
  EXPECT_TRUE(HasExactly(in, 16));
  EXPECT_EQ(in.Read<std::uint16_t>(), 1);
  EXPECT_EQ(in.Read<std::uint32_t>(), 2U);
  EXPECT_EQ(in.Read<std::uint64_t>(), 3U);
  EXPECT_TRUE(HasExactly(in, 2));
  EXPECT_EQ(in.Read<std::uint32_t>(), std::nullopt);
  EXPECT_EQ(in.Read<std::uint16_t>(), 0x0504);
  EXPECT_EQ(in.ReadOr<std::uint8_t>(7), 7);
}

TEST(ByteReader, FillsFromTheSourceAfterWhatIsAtHand) {
  Trickle source("abcdefghijklmnop");
  ByteReader in(source);
  EXPECT_EQ(in.Read<char>(), 'a');
  Bytes out(12);
  EXPECT_EQ(in.ReadUpTo(out), 12U);
  EXPECT_EQ(Text(out), "bcdefghijklm");
  EXPECT_EQ(in.ReadUpTo(out), 3U);
  EXPECT_EQ(Text(out), std::string("nop") + std::string(9, '\0'));
}

TEST(ByteReader, SkipsInASource) {
  Trickle source("abcdefghijkl");
  ByteReader in(source);
  EXPECT_EQ(in.Read<char>(), 'a');
  in.Skip(1);
  EXPECT_EQ(in.Read<char>(), 'c');
  in.Skip(5);
  EXPECT_EQ(in.Read<char>(), 'i');
  EXPECT_EQ(in.ReadOr<std::int32_t>(-1), -1);
  EXPECT_TRUE(HasExactly(in, 0));
  in.Skip(1);
  EXPECT_TRUE(HasExactly(in, 0));
}

TEST(ByteReader, SkippingTheRestEndsTheSource) {
  Trickle source("abcdefghijkl");
  ByteReader in(source);
  EXPECT_EQ(in.Read<char>(), 'a');
  in.SkipRest();
  EXPECT_TRUE(HasExactly(in, 0));
  EXPECT_FALSE(source.Has(1));
}

TEST(ByteReader, IsAtItsEndWhenThereAreNoBytes) {
  ByteReader in{ByteView()};
  EXPECT_EQ(in.Read<char>(), std::nullopt);
  EXPECT_TRUE(HasExactly(in, 0));
}

TEST(ByteWriter, AppendsNumbersAndBytes) {
  ByteWriter out;
  out.Write('L');
  out.Write(std::uint16_t{0x1234});
  out.Append(ViewOf("xy"));
  out.Append(ByteView());
  EXPECT_EQ(out.Size(), 5U);
  EXPECT_EQ(Text(out.Data()), "L\x34\x12xy");
}

TEST(ByteWriter, ReservingAddsNoBytes) {
  ByteWriter out;
  out.Reserve(100);
  EXPECT_EQ(out.Size(), 0U);
  EXPECT_GE(out.Data().capacity(), 100U);
  for (int i = 0; i < 1000; ++i) out.Write(i);
  EXPECT_EQ(out.Size(), 4000U);
}

TEST(ByteWriter, GivesItsBytesAwayWithoutCopying) {
  ByteWriter out;
  out.Append(ViewOf("abc"));
  const std::byte* const bytes = out.Data().data();
  const Bytes taken = std::move(out).Data();
  EXPECT_EQ(taken.data(), bytes);
  EXPECT_EQ(Text(taken), "abc");
}

TEST(Bytes, NumbersReadBackAsTheyWereWritten) {
  ByteWriter out;
  const auto write = [&out](auto... values) { (out.Write(values), ...); };
  write(std::int8_t{-1}, std::uint64_t{1} << 63, -2.5, std::numeric_limits<std::int32_t>::min());
  ByteReader in{ByteView(out.Data())};
  EXPECT_EQ(in.Read<std::int8_t>(), -1);
  EXPECT_EQ(in.Read<std::uint64_t>(), std::uint64_t{1} << 63);
  EXPECT_EQ(in.Read<double>(), -2.5);
  EXPECT_EQ(in.Read<std::int32_t>(), std::numeric_limits<std::int32_t>::min());
}

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

TEST(CheckedMul, IsExactUpToTheLargestNumber) {
  EXPECT_EQ(CheckedMul(0, kMost), 0U);
  EXPECT_EQ(CheckedMul(kMost, 0), 0U);
  EXPECT_EQ(CheckedMul(kMost, 1), kMost);
  EXPECT_EQ(CheckedMul(1, kMost), kMost);
  EXPECT_EQ(CheckedMul(std::uint64_t{1} << 32, (std::uint64_t{1} << 32) - 1),
            kMost - (std::uint64_t{1} << 32) + 1);
  EXPECT_EQ(CheckedMul(2, 3, 7), 42U);
}

TEST(CheckedMul, GivesNothingAboveTheLargestNumber) {
  EXPECT_EQ(CheckedMul(std::uint64_t{1} << 32, std::uint64_t{1} << 32), std::nullopt);
  EXPECT_EQ(CheckedMul(kMost, 2), std::nullopt);
  EXPECT_EQ(CheckedMul(2, kMost), std::nullopt);
  EXPECT_EQ(CheckedMul(kMost, 2, 0), std::nullopt);
  EXPECT_EQ(CheckedMul(std::uint64_t{1} << 31, std::uint64_t{1} << 31, 4), std::nullopt);
}

TEST(FitsInt32, IsTrueUpToTheLargestSignedNumber) {
  EXPECT_TRUE(FitsInt32(0));
  EXPECT_TRUE(FitsInt32(0x7fffffff));
  EXPECT_FALSE(FitsInt32(0x80000000));
  EXPECT_FALSE(FitsInt32(kMost));
}

}  // namespace
