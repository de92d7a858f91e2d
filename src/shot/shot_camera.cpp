#include <dravix/algolog.h>
#include <dravix/bimage.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <array>

#include "base/log_text.h"

namespace {

/// A camera whose type tells the size of its raw dumps, in samples.
struct Sensor {
  int camType, rows, cols;
};
constexpr std::array<Sensor, 2> kSensors{{{120016, 2838, 4250}, {320012, 4852, 6464}}};

/// Demosaics the image where there is a code, and keeps it as one plane where there is none.
std::int32_t SetMosaic(Shot& shot, const cv::Mat& image, int bayerCode, std::uint32_t type) {
  return bayerCode != 0 ? shot.SetImageColor(image, bayerCode, type)
                        : shot.SetImageSingle(image, type);
}

}  // namespace

std::int32_t Shot::CreateFromRaw(const std::string& fullname, std::uint32_t planeType, int width,
                                 int height, int bayer_code) {
  AlgoLogInfo("Shot::CreateFromRaw");
  const cv::Mat raw = BImage::ReadOrvelRaw(fullname, height, width);
  if (raw.empty()) {
    dravix::base::LogError("Shot::CreateFromRaw -- Error Read raw file = %s", fullname);
    return DRAVIX_CANNOT_READ;
  }
  return SetMosaic(*this, raw, bayer_code, planeType);
}

std::int32_t Shot::CreateFromRaw(const std::string& fullname, int cam_type,
                                 std::uint32_t planeType) {
  AlgoLogInfo("Shot::CreateFromRaw");
  const auto* const sensor = std::ranges::find(kSensors, cam_type, &Sensor::camType);
  if (sensor == kSensors.end()) {
    AlgoLogError("Shot::CreateFromRaw -- Error CameraType");
    return DRAVIX_UNKNOWN_CAMERA;
  }
  const cv::Mat raw = BImage::ReadOrvelRaw(fullname, sensor->rows, sensor->cols);
  if (raw.empty()) {
    dravix::base::LogError("Shot::CreateFromRaw -- Error Read raw file=%s", fullname);
    return DRAVIX_CANNOT_READ;
  }
  return SetImageSingle(raw, planeType);
}

std::int32_t Shot::ReadDng(const std::string& fullname, std::uint32_t planeType, int bayer_code) {
  AlgoLogInfo("Shot::ReadDng");
  const cv::Mat raw = BImage::ReadRggbDng(fullname);
  if (raw.empty()) {
    dravix::base::LogError("Shot::ReadDng--Error ::Error Read dng file = %s", fullname);
    return DRAVIX_CANNOT_READ;
  }
  return SetMosaic(*this, raw, bayer_code, planeType);
}

std::int32_t Shot::ReadDngToupTek(const std::string& fullname, std::uint32_t planeType) {
  AlgoLogInfo("Shot::ReadDngToupTek");
  const cv::Mat raw = BImage::ReadDngToup(fullname);
  if (raw.empty()) {
    dravix::base::LogError("Shot::ReadDng--Error ::Error Read dng file = %s", fullname);
    return DRAVIX_CANNOT_READ;
  }
  return SetImageSingle(raw, planeType);
}
