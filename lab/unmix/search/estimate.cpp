// First the outline puts the grid in its place. Then some spots are tried, and the one that fits
// best starts an iteration over spot and grid together. A spot that another photograph has shown is
// the only start.
#include "lab/unmix/search/estimate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <utility>

#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/descent.h"
#include "lab/unmix/search/outline.h"
#include "lab/unmix/search/sensor_noise.h"

namespace dravix::lab::unmix {
namespace {

/// Spots that are tried first, root of variance over pitch. A disk's edges must lie about right
/// before a search can find them, so disks are tried at more widths.
constexpr std::array kFirstSpots = {0.25, 0.4, 0.55, 0.75};
constexpr std::array kFirstDisks = {0.25, 0.3, 0.36, 0.43, 0.5, 0.58};
/// The blocks that the first spots are tried on: one of three, which lie spread over the screen.
constexpr std::size_t kFirstBlocks = 3;
/// A fit that leaves over so much more than the sensor's noise may be on the wrong way.
constexpr double kPoorFit = 1.5;
constexpr int kFirstIterations = 4;
constexpr int kMostIterations = 20;
constexpr int kFieldIterations = 8;
/// About kEmitter before the search has settled, pitches.
constexpr double kFirstEmitterSpread = 0.003;
/// What is expected of the field's terms: a spot that is this much wider at an edge.
constexpr double kFieldSpread = 0.3;
/// What is expected of LEDs: a scatter of 10 % about smoothed cells.
constexpr double kScatter = 0.1;
/// The gain that a changing spot must bring, in units of the smallest one that is worth a step. Its
/// five terms gain some two of these from noise alone.
constexpr double kFieldGain = 20;

double CostOf(const Search& s) {
  double cost = 0;
  for (const BlockEquations& e : ForBlocks(s, false)) cost += e.cost;
  return cost;
}

/// Half disk, half Gaussian.
SpotShape MixedSpot(double variance) { return {variance, 0.25 * variance * variance}; }
/// A disk and nothing else.
SpotShape DiskSpot(double variance) { return {variance, LargestDiskSquared(variance)}; }

/// The best of some spots.
template <class Widths>
SpotShape BestStart(const Search& s, const Widths& widths, SpotShape (*spotOf)(double)) {
  Search few = s;
  few.blocks.clear();
  for (std::size_t i = 0; i < s.blocks.size(); i += kFirstBlocks) few.blocks.push_back(s.blocks[i]);
  SpotShape best;
  double least = 0;
  for (const double width : widths) {
    few.spot = spotOf(std::pow(width * s.pitch, 2));
    const double cost = CostOf(few);
    if (least == 0 || cost < least) {
      least = cost;
      best = few.spot;
    }
  }
  return best;
}

/// Whether the blocks' own wishes for the spot differ by more than noise lets them, so that a spot
/// that changes over the screen is worth a try.
bool WantsField(const std::vector<BlockEquations>& equations, const Search& s) {
  const System fixed = SystemOf(equations, s);
  Search freed = s;
  freed.fieldSpread = kFieldSpread;
  const System free = SystemOf(equations, freed);
  const double gain =
      StepOf(free, s.spot, 0).dot(free.gradient) - StepOf(fixed, s.spot, 0).dot(fixed.gradient);
  return gain > kFieldGain * SmallestGain(s.blocks);
}

/// Whether the fit of one mean spot is near enough to go on from. A picture that is something else
/// than spots, or is compressed, is far from it, and a search there would only take long.
bool IsNear(const Search& s, double noise) {
  constexpr double kMostResidual = 8.0;  // times the sensor's noise
  constexpr double kMostVariance = 0.6;  // pitches^2; no wider spot can be un-mixed
  return s.noise < kMostResidual * noise && s.spot.variance < kMostVariance * s.pitch * s.pitch;
}

/// Lets the spot change over the screen, and takes that only where the fit gains by it.
void FindField(const std::vector<BlockEquations>& equations, Search& s) {
  Search freed = s;
  freed.fieldSpread = kFieldSpread;
  freed.emitterSpread = kEmitterSpread * s.pitch;
  Iterate(freed, kFieldIterations);
  const double gain = FreedomOf(equations, s.blocks) * (std::pow(s.noise / freed.noise, 2) - 1.0);
  if (gain > kFieldGain * SmallestGain(s.blocks)) s.Restore(freed);
}

/// The known spot in a photograph whose pixels are `side` times as large.
KnownSpot Binned(const KnownSpot& known, int side) {
  const double area = static_cast<double>(side) * side;
  const std::array<double, 3> units = {area, area * area, static_cast<double>(side)};
  KnownSpot binned = known;
  binned.variance /= units[0];
  binned.diskSquared /= units[1];
  binned.emitter /= units[2];
  for (int i = 0; i < 3; ++i) {
    const double unit = units.at(static_cast<std::size_t>(i));
    for (int j = 0; j < KnownSpot::kNumbers; ++j) {
      binned.information(i, j) *= unit;
      binned.information(j, i) *= unit;
    }
  }
  return binned;
}

/// From the known spot alone. Where that changes over the screen, each block has tables of its own,
/// so that a few rounds must do.
void FindFromKnown(double noise, Search& s) {
  s.spot = {s.known->variance, s.known->diskSquared};
  s.emitter = s.known->emitter;
  s.field.terms = s.known->widening;
  s.emitterSpread = kEmitterSpread * s.pitch;
  if (!s.field.IsConstant()) {
    s.fieldSpread = kFieldSpread;
    Iterate(s, kFieldIterations);
    return;
  }
  const auto equations = Iterate(s, kMostIterations);
  if (IsNear(s, noise) && WantsField(equations, s)) FindField(equations, s);
}

/// A few rounds from the best mixed spot. Where these do not end near the sensor's noise, the same
/// from the best disk. Then the rest from the better.
void FindSpot(double noise, Search& s) {
  if (s.known) {
    FindFromKnown(noise, s);
    return;
  }
  s.emitterSpread = kFirstEmitterSpread * s.pitch;
  s.spot = BestStart(s, kFirstSpots, MixedSpot);
  Search disk = s;
  Iterate(s, kFirstIterations);
  if (s.noise > kPoorFit * noise) {
    disk.spot = BestStart(disk, kFirstDisks, DiskSpot);
    Iterate(disk, kFirstIterations);
    if (disk.noise < s.noise) s.Restore(disk);
  }
  const auto equations = Iterate(s, kMostIterations);
  if (IsNear(s, noise) && WantsField(equations, s)) FindField(equations, s);
}

/// Finds spot and grid on the coarse photograph, where each step is cheaper. That has the same spot
/// and grid in other units, because its larger pixels are part of the model.
void FindSpotCoarsely(const cv::Mat1f& coarse, int binning, double noise, Search& s) {
  Search c{coarse,
           s.blocks,
           s.cells,
           s.grid.Binned(binning),
           {},
           s.emitter / binning,
           s.emitterSpread / binning,
           s.pitch / binning,
           s.cellSide / binning,
           s.background,
           s.level,
           s.noise,
           s.litNoise,
           s.scatter,
           s.lit,
           s.glow,
           {}};
  if (s.known) c.known = Binned(*s.known, binning);
  FindSpot(noise / binning, c);
  const double area = static_cast<double>(binning) * binning;
  s.spot = {c.spot.variance * area, c.spot.diskSquared * area * area};
  s.emitter = c.emitter * binning;
  s.field = c.field;
  for (std::size_t i = 0; i < Grid::kTerms; ++i) {
    s.grid.X().at(i) = binning * c.grid.X().at(i);
    s.grid.Y().at(i) = binning * c.grid.Y().at(i);
  }
}

/// The last rounds on the whole photograph. Where the spot changes over the screen, each block has
/// tables of its own, which take so long to make that the coarse photograph's answer stands and
/// only what it leaves over is looked at.
void Finish(Search& s) {
  if (s.field.IsConstant()) {
    Iterate(s, kMostIterations);
    return;
  }
  const auto fits = ForBlocks(s, false);
  s.noise = ResidualOf(fits, s.blocks, false);
  s.litNoise = ResidualOf(fits, s.blocks, true);
}

double MedianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// The values where a mask is not 0.
std::vector<double> Where(const cv::Mat1d& values, const cv::Mat1b& mask) {
  std::vector<double> some;
  for (int y = 0; y < values.rows; ++y) {
    for (int x = 0; x < values.cols; ++x) {
      if (mask(y, x) != 0) some.push_back(values(y, x));
    }
  }
  return some;
}

/// A search that has ended.
struct Ended {
  Search search;
  double noise;    ///< the sensor's
  double freedom;  ///< as in Estimate
};

/// What is expected of a photograph's LEDs.
struct LedsExpected {
  double pitch;    ///< as in Expectation
  double scatter;  ///< as in Search
  cv::Mat1b lit;   ///< as in Search
  std::optional<KnownSpot> spot;
};

/// The luminance of dark LEDs over that of lit ones, from those that no lit one is near; 0 where
/// there are none.
double GlowOf(const cv::Mat1d& cells, double background, double level, const cv::Mat1b& lit) {
  constexpr int kNear = 3;  // LEDs; the widest spot that can be un-mixed has faded there
  cv::Mat1b reached;
  cv::dilate(lit, reached, cv::Mat1b(2 * kNear + 1, 2 * kNear + 1, std::uint8_t{1}));
  const std::vector<double> dark = Where(cells, cv::Mat1b(reached == 0));
  return dark.empty() ? 0.0 : std::max(MedianOf(dark) - background, 0.0) / level;
}

/// The degrees of freedom of the pixels in all blocks' views.
double FreedomIn(const Search& s) {
  double freedom = 0;
  for (const Block& block : s.blocks) {
    freedom += cv::countNonZero(ViewOf(s.grid, block, s.photo.size()).mask) - block.inner.area();
  }
  return freedom;
}

/// Searches for the spots of LEDs on an outlined grid whose cells have sides of `cellSide`.
std::optional<Ended> Searched(const Resolutions& resolutions, const Outlined& outlined,
                              double cellSide, const LedsExpected& expected) {
  const cv::Mat1f& photo = resolutions.fine;
  const int binning = resolutions.binning;
  const Grid& grid = outlined.grid;
  const cv::Mat1d cells = CellMeans(resolutions.coarse, CentersOf(grid.Binned(binning)));
  const bool allLit = expected.lit.empty();
  const double level = MedianOf(allLit ? std::vector<double>(cells.begin(), cells.end())
                                       : Where(cells, expected.lit)) -
                       outlined.background;
  const std::vector<Block> blocks =
      allLit ? SpreadBlocks(grid.Leds()) : SpreadBlocksAtEdges(expected.lit);
  const double noise = SensorNoise(photo, grid, blocks);
  // Near its own noise, a photograph shows no spots to learn from. All light of a cell is on the
  // place of one LED.
  constexpr double kFaintest = 4.0;
  if (!(level * std::pow(cellSide / expected.pitch, 2) > kFaintest * noise)) return std::nullopt;
  Search s{photo,
           blocks,
           cells,
           grid,
           {},
           kEmitter * expected.pitch,
           kEmitterSpread * expected.pitch,
           expected.pitch,
           cellSide,
           outlined.background,
           level,
           0.01 * level,
           0.01 * level,
           expected.scatter,
           expected.lit,
           allLit ? 0.0 : GlowOf(cells, outlined.background, level, expected.lit),
           expected.spot};
  if (binning > 1) {
    FindSpotCoarsely(resolutions.coarse, binning, noise, s);
    Finish(s);
  } else {
    FindSpot(noise, s);
  }
  const double found = SensorNoise(photo, s.grid, s.blocks);
  const double freedom = FreedomIn(s);
  return Ended{std::move(s), found, freedom};
}

/// LEDs of the blocks over those that are counted where blocks overlap. What overlapping blocks say
/// is not said twice.
double OnceShare(const std::vector<Block>& blocks) {
  cv::Rect all;
  double counted = 0;
  for (const Block& block : blocks) {
    all |= block.inner;
    counted += block.inner.area();
  }
  cv::Mat1b seen(all.br().y, all.br().x, std::uint8_t{0});
  for (const Block& block : blocks) seen(block.inner) = 255;
  return cv::countNonZero(seen) / counted;
}

}  // namespace

Outlined OutlinedOf(const cv::Mat1f& photo, const Grid& given) {
  Grid grid = given;
  AlignOutline(photo, BackgroundOf(photo, grid), grid);
  return {grid, BackgroundOf(photo, grid)};
}

std::optional<Estimate> EstimateOf(const Resolutions& resolutions, const Expectation& expected) {
  const Outlined outlined = OutlinedOf(resolutions.fine, expected.grid);
  const std::optional<Ended> ended = Searched(resolutions, outlined, expected.grid.Pitch(),
                                              {expected.pitch, kScatter, {}, expected.spot});
  if (!ended) return std::nullopt;
  const Search& s = ended->search;
  return Estimate{s.grid,
                  outlined.grid,
                  s.spot,
                  s.field,
                  s.emitter,
                  outlined.background,
                  s.noise,
                  s.litNoise,
                  ended->noise,
                  ended->freedom,
                  SmallestGain(s.blocks)};
}

std::optional<SpotEstimate> SpotEstimateOf(const Resolutions& resolutions, const Outlined& outlined,
                                           double pitch, const cv::Mat1b& lit) {
  // LEDs far from each other need no help from what is expected of them.
  constexpr double kAnyScatter = 1.0;
  const double scatter = lit.empty() ? kAnyScatter : kScatter;
  const std::optional<Ended> ended =
      Searched(resolutions, outlined, outlined.grid.Pitch(), {pitch, scatter, lit, {}});
  if (!ended) return std::nullopt;
  Search s = ended->search;
  s.fieldSpread = s.field.IsConstant() ? 0.0 : kFieldSpread;
  SpotEstimate found;
  found.known = {s.spot.variance, s.spot.diskSquared, s.emitter, s.field.terms,
                 SpotInformation(SystemOf(ForBlocks(s, true), s), s) * OnceShare(s.blocks)};
  found.spot = s.spot;
  for (const Block& block : s.blocks) {
    const cv::Point2d moved = s.grid.Moved(block.Middle().x, block.Middle().y);
    found.move = std::max({found.move, std::abs(moved.x), std::abs(moved.y)});
  }
  found.residual = s.noise;
  found.noise = ended->noise;
  return found;
}

}  // namespace dravix::lab::unmix
