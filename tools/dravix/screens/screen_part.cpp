#include "screens/screen_part.h"

#include <dravix/shot.h>

#include <cmath>

#include "files/files.h"
#include "matrices/matrix_files.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

std::string PairText(int x, int y) { return std::to_string(x) + "," + std::to_string(y); }

/// Whether the scene says anything about a part.
bool NamesPart(const sim::WholeScreen& w) {
  return w.ledWidth != 0 || w.ledHeight != 0 || w.partX != 0 || w.partY != 0 || w.partWidth != 0 ||
         w.partHeight != 0 || w.intervalX != 1 || w.intervalY != 1 || w.phaseX != 0 ||
         w.phaseY != 0;
}

void RequirePartOnScreen(const std::string& where, const sim::Scene& scene) {
  const cv::Rect part = sim::PartOf(scene);
  const cv::Rect screen({0, 0}, sim::ScreenSizeOf(scene));
  if (part.width >= 1 && part.height >= 1 && (part & screen) == part) return;
  throw UsageFailure(where + ": found a part of " + SizeText(part.size()) + " LEDs from " +
                     PairText(part.x, part.y) + " on, expected one that lies on the screen of " +
                     SizeText(screen.size()) + " LEDs");
}

void RequireLitLeds(const std::string& where, const sim::Scene& scene) {
  const sim::WholeScreen& w = scene.whole;
  if (w.phaseX >= w.intervalX || w.phaseY >= w.intervalY) {
    throw UsageFailure(where + ": found the phase " + PairText(w.phaseX, w.phaseY) +
                       ", expected one below the interval " + PairText(w.intervalX, w.intervalY));
  }
  const cv::Size part = sim::PartOf(scene).size();
  if (w.phaseX < part.width && w.phaseY < part.height) return;
  throw UsageFailure(where + ": the phase " + PairText(w.phaseX, w.phaseY) +
                     " lights none of the part's " + SizeText(part) + " LEDs");
}

/// Each plane is one primary of the screen.
void RequireOnePlane(const std::string& where, const sim::Scene& scene) {
  const std::uint32_t type = scene.metadata.type;
  if (type == CIE_XYZ || type == CAM_RGB) {
    throw UsageFailure(where + ": found the plane " + TypeName(type) +
                       ", expected a single one for a part of a screen, such as CIE_Y");
  }
  if (scene.sensor.mosaic != sim::Mosaic::kNone) {
    throw UsageFailure(where +
                       ": a part of a screen is photographed as one plane: leave the mosaic out");
  }
}

void RequireGain(const std::string& name, const cv::Mat& gains, int x, int y) {
  const float gain = gains.at<float>(y, x);
  if (std::isfinite(gain) && gain >= 0) return;
  throw InputFailure(name, "found the gain " + NumberText(static_cast<double>(gain)) + " at LED " +
                               PairText(x, y) + ", expected a number from 0 on");
}

}  // namespace

cv::Rect ParsePart(const std::string& option, const std::string& text) {
  const auto afterX = text.find(',');
  const auto afterY = afterX == std::string::npos ? afterX : text.find(',', afterX + 1);
  try {
    if (afterY != std::string::npos) {
      const cv::Point first = ParsePosition(option, text.substr(0, afterY));
      const cv::Point size = ParsePosition(option, text.substr(afterY + 1));
      if (size.x >= 1 && size.y >= 1) return {first.x, first.y, size.x, size.y};
    }
  } catch (const Failure&) {
    // Said below, about the whole text.
  }
  throw Unexpected(option, InQuotes(text), "a rectangle of LEDs X,Y,W,H such as 960,0,480,540");
}

void RequirePart(const std::string& where, const sim::Scene& scene) {
  if (!NamesPart(scene.whole)) return;
  if (!sim::IsPart(scene)) {
    throw UsageFailure(where +
                       ": names a part of a screen, expected the screen's size with it: give "
                       "--screen, or whole_screen.led_width and led_height");
  }
  RequirePartOnScreen(where, scene);
  RequireLitLeds(where, scene);
  RequireOnePlane(where, scene);
}

cv::Mat LoadGains(const std::string& name, const sim::Scene& scene) {
  const cv::Mat gains = DecodeNpy(name, ReadFile(name, kMostOfNpy));
  const cv::Size expected = sim::ScreenSizeOf(scene);
  if (gains.size() != expected) {
    throw InputFailure(name, "found gains for " + SizeText(gains.size()) + " LEDs, expected " +
                                 SizeText(expected) + ", all LEDs of the screen");
  }
  for (int y = 0; y < gains.rows; ++y) {
    for (int x = 0; x < gains.cols; ++x) RequireGain(name, gains, x, y);
  }
  return gains;
}

Json PartJson(const sim::Scene& scene) {
  Json json;
  const sim::WholeScreen& whole = scene.whole;
  const cv::Rect part = sim::PartOf(scene);
  json["screen"] = {whole.ledWidth, whole.ledHeight};
  json["part"] = {part.x, part.y, part.width, part.height};
  json["interval"] = {whole.intervalX, whole.intervalY};
  json["phase"] = {whole.phaseX, whole.phaseY};
  json["plane"] = TypeName(scene.metadata.type);
  return json;
}

std::string PartText(const sim::Scene& scene) {
  const sim::WholeScreen& whole = scene.whole;
  const cv::Rect part = sim::PartOf(scene);
  return SizeText(part.size()) + " of " + SizeText(sim::ScreenSizeOf(scene)) + " LEDs from " +
         PairText(part.x, part.y) + " on, one of " + SizeText({whole.intervalX, whole.intervalY}) +
         " lit from " + PairText(whole.phaseX, whole.phaseY) + " on, " +
         TypeName(scene.metadata.type);
}

}  // namespace dravix::tool
