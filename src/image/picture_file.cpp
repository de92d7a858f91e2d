#include "image/picture_file.h"

#include <opencv2/imgcodecs.hpp>
#include <span>
#include <vector>

#include "base/files.h"

namespace dravix::image {

bool WritePicture(const std::string& fullname, const cv::Mat& picture) {
  // Encoders take the sides of other matrices for sizes; that of JPEG then divides by zero.
  if (picture.empty() || picture.dims > 2) return false;
  // As cv::imwrite takes it: from the last point of the whole name, folders included.
  const std::size_t point = fullname.rfind('.');
  if (point == std::string::npos) return false;
  const std::string extension = fullname.substr(point);
  std::vector<uchar> encoded;
  try {
    if (!cv::haveImageWriter(extension)) return false;
    if (!cv::imencode(extension, picture, encoded)) return false;
  } catch (const cv::Exception&) {
    return false;
  }
  const base::ByteView bytes = std::as_bytes(std::span<const uchar>(encoded));
  return base::WriteFile(fullname, {bytes}).result == base::WriteResult::kWritten;
}

bool WritePicture(const std::string& fullname, const std::function<cv::Mat()>& make) {
  cv::Mat picture;
  try {
    picture = make();
  } catch (const cv::Exception&) {
    return false;
  }
  return WritePicture(fullname, picture);
}

}  // namespace dravix::image
