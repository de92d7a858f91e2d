/// The order of the checks: first what the files say, then where the lit area is, then what is in
/// it. A check is left out where an earlier finding leaves it without ground.
#include <dravix/lab/check.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

std::optional<Corners> GivenCorners(const Shot& photo, const CheckOptions& options) {
  if (!options.corners.empty() && options.corners.size() != 4) {
    throw std::invalid_argument("found " + std::to_string(options.corners.size()) +
                                " corners, expected four or none");
  }
  Corners corners;
  if (!options.corners.empty()) {
    // Corners that are no convex quadrilateral are looked at all the same: they are far off.
    if (!OrderedAround({options.corners.begin(), options.corners.end()}, corners)) {
      std::copy(options.corners.begin(), options.corners.end(), corners.begin());
    }
    return corners;
  }
  const RegionOI* region = options.region;
  if (region == nullptr) return std::nullopt;
  if (cv::Size(region->frameWidth, region->frameHeight) != photo.image.size()) return std::nullopt;
  return CornersOf(*region);
}

cv::Size LedsOf(const Shot& photo) {
  if (!photo.pattern) return {};
  const cv::Size leds(photo.pattern->lighted_led_w, photo.pattern->lighted_led_h);
  return leds.width >= 1 && leds.height >= 1 ? leds : cv::Size();
}

/// The lit area of both photographs together: which of them shows the whole screen is yet to be
/// seen.
cv::Mat SearchedPlane(const Subject& subject) {
  if (subject.board.plane.empty()) return subject.samples.plane;
  cv::Mat brighter;
  cv::max(subject.samples.plane, subject.board.plane, brighter);
  return brighter;
}

/// Without corners the largest area; with corners the one that lies nearest to them.
const LitArea* AreaToCheck(const Subject& subject) {
  const std::vector<LitArea>& areas = subject.areas.areas;
  if (areas.empty()) return nullptr;
  if (!subject.given) return &areas.front();
  const auto middle = [](const Corners& c) { return (c[0] + c[1] + c[2] + c[3]) * 0.25; };
  const cv::Point2d given = middle(*subject.given);
  return &*std::min_element(areas.begin(), areas.end(), [&](const LitArea& a, const LitArea& b) {
    return cv::norm(middle(a.outline.corners) - given) <
           cv::norm(middle(b.outline.corners) - given);
  });
}

/// Fills in what the search found.
void Look(Subject& subject) {
  subject.areas = FindLitAreas(SearchedPlane(subject), subject.leds);
  subject.darkLevel = subject.areas.dark;
  subject.litLevel = subject.areas.lit;
  const LitArea* area = AreaToCheck(subject);
  // What is cut off by the border need not have four corners.
  subject.isLit = area != nullptr && (area->isQuad || area->touches);
  if (subject.isLit) {
    subject.isWhole = !area->touches;
    if (area->isQuad) subject.outline = area->outline;
  }
  if (!subject.isLit && subject.given) {
    subject.isLitInside = IsLitInside(subject.samples.plane, *subject.given, subject.leds);
  }
  if (!subject.outline && subject.given) subject.outline = StraightOutline(*subject.given);
}

}  // namespace

std::vector<Finding> Check(const Shot& photo, const CheckOptions& options) {
  Subject subject{
      photo, options, SamplesOf(photo), {}, LedsOf(photo), {}, {}, {}, false, false, false, 0, 0,
      0,     {}};
  subject.given = GivenCorners(photo, options);
  const Shot* board = options.checkerboard;
  if (board != nullptr && board->image.size() == photo.image.size()) {
    subject.board = SamplesOf(*board);
  }
  subject.counts = subject.leds;
  Findings findings;
  CheckMetadata(subject, findings);
  Look(subject);
  CheckArea(subject, findings);
  CheckMosaic(subject, findings);
  CheckBlocks(subject, findings);
  CheckExposure(subject, findings);
  const bool isEven = !Has(findings, "mosaic") && !Has(findings, "blocks");
  if (isEven) CheckGrid(subject, findings);
  CheckCorners(subject, findings);
  CheckResolution(subject, findings);
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return a.severity == Severity::kError && b.severity != Severity::kError;
  });
  return findings;
}

Finding EdgeCopied(cv::Size leds, int border) {
  const auto all = static_cast<double>(leds.width) * leds.height;
  const double inner = std::max(0, leds.width - 2 * border) *
                       static_cast<double>(std::max(0, leds.height - 2 * border));
  const double copied = all - inner;
  return MakeFinding(
      "edge-copied",
      Text(copied, 0) + " of " + Text(all, 0) + " LEDs are copies: the outer " +
          std::to_string(border) +
          " rows and columns on each side were not measured but take the values of the nearest "
          "inner LEDs; leave them out of figures with --edge " +
          std::to_string(border),
      {{"copied", copied}, {"border", static_cast<double>(border)}, {"leds", Pair(leds)}});
}

bool IsOk(const std::vector<Finding>& findings) {
  return std::none_of(findings.begin(), findings.end(),
                      [](const Finding& finding) { return finding.severity == Severity::kError; });
}

const char* NameOf(Severity severity) { return severity == Severity::kError ? "error" : "warning"; }

}  // namespace dravix::lab
