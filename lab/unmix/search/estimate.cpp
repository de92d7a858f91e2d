// First the outline puts the grid in its place. Then some spots are tried, and the one that fits
// best starts an iteration (Gauss-Newton) over spot and grid together. The LEDs' luminances are no
// unknowns of this fit; every block eliminates its own.
#include "lab/unmix/search/estimate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/core/utility.hpp>
#include <optional>

#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/outline.h"
#include "lab/unmix/search/search.h"
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
constexpr double kEmitterSpread = 0.1;         ///< about kEmitter, pitches
constexpr double kFirstEmitterSpread = 0.003;  ///< the same before the search has settled
/// What is expected of the field's terms: a spot that is this much wider at an edge.
constexpr double kFieldSpread = 0.3;
/// The gain that a changing spot must bring, in units of the smallest one that is worth a step. Its
/// five terms gain some two of these from noise alone.
constexpr double kFieldGain = 20;
/// What is expected of LEDs while the spot is unknown: a scatter of 10 % about smoothed cells.
constexpr double kScatter = 0.1;
constexpr double kSmoothing = 2.0;  ///< LEDs: sigma of the smoothed level
constexpr int kSmoothingReach = 5;  ///< LEDs
/// What the LEDs of a block are expected to be, over the background.
cv::Mat1d ExpectedLevels(const Search& s, const cv::Mat1d& response, const Block& block) {
  const int margin = response.rows / 2 + kSmoothingReach;
  const cv::Rect window = cv::Rect(block.leds.x - margin, block.leds.y - margin,
                                   block.leds.width + 2 * margin, block.leds.height + 2 * margin) &
                          cv::Rect(cv::Point(0, 0), s.cells.size());
  const cv::Mat1d levels =
      Smoothed(CoveredLevels(s.cells(window).clone(), s.background, response), kSmoothing);
  return levels(block.leds - window.tl()).clone();
}

TriedSpot Tabulated(const SpotModel& model, bool derivatives) {
  return {model.Spot(), derivatives ? model.SpotDerivatives() : SpotModel::Derivatives{}};
}

/// One set of equations per block, or, without derivatives, only how well the blocks are fitted.
std::vector<BlockEquations> ForBlocks(const Search& s, bool derivatives) {
  const SpotModel mean(s.spot, s.emitter);
  const cv::Mat1d response = mean.CellResponse(s.pitch);
  const double lambda = std::pow(s.noise / (kScatter * s.level), 2);
  const bool varies = !s.field.IsConstant();
  const TriedSpot common = varies ? TriedSpot{} : Tabulated(mean, derivatives);
  std::vector<BlockEquations> equations(s.blocks.size());
  const auto fit = [&](const Block& block, const TriedSpot& spot) {
    const cv::Mat1d levels = ExpectedLevels(s, response, block);
    const Trial trial{s.photo, s.grid, spot, s.background, lambda, levels};
    return derivatives ? EquationsOf(trial, block) : FitOf(trial, block);
  };
  cv::parallel_for_(
      cv::Range(0, static_cast<int>(s.blocks.size())),
      [&](const cv::Range& range) {
        for (auto i = static_cast<std::size_t>(range.start);
             i < static_cast<std::size_t>(range.end); ++i) {
          const Block& block = s.blocks[i];
          if (!varies) {
            equations[i] = fit(block, common);
            continue;
          }
          const double growth = s.field.GrowthAt(s.grid, block.Middle().x, block.Middle().y);
          const SpotModel own(Grown(s.spot, growth), s.emitter);
          equations[i] = fit(block, Tabulated(own, derivatives));
        }
      },
      static_cast<double>(s.blocks.size()));
  return equations;
}

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

/// The degrees of freedom that are left in a block's pixels.
double FreedomOf(const BlockEquations& e, const Block& block) {
  return e.pixels - block.inner.area();
}

/// The standard deviation of what is left over in all blocks, or in those inside the screen alone.
double ResidualOf(const std::vector<BlockEquations>& equations, const std::vector<Block>& blocks,
                  bool insideAlone) {
  double squares = 0;
  double freedom = 0;
  for (std::size_t i = 0; i < equations.size(); ++i) {
    if (insideAlone && blocks[i].atBorder) continue;
    squares += equations[i].squares;
    freedom += FreedomOf(equations[i], blocks[i]);
  }
  if (insideAlone && freedom <= 0) return ResidualOf(equations, blocks, false);
  return std::sqrt(squares / std::max(freedom, 1.0));
}

/// A state of the search that was tried, and its equations.
struct Tried {
  Search state;
  System system;
  std::vector<BlockEquations> equations;
};

