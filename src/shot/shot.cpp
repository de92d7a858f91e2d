#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <array>
#include <opencv2/imgproc.hpp>
#include <string_view>
#include <utility>

#include "shot/groups.h"
#include "shot/plane_types.h"

namespace {

using dravix::shot::Groups;
using dravix::shot::GroupsOf;

/// True when `count` LEDs from `start` on lie within `whole`.
bool LiesWithin(std::int64_t start, std::int64_t count, std::int64_t whole) {
  return whole > 0 && count > 0 && start >= 0 && start < whole && start + count - 1 < whole;
}

/// How many LEDs are lit along one axis of a partition of `length` LEDs.
std::int32_t LitLeds(std::int32_t length, std::int32_t interval, std::int32_t loc) {
  return length / interval + (loc < length % interval ? 1 : 0);
}

template <std::size_t Size>
void SetText(char (&field)[Size], std::string_view text) {
  std::fill(std::begin(field), std::end(field), '\0');
  std::copy_n(text.begin(), std::min(text.size(), Size - 1), std::begin(field));
}

/// All planes that OpenCV makes of a mosaic; empty when it refuses the code.
cv::Mat Demosaiced(const cv::Mat& raw, int bayerCode) {
  cv::Mat planes;
  try {
    cv::demosaicing(raw, planes, bayerCode);
  } catch (const cv::Exception& refusal) {
    if (refusal.code == cv::Error::StsNoMem) throw;
    return {};
  }
  return planes;
}

/// The plane or planes of a camera type; empty when they are not there. Some codes give a single
/// plane, others an opaque fourth one behind the colors.
cv::Mat PlanesOf(std::uint32_t type, const cv::Mat& planes) {
  constexpr int kColors = 3;
  if (planes.empty()) return {};
  if (type == CAM_RGB) {
    if (planes.channels() <= kColors) return planes.channels() == kColors ? planes : cv::Mat();
    cv::Mat colors(planes.size(), CV_MAKETYPE(planes.depth(), kColors));
    cv::mixChannels(planes, colors, {0, 0, 1, 1, 2, 2});
    return colors;
  }
  const int index = dravix::shot::CameraPlane(type);
  if (index >= planes.channels()) return {};
  cv::Mat plane;
  cv::extractChannel(planes, plane, index);
  return plane;
}

}  // namespace

Shot::Shot(const Shot& other) : type(other.type), image(other.image.clone()) {
  GroupsOf(*this) = GroupsOf(other);
}

Shot& Shot::operator=(const Shot& other) {
  if (this != &other) *this = Shot(other);
  return *this;
}

Shot::Shot(Shot&& other) noexcept { *this = std::move(other); }

Shot& Shot::operator=(Shot&& other) noexcept {
  if (this == &other) return *this;
  GroupsOf(*this) = GroupsOf(std::as_const(other));
  GroupsOf(other) = Groups{};
  type = std::exchange(other.type, 0);
  image = std::move(other.image);
  return *this;
}

std::int32_t Shot::SetPartition(const Partition& value) {
  AlgoLogInfo("Shot::SetPartition");
  if (!LiesWithin(value.x, value.w, value.screen_w) ||
      !LiesWithin(value.y, value.h, value.screen_h)) {
    AlgoLogError("Shot::SetPartition--Error :: invalid screen wh or partition xywh");
    return DRAVIX_BAD_PARTITION;
  }
  partition = value;
  return DRAVIX_OK;
}

std::int32_t Shot::SetLedPanel(const LedPanel& value) {
  AlgoLogInfo("Shot::SetLedPanel");
  if (value.w < 1 || value.h < 1) {
    AlgoLogError("Shot::SetLedPanel--Error :: invalid panel_wh");
    return DRAVIX_BAD_PANEL;
  }
  panel = value;
  return DRAVIX_OK;
}

std::int32_t Shot::SetLayer(const Layer& value) {
  AlgoLogInfo("Shot::SetLayer");
  layer = value;
  return DRAVIX_OK;
}

