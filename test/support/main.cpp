#include <gmock/gmock.h>

#include <opencv2/core/utils/logger.hpp>

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  // Refusals of the matrix library are expected in many tests; what it prints about them is noise.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  return RUN_ALL_TESTS();
}
