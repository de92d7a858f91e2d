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

TEST(Guarded, TurnsWhatIsThrownIntoOneLineAndNine) {
  const test::LogCapture log;
  EXPECT_EQ(Guarded("A", []() -> int { throw std::bad_alloc(); }), 9);
  EXPECT_EQ(Guarded("B", []() -> int { CV_Error(cv::Error::StsBadArg, "refused"); }), 9);
  EXPECT_EQ(Guarded("C", []() -> int { throw 1; }), 9);
  EXPECT_EQ(log.Errors(), (Strings{"A: std::bad_alloc", "B: refused", "C: unknown error"}));
}

}  // namespace
}  // namespace dravix::api
