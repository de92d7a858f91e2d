/// Findings on what the files say, without looking at pixels.
#include <cstdint>
#include <string>

#include "lab/base/size_text.h"
#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

constexpr const char* kSetPattern =
    "set it with `dravix shot set --pattern` or `dravix convert --leds`";

/// Lit LEDs of `whole` when one of every `interval` is lit, the first at `start`.
std::int64_t LitLeds(std::int64_t whole, std::int64_t interval, std::int64_t start) {
  const std::int64_t rest = whole - start;
  return rest <= 0 ? 0 : (rest + interval - 1) / interval;
}

std::vector<double> Numbers(std::int64_t a, std::int64_t b) {
  return {static_cast<double>(a), static_cast<double>(b)};
}

void CheckPattern(const Shot& photo, Findings& findings) {
  if (!photo.pattern) {
    Add(findings, "pattern",
        std::string("there is no pattern that says how many LEDs are lit: ") + kSetPattern,
        {{"lit", "missing"}});
    return;
  }
  const Shot::Pattern& p = *photo.pattern;
  const cv::Size lit(p.lighted_led_w, p.lighted_led_h);
  if (p.lighted_led_w < 1 || p.lighted_led_h < 1) {
    Add(findings, "pattern",
        "the pattern says that " + SizeText(lit) + " LEDs are lit: " + kSetPattern,
        {{"lit", Pair(lit)}});
    return;
  }
  if (!photo.partition) return;
  const Shot::Partition& whole = *photo.partition;
  const bool placesFit = p.interval_x >= 1 && p.interval_y >= 1 && p.loc_x >= 0 && p.loc_y >= 0 &&
                         p.loc_x < p.interval_x && p.loc_y < p.interval_y;
  const std::string interval = std::to_string(p.interval_x) + " x " + std::to_string(p.interval_y);
  const std::string place = std::to_string(p.loc_x) + "," + std::to_string(p.loc_y);
  if (!placesFit) {
    Add(findings, "pattern",
        "the pattern's first lit LED, " + place + ", does not lie in its interval of " + interval +
            " LEDs: correct interval_x, interval_y, loc_x and loc_y",
        {{"interval", Numbers(p.interval_x, p.interval_y)}, {"place", Numbers(p.loc_x, p.loc_y)}});
    return;
  }
  const std::int64_t across = LitLeds(whole.w, p.interval_x, p.loc_x);
  const std::int64_t down = LitLeds(whole.h, p.interval_y, p.loc_y);
  if (across == p.lighted_led_w && down == p.lighted_led_h) return;
  Add(findings, "pattern",
      "the pattern says that " + SizeText(lit) + " LEDs are lit, but of the partition's " +
          std::to_string(whole.w) + " x " + std::to_string(whole.h) + " LEDs it lights " +
          std::to_string(across) + " x " + std::to_string(down) + ", one of every " + interval +
          " from " + place + " on: correct the pattern or the partition",
      {{"lit", Pair(lit)},
       {"expected", Numbers(across, down)},
       {"partition", Numbers(whole.w, whole.h)},
       {"interval", Numbers(p.interval_x, p.interval_y)},
       {"place", Numbers(p.loc_x, p.loc_y)}});
}

void CheckFrame(const Shot& photo, const CheckOptions& options, Findings& findings) {
  const cv::Size size = photo.image.size();
  const auto differs = [&](const std::string& what, cv::Size other, const std::string& advice) {
    if (other == size || Has(findings, "frame")) return;
    Add(findings, "frame",
        what + " " + SizeText(other) + " pixels, but the photograph has " + SizeText(size) + ": " +
            advice,
        {{"photo", Pair(size)}, {"other", Pair(other)}});
  };
  if (options.region != nullptr) {
    differs("the region refers to a frame of",
            {options.region->frameWidth, options.region->frameHeight},
            "find or set the region in this photograph");
  }
  if (options.checkerboard != nullptr) {
    differs("the checkerboard is a photograph of", options.checkerboard->image.size(),
            "take both with one camera from one place");
  }
}

}  // namespace

void CheckMetadata(const Subject& subject, Findings& findings) {
  CheckPattern(subject.photo, findings);
  CheckFrame(subject.photo, subject.options, findings);
}

}  // namespace dravix::lab
