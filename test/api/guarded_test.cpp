#include "api/guarded.h"

#include <gtest/gtest.h>

#include <new>

#include "support/log_capture.h"

namespace dravix::api {
namespace {

using Strings = std::vector<std::string>;

TEST(Guarded, PassesTheBodysCodeOn) {
  EXPECT_EQ(Guarded("Export", [] { return 42; }), 42);
}

TEST(Guarded, TurnsAnyExceptionIntoOneLineAndACode) {
  const test::LogCapture log;
  EXPECT_EQ(Guarded("A", []() -> int { throw std::bad_alloc(); }), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(Guarded("B", []() -> int { CV_Error(cv::Error::StsBadArg, "refused"); }),
            DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(Guarded("C", []() -> int { throw 1; }), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(), (Strings{"A: std::bad_alloc", "B: refused", "C: unknown error"}));
}

TEST(Guarded, JoinsTheLinesOfWhatTheMatrixLibrarySays) {
  const test::LogCapture log;
  const int channels = 2;
  EXPECT_EQ(Guarded("A",
                    [&]() -> int {
                      CV_CheckGE(channels, 3, "too few");
                      return 0;
                    }),
            DRAVIX_BAD_ARGUMENT);
  ASSERT_EQ(log.Errors().size(), 1U);
  EXPECT_EQ(log.Errors().front().find_first_of("\r\n"), std::string::npos) << log.Errors().front();
}

}  // namespace
}  // namespace dravix::api
