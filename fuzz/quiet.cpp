#include "fuzz/quiet.h"

#include <iostream>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

namespace dravix::fuzz {

void WorkQuietly() {
  std::cout.rdbuf(nullptr);
  std::cerr.rdbuf(nullptr);
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
  cv::setNumThreads(1);
}

}  // namespace dravix::fuzz
