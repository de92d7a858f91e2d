#include "base/envelope.h"

#include <dravix/dravix.h>
#include <gmock/gmock.h>

#include <string>

namespace {

using dravix::base::ByteReader;
using dravix::base::ByteView;
using dravix::base::ByteWriter;
using dravix::base::HasExtension;
using dravix::base::Header;
using dravix::base::PutIntoBuffer;
using dravix::base::ReadHeader;
using dravix::base::SizeOf;
using dravix::base::ViewOf;

TEST(HasExtension, NeedsANameBeforeTheExactEnding) {
  EXPECT_TRUE(HasExtension("a.shot", ".shot"));
  EXPECT_TRUE(HasExtension("/folder/.shot", ".shot"));
  EXPECT_TRUE(HasExtension("..shot", ".shot"));
  for (const char* name : {".shot", "", "a.SHOT", "a.shot ", "a.sho", "ashot", "a.shot/"}) {
    EXPECT_FALSE(HasExtension(name, ".shot")) << name;
  }
}

Header HeaderOf(const std::string& bytes) {
  ByteReader in(ViewOf(bytes));
  return ReadHeader(in);
}

TEST(ReadHeader, AcceptsWhatWriteHeaderWrites) {
  ByteWriter out;
  dravix::base::WriteHeader(out);
  EXPECT_EQ(out.Size(), 5U);
  ByteReader in{ByteView(out.Data())};
  EXPECT_EQ(ReadHeader(in), Header::kGood);
  EXPECT_FALSE(in.Has(1));
  EXPECT_EQ(HeaderOf(std::string("L\1\0\0\0", 5)), Header::kGood);
}

TEST(ReadHeader, ChecksTheMarkBeforeTheVersion) {
  EXPECT_EQ(HeaderOf(""), Header::kWrongMark);
  EXPECT_EQ(HeaderOf("B"), Header::kWrongMark);
  EXPECT_EQ(HeaderOf(std::string("l\1\0\0\0", 5)), Header::kWrongMark);
  EXPECT_EQ(HeaderOf(std::string("L\2\0\0\0", 5)), Header::kWrongVersion);
  EXPECT_EQ(HeaderOf(std::string("L\0\0\0\1", 5)), Header::kWrongVersion);
}

TEST(ReadHeader, AVersionCutShortIsAWrongOne) {
  EXPECT_EQ(HeaderOf("L"), Header::kWrongVersion);
  EXPECT_EQ(HeaderOf(std::string("L\1\0\0", 4)), Header::kWrongVersion);
}

void PutAbc(dravix::base::ByteSink& out) {
  out.Write('a');
  out.Append(ViewOf("bc"));
}

TEST(SizeOf, CountsWhatIsAppendedAndWhatIsPassed) {
  EXPECT_EQ(SizeOf(PutAbc), 3U);
  EXPECT_EQ(SizeOf([](dravix::base::ByteSink& out) {
              out.Append(ViewOf("ab"));
              EXPECT_TRUE(out.Pass(std::uint64_t{1} << 40));
            }),
            (std::uint64_t{1} << 40) + 2);
}

TEST(PutIntoBuffer, PutsWhatFitsAndSaysHowMuch) {
  char buffer[4] = {'?', '?', '?', '?'};
  std::uint64_t size = 4;
  EXPECT_EQ(PutIntoBuffer(PutAbc, buffer, &size), DRAVIX_OK);
  EXPECT_EQ(size, 3U);
  EXPECT_EQ(std::string(buffer, 4), "abc?");
}

TEST(PutIntoBuffer, ChangesNothingWhenItDoesNotFit) {
  char buffer[4] = {'?', '?', '?', '?'};
  std::uint64_t size = 2;
  EXPECT_EQ(PutIntoBuffer(PutAbc, buffer, &size), DRAVIX_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 2U);
  EXPECT_EQ(std::string(buffer, 4), "????");
}

TEST(PutIntoBuffer, TakesNoBytesIntoNoBuffer) {
  std::uint64_t size = 0;
  EXPECT_EQ(PutIntoBuffer([](dravix::base::ByteSink&) {}, nullptr, &size), DRAVIX_OK);
  EXPECT_EQ(size, 0U);
}

}  // namespace
