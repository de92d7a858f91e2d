#include "metadata/turned_metadata.h"

#include <cstdint>
#include <utility>

#include "terminal/failure.h"
#include "terminal/library_result.h"

namespace dravix::tool {
namespace {

constexpr const char* kAdvice =
    "; correct it with `dravix shot set`, or turn the picture alone with --image-only";

/// Where the lit LED of an interval lies when `leds` LEDs are counted from their other end.
std::int32_t FromTheOtherEnd(std::int32_t loc, std::int32_t interval, std::int32_t leds) {
  const std::int32_t turned = (leds - 1 - loc) % interval;
  return turned < 0 ? turned + interval : turned;
}

void QuarterTurn(Shot& shot) {
  if (shot.pattern) {
    Shot::Pattern& p = *shot.pattern;
    // Without a partition every LED is lit, as was checked before, and the offset is 0.
    const std::int32_t loc =
        shot.partition ? FromTheOtherEnd(p.loc_x, p.interval_x, shot.partition->w) : 0;
    p.loc_x = std::exchange(p.loc_y, loc);
    std::swap(p.interval_x, p.interval_y);
    std::swap(p.lighted_led_w, p.lighted_led_h);
  }
  if (shot.partition) {
    Shot::Partition& p = *shot.partition;
    const std::int32_t fromTheRight = p.screen_w - p.w - p.x;
    p.x = std::exchange(p.y, fromTheRight);
    std::swap(p.w, p.h);
    std::swap(p.screen_w, p.screen_h);
  }
  if (shot.panel) std::swap(shot.panel->w, shot.panel->h);
}

/// The setters' own checks: what passes them can be turned without a number leaving its range.
void RequireConsistent(const std::string& name, Shot& shot) {
  if (shot.partition) {
    const std::int32_t code = shot.SetPartition(*shot.partition);
    if (code != 0) throw InputFailure(name, Explained(code) + kAdvice);
  }
  if (!shot.pattern) return;
  const std::int32_t code = shot.SetPattern(*shot.pattern);
  if (code != 0) throw InputFailure(name, Explained(code) + kAdvice);
  const Shot::Pattern& pattern = *shot.pattern;
  if (!shot.partition && (pattern.interval_x > 1 || pattern.interval_y > 1)) {
    throw InputFailure(name, "lights one LED of every " + std::to_string(pattern.interval_x) +
                                 " x " + std::to_string(pattern.interval_y) +
                                 " but has no partition, without which the place of the lit LEDs "
                                 "cannot be turned; add one with `dravix shot set --partition`, or "
                                 "turn the picture alone with --image-only");
  }
}

}  // namespace

void TurnMetadata(const std::string& name, int angle, Shot& shot) {
  const int turns = angle / 90;
  if (turns == 0) return;
  RequireConsistent(name, shot);
  for (int i = 0; i < turns; ++i) QuarterTurn(shot);
}

}  // namespace dravix::tool
