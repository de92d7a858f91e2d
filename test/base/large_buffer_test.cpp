#include "base/large_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <vector>

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

TEST(LargeBuffer, IsZeroAtFirst) {
  for (int i = 0; i < 3; ++i) {  // also where memory comes back that was written to before
    constexpr std::size_t kBytes = std::size_t{1} << 20;
    base::LargeBuffer buffer(kBytes);
    EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + kBytes, 0), kBytes);
    std::fill_n(buffer.Data(), kBytes, std::uint8_t{7});
  }
}

TEST(LargeBuffer, KeepsWhatIsNotForgotten) {
  constexpr std::size_t kBytes = std::size_t{1} << 20;
  base::LargeBuffer buffer(kBytes);
  std::fill_n(buffer.Data(), kBytes, std::uint8_t{7});
  buffer.Forget(5000, 900001);
  buffer.Forget(10, 10);
  buffer.Forget(20, 30);
  EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + 20, 7), 20);
  EXPECT_EQ(std::count(buffer.Data() + 30, buffer.Data() + 5000, 7), 4970);
  EXPECT_EQ(std::count(buffer.Data() + 900001, buffer.Data() + kBytes, 7),
            static_cast<std::ptrdiff_t>(kBytes) - 900001);
}

TEST(ZeroAllocator, MakesVectorsOfZerosThatCopyAndCompare) {
  using Words = std::vector<std::uint64_t, base::ZeroAllocator<std::uint64_t>>;
  for (const std::size_t count : {std::size_t{0}, std::size_t{9}, std::size_t{1} << 19}) {
    Words words(count);
    EXPECT_EQ(std::count(words.begin(), words.end(), 0U), static_cast<std::ptrdiff_t>(count));
    std::fill(words.begin(), words.end(), 5U);
    const Words copy = words;
    EXPECT_TRUE(copy == words);
  }
}

TEST(LargeBuffer, MemoryThatDoesNotExistIsAnException) {
  EXPECT_THROW(base::LargeBuffer(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

TEST(LargeBuffer, NoBytesAreFine) { EXPECT_NE(base::LargeBuffer(0).Data(), nullptr); }

}  // namespace
}  // namespace dravix::test
