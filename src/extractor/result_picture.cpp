#include <dravix/algolog.h>

#include <opencv2/core.hpp>

#include "extractor/extractor.h"
#include "image/picture.h"
#include "image/picture_file.h"

namespace {

/// The luminances in 8 bits, the largest absolute one at 255.
cv::Mat Normalized(const cv::Mat& lum) { return dravix::image::ToImage(lum, -1, 1); }

/// The picture of a result. Only a colored one looks at the shot: it belongs to the host, which may
/// have let go of it.
cv::Mat ResultPicture(const cv::Mat& lum, bool colored, const Shot* shot) {
  if (!colored) return Normalized(lum);
  const std::int32_t color = shot != nullptr ? shot->color.value_or(0) : 0;
  if (color != 0) return dravix::image::InChannels(Normalized(lum), color);
  return dravix::image::ToImage(lum, -1, 3);
}

}  // namespace

std::int32_t Dravix::ExportImage(const std::string& fullname, bool colored) const {
  AlgoLogInfo("Dravix::ExportImage");
  if (Empty()) {
    AlgoLogError("Error in Semtor::ExportImage input lum empty!");
    return DRAVIX_NO_RESULT;
  }
  const cv::Mat picture = ResultPicture(lum, colored, shot);
  return dravix::image::WritePicture(fullname, picture) ? DRAVIX_OK : DRAVIX_CANNOT_WRITE;
}
