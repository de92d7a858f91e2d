// First the outline puts the grid in its place. Then a few widths of the spot are tried, and the
// one that fits best starts an iteration (Gauss-Newton) over spot and grid together: each block
// says how spot, grid and background should change there, and a least-squares fit over all blocks
// turns this into two changes of the spot and twenty coefficients of the grid. The LEDs' luminances
// are no unknowns of this fit; every block eliminates its own.
#include "lab/unmix/estimate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/core/utility.hpp>
#include <optional>

#include "lab/unmix/cell_means.h"
#include "lab/unmix/cholesky.h"
#include "lab/unmix/outline.h"
#include "lab/unmix/sensor_noise.h"

namespace dravix::lab::unmix {
namespace {

/// What is expected of the emitter's side, over the pitch. Behind a Gaussian it can hardly be seen
/// and need not be known, because the Gaussian's variance makes up for it; at the sharp edges of a
/// disk it matters and shows.
constexpr double kEmitter = 0.3;
constexpr double kEmitterSpread = 0.1;
constexpr double kSmallestEmitter = 0.05;
constexpr double kLargestEmitter = 0.9;
/// Spots that are tried first, root of variance over pitch.
constexpr std::array kFirstSpots = {0.25, 0.4, 0.55, 0.75};
constexpr int kMostIterations = 14;
constexpr double kSmallestVariance = 0.05;  // pixels^2
/// What is expected of LEDs while the spot is unknown: a scatter of 10 % about smoothed cells.
constexpr double kScatter = 0.1;
/// A block's background may differ from that of the ring by this share of the level.
constexpr double kBackgroundSpread = 0.02;
/// Expected size of the polynomial's coefficients, in pitches, by their degree.
constexpr std::array kMoves = {0.3, 0.3, 0.15, 0.1};

constexpr int kSpotUnknowns = 3;
constexpr int kBlockUnknowns = BlockEquations::kUnknowns - 1;  // without the background
constexpr auto kGridTerms = static_cast<int>(Grid::kTerms);
constexpr int kUnknowns = kSpotUnknowns + 2 * kGridTerms;

/// The state of the search.
struct Search {
  const cv::Mat1f& photo;
  std::vector<Block> blocks;
  cv::Mat1d cells;  ///< cell means where the LEDs were before the search
  Grid grid;
  SpotShape spot;
  double emitter;  ///< side, pixels
  double pitch;    ///< pixels
  double background;
  double level;     ///< median of the cells over the background
  double noise;     ///< standard deviation of a pixel
  double litNoise;  ///< the same inside the screen, where light brings its own noise

