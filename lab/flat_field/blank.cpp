// A blank is reduced to two samples for each pitch, smoothed there, and asked in this order: does
// the sensor clip it, is there light enough, and does it show only what a lens does?
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <vector>

#include "lab/base/rounded_text.h"
#include "lab/flat_field/area.h"
#include "lab/unmix/search/block.h"
#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/cholesky.h"
#include "lab/unmix/search/sensor_noise.h"

namespace dravix::lab {
namespace {

constexpr double kAround = 3.0;      ///< LEDs outside of the screen that still shine into its spots
constexpr double kMostShare = 1e-3;  ///< of clipped samples, or of dark places
constexpr double kLeastOfRange = 0.05;      ///< of the sensor's range
constexpr double kLeastOfBrightest = 0.2;   ///< no lens loses more toward its corners
constexpr double kMostNoise = 3e-3;         ///< of a gain
constexpr double kMostDeparture = 0.01;     ///< of a place from what a lens does
constexpr double kMostStructured = 0.01;    ///< share of places that depart farther
constexpr double kMostGradient = 0.05;      ///< from one end of the area to the other
constexpr std::size_t kMostPlaces = 40000;  ///< that the lens's curve is fitted to

/// The level at one place of the reduced blank.
struct Place {
  cv::Point2d at;  ///< from the picture's middle, half diagonals
  double level;    ///< over the dark
};

struct Blank {
  cv::Mat1f levels;  ///< smoothed, over the dark; two samples for each pitch
  cv::Mat1b inside;  ///< of the same size: 255 in the area and around it
};

cv::Mat1f Reduced(const cv::Mat1f& samples, double pitch) {
  const double factor = std::max(1.0, 0.5 * pitch);
  const cv::Size size(std::max(1, cvRound(samples.cols / factor)),
                      std::max(1, cvRound(samples.rows / factor)));
  cv::Mat1f reduced;
  cv::resize(samples, reduced, size, 0, 0, cv::INTER_AREA);
  const double sigma = pitch * size.width / samples.cols;  // one pitch
  cv::GaussianBlur(reduced, reduced, {}, sigma, sigma, cv::BORDER_REPLICATE);
  return reduced;
}

Blank BlankOf(const cv::Mat1f& samples, double dark, const unmix::Grid& grid) {
  Blank blank;
  blank.levels = Reduced(samples, grid.Pitch()) - dark;
  blank.inside = cv::Mat1b(blank.levels.size(), std::uint8_t{0});
  const double scaleX = static_cast<double>(blank.levels.cols) / samples.cols;
  const double scaleY = static_cast<double>(blank.levels.rows) / samples.rows;
  std::vector<cv::Point> outline;
  for (const cv::Point2d& c : flat_field::GrownCorners(grid, kAround)) {
    outline.emplace_back(cvRound((c.x + 0.5) * scaleX - 0.5), cvRound((c.y + 0.5) * scaleY - 0.5));
  }
  cv::fillConvexPoly(blank.inside, outline, 255);
  return blank;
}

/// Places inside the area, thinned out evenly where there are very many.
std::vector<Place> PlacesOf(const Blank& blank) {
  const auto count = static_cast<double>(cv::countNonZero(blank.inside));
  const int step = std::max(1, cvCeil(std::sqrt(count / static_cast<double>(kMostPlaces))));
  const cv::Point2d middle(0.5 * (blank.levels.cols - 1), 0.5 * (blank.levels.rows - 1));
  const double unit = std::hypot(0.5 * blank.levels.cols, 0.5 * blank.levels.rows);
  std::vector<Place> places;
  for (int y = 0; y < blank.levels.rows; y += step) {
    for (int x = 0; x < blank.levels.cols; x += step) {
      if (blank.inside(y, x) == 0) continue;
      places.push_back(
          {(cv::Point2d(x, y) - middle) / unit, static_cast<double>(blank.levels(y, x))});
    }
  }
  return places;
}

/// Standard deviation of a sample after the Gaussian of one pitch.
double SmoothedNoise(const cv::Mat1f& samples, const unmix::Grid& grid) {
  const double noise = unmix::SensorNoise(samples, grid, unmix::SpreadBlocks(grid.Leds()));
  return noise / (std::sqrt(4.0 * CV_PI) * grid.Pitch());
}

double BrightestOf(const std::vector<Place>& places) {
  double brightest = 0;
  for (const Place& place : places) brightest = std::max(brightest, place.level);
  return brightest;
}

FlatFieldRefused DarkRefusal(double share, double least) {
  return {FlatFieldRefusal::kDark,
          "in " + RoundedPercent(share) + " of the area less than " + RoundedText(least) +
              " samples of light are left, expected in at most " + RoundedPercent(kMostShare) +
              " of it: light it evenly and expose more",
          {{"share", share}, {"least", least}}};
}

std::optional<FlatFieldRefused> DarkIn(const std::vector<Place>& places, double range,
                                       double noise) {
  const double least = std::max(
      {kLeastOfRange * range, kLeastOfBrightest * BrightestOf(places), noise / kMostNoise});
  const auto dark = static_cast<double>(std::count_if(
      places.begin(), places.end(), [&](const Place& p) { return !(p.level >= least); }));
  const double share = dark / static_cast<double>(places.size());
  if (share <= kMostShare) return std::nullopt;
  return DarkRefusal(share, least);
}

/// What a lens does, and a gradient: terms of the logarithm.
constexpr int kBlankTerms = 8;
constexpr int kGradientX = 4;
cv::Matx<double, 1, kBlankTerms> TermsAt(cv::Point2d at) {
  const double r2 = at.dot(at);
  return {1.0, r2, r2 * r2, r2 * r2 * r2, at.x, at.y, at.x * at.y, at.x * at.x - at.y * at.y};
}

struct BlankFit {
  cv::Mat1d coefficients;
  std::vector<double> departures;  ///< of the logarithms
};

/// By least squares; places that depart far count less, so that a mark in the picture does not
/// bend the curve everywhere.
BlankFit LensFitOf(const std::vector<Place>& places) {
  BlankFit fit;
  fit.departures.assign(places.size(), 0.0);
  for (int round = 0; round < 4; ++round) {
    cv::Mat1d normal(kBlankTerms, kBlankTerms, 0.0);
    cv::Mat1d right(1, kBlankTerms, 0.0);
    for (std::size_t k = 0; k < places.size(); ++k) {
      const double off = fit.departures[k] / kMostDeparture;
      const double weight = 1.0 / (1.0 + off * off);
      const auto terms = TermsAt(places[k].at);
      normal += cv::Mat(terms.t() * terms * weight);
      right += cv::Mat(terms * (weight * std::log(places[k].level)));
    }
    fit.coefficients = unmix::Cholesky(normal).SolveRows(right);
    for (std::size_t k = 0; k < places.size(); ++k) {
      const cv::Mat1d terms(TermsAt(places[k].at));
      fit.departures[k] = std::log(places[k].level) - terms.dot(fit.coefficients);
    }
  }
  return fit;
}

/// The change of light by the gradient's terms between the ends of the area.
double GradientOf(const BlankFit& fit, const std::vector<Place>& places) {
  const double x = fit.coefficients(0, kGradientX);
  const double y = fit.coefficients(0, kGradientX + 1);
  double least = 0;
  double most = 0;
  for (std::size_t k = 0; k < places.size(); ++k) {
    const double value = x * places[k].at.x + y * places[k].at.y;
    least = k == 0 ? value : std::min(least, value);
    most = k == 0 ? value : std::max(most, value);
  }
  return most - least;
}

std::optional<FlatFieldRefused> StructureIn(const std::vector<Place>& places) {
  const BlankFit fit = LensFitOf(places);
  const auto far = static_cast<double>(
      std::count_if(fit.departures.begin(), fit.departures.end(),
                    [](double departure) { return !(std::abs(departure) <= kMostDeparture); }));
  const double share = far / static_cast<double>(places.size());
  if (share > kMostStructured) {
    return FlatFieldRefused{
        FlatFieldRefusal::kStructured,
        RoundedPercent(share) + " of the area departs by more than " +
            RoundedPercent(kMostDeparture) + " from what a lens does, expected at most " +
            RoundedPercent(kMostStructured) + ": photograph an even surface, and no LEDs",
        {{"share", share}, {"departure", kMostDeparture}}};
  }
  const double gradient = GradientOf(fit, places);
  if (gradient <= kMostGradient) return std::nullopt;
  return FlatFieldRefused{
      FlatFieldRefusal::kStructured,
      "its light changes by " + RoundedPercent(gradient) +
          " from one end of the area to the other, expected at most " +
          RoundedPercent(kMostGradient) +
          ": light it evenly, or turn the camera by 180 degrees to see whether it is the light",
      {{"gradient", gradient}}};
}

std::optional<FlatFieldRefused> ClippedIn(const unmix::Saturation& clipped) {
  if (!unmix::IsTooMuch(clipped)) return std::nullopt;
  return FlatFieldRefused{FlatFieldRefusal::kClipped,
                          RoundedPercent(clipped.share) +
                              " of the area's samples are at the sensor's top of " +
                              RoundedText(clipped.top) + ", expected at most " +
                              RoundedPercent(kMostShare) + ": expose less",
                          {{"share", clipped.share}, {"top", clipped.top}}};
}

/// Root mean square of the noise over the level.
double RelativeNoise(const std::vector<Place>& places, double noise) {
  double squares = 0;
  for (const Place& place : places) squares += std::pow(noise / place.level, 2);
  return std::sqrt(squares / static_cast<double>(places.size()));
}

}  // namespace

FlatField FlatFieldFromBlank(const Shot& blank, const Shot& photo, const FlatFieldArea& area) {
  const unmix::Grid grid = flat_field::GridOf(area);
  const cv::Mat1f samples = flat_field::SamplesOf(blank);
  const cv::Mat1f photoSamples = flat_field::SamplesOf(photo);
  if (samples.size() != photoSamples.size()) {
    throw std::invalid_argument("flat field: expected a blank of the photograph's size");
  }
  FlatField field;
  field.photo = samples.size();
  const unmix::Saturation clipped =
      flat_field::ClippedOf(blank, samples, flat_field::GrownCorners(grid, kAround));
  field.refused = ClippedIn(clipped);
  if (field.refused) return field;

  const double dark = unmix::BackgroundOf(photoSamples, grid);
  const Blank reduced = BlankOf(samples, dark, grid);
  const std::vector<Place> places = PlacesOf(reduced);
  if (places.empty()) throw std::invalid_argument("flat field: the area lies outside the picture");
  const double noise = SmoothedNoise(samples, grid);
  const bool topIsKnown = clipped.top > BrightestOf(places) + dark && blank.device.has_value();
  field.refused = DarkIn(places, topIsKnown ? clipped.top - dark : 0.0, noise);
  if (!field.refused) field.refused = StructureIn(places);
  if (field.refused) return field;

  field.gains = reduced.levels;
  field.deviation = RelativeNoise(places, noise);
  flat_field::Normalize(grid, field);
  return field;
}

}  // namespace dravix::lab
