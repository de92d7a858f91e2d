#include "base/stream_source.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

#include "base/file_texts.h"

namespace {

using dravix::base::ByteReader;
using dravix::base::Bytes;
using dravix::base::StreamSource;
using dravix::test::LongText;
using dravix::test::TextOf;

/// The next `count` bytes, or as many as there are.
std::string Next(StreamSource& source, std::size_t count) {
  Bytes bytes(count);
  bytes.resize(source.Fetch(bytes));
  return TextOf(bytes);
}

TEST(StreamSource, TakesNothingThatIsNotAskedFor) {
  std::istringstream in("abcdef");
  StreamSource source(in);
  EXPECT_TRUE(source.Has(2));
  EXPECT_EQ(in.peek(), 'c');
  EXPECT_EQ(Next(source, 3), "abc");
  EXPECT_EQ(in.peek(), 'd');
  source.Skip(1);
  EXPECT_EQ(source.FetchSome().size(), 1U);
  EXPECT_EQ(in.get(), 'f');
  EXPECT_TRUE(in.good());
}

TEST(StreamSource, GivesWhatItHasLookedAtBefore) {
  const std::string text = LongText();
  std::istringstream in(text);
  StreamSource source(in);
  EXPECT_TRUE(source.Has(2'500'000));
  EXPECT_EQ(Next(source, 100), text.substr(0, 100));
  source.Skip(1'499'900);
  EXPECT_TRUE(source.Has(1'000'000));
  EXPECT_EQ(Next(source, 2'000'000), text.substr(1'500'000));
  EXPECT_FALSE(source.Has(1));
}

TEST(StreamSource, EndsWhereTheStreamEnds) {
  std::istringstream in("abc");
  StreamSource source(in);
  EXPECT_TRUE(source.Has(3));
  EXPECT_FALSE(source.Has(std::numeric_limits<std::uint64_t>::max()));
  source.Skip(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Next(source, 1), "");
  EXPECT_TRUE(source.FetchSome().empty());
}

TEST(StreamSource, WhatIsAtHandStaysWhileMoreIsLookedFor) {
  const std::string text = LongText();
  std::istringstream in(text);
  StreamSource source(in);
  EXPECT_TRUE(source.Has(10));
  ByteReader reader(source);
  EXPECT_EQ(reader.Read<char>(), text[0]);
  EXPECT_TRUE(reader.Has(text.size() - 1));
  Bytes rest(text.size() - 1);
  EXPECT_EQ(reader.ReadUpTo(rest), rest.size());
  EXPECT_EQ(TextOf(rest), text.substr(1));
}

TEST(StreamSource, EndedIsAtItsEndAndSoIsItsStream) {
  std::istringstream in("abc");
  StreamSource source(in);
  EXPECT_TRUE(source.Has(2));
  source.End();
  EXPECT_FALSE(source.Has(1));
  EXPECT_EQ(in.peek(), std::char_traits<char>::eof());
}

TEST(StreamSource, ThatKeepsWhatWasConsumedGoesBackToIt) {
  const std::string text = LongText();
  std::istringstream in(text);
  StreamSource source(in, StreamSource::Consumed::kKept);
  for (const std::size_t at : {2'000'000U, 0U, 1'048'575U, 2'999'999U}) {
    source.SeekTo(at);
    EXPECT_EQ(Next(source, 2), text.substr(at, 2));
  }
  source.SeekTo(std::uint64_t{1} << 60);
  EXPECT_FALSE(source.Has(1));
  source.SeekTo(7);
  EXPECT_EQ(Next(source, 1), text.substr(7, 1));
}

}  // namespace
