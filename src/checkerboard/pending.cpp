// Until the detector lands: it finds nothing.
#include <dravix/algolog.h>
#include <dravix/dravix.h>

#include "checkerboard/checkerboard.h"

std::int32_t CheckerboardDetector::SetImage(const Shot* newCheckerboardShot, const Shot* newShot) {
  AlgoLogInfo("CheckerboardDetector::SetImage");
  if (newCheckerboardShot == nullptr || newShot == nullptr) {
    AlgoLogError("CheckerboardDetector::SetImage--Error :: input nullptr.");
    return DRAVIX_NULL_ARGUMENT;
  }
  checkerboardShot = newCheckerboardShot;
  shot = newShot;
  return DRAVIX_OK;
}

std::int32_t CheckerboardDetector::SetParam(cv::Size, cv::Size, const cv::Mat&) {
  return DRAVIX_OK;
}
std::int32_t CheckerboardDetector::checkborderPrision() { return DRAVIX_NO_LED_AREA; }
