/// Finds the lit areas of a photograph and their outlines.
///
/// The search works on a reduced picture, melted by Gaussians of growing width until single LEDs
/// have grown together: a picture of separate LEDs falls apart into many areas of the same size, a
/// melted one into one solid area for each screen. What is brighter than the dark surroundings by
/// 30 % of the step to the lit level belongs to an area; half of it would lose screens whose parts
/// differ by a factor of two. The outline is then measured in the melted picture, where the light
/// along many lines across each side falls to the half of its own two levels. That place does not
/// depend on how far the light is spread: a symmetric spread leaves the half of a step where it is.
#include "lab/check/lit_area.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "lab/check/side_fit.h"

namespace dravix::lab {
namespace {

constexpr int kLongestReducedSide = 1200;  // pixels of the reduced picture: quick, and exact enough
constexpr int kSmallestSide = 8;           // pixels; smaller pictures show no area
constexpr double kStep = 0.3;              // of the step from dark to lit, see above
constexpr double kFirstSigma = 1.0;        // pixels of the reduced picture
constexpr double kNextSigma = 1.6;         // factor between two widths
constexpr double kSolid = 0.93;            // of the hull's area that a melted area covers
constexpr double kLoose = 0.005;       // of the largest area: single LEDs that still stand apart
constexpr std::ptrdiff_t kLamps = 2;   // small areas that are reflections and lamps, no LEDs
constexpr std::size_t kMostAreas = 9;  // more areas of like size are single LEDs or noise
constexpr double kTenth = 0.1;         // of the largest area's size that makes another an area
constexpr double kLeastStep = 5;       // deviations of the surroundings by which light stands out
constexpr double kLeastSamples = 0.5;  // likewise, in samples of a melted picture

using Contour = std::vector<cv::Point>;

struct ReducedPicture {
  cv::Mat1f picture;
  int factor = 1;  ///< pixels of the photograph along one of the picture's
};

ReducedPicture Reduce(const cv::Mat& plane) {
  const int longest = std::max(plane.cols, plane.rows);
  const int factor = std::max(1, (longest + kLongestReducedSide - 1) / kLongestReducedSide);
  const cv::Size size(std::max(1, plane.cols / factor), std::max(1, plane.rows / factor));
  const cv::Rect whole(0, 0, std::min(plane.cols, size.width * factor),
                       std::min(plane.rows, size.height * factor));
  cv::Mat small;
  cv::resize(plane(whole), small, size, 0, 0, cv::INTER_AREA);
  ReducedPicture reduced{{}, factor};
  small.convertTo(reduced.picture, CV_32F);
  return reduced;
}

double Quantile(std::vector<float> values, double share) {
  if (values.empty()) return 0;
  const auto at =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

std::vector<float> BorderOf(const cv::Mat1f& picture) {
  std::vector<float> border;
  for (int x = 0; x < picture.cols; ++x) {
    border.push_back(picture(0, x));
    border.push_back(picture(picture.rows - 1, x));
  }
  for (int y = 0; y < picture.rows; ++y) {
    border.push_back(picture(y, 0));
    border.push_back(picture(y, picture.cols - 1));
  }
  return border;
}

struct Levels {
  double dark = 0, lit = 0;
  [[nodiscard]] double Threshold() const { return dark + kStep * (lit - dark); }
};

/// The border of the photograph shows the surroundings, unless the screen is cut off on most sides.
/// The lit level is the median of what lies above Otsu's threshold.
Levels LevelsOf(const cv::Mat1f& melted) {
  double low = 0;
  double high = 0;
  cv::minMaxLoc(melted, &low, &high);
  if (high - low < 1e-6) return {low, low};
  cv::Mat eight;
  melted.convertTo(eight, CV_8U, 255 / (high - low), -low * 255 / (high - low));
  cv::Mat above;
  const double otsu =
      low +
      cv::threshold(eight, above, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU) * (high - low) / 255;
  std::vector<float> bright;
  for (const float value : melted) {
    if (value > otsu) bright.push_back(value);
  }
  Levels levels;
  levels.lit = Quantile(std::move(bright), 0.5);
  levels.dark = Quantile(BorderOf(melted), 0.25);
  const double darkest = Quantile(std::vector<float>(melted.begin(), melted.end()), 0.01);
  if (levels.dark > darkest + kStep * (levels.lit - darkest)) levels.dark = darkest;
  return levels;
}

struct Blobs {
  cv::Mat1f melted;
  double sigma = 0;
  Levels levels;
  std::vector<Contour> contours;  ///< those of a tenth of the largest one's size, largest first
  double solidity = 0;            ///< of the largest
  std::vector<Contour> lamps;     ///< the largest of the smaller ones, kLamps of them at most
  double loose = 0;               ///< area of all other smaller ones over the largest one's
};

double Solidity(const Contour& contour) {
  Contour hull;
  cv::convexHull(contour, hull);
  return cv::contourArea(contour) / std::max(1.0, cv::contourArea(hull));
}

Blobs BlobsAt(const cv::Mat1f& picture, double sigma) {
  Blobs blobs;
  blobs.sigma = sigma;
  cv::GaussianBlur(picture, blobs.melted, {}, sigma, sigma, cv::BORDER_REPLICATE);
  blobs.levels = LevelsOf(blobs.melted);
  if (blobs.levels.lit - blobs.levels.dark <= 0) return blobs;
  const cv::Mat lit = blobs.melted > blobs.levels.Threshold();
  cv::findContours(lit, blobs.contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  const auto size = [](const Contour& contour) { return cv::contourArea(contour); };
  std::sort(blobs.contours.begin(), blobs.contours.end(),
            [&](const Contour& a, const Contour& b) { return size(a) > size(b); });
  if (blobs.contours.empty()) return blobs;
  const double tenth = kTenth * size(blobs.contours.front());
  const auto small = std::find_if(blobs.contours.begin(), blobs.contours.end(),
                                  [&](const Contour& c) { return size(c) < std::max(tenth, 1.0); });
  const auto loose = small + std::min(kLamps, blobs.contours.end() - small);
  blobs.lamps.assign(small, loose);
  for (auto c = loose; c != blobs.contours.end(); ++c) {
    blobs.loose += size(*c) / std::max(1.0, size(blobs.contours.front()));
  }
  blobs.contours.erase(small, blobs.contours.end());
  if (!blobs.contours.empty()) blobs.solidity = Solidity(blobs.contours.front());
  return blobs;
}

/// Melts until what is lit is solid; the most solid attempt where none is.
Blobs Melt(const cv::Mat1f& picture) {
  Blobs best;
  const double widest = std::max(2.0, 0.06 * std::min(picture.cols, picture.rows));
  for (double sigma = kFirstSigma; sigma <= widest; sigma *= kNextSigma) {
    Blobs blobs = BlobsAt(picture, sigma);
    const bool melted = !blobs.contours.empty() && blobs.contours.size() <= kMostAreas;
    if (melted && blobs.solidity >= kSolid && blobs.loose < kLoose) return blobs;
    const auto merit = [](const Blobs& b) { return b.solidity - b.loose; };
    if (melted && (best.contours.empty() || merit(blobs) > merit(best))) best = std::move(blobs);
  }
  return best;
}

/// Whether the areas stand out of the surroundings and not of noise: the surroundings' own spread
/// is small against the step. Noise cut at any threshold has a step of a few of its deviations.
bool StandOut(const Blobs& blobs) {
  cv::Mat1b outside(blobs.melted.size(), 255);
  for (const std::vector<Contour>& lit : {blobs.contours, blobs.lamps}) {
    cv::drawContours(outside, lit, -1, 0, cv::FILLED);
    cv::drawContours(outside, lit, -1, 0, 1 + 2 * cvCeil(3 * blobs.sigma));
  }
  cv::Scalar mean;
  cv::Scalar deviation;
  if (cv::countNonZero(outside) < 16) {
    // The screen fills the photograph; the step alone decides, and noise leaves none like that.
    constexpr double kNoise = 8;  // samples, of a melted picture
    return blobs.levels.lit > 1.3 * blobs.levels.dark + kNoise;
  }
  cv::meanStdDev(blobs.melted, mean, deviation, outside);
  const double step = blobs.levels.lit - mean[0];
  return step > kLeastStep * deviation[0] && step > kLeastSamples;
}

/// The four corners of a contour's hull, roughly; nothing where it has fewer.
std::optional<Corners> RoughCorners(const Contour& contour) {
  Contour hull;
  cv::convexHull(contour, hull);
  const double length = cv::arcLength(hull, true);
  for (double share = 0.01; share < 0.12; share += 0.005) {
    Contour few;
    cv::approxPolyDP(hull, few, share * length, true);
    if (few.size() > 4) continue;
    Corners corners;
    if (few.size() == 4 && OrderedAround({few.begin(), few.end()}, corners)) return corners;
    break;
  }
  return std::nullopt;
}

/// Whether light reaches the border: at least so many border pixels are above half of the step.
bool TouchesBorder(const Blobs& blobs, const Contour& contour) {
  cv::Mat1b area(blobs.melted.size(), 0);
  cv::drawContours(area, std::vector<Contour>{contour}, 0, 255, cv::FILLED);
  const double half = (blobs.levels.dark + blobs.levels.lit) / 2;
  const cv::Mat lit = (blobs.melted > half) & area;
  int count = 0;
  for (const cv::Mat& line :
       {lit.row(0), lit.row(lit.rows - 1), lit.col(0), lit.col(lit.cols - 1)}) {
    count = std::max(count, cv::countNonZero(line));
  }
  constexpr int kFewest = 3;
  return count >= std::max(kFewest, cvRound(blobs.sigma));
}

cv::Point2d InPhoto(cv::Point2d p, int factor) {
  const double half = 0.5 * (factor - 1);
  return {p.x * factor + half, p.y * factor + half};
}

Outline InPhoto(const Outline& outline, int factor) {
  Outline scaled = outline;
  for (std::size_t i = 0; i < 4; ++i) {
    scaled.corners.at(i) = InPhoto(outline.corners.at(i), factor);
    Side& side = scaled.sides.at(i);
    side.from = InPhoto(side.from, factor);
    side.to = InPhoto(side.to, factor);
    for (double& c : side.bow) c *= factor;
  }
  return scaled;
}

/// How far the picture must be melted so that LEDs do not show along a side.
double SigmaFor(const Corners& corners, cv::Size leds, double solid) {
  if (leds.width < 1 || leds.height < 1) return 1.3 * solid;
  const cv::Size2d sides = MeanSides(corners);
  const double pitch = std::max(sides.width / leds.width, sides.height / leds.height);
  const double most = 0.04 * std::min(sides.width, sides.height);
  return std::max(solid, std::min(0.6 * pitch, most));
}

LitArea AreaOfContour(const ReducedPicture& reduced, const Blobs& blobs, const Contour& contour,
                      cv::Size leds) {
  LitArea area;
  const double pixels = static_cast<double>(reduced.factor) * reduced.factor;
  area.size = cv::contourArea(contour) * pixels;
  area.touches = TouchesBorder(blobs, contour);
  const auto rough = RoughCorners(contour);
  if (!rough) return area;
  // A threshold below the half lies farther out, and wide melting cuts the corners off.
  constexpr double kLeastShare = 0.8;
  constexpr double kMostShare = 1.42;  // wide defocus rounds corners; a disk has 1.57
  const double share = cv::contourArea(contour) / std::max(1.0, AreaOf(*rough));
  area.isQuad = share > kLeastShare && share < kMostShare;
  const double sigma = SigmaFor(*rough, leds, blobs.sigma);
  cv::Mat1f melted;
  cv::GaussianBlur(reduced.picture, melted, {}, sigma, sigma, cv::BORDER_REPLICATE);
  const Outline fitted = FitSides(melted, *rough, sigma, blobs.levels.dark);
  area.outline = InPhoto(fitted, reduced.factor);
  // Dead modules may hide a part of a side; a picture on the screen hides more.
  constexpr double kLeastSeen = 0.6;
  area.isQuad = area.isQuad && fitted.seen >= kLeastSeen;
  return area;
}

/// The same corners in the reduced picture.
Corners InReduced(const Corners& corners, int factor) {
  const double half = 0.5 * (factor - 1);
  Corners reduced = corners;
  for (cv::Point2d& c : reduced) c = (c - cv::Point2d(half, half)) * (1.0 / factor);
  return reduced;
}

struct Inside {
  double step = 0;    ///< from the mean outside to the mean inside
  double spread = 0;  ///< standard deviation outside
};

Inside InsideOf(const cv::Mat1f& melted, const Corners& corners, double margin) {
  std::vector<cv::Point> polygon;
  for (const cv::Point2d& c : corners) polygon.emplace_back(cvRound(c.x), cvRound(c.y));
  cv::Mat1b inside(melted.size(), 0);
  cv::fillConvexPoly(inside, polygon, 255);
  cv::Mat1b outside(melted.size(), 255);
  cv::fillConvexPoly(outside, polygon, 0);
  cv::polylines(outside, std::vector<std::vector<cv::Point>>{polygon}, true, 0,
                1 + 2 * cvCeil(margin));
  if (cv::countNonZero(inside) == 0 || cv::countNonZero(outside) == 0) return {};
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(melted, mean, deviation, outside);
  return {cv::mean(melted, inside)[0] - mean[0], deviation[0]};
}

}  // namespace

bool IsLitInside(const cv::Mat& plane, const Corners& corners, cv::Size leds) {
  if (std::min(plane.cols, plane.rows) < kSmallestSide) return false;
  for (const cv::Point2d& c : corners) {
    if (c.x < -1 || c.y < -1 || c.x > plane.cols || c.y > plane.rows) return false;
  }
  const ReducedPicture reduced = Reduce(plane);
  const Corners given = InReduced(corners, reduced.factor);
  const double sigma = SigmaFor(given, leds, kFirstSigma);
  cv::Mat1f melted;
  cv::GaussianBlur(reduced.picture, melted, {}, sigma, sigma, cv::BORDER_REPLICATE);
  const Inside inside = InsideOf(melted, given, 3 * sigma);
  if (inside.step <= kLeastStep * inside.spread || inside.step <= kLeastSamples) return false;
  // Dark parts of a picture leave no fall; a side along which there is none anywhere is no side.
  constexpr double kFall = 0.1;  // of the mean light inside
  constexpr double kLeastOfSide = 0.2;
  constexpr double kLeastOfAll = 0.5;
  const std::array<double, 4> shares = FallShares(melted, given, sigma, kFall * inside.step);
  const double sum = shares[0] + shares[1] + shares[2] + shares[3];
  return *std::min_element(shares.begin(), shares.end()) >= kLeastOfSide && sum / 4 >= kLeastOfAll;
}

LitAreas FindLitAreas(const cv::Mat& plane, cv::Size leds) {
  LitAreas found;
  if (std::min(plane.cols, plane.rows) < kSmallestSide) return found;
  const ReducedPicture reduced = Reduce(plane);
  if (std::min(reduced.picture.cols, reduced.picture.rows) < kSmallestSide) return found;
  const Blobs blobs = Melt(reduced.picture);
  if (blobs.contours.empty()) return found;
  found.dark = blobs.levels.dark;
  found.lit = blobs.levels.lit;
  if (!StandOut(blobs)) return found;
  for (const Contour& contour : blobs.contours) {
    found.areas.push_back(AreaOfContour(reduced, blobs, contour, leds));
  }
  return found;
}

}  // namespace dravix::lab
