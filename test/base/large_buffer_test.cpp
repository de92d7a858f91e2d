#include "base/large_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>

namespace dravix::test {
namespace {

TEST(LargeBuffer, HoldsWhatIsWritten) {
  for (const std::size_t bytes : {std::size_t{1}, std::size_t{4097}, std::size_t{5} << 20}) {
    base::LargeBuffer buffer(bytes);
    std::fill_n(buffer.Data(), bytes, std::uint8_t{7});
    EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + bytes, 7),
              static_cast<std::ptrdiff_t>(bytes));
  }
}

TEST(LargeBuffer, GivingBackTakesNothingElse) {
  constexpr std::size_t kBytes = std::size_t{5} << 20;
  constexpr std::size_t kBegin = 4097;
  constexpr std::size_t kEnd = (std::size_t{3} << 20) + 5;
  base::LargeBuffer buffer(kBytes);
  std::fill_n(buffer.Data(), kBytes, std::uint8_t{7});
  buffer.GiveBack(kBegin, kEnd);
  buffer.GiveBack(kEnd, kEnd);
  EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + kBegin, 7),
            static_cast<std::ptrdiff_t>(kBegin));
  EXPECT_EQ(std::count(buffer.Data() + kEnd, buffer.Data() + kBytes, 7),
            static_cast<std::ptrdiff_t>(kBytes - kEnd));
  std::fill_n(buffer.Data(), kBytes, std::uint8_t{9});
  EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + kBytes, 9),
            static_cast<std::ptrdiff_t>(kBytes));
}

TEST(LargeBuffer, IsZeroAtFirst) {
  for (int i = 0; i < 3; ++i) {  // also where memory comes back that was written to before
    constexpr std::size_t kBytes = std::size_t{1} << 20;
    base::LargeBuffer buffer(kBytes);
    EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + kBytes, 0), kBytes);
    std::fill_n(buffer.Data(), kBytes, std::uint8_t{7});
  }
}

TEST(LargeBuffer, MemoryThatDoesNotExistIsAnException) {
  EXPECT_THROW(base::LargeBuffer(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

TEST(LargeBuffer, NoBytesAreFine) { EXPECT_NE(base::LargeBuffer(0).Data(), nullptr); }

}  // namespace
}  // namespace dravix::test