  /// Takes over what the search changes.
  void Restore(const Search& other) {
    grid = other.grid;
    spot = other.spot;
    emitter = other.emitter;
    noise = other.noise;
    litNoise = other.litNoise;
  }
};

cv::Mat1d ExpectedLevels(const Search& s, const SpotModel& model) {
  return Smoothed(CoveredLevels(s.cells, s.background, model.CellResponse(s.pitch)), 2.0);
}

using BlockFunction = BlockEquations (*)(const Trial&, const Block&);

/// One set of equations per block.
std::vector<BlockEquations> ForBlocks(const Search& s, const TriedSpot& spot,
                                      const SpotModel& model, BlockFunction function) {
  const cv::Mat1d levels = ExpectedLevels(s, model);
  const double lambda = std::pow(s.noise / (kScatter * s.level), 2);
  const Trial trial{s.photo, s.grid, spot, s.background, lambda, levels};
  std::vector<BlockEquations> equations(s.blocks.size());
  cv::parallel_for_(
      cv::Range(0, static_cast<int>(s.blocks.size())),
      [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i) {
          const auto at = static_cast<std::size_t>(i);
          equations[at] = function(trial, s.blocks[at]);
        }
      },
      static_cast<double>(s.blocks.size()));
  return equations;
}

double CostOf(const Search& s) {
  const SpotModel model(s.spot, s.emitter);
  const TriedSpot spot{model.Spot(), {}};
  double cost = 0;
  for (const BlockEquations& e : ForBlocks(s, spot, model, FitOf)) cost += e.cost;
  return cost;
}

/// Half disk, half Gaussian.
SpotShape MixedSpot(double rootVariance) {
  const double variance = rootVariance * rootVariance;
  return {variance, 0.25 * variance * variance};
}

void StartWithBestSpot(Search& s) {
  double best = 0;
  SpotShape bestSpot;
  for (const double width : kFirstSpots) {
    s.spot = MixedSpot(width * s.pitch);
    const double cost = CostOf(s);
    // The cost falls toward the true width and rises beyond it.
    if (width != kFirstSpots.front() && cost >= best) break;
    best = cost;
    bestSpot = s.spot;
  }
  s.spot = bestSpot;
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

/// Normal equations for all unknowns: variance, diskSquared, emitter, and the grid's terms along x
/// and y.
struct System {
  cv::Mat1d normal{cv::Size(kUnknowns, kUnknowns), 0.0};
  cv::Mat1d gradient{cv::Size(kUnknowns, 1), 0.0};
  [[nodiscard]] System Copy() const { return {normal.clone(), gradient.clone()}; }
};

/// A block's equations without its background, which is known from the ring within its spread.
/// Inside the screen there is no dark to tell it from, and the ring's is taken.
struct Reduced {
  cv::Matx<double, kBlockUnknowns, kBlockUnknowns> normal;
  cv::Vec<double, kBlockUnknowns> gradient;
};

Reduced WithoutBackground(const BlockEquations& e, const Block& block, const Search& s) {
  constexpr int kBackground = kBlockUnknowns;
  const double perVariance = 1.0 / (s.noise * s.noise);
  const double prior = 1.0 / std::pow(kBackgroundSpread * s.level, 2);
  const double own = e.normal(kBackground, kBackground) * perVariance + prior;
  const double seen = block.atBorder ? perVariance * perVariance / own : 0.0;
  Reduced reduced;
  for (int i = 0; i < kBlockUnknowns; ++i) {
    const double with = e.normal(i, kBackground) * seen;
    reduced.gradient[i] = e.gradient[i] * perVariance - with * e.gradient[kBackground];
    for (int j = 0; j < kBlockUnknowns; ++j) {
      reduced.normal(i, j) = e.normal(i, j) * perVariance - with * e.normal(kBackground, j);
    }
  }
  return reduced;
}

/// How a block's unknowns depend on those of the system.
cv::Mat1d Dependence(const Grid& grid, const Block& block) {
  cv::Mat1d depends(kBlockUnknowns, kUnknowns, 0.0);
  for (int i = 0; i < kSpotUnknowns; ++i) depends(i, i) = 1;
  const Grid::Terms terms = grid.TermsAt(block.Middle().x, block.Middle().y);
  for (int i = 0; i < kGridTerms; ++i) {
    const double term = terms.at(static_cast<std::size_t>(i));
    depends(kSpotUnknowns, kSpotUnknowns + i) = term;
    depends(kSpotUnknowns + 1, kSpotUnknowns + kGridTerms + i) = term;
  }
  return depends;
}

void AddPrior(const Search& s, System& system) {
  const double emitterWeight = 1.0 / std::pow(kEmitterSpread * s.pitch, 2);
  system.normal(2, 2) += emitterWeight;
  system.gradient(0, 2) += emitterWeight * (kEmitter * s.pitch - s.emitter);
  for (int i = 0; i < kGridTerms; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const auto degree = static_cast<std::size_t>(Grid::Degrees().at(at));
    const double weight = 1.0 / std::pow(kMoves.at(degree) * s.pitch, 2);
    const int x = kSpotUnknowns + i;
    const int y = x + kGridTerms;
    system.normal(x, x) += weight;
    system.normal(y, y) += weight;
    system.gradient(0, x) -= weight * s.grid.X().at(at);
    system.gradient(0, y) -= weight * s.grid.Y().at(at);
  }
}

System SystemOf(const std::vector<BlockEquations>& equations, const Search& s) {
  System system;
  for (std::size_t i = 0; i < equations.size(); ++i) {
    const Reduced reduced = WithoutBackground(equations[i], s.blocks[i], s);
    const cv::Mat1d depends = Dependence(s.grid, s.blocks[i]);
    system.normal += depends.t() * cv::Mat(reduced.normal) * depends;
    system.gradient += cv::Mat(reduced.gradient).t() * depends;
  }
  AddPrior(s, system);
  return system;
}

/// The step on which diskSquared changes by `slope` times the change of variance.
cv::Mat1d StepAlong(System system, double slope) {
  system.normal.row(0) += slope * system.normal.row(1);
  system.normal.col(0) += slope * system.normal.col(1);
  system.gradient(0, 0) += slope * system.gradient(0, 1);
  system.normal.row(1) = 0.0;
  system.normal.col(1) = 0.0;
  system.normal(1, 1) = 1.0;
  system.gradient(0, 1) = 0.0;
  cv::Mat1d step = Cholesky(system.normal).SolveRows(system.gradient);
  step(0, 1) = slope * step(0, 0);
  return step;
}

double DiskLimit(const SpotShape& spot) {
  return std::pow(std::max(spot.variance - kSmallestVariance, 0.0), 2);
}

/// The step of the normal equations. Where it would leave the spots that exist, which lie between
/// none and all of the variance in the disk, it is a step along that border.
cv::Mat1d AllowedStep(const System& system, const SpotShape& spot) {
  const double share = spot.diskSquared / (spot.variance * spot.variance);
  const bool isGaussian = share <= 1e-6;
  const bool isDisk = spot.diskSquared >= 0.999 * DiskLimit(spot);
  cv::Mat1d step = Cholesky(system.normal).SolveRows(system.gradient);
  const double slope = isDisk ? 2.0 * (spot.variance - kSmallestVariance) : 0.0;
  const bool leaves = (isGaussian && step(0, 1) < 0) || (isDisk && step(0, 1) > slope * step(0, 0));
  return leaves ? StepAlong(system.Copy(), slope) : step;
}

/// The farthest move of a block's middle along an axis, pixels.
double FarthestMove(const Search& s, const cv::Mat1d& step) {
  double farthest = 0;
  for (const Block& block : s.blocks) {
    const Grid::Terms terms = s.grid.TermsAt(block.Middle().x, block.Middle().y);
    double x = 0;
    double y = 0;
    for (int i = 0; i < kGridTerms; ++i) {
      x += terms.at(static_cast<std::size_t>(i)) * step(0, kSpotUnknowns + i);
      y += terms.at(static_cast<std::size_t>(i)) * step(0, kSpotUnknowns + kGridTerms + i);
    }
    farthest = std::max({farthest, std::abs(x), std::abs(y)});
  }
  return farthest;
}

/// Takes the step, or the part of it over which the equations can be trusted. Answers whether it
/// was so small that the search has ended.
bool Take(const cv::Mat1d& step, Search& s) {
  const SpotShape before = s.spot;
  const double emitterBefore = s.emitter;
  const double move = FarthestMove(s, step);
  double part = 1.0;
  part = std::min(part, 0.4 * before.variance / std::max(std::abs(step(0, 0)), 1e-12));
  part = std::min(part, 0.25 * s.pitch / std::max(move, 1e-12));

  const double squared = before.variance * before.variance;
  s.spot.variance = std::max(before.variance + part * step(0, 0), kSmallestVariance);
  s.spot.diskSquared = std::clamp(
      before.diskSquared + std::clamp(part * step(0, 1), -0.35 * squared, 0.35 * squared), 0.0,
      DiskLimit(s.spot));
  s.emitter =
      std::clamp(emitterBefore + std::clamp(part * step(0, 2), -0.1 * s.pitch, 0.1 * s.pitch),
                 kSmallestEmitter * s.pitch, kLargestEmitter * s.pitch);
  for (int i = 0; i < kGridTerms; ++i) {
    s.grid.X().at(static_cast<std::size_t>(i)) += part * step(0, kSpotUnknowns + i);
    s.grid.Y().at(static_cast<std::size_t>(i)) += part * step(0, kSpotUnknowns + kGridTerms + i);
  }
  return std::abs(s.spot.variance - before.variance) < 1e-3 * before.variance &&
         std::abs(s.spot.diskSquared - before.diskSquared) < 0.01 * squared &&
         std::abs(s.emitter - emitterBefore) < 0.01 * s.pitch && move < 0.002 * s.pitch;
}

/// A state of the search that was tried, and where to go from it.
struct Tried {
  Search state;
  cv::Mat1d step;
};

/// Gauss-Newton, with shorter steps where a whole one has made the fit worse. That happens on small
/// screens, on which the grid's polynomial bends within a block while a block only asks for a move.
void Iterate(Search& s) {
  constexpr double kShorter = 0.3;
  constexpr double kShortest = 0.02;
  std::optional<Tried> best;
  double part = 1.0;
  for (int i = 0; i < kMostIterations; ++i) {
    const SpotModel model(s.spot, s.emitter);
    const TriedSpot spot{model.Spot(), model.SpotDerivatives()};
    const auto equations = ForBlocks(s, spot, model, EquationsOf);
    s.noise = ResidualOf(equations, s.blocks, false);
    s.litNoise = ResidualOf(equations, s.blocks, true);
    if (!best || s.noise < best->state.noise) {
      best.reset();
      best.emplace(Tried{s, AllowedStep(SystemOf(equations, s), s.spot)});
    } else {
      part *= kShorter;
    }
    s.Restore(best->state);
    if (part < kShortest || Take(cv::Mat1d(best->step * part), s)) break;
  }
  s.Restore(best->state);
}

double MedianOf(const cv::Mat1d& values) {
  std::vector<double> sorted(values.begin(), values.end());
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  return *middle;
}

}  // namespace

std::optional<Estimate> EstimateOf(const cv::Mat1f& photo, const Grid& given) {
  Grid grid = given;
  AlignOutline(photo, BackgroundOf(photo, grid), grid);
  const double background = BackgroundOf(photo, grid);
  const cv::Mat1d cells = CellMeans(photo, CentersOf(grid));
  const double level = MedianOf(cells) - background;
  const std::vector<Block> blocks = SpreadBlocks(grid.Leds());
  const double noise = SensorNoise(photo, grid, blocks);
  // Near its own noise, a photograph shows no spots to learn from.
  constexpr double kFaintest = 4.0;
  if (!(level > kFaintest * noise)) return std::nullopt;
  Search s{photo,         blocks,     cells, grid,         {},          kEmitter * given.Pitch(),
           given.Pitch(), background, level, 0.01 * level, 0.01 * level};
  StartWithBestSpot(s);
  Iterate(s);
  return Estimate{s.grid,
                  s.spot,
                  s.emitter,
                  background,
                  s.noise,
                  s.litNoise,
                  SensorNoise(photo, s.grid, s.blocks)};
}

}  // namespace dravix::lab::unmix
