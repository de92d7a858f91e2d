// Gauss-Newton over spot and grid together, damped where a whole step has made the fit worse
// (Levenberg-Marquardt). The LEDs' luminances are no unknowns of it; every block eliminates its
// own.
#include "lab/unmix/search/descent.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core/utility.hpp>
#include <optional>

#include "lab/unmix/search/cell_means.h"

namespace dravix::lab::unmix {
namespace {

constexpr double kLevelSmoothing = 2.0;  ///< LEDs: sigma of the smoothed level
constexpr int kLevelReach = 5;           ///< LEDs

/// What LEDs are expected to be where some are dark.
cv::Mat1d PatternLevels(const Search& s, const cv::Mat1d& cells, const cv::Mat1d& response,
                        const cv::Rect& window) {
  cv::Mat1d isLit;
  s.lit(window).convertTo(isLit, CV_64F, 1.0 / 255);
  const cv::Mat1d levels = LitLevels(cells, s.background, response, isLit, kLevelSmoothing);
  const cv::Mat1d share(isLit + s.glow * (1.0 - isLit));
  return cv::Mat1d(levels.mul(share));
}

/// What the LEDs of a block are expected to be, over the background.
cv::Mat1d ExpectedLevels(const Search& s, const cv::Mat1d& response, const Block& block) {
  const int margin = response.rows / 2 + kLevelReach;
  const cv::Rect window = cv::Rect(block.leds.x - margin, block.leds.y - margin,
                                   block.leds.width + 2 * margin, block.leds.height + 2 * margin) &
                          cv::Rect(cv::Point(0, 0), s.cells.size());
  const cv::Mat1d cells = s.cells(window).clone();
  const cv::Mat1d levels =
      s.lit.empty() ? Smoothed(CoveredLevels(cells, s.background, response), kLevelSmoothing)
                    : PatternLevels(s, cells, response, window);
  return levels(block.leds - window.tl()).clone();
}

TriedSpot Tabulated(const SpotModel& model, bool derivatives) {
  return {model.Spot(), derivatives ? model.SpotDerivatives() : SpotModel::Derivatives{}};
}

/// The degrees of freedom that are left in a block's pixels.
double FreedomOf(const BlockEquations& e, const Block& block) {
  return e.pixels - block.inner.area();
}

/// A state of the search that was tried, and its equations.
struct Tried {
  Search state;
  System system;
  std::vector<BlockEquations> equations;
};

bool IsEmitterFree(const Search& s) { return s.emitterSpread == kEmitterSpread * s.pitch; }

/// Whether a fit with that noise is as good as the best so far, by far less than the LEDs' own
/// noise can tell.
bool IsAsGood(const Search& s, const Tried& best) {
  const double gain =
      FreedomOf(best.equations, s.blocks) * (1.0 - std::pow(s.noise / best.state.noise, 2));
  return std::abs(gain) < SmallestGain(s.blocks);
}

}  // namespace

std::vector<BlockEquations> ForBlocks(const Search& s, bool derivatives) {
  const SpotModel mean(s.spot, s.emitter);
  const cv::Mat1d response = mean.CellResponse(s.cellSide);
  const double lambda = std::pow(s.noise / (s.scatter * s.level), 2);
  const bool varies = !s.field.IsConstant();
  const TriedSpot common = varies ? TriedSpot{} : Tabulated(mean, derivatives);
  std::vector<BlockEquations> equations(s.blocks.size());
  const auto fit = [&](const Block& block, const TriedSpot& spot) {
    const cv::Mat1d levels = ExpectedLevels(s, response, block);
    const Trial trial{s.photo,
                      s.grid,
                      spot,
                      s.background,
                      lambda,
                      levels,
                      s.lit.empty() ? cv::Mat1b() : s.lit(block.leds)};
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

double FreedomOf(const std::vector<BlockEquations>& equations, const std::vector<Block>& blocks) {
  double freedom = 0;
  for (std::size_t i = 0; i < blocks.size(); ++i) freedom += FreedomOf(equations[i], blocks[i]);
  return freedom;
}

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

}  // namespace dravix::lab::unmix
