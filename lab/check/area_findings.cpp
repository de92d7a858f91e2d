/// Findings on the lit area as a whole and on its outline.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "lab/base/size_text.h"
#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

constexpr double kFarCorner = 2;    // LEDs
constexpr double kMostTilt = 0.15;  // of the longer of two opposite sides
constexpr double kFewestPixels = 4;

/// The given corners that the photograph does not show, with a pixel's tolerance for rounding.
std::vector<cv::Point2d> Outside(const Corners& corners, cv::Size photo) {
  std::vector<cv::Point2d> outside;
  for (const cv::Point2d& c : corners) {
    if (c.x < -1 || c.y < -1 || c.x > photo.width || c.y > photo.height) outside.push_back(c);
  }
  return outside;
}

std::string List(const std::vector<cv::Point2d>& points) {
  std::string text;
  for (const cv::Point2d& point : points) text += (text.empty() ? "" : " ") + Text(point);
  return text;
}

void CheckCut(const Subject& subject, Findings& findings) {
  const cv::Size photo = subject.photo.image.size();
  if (subject.given) {
    const std::vector<cv::Point2d> outside = Outside(*subject.given, photo);
    if (!outside.empty()) {
      Add(findings, "area-cut",
          std::string(outside.size() == 1 ? "the corner " : "the corners ") + List(outside) +
              (outside.size() == 1 ? " lies" : " lie") + " outside the photograph of " +
              SizeText(photo) +
              " pixels, where no light was seen, and LEDs there are measured too low: give "
              "corners inside it, or photograph the whole screen",
          {{"corners", Pairs(outside)}, {"photo", Pair(photo)}});
      return;
    }
  }
  if (!subject.isLit || subject.isWhole) return;
  Add(findings, "area-cut",
      "the lit area reaches the border of the photograph of " + SizeText(photo) +
          " pixels, so a part of the screen may be missing: turn or move the camera until dark "
          "surroundings show on all sides",
      {{"photo", Pair(photo)}});
}

void CheckTilt(const Subject& subject, Findings& findings) {
  if (!subject.outline || (subject.isLit && !subject.isWhole)) return;
  const Corners& c = subject.outline->corners;
  const auto difference = [&](std::size_t a, std::size_t b) {
    const double first = cv::norm(c.at((a + 1) % 4) - c.at(a));
    const double second = cv::norm(c.at((b + 1) % 4) - c.at(b));
    return 1 - std::min(first, second) / std::max({first, second, 1e-9});
  };
  const double upright = difference(0, 2);
  const double across = difference(1, 3);
  const double larger = std::max(upright, across);
  if (larger <= kMostTilt) return;
  Add(findings, "tilt",
      std::string(upright >= across ? "the upper and lower sides" : "the left and right sides") +
          " of the outline differ by " + Percent(larger) +
          ", more than 15 %, so LEDs that are farther away cover fewer pixels and shine at another "
          "angle: set the camera up opposite the middle of the screen",
      {{"difference", larger}, {"upper_lower", upright}, {"left_right", across}});
}

void CheckSearch(const Subject& subject, Findings& findings) {
  if (subject.isLitInside) return;
  if (!subject.isLit) {
    Add(findings, "no-area",
        "no lit area with four corners stands out of the dark: check that the screen was lit, "
        "evenly (a picture or a chart has no outline to be seen) and not covered, that the room "
        "was dark, and the exposure; or give --corners",
        {{"lit_level", subject.areas.lit}, {"dark_level", subject.areas.dark}});
    return;
  }
  if (subject.given || subject.areas.areas.size() < 2) return;
  const double share = subject.areas.areas[1].size / subject.areas.areas[0].size;
  Add(findings, "several-areas",
      std::to_string(subject.areas.areas.size()) + " lit areas were found, and the second has " +
          Percent(share) +
          " of the largest one's size: cover reflections and other lights, or say with --corners "
          "which area is the screen",
      {{"areas", static_cast<double>(subject.areas.areas.size())}, {"second", share}});
}

}  // namespace

void CheckArea(const Subject& subject, Findings& findings) {
  CheckSearch(subject, findings);
  CheckCut(subject, findings);
  CheckTilt(subject, findings);
}

