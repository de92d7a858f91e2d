#include <dravix/dravix.h>
#include <dravix/shot.h>

#include "base/log_text.h"
#include "shot/plane_types.h"

namespace {

std::int32_t Refused(std::int32_t code, dravix::base::LogText message) {
  dravix::base::LogError(message);
  return code;
}

}  // namespace

std::int32_t Shot::Check(std::uint32_t flags, const Shot* shot) {
  // Every flag asks for something of a shot, so that none can be met without one.
  if (shot == nullptr) {
    if (flags == 0) return DRAVIX_OK;
    return Refused(DRAVIX_NULL_ARGUMENT, "Shot::Check--Error in Shot input is nullptr");
  }
  const auto asked = [flags](ShotCheck check) { return (flags & check) != 0; };
  if (asked(CHECK_IMAGE) && shot->image.empty()) {
    return Refused(DRAVIX_NULL_ARGUMENT, "Shot::Check--Error shot.image is empty");
  }
  if (asked(CHECK_SINGLE) && !dravix::shot::IsSinglePlane(shot->type)) {
    return Refused(DRAVIX_BAD_TYPE, "Shot::Check--Error ::  only support single channel");
  }
  if (asked(CHECK_COLOR) && !shot->color) {
    return Refused(DRAVIX_NO_COLOR, "Shot::Check--Error :: meta::color info incompleted.");
  }
  if (asked(CHECK_DEVICE) && !shot->device) {
    return Refused(DRAVIX_NO_DEVICE, "Shot::Check--Error :: meta::device info incompleted.");
  }
  if (asked(CHECK_PATTERN) && !shot->pattern) {
    return Refused(DRAVIX_BAD_PATTERN, "Shot::Check--Error ::  pattern meta info incompleted.");
  }
  if (asked(CHECK_PANEL) && !shot->panel) {
    return Refused(DRAVIX_BAD_PANEL, "Shot::Check--Error ::  panel meta info incompleted.");
  }
  return DRAVIX_OK;
}

std::int32_t Shot::Check(std::uint32_t flags, const Shot* a, const Shot* b) {
  for (const Shot* shot : {b, a}) {
    if (const std::int32_t code = Check(flags, shot); code != DRAVIX_OK) return code;
  }
  if ((flags & CHECK_SAME_TYPE) != 0 && a->type != b->type) {
    return Refused(DRAVIX_SHOT_MISMATCH, "Shot::Check--Error :: meta::type mismatch.");
  }
  if ((flags & CHECK_SAME_SIZE) != 0 &&
      (a->image.cols != b->image.cols || a->image.rows != b->image.rows)) {
    return Refused(DRAVIX_SHOT_MISMATCH, "Shot::Check--Error :: image size mismatch.");
  }
  return DRAVIX_OK;
}
