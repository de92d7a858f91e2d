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

}  // namespace
}  // namespace dravix::base
