/// Tiles of the rectified area are turned into power spectra, and these are averaged. A grid of
/// LEDs is a peak on each axis of the spectrum. Light that differs from LED to LED spreads over all
/// frequencies, and so does noise, so that a peak is told by how far it stands out of its own
/// neighborhood on the axis. A disk of defocus may blot out the wave along an axis and leave the
/// diagonal one, which then shows the grid instead.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "lab/check/led_grid.h"

namespace dravix::lab {
namespace {

constexpr double kLargestTile = 400;  // pixels
constexpr int kSmallestTile = 24;     // pixels
constexpr int kMostTiles = 3;         // along each axis
constexpr int kPadding = 2;           // bins of the spectrum for one wave across a tile
constexpr double kFewestWaves = 7;    // across a tile: fewer may be LEDs or modules that differ

struct Spectrum {
  cv::Mat1d power;  ///< squared half amplitudes over the mean; frequency 0 at the top left
  double tile = 0;  ///< pixels of the tile's side along the axis
  double bins = 0;  ///< bins for one wave per pixel
};

/// Power at column and row frequency; negative ones wrap around.
double PowerAt(const cv::Mat1d& power, int fx, int fy) {
  const int x = ((fx % power.cols) + power.cols) % power.cols;
  const int y = ((fy % power.rows) + power.rows) % power.rows;
  return power(y, x);
}

cv::Mat1d Hann(int count) {
  cv::Mat1d window(1, count);
  for (int i = 0; i < count; ++i) {
    window(i) = 0.5 - 0.5 * std::cos(2 * CV_PI * (i + 0.5) / count);
  }
  return window;
}

/// The tile's light over its mean, less 1, under a window of sum 1.
cv::Mat1f Windowed(const cv::Mat& tile, double dark, const cv::Mat1f& window) {
  cv::Mat1f light;
  tile.convertTo(light, CV_32F, 1, -dark);
  const double mean = cv::sum(light.mul(window))[0];
  if (mean <= 0) return {};
  light = light / mean - 1;
  cv::multiply(light, window, light);
  return light;
}

/// Adds the squared magnitudes of complex numbers, in one pass over both.
void AddSquares(const cv::Mat2f& transformed, cv::Mat1d& power) {
  for (int y = 0; y < power.rows; ++y) {
    const cv::Vec2f* from = transformed[y];
    double* to = power[y];
    for (int x = 0; x < power.cols; ++x) {
      to[x] += static_cast<double>(from[x][0] * from[x][0] + from[x][1] * from[x][1]);
    }
  }
}

/// The mean power spectrum of the tiles; empty where the area is too small.
cv::Mat1d PowerOf(const cv::Mat& plane, const Outline& outline, double dark, cv::Size& tile) {
  const cv::Size2d sides = MeanSides(outline.corners);
  constexpr double kInner = 0.94;  // of the area: the rest may hold its blurred sides
  tile = {static_cast<int>(std::min(kLargestTile, kInner * sides.width)),
          static_cast<int>(std::min(kLargestTile, kInner * sides.height))};
  if (tile.width < kSmallestTile || tile.height < kSmallestTile) return {};
  const cv::Size padded(cv::getOptimalDFTSize(kPadding * tile.width),
                        cv::getOptimalDFTSize(kPadding * tile.height));
  const cv::Mat1d across = Hann(tile.width);
  const cv::Mat1d down = Hann(tile.height);
  const cv::Mat product = down.t() * across;
  cv::Mat1f window;
  product.convertTo(window, CV_32F, 1 / cv::sum(product)[0]);
  const auto tilesAlong = [&](double side, int one) {
    return std::clamp(static_cast<int>(kInner * side / one), 1, kMostTiles);
  };
  const cv::Size tiles(tilesAlong(sides.width, tile.width), tilesAlong(sides.height, tile.height));
  const cv::Matx33d photoFromRect =
      PhotoFromUnit(outline.corners) *
      cv::Matx33d(1 / sides.width, 0, 0, 0, 1 / sides.height, 0, 0, 0, 1);
  const auto start = [&](double side, int one, int index, int count) {
    const double free = side - one;
    return count == 1 ? free / 2
                      : (1 - kInner) / 2 * side + (kInner * side - one) * index / (count - 1);
  };
  cv::Mat1d power(padded, 0.0);
  int added = 0;
  for (int j = 0; j < tiles.height; ++j) {
    for (int i = 0; i < tiles.width; ++i) {
      const cv::Matx33d rectFromTile(1, 0, start(sides.width, tile.width, i, tiles.width), 0, 1,
                                     start(sides.height, tile.height, j, tiles.height), 0, 0, 1);
      cv::Mat piece;
      cv::warpPerspective(plane, piece, photoFromRect * rectFromTile, tile,
                          cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
      const cv::Mat1f waves = Windowed(piece, dark, window);
      if (waves.empty()) continue;
      cv::Mat1f field(padded, 0.0F);
      waves.copyTo(field(cv::Rect({0, 0}, tile)));
      cv::Mat transformed;
      cv::dft(field, transformed, cv::DFT_COMPLEX_OUTPUT, tile.height);
      AddSquares(transformed, power);
      ++added;
    }
  }
  if (added == 0) return {};
  power /= added;
  return power;
}

/// The spectrum along the first axis: for each frequency the largest power close to the line that
/// lies `aside` bins off the axis.
std::vector<double> Line(const cv::Mat1d& power, int aside) {
  constexpr int kClose = 2;  // bins
  std::vector<double> line(static_cast<std::size_t>(power.cols / 2));
  for (int f = 0; f < power.cols / 2; ++f) {
    double& largest = line[static_cast<std::size_t>(f)];
    for (int d = -kClose; d <= kClose; ++d) {
      largest = std::max(largest, PowerAt(power, f, aside + d));
    }
  }
  return line;
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

struct Peak {
  double place = 0;  ///< bin, with a fraction
  double power = 0;
  double stands = 0;  ///< power over the median of its neighborhood's higher side
};

/// The highest place between two bins, if it is a peak.
Peak HighestPeak(const std::vector<double>& line, double from, double to, double unit) {
  Peak best;
  const int last = static_cast<int>(line.size()) - 2;
  const auto near = static_cast<int>(std::ceil(3 * unit));
  const auto far = static_cast<int>(std::ceil(10 * unit));
  const auto value = [&](int i) { return line[static_cast<std::size_t>(i)]; };
  for (int i = std::max(1, cvFloor(from)); i <= std::min(last, cvCeil(to)); ++i) {
    if (value(i) < value(i - 1) || value(i) < value(i + 1) || value(i) <= best.power) continue;
    std::vector<double> below;
    std::vector<double> above;
    for (int j = i - far; j < i - near; ++j) {
      if (j > near) below.push_back(value(j));
    }
    for (int j = i + near + 1; j <= std::min(i + far, last); ++j) above.push_back(value(j));
    // The higher side counts: light that differs from LED to LED gives a steep slope.
    const double level = std::max(Median(std::move(below)), Median(std::move(above)));
    const double left = std::log(value(i - 1) + 1e-300);
    const double middle = std::log(value(i) + 1e-300);
    const double right = std::log(value(i + 1) + 1e-300);
    const double bend = left - 2 * middle + right;
    const double shift = bend < 0 ? std::clamp(0.5 * (left - right) / bend, -0.5, 0.5) : 0.0;
    best = {i + shift, value(i), level > 0 ? value(i) / level : 0.0};
  }
  return best;
}

// Power over the median of the neighborhood. Noise reaches the first in one of 1000 places, which
// is enough where a peak is expected, and the second in no photograph.
constexpr double kExpectedPeak = 15;
constexpr double kAnyPeak = 150;

/// The period along the first axis of the spectrum.
SeenPeriod SeeAlong(const cv::Mat1d& power, double side, int tile, int leds, double asideBin) {
  SeenPeriod seen;
  const double binsPerWave = power.cols / side;  // one wave across the whole area
  const double unit = static_cast<double>(power.cols) / tile;
  const std::vector<double> axis = Line(power, 0);
  const auto take = [&](const Peak& peak) {
    seen = {true, peak.place / binsPerWave, 2 * std::sqrt(peak.power)};
  };
  // Without a pattern: any period from 1.5 to 40 pixels.
  const double expected = leds * binsPerWave;
  const double least = std::max(kFewestWaves * unit, leds > 0 ? 0.3 * expected : power.cols / 40.0);
  const double most = leds > 0 ? 3.4 * expected : power.cols / 1.5;
  const Peak strongest = HighestPeak(axis, least, most, unit);
  if (leds < 1) {
    if (strongest.stands > kAnyPeak) take(strongest);
    return seen;
  }
  // Sampling folds the waves of smaller grids onto other frequencies.
  constexpr double kFolds = 0.42;  // waves per pixel
  if (expected > kFolds * power.cols) return seen;
  const double close = std::max(0.02 * expected, 0.5 * binsPerWave);
  const auto isAt = [&](const Peak& peak, double place) {
    return std::abs(peak.place - place) <= close;
  };
  const Peak here = HighestPeak(axis, expected - close, expected + close, unit);
  const bool isHere = here.stands > kExpectedPeak && isAt(here, expected);
  if (isHere && here.power >= strongest.power) {
    take(here);
    return seen;
  }
  // A period that is longer than expected is the grid's own: what is seen at the expected place is
  // its double. A shorter one may be the double of the expected one, left alone by a disk of a
  // certain size, or stand beside it, where that size is passed within the screen.
  const bool isLonger = strongest.stands > kAnyPeak && strongest.place < 0.75 * expected;
  const int aside = cvRound(asideBin);
  const Peak diagonal = HighestPeak(Line(power, aside), expected - close, expected + close, unit);
  const Peak mirrored = HighestPeak(Line(power, -aside), expected - close, expected + close, unit);
  for (const Peak& peak : {diagonal, mirrored}) {
    if (isLonger || peak.stands <= kExpectedPeak || !isAt(peak, expected)) continue;
    take(peak);
    return seen;
  }
  const bool isDouble = isAt(strongest, 2 * expected) || isAt(strongest, 3 * expected);
  if (isHere && (isDouble || strongest.stands <= kAnyPeak)) {
    take(here);
    return seen;
  }
  if (strongest.stands > kAnyPeak) take(strongest);
  return seen;
}

/// The other direction of a grid of which one has been seen: LEDs lie on squares, so that its place
/// is known to what tilt may change, and less of a peak is enough.
SeenPeriod SeeBeside(const cv::Mat1d& power, double side, int tile, double pitch,
                     double amplitude) {
  constexpr double kTilted = 1.2;
  constexpr double kLikelyPeak = 30;
  const double place = power.cols / pitch;
  const double unit = static_cast<double>(power.cols) / tile;
  const Peak peak = HighestPeak(Line(power, 0), place / kTilted, place * kTilted, unit);
  constexpr double kAlike = 3;  // times weaker or stronger: the same spot blurs both ways
  const double strength = 2 * std::sqrt(peak.power) / amplitude;
  const bool isLike = strength > 1 / kAlike && strength < kAlike;
  if (peak.stands <= kLikelyPeak || !isLike || peak.place < kFewestWaves * unit) return {};
  return {true, peak.place * side / power.cols, 2 * std::sqrt(peak.power)};
}

}  // namespace

std::array<SeenPeriod, 2> SeePeriods(const cv::Mat& plane, const Outline& outline, cv::Size leds,
                                     double dark) {
  cv::Size tile;
  const cv::Mat1d power = PowerOf(plane, outline, dark, tile);
  if (power.empty()) return {};
  const cv::Size2d sides = MeanSides(outline.corners);
  cv::Mat1d turned;
  cv::transpose(power, turned);
  const double binX = leds.width * power.cols / sides.width;
  const double binY = leds.height * power.rows / sides.height;
  std::array<SeenPeriod, 2> seen = {SeeAlong(power, sides.width, tile.width, leds.width, binY),
                                    SeeAlong(turned, sides.height, tile.height, leds.height, binX)};
  if (seen[0].isSeen && !seen[1].isSeen) {
    seen[1] = SeeBeside(turned, sides.height, tile.height, sides.width / seen[0].count,
                        seen[0].amplitude);
  } else if (seen[1].isSeen && !seen[0].isSeen) {
    seen[0] =
        SeeBeside(power, sides.width, tile.width, sides.height / seen[1].count, seen[1].amplitude);
  }
  return seen;
}

}  // namespace dravix::lab
