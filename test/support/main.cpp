#include <gmock/gmock.h>

#include <opencv2/core/utils/logger.hpp>

#if defined(__GNUC__)
// Some tests ask for more memory than there is and expect a refusal, where sanitizers would end the
// program. NOLINTBEGIN(bugprone-reserved-identifier): the names are theirs.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
const char* __asan_default_options() { return "allocator_may_return_null=1"; }
const char* __tsan_default_options() { return "allocator_may_return_null=1"; }
// NOLINTEND(bugprone-reserved-identifier)
#endif

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  // Many tests expect OpenCV to refuse something; what it prints about that is noise.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  return RUN_ALL_TESTS();
}
