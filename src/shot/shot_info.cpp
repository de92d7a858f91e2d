#include <dravix/algolog.h>
#include <dravix/shot.h>

#include <algorithm>
#include <string>

#include "base/one_line.h"

namespace {

/// The text up to its zero, all of the field when that is missing, as one line.
template <std::size_t Size>
std::string Text(const char (&field)[Size]) {
  const auto* const end = std::find(std::begin(field), std::end(field), '\0');
  return dravix::base::Visible({std::begin(field), static_cast<std::size_t>(end - field)});
}

void Describe(const Shot::Partition& part) {
  AlgoLogDebug("    part.xywh              = [%d %d %d %d]", part.x, part.y, part.w, part.h);
  AlgoLogDebug("    part.screen_wh         = [%d %d]", part.screen_w, part.screen_h);
}

void Describe(const Shot::LedPanel& panel) {
  AlgoLogDebug("    panel.wh               = [%d %d]", panel.w, panel.h);
  AlgoLogDebug("    panel.type             = %d", panel.type);
  AlgoLogDebug("    panel.layout           = %d", panel.layout);
  AlgoLogDebug("    panel.subpixel_type    = %d", panel.subpixel_type);
  AlgoLogDebug("    panel.pixel_pitch      = %f", static_cast<double>(panel.pixel_pitch));
}

void Describe(const Shot::Layer& layer) {
  AlgoLogDebug("    layer.index            = %d", layer.index);
  AlgoLogDebug("    layer.value            = %d", layer.value);
  AlgoLogDebug("    layer.linear_norms     = %f", static_cast<double>(layer.linear_norms));
}

void Describe(const Shot::Pattern& pattern) {
  AlgoLogDebug("    pattern.type           = %d", pattern.type);
  AlgoLogDebug("    pattern.interval       = [%d %d]", pattern.interval_x, pattern.interval_y);
  AlgoLogDebug("    pattern.loc            = [%d %d]", pattern.loc_x, pattern.loc_y);
  AlgoLogDebug("    pattern.lighted_led_wh = [%d %d]", pattern.lighted_led_w,
               pattern.lighted_led_h);
}

void Describe(const Shot::Device& device) {
  AlgoLogDebug("    device.id              = %s", Text(device.id).c_str());
  AlgoLogDebug("    device.cam_type        = %d", device.cam_type);
  AlgoLogDebug("    device.lens_id         = %s", Text(device.lens_id).c_str());
  AlgoLogDebug("    device.lens_type       = %d", device.lens_type);
}

void Describe(const Shot::Capture& capture) {
  AlgoLogDebug("    capture.exposure       = %d", capture.exposure);
  AlgoLogDebug("    capture.gain           = %d", capture.gain);
  AlgoLogDebug("    capture.aperture       = %d", capture.aperture);
  AlgoLogDebug("    capture.microfocus     = %d", capture.microfocus);
  AlgoLogDebug("    capture.filter         = %d", capture.filter);
}

}  // namespace

void Shot::Info() const {
  AlgoLogInfo("Shot::Info");
  if (partition) Describe(*partition);
  if (panel) Describe(*panel);
  if (layer) Describe(*layer);
  if (pattern) Describe(*pattern);
  if (color) AlgoLogDebug("    color                  = %d", *color);
  if (device) Describe(*device);
  if (capture) Describe(*capture);
  AlgoLogDebug("    type                   = 0x%x", type);
  AlgoLogDebug("    image.type(cv)         = %d", image.type());
  AlgoLogDebug("    image.depth(cv)        = %d", image.depth());
  AlgoLogDebug("    image.channels(cv)     = %d", image.channels());
  AlgoLogDebug("    image.wh(cv)           = [%d %d]", image.cols, image.rows);
}
