/// What the exception barrier of the exports logs where there is no memory for it.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "api/guarded.h"
#include "support/log_capture.h"
#include "support/watched_memory.h"

namespace dravix::test {
namespace {

TEST(Refusal, IsOneLineAlsoWithoutMemoryForACopyOfItsText) {
  const std::string text = "too much\n[error] forged" + std::string(100000, '!');
  const LogCapture log;
  std::int32_t code = 0;
  {
    const std::runtime_error error(text);
    const LargestBlock limit(50000);
    code = api::Guarded("Export", [&]() -> std::int32_t { throw error; });
  }
  EXPECT_EQ(code, DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(), std::vector<std::string>{"Export: too much"});
}

}  // namespace
}  // namespace dravix::test