void CheckCorners(const Subject& subject, Findings& findings) {
  if (!subject.given || !subject.outline || !subject.isWhole) return;
  if (Has(findings, "area-cut")) return;
  const cv::Size2d sides = MeanSides(subject.outline->corners);
  // Where nothing says how many LEDs there are, a hundredth of the side stands for one.
  const cv::Size leds = subject.counts.empty() ? cv::Size(100, 100) : subject.counts;
  const cv::Size2d pitch(sides.width / leds.width, sides.height / leds.height);
  double farthest = 0;
  std::size_t worst = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    double nearest = -1;
    for (const cv::Point2d& found : subject.outline->corners) {
      const cv::Point2d off = found - subject.given->at(i);
      const double distance = std::hypot(off.x / pitch.width, off.y / pitch.height);
      if (nearest < 0 || distance < nearest) nearest = distance;
    }
    if (nearest > farthest) {
      farthest = nearest;
      worst = i;
    }
  }
  if (farthest <= kFarCorner) return;
  const std::vector<cv::Point2d> found(subject.outline->corners.begin(),
                                       subject.outline->corners.end());
  Add(findings, "corners-off",
      "the given corner " + Text(subject.given->at(worst)) + " lies " + Text(farthest, 1) +
          " LEDs from the nearest corner of the lit area, whose corners are " + List(found) +
          ": measure with these, or find the area with `dravix region blur`",
      {{"distance", farthest},
       {"corner", Pair(subject.given->at(worst))},
       {"found", Pairs(found)}});
}

void CheckResolution(const Subject& subject, Findings& findings) {
  if (subject.leds.empty() || !subject.outline) return;
  // These say that the pattern's counts are not those of the outline.
  if (Has(findings, "led-count") || Has(findings, "several-areas")) return;
  const bool useGiven = subject.given && !Has(findings, "corners-off");
  if (!useGiven && !subject.isWhole) return;
  const Corners& corners = useGiven ? *subject.given : subject.outline->corners;
  const cv::Size2d sides = MeanSides(corners);
  const cv::Size2d pixels(sides.width / subject.leds.width, sides.height / subject.leds.height);
  // To a hundredth of a pixel, which is as much as corners in whole pixels tell.
  const auto rounded = [](double value) { return std::round(value * 100) / 100; };
  const bool enough =
      rounded(pixels.width) >= kFewestPixels && rounded(pixels.height) >= kFewestPixels;
  if (enough) return;
  Add(findings, "resolution",
      "there are " + Text(pixels) +
          " camera pixels per LED, and at least 4 are needed in each direction: below, the "
          "luminances of neighbors mix; check the pattern's LED counts, or photograph a smaller "
          "part of the screen",
      {{"pixels_per_led", Pair(pixels)}});
}

std::optional<Corners> CornersOf(const RegionOI& region) {
  std::vector<cv::Point> found;
  try {
    if (region.GetPrecision4Corner(found) != 0) found.clear();
  } catch (const cv::Exception&) {
    found.clear();  // an area too small for that search, or a damaged region
  }
  Corners corners;
  if (OrderedAround({found.begin(), found.end()}, corners)) return corners;
  if (region.mask.empty() || region.mask.type() != CV_8UC1) return std::nullopt;
  std::vector<std::vector<cv::Point>> contours;
  cv::findContours(region.mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  const auto largest = std::max_element(
      contours.begin(), contours.end(),
      [](const auto& a, const auto& b) { return cv::contourArea(a) < cv::contourArea(b); });
  if (largest == contours.end()) return std::nullopt;
  for (double share = 0.01; share < 0.1; share += 0.01) {
    std::vector<cv::Point> few;
    cv::approxPolyDP(*largest, few, share * cv::arcLength(*largest, true), true);
    if (few.size() != 4) continue;
    std::vector<cv::Point2d> points;
    for (const cv::Point& p : few) points.emplace_back(p + region.rect.tl());
    if (OrderedAround(points, corners)) return corners;
  }
  return std::nullopt;
}

}  // namespace dravix::lab