std::int32_t Shot::SetPattern(const Pattern& value) {
  AlgoLogInfo("Shot::SetPattern");
  const bool locInside = value.loc_x >= 0 && value.loc_x < value.interval_x && value.loc_y >= 0 &&
                         value.loc_y < value.interval_y;
  if (value.interval_x < 1 || value.interval_y < 1 || !locInside) {
    AlgoLogError("Shot::SetPattern--Error :: invalid pattern_type pattern_loc_xy");
    return DRAVIX_BAD_PATTERN;
  }
  pattern = value;  // the value may be the stored pattern itself
  Pattern& stored = *pattern;
  if (!partition) return DRAVIX_OK;
  const std::int32_t across = LitLeds(partition->w, stored.interval_x, stored.loc_x);
  const std::int32_t down = LitLeds(partition->h, stored.interval_y, stored.loc_y);
  if (stored.lighted_led_w < 1 || stored.lighted_led_h < 1) {
    stored.lighted_led_w = across;
    stored.lighted_led_h = down;
  } else if (stored.lighted_led_w != across || stored.lighted_led_h != down) {
    AlgoLogError("Shot::SetPattern or SetPartition --Error :: mismatch pattern and partition info");
    return DRAVIX_PATTERN_MISMATCH;
  }
  return DRAVIX_OK;
}

std::int32_t Shot::SetDevice(const Device& value) {
  AlgoLogInfo("Shot::SetDevice");
  device = value;
  return DRAVIX_OK;
}

std::int32_t Shot::SetCapture(const Capture& value) {
  AlgoLogInfo("Shot::SetCapture");
  capture = value;
  return DRAVIX_OK;
}

std::int32_t Shot::SetColor(std::int32_t value) {
  AlgoLogInfo("Shot::SetColor");
  color = value;
  return DRAVIX_OK;
}

std::int32_t Shot::SetImageSingle(const cv::Mat& pixels, std::uint32_t planeType) {
  AlgoLogInfo("Shot::SetImageSingle");
  if (!dravix::shot::IsSinglePlane(planeType)) {
    AlgoLogError(
        "Shot::SetImageSingle--Error :: in_cie_type!= CIE_Y && in_cie_type != CIE_X && "
        "in_cie_type != CIE_Z&&in_cie_type != CAM_R && in_cie_type != CAM_G && in_cie_type != "
        "CAM_B");
    return DRAVIX_BAD_TYPE;
  }
  if (pixels.type() != CV_16UC1) {
    AlgoLogError("Shot::SetImageSingle--Error :: data and type mismatch");
    return DRAVIX_BAD_IMAGE;
  }
  image = pixels.clone();
  type = planeType;
  return DRAVIX_OK;
}

std::int32_t Shot::SetImageColor(const cv::Mat& raw, int bayer_code, std::uint32_t planeType) {
  AlgoLogInfo("Shot::SetImageColor");
  if (!dravix::shot::IsCameraType(planeType)) {
    AlgoLogError(
        "Shot::SetImage--Error :: in_cie_type != CAM_R && in_cie_type != CAM_G && in_cie_type != "
        "CAM_B && in_cie_type != CAM_RGB");
    return DRAVIX_BAD_TYPE;
  }
  // The code is asked for before the pixels: an empty matrix without a code lacks the code.
  if (raw.type() != CV_16UC1 || (raw.empty() && bayer_code != 0)) {
    AlgoLogError("Shot::SetImageColor--Error :: data and type mismatch");
    return DRAVIX_BAD_IMAGE;
  }
  cv::Mat planes;
  if (bayer_code != 0) planes = PlanesOf(planeType, Demosaiced(raw, bayer_code));
  if (planes.empty()) {
    AlgoLogError("Shot::SetImageColor--Error :: in_bayer_type");
    return DRAVIX_NO_MOSAIC_CODE;
  }
  image = std::move(planes);
  type = planeType;
  return DRAVIX_OK;
}

std::int32_t Shot::SetPointLocatorMeta(int cam_type, const int screen_wh[2], const int interval[2],
                                       int index, int lens_type) {
  if (screen_wh == nullptr || interval == nullptr) return DRAVIX_NULL_ARGUMENT;
  constexpr std::string_view kName = "custom :: ForPointLocator";
  Device camera;
  SetText(camera.id, kName);
  SetText(camera.lens_id, kName);
  camera.cam_type = cam_type;
  camera.lens_type = lens_type;
  SetDevice(camera);
  if (screen_wh[0] > 0 && screen_wh[1] > 0) {
    SetPartition({0, 0, screen_wh[0], screen_wh[1], screen_wh[0], screen_wh[1]});
    // An interval below 1 has no positions to count; SetPattern refuses it.
    const int across = std::max(interval[0], 1);
    SetPattern({1, interval[0], interval[1], index % across, index / across, -1, -1});
  }
  SetLedPanel({1, 4, 0, 1, 1, -1.0F});
  return SetColor(2);
}
