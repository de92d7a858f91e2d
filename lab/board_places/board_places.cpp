// The checkerboard in three steps: does it show the blocks, where are their edges, and which
// smooth screen goes through them?
#include "dravix/lab/board_places.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "lab/base/rounded_text.h"
#include "lab/base/size_text.h"
#include "lab/board_places/bent_screen.h"
#include "lab/board_places/edges.h"

namespace dravix::lab {
namespace {

constexpr double kLeastAgreement = 0.8;  ///< of the blocks' levels with the pattern, 0 to 1
constexpr double kMostMissing = 0.125;   ///< share of the edges
constexpr double kMostScatter = 0.3;     ///< pitches
constexpr int kFineRounds = 3;

/// Where `blocks` blocks over so many LEDs begin and end; empty where they do not fit.
std::vector<int> LinesOver(int leds, int blocks, int last) {
  if (blocks < 2) return {};
  const int others = last >= 0 ? leds - last : leds;
  const int columns = last >= 0 ? blocks - 1 : blocks;
  if (others <= 0 || last == 0 || others % columns != 0) return {};
  std::vector<int> lines(static_cast<std::size_t>(blocks) + 1, leds);
  for (int i = 0; i < blocks; ++i) lines[static_cast<std::size_t>(i)] = i * (others / columns);
  return lines;
}

board::Lines LinesOf(const BoardGrid& grid) {
  board::Lines lines = {LinesOver(grid.leds.width, grid.blocks.width, grid.last.width),
                        LinesOver(grid.leds.height, grid.blocks.height, grid.last.height)};
  if (lines.across.empty() || lines.down.empty()) {
    throw std::invalid_argument(SizeText(grid.blocks) + " blocks do not fit " +
                                SizeText(grid.leds) +
                                " LEDs, expected at least 2 x 2 that divide them evenly, up to a "
                                "narrower last column and row");
  }
  return lines;
}

cv::Mat1f FloatSamplesOf(const Shot& shot, const BoardGrid& grid) {
  const int type = shot.image.type();
  const auto& c = grid.corners;
  const double twice = (c[2] - c[0]).cross(c[3] - c[1]);
  if (shot.image.empty() || shot.image.dims != 2 ||
      (type != CV_8UC1 && type != CV_16UC1 && type != CV_32FC1)) {
    throw std::invalid_argument("expected a photograph of one plane");
  }
  if (!std::isfinite(twice) || twice < 2.0 * grid.leds.width * grid.leds.height) {
    throw std::invalid_argument(
        "expected corners top-left, top-right, bottom-right, bottom-left around an area of at "
        "least one pixel per LED");
  }
  cv::Mat1f samples;
  shot.image.convertTo(samples, CV_32F);
  return samples;
}

/// How the blocks' levels follow the pattern.
struct Pattern {
  int sign = 1;          ///< 1 where the first block is lit, else -1
  double agreement = 0;  ///< 1 where all blocks do
  double contrast = 0;   ///< between lit and dark blocks, samples
};

Pattern PatternOf(const cv::Mat1d& levels) {
  const double mean = cv::mean(levels)[0];
  double with = 0;
  double all = 0;
  for (int y = 0; y < levels.rows; ++y) {
    for (int x = 0; x < levels.cols; ++x) {
      const double departure = levels(y, x) - mean;
      with += (x + y) % 2 == 0 ? departure : -departure;
      all += std::abs(departure);
    }
  }
  return {with >= 0 ? 1 : -1, all > 0 ? std::abs(with) / all : 0.0,
          2 * all / static_cast<double>(levels.total())};
}

cv::Mat1b LitOn(const board::Lines& lines, int sign) {
  cv::Mat1b lit(lines.down.back(), lines.across.back(), std::uint8_t{0});
  for (std::size_t row = 0; row + 1 < lines.down.size(); ++row) {
    for (std::size_t column = 0; column + 1 < lines.across.size(); ++column) {
      if (((row + column) % 2 == 0) != (sign > 0)) continue;
      lit(cv::Range(lines.down[row], lines.down[row + 1]),
          cv::Range(lines.across[column], lines.across[column + 1])) = 255;
    }
  }
  return lit;
}

std::vector<KnownPlace> PlacesOn(const board::BentScreen& screen) {
  constexpr int kPlaces = 8;  // intervals along either axis: enough for a cubic polynomial
  std::vector<KnownPlace> places;
  for (int y = 0; y <= kPlaces; ++y) {
    for (int x = 0; x <= kPlaces; ++x) {
      const cv::Point2d led(1.0 * screen.Leds().width * x / kPlaces,
                            1.0 * screen.Leds().height * y / kPlaces);
      places.push_back({led, screen.At(led)});
    }
  }
  return places;
}

bool IsMissing(const board::Edges& edges) {
  const auto found = static_cast<double>(edges.across.size() + edges.down.size());
  return !(found >= (1 - kMostMissing) * edges.expected);
}

}  // namespace

BoardPlaces BoardPlacesOf(const Shot& shot, const BoardGrid& grid) {
  const board::Lines lines = LinesOf(grid);
  const cv::Mat1f samples = FloatSamplesOf(shot, grid);
  board::BentScreen screen(grid.corners, grid.leds);
  BoardPlaces answer;
  const Pattern pattern = PatternOf(board::BlockLevels(samples, screen, lines));
  if (!(pattern.agreement >= kLeastAgreement)) {
    answer.refused = "found levels that agree with " + SizeText(grid.blocks) +
                     " alternating blocks by " + RoundedText(pattern.agreement) +
                     ", expected at least " + RoundedText(kLeastAgreement) +
                     ": give the blocks that were shown, and its corners";
    return answer;
  }
  for (int round = 0; round <= kFineRounds; ++round) {
    const board::Edges edges =
        board::EdgesOf(samples, screen, lines, pattern.sign, pattern.contrast, round == 0);
    if (IsMissing(edges)) {
      answer.refused = "found " + std::to_string(edges.across.size() + edges.down.size()) + " of " +
                       std::to_string(edges.expected) +
                       " edges between lit and dark blocks, expected seven of eight: the corners "
                       "may be too far off";
      return answer;
    }
    answer.scatter = screen.Bend(edges.across, edges.down);
  }
  if (!(answer.scatter <= kMostScatter)) {
    answer.refused = "the blocks' edges depart by " + RoundedText(answer.scatter) +
                     " pitches from a smooth screen, expected at most " + RoundedText(kMostScatter);
    return answer;
  }
  answer.places = PlacesOn(screen);
  answer.lit = LitOn(lines, pattern.sign);
  return answer;
}

}  // namespace dravix::lab
