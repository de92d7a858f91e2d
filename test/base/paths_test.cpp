#include "base/paths.h"

#include <gtest/gtest.h>

namespace {

using dravix::base::NameOf;
using dravix::base::PathOf;
using dravix::base::WithExtension;

const std::string kForeign = "gr\xc3\xbc\xc3\x9f/\xe5\xb1\x8f.shot";

TEST(PathOf, GivesThePathOfANameBeyondAscii) {
  const std::optional<std::filesystem::path> path = PathOf(kForeign);
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(path->filename(), std::filesystem::path(u8"\u5c4f.shot"));
}

TEST(PathOf, ANameWithAZeroByteStandsForNoPath) {
  EXPECT_EQ(PathOf(std::string("a\0.shot", 7)), std::nullopt);
}

TEST(NameOf, GivesBackTheName) { EXPECT_EQ(NameOf(*PathOf(kForeign)), kForeign); }

TEST(WithExtension, ReplacesTheLastExtension) {
  EXPECT_EQ(WithExtension("a.tar.gz", ".npy"), "a.tar.npy");
  EXPECT_EQ(WithExtension(kForeign, ".lum"), "gr\xc3\xbc\xc3\x9f/\xe5\xb1\x8f.lum");
}

TEST(WithExtension, AppendsWhereThereIsNone) {
  EXPECT_EQ(WithExtension("folder.d/name", ".npy"), "folder.d/name.npy");
  EXPECT_EQ(WithExtension(".hidden", ".npy"), ".hidden.npy");
  EXPECT_EQ(WithExtension(std::string("a\0", 2), ".npy"), std::string("a\0.npy", 6));
}

TEST(WithExtension, RemovesItForAnEmptyOne) { EXPECT_EQ(WithExtension("a.npy", ""), "a"); }

}  // namespace
