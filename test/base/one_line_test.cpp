#include "base/one_line.h"

#include <gtest/gtest.h>

namespace dravix::base {
namespace {

TEST(OneLine, LeavesALineAsItIs) {
  EXPECT_EQ(OneLine(""), "");
  EXPECT_EQ(OneLine("a  b"), "a  b");
}

TEST(OneLine, JoinsLinesByOneBlank) {
  EXPECT_EQ(OneLine("refused:\n    'n' is 0\r\nwhere 'n' > 0"), "refused: 'n' is 0 where 'n' > 0");
  EXPECT_EQ(OneLine("\n\n a \t\n\n b\n"), "a b");
  EXPECT_EQ(OneLine("\n"), "");
}

TEST(OneLine, DropsTheMarksOfOpenCvsLines) {
  EXPECT_EQ(OneLine("> refused:\n>     'n' is 0\n> where n > 0"), "refused: 'n' is 0 where n > 0");
  EXPECT_EQ(OneLine("> 0 is needed"), "> 0 is needed");
}

TEST(OneLine, WritesOutOtherControlCharacters) {
  EXPECT_EQ(OneLine("a\x1b[2Jb"), "a\\x1b[2Jb");
  EXPECT_EQ(OneLine("a\tb"), "a\\tb");
}

TEST(Visible, LeavesTextWithoutControlCharactersAsItIs) {
  EXPECT_EQ(Visible(""), "");
  EXPECT_EQ(Visible("  C:\\new folder\\photo.shot "), "  C:\\new folder\\photo.shot ");
  EXPECT_EQ(Visible("gr\xC3\xBC\xC3\x9F.shot"), "gr\xC3\xBC\xC3\x9F.shot");
}

TEST(Visible, WritesOutEveryByteBelowABlankAndDelete) {
  EXPECT_EQ(Visible("a\nb\rc\td"), "a\\nb\\rc\\td");
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    const bool control = byte < ' ' || byte == 0x7F;
    EXPECT_EQ(Visible(text) != text, control) << byte;
  }
  EXPECT_EQ(Visible(std::string("\0\x1b\x7f", 3)), "\\x00\\x1b\\x7f");
}

TEST(Visible, WritesOutTheControlsThatUtf8Encodes) {
  // U+0085 ends a line, U+009B begins the commands of a terminal, U+2028 and U+2029 end lines.
  EXPECT_EQ(Visible("\xC2\x85|\xC2\x9B|\xE2\x80\xA8|\xE2\x80\xA9"),
            "\\xc2\\x85|\\xc2\\x9b|\\xe2\\x80\\xa8|\\xe2\\x80\\xa9");
  // Their neighbors are no controls: U+00A0 and U+2027, and the first bytes alone.
  for (const std::string text : {"\xC2\xA0", "\xE2\x80\xA7", "\xC2", "\xE2\x80", "\xE2\x81\xA8"}) {
    EXPECT_EQ(Visible(text), text);
  }
}

}  // namespace
}  // namespace dravix::base