bool IsEmitterFree(const Search& s) { return s.emitterSpread == kEmitterSpread * s.pitch; }

double FreedomOf(const std::vector<BlockEquations>& equations, const std::vector<Block>& blocks) {
  double freedom = 0;
  for (std::size_t i = 0; i < blocks.size(); ++i) freedom += FreedomOf(equations[i], blocks[i]);
  return freedom;
}

/// Whether a fit with that noise is as good as the best so far, by far less than the LEDs' own
/// noise can tell.
bool IsAsGood(const Search& s, const Tried& best) {
  const double gain =
      FreedomOf(best.equations, s.blocks) * (1.0 - std::pow(s.noise / best.state.noise, 2));
  return std::abs(gain) < SmallestGain(s.blocks);
}

/// Gauss-Newton, damped where a whole step has made the fit worse (Levenberg-Marquardt). Until it
/// has settled, the emitter stays as expected: far from the spot it would only make up for other
/// errors and lead astray. Returns the equations of the best state, which `s` is then.
std::vector<BlockEquations> Iterate(Search& s, int iterations) {
  constexpr double kFirstDamping = 1e-3;
  constexpr double kMostDamping = 10;
  constexpr double kStronger = 20;
  // How the emitter changes the spot is not linear, and behind a Gaussian nothing else tells where
  // it should stop; whole steps would go too far and back.
  const auto leastDamping = [&] { return IsEmitterFree(s) ? kFirstDamping : 0.0; };
  std::optional<Tried> best;
  double damping = leastDamping();
  for (int i = 0; i < iterations; ++i) {
    const auto equations = ForBlocks(s, true);
    s.noise = ResidualOf(equations, s.blocks, false);
    s.litNoise = ResidualOf(equations, s.blocks, true);
    const bool level = best && IsAsGood(s, *best);
    if (!best || s.noise < best->state.noise) {
      best.reset();
      best.emplace(Tried{s, SystemOf(equations, s), equations});
      damping = std::max(leastDamping(), damping < kFirstDamping ? 0.0 : damping / kStronger);
    } else {
      damping = std::max(kFirstDamping, damping * kStronger);
    }
    s.Restore(best->state);
    const cv::Mat1d longest = StepOf(best->system, s.spot, leastDamping());
    if (level || damping > kMostDamping || IsNegligible(longest, best->system, s)) {
      if (IsEmitterFree(s) || i + 1 == iterations) break;
      s.emitterSpread = kEmitterSpread * s.pitch;
      best->system = SystemOf(best->equations, s);
      damping = leastDamping();
    }
    Take(StepOf(best->system, s.spot, damping), s);
  }
  s.Restore(best->state);
  return best->equations;
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

/// A few rounds from the best mixed spot. Where these do not end near the sensor's noise, the same
/// from the best disk. Then the rest from the better.
void FindSpot(double noise, Search& s) {
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
           s.background,
           s.level,
           s.noise,
           s.litNoise};
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

double MedianOf(const cv::Mat1d& values) {
  std::vector<double> sorted(values.begin(), values.end());
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  return *middle;
}

}  // namespace

std::optional<Estimate> EstimateOf(const Resolutions& resolutions, const Grid& given) {
  const cv::Mat1f& photo = resolutions.fine;
  const int binning = resolutions.binning;
  Grid grid = given;
  AlignOutline(photo, BackgroundOf(photo, grid), grid);
  const double background = BackgroundOf(photo, grid);
  const cv::Mat1d cells = CellMeans(resolutions.coarse, CentersOf(grid.Binned(binning)));
  const double level = MedianOf(cells) - background;
  const std::vector<Block> blocks = SpreadBlocks(grid.Leds());
  const double noise = SensorNoise(photo, grid, blocks);
  // Near its own noise, a photograph shows no spots to learn from.
  constexpr double kFaintest = 4.0;
  if (!(level > kFaintest * noise)) return std::nullopt;
  Search s{photo,
           blocks,
           cells,
           grid,
           {},
           kEmitter * given.Pitch(),
           kEmitterSpread * given.Pitch(),
           given.Pitch(),
           background,
           level,
           0.01 * level,
           0.01 * level};
  if (binning > 1) {
    FindSpotCoarsely(resolutions.coarse, binning, noise, s);
    Finish(s);
  } else {
    FindSpot(noise, s);
  }
  return Estimate{s.grid,  grid,       s.spot,
                  s.field, s.emitter,  background,
                  s.noise, s.litNoise, SensorNoise(photo, s.grid, s.blocks)};
}

}  // namespace dravix::lab::unmix
