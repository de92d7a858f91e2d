// Each block says how spot, grid and background should change there, and how the grid should turn
// and stretch. A least-squares fit over all blocks turns this into changes of the spot and of the
// grid's twenty coefficients.
#include "lab/unmix/search/search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "lab/unmix/search/cholesky.h"

namespace dravix::lab::unmix {
namespace {

constexpr double kSmallestEmitter = 0.05;
constexpr double kLargestEmitter = 0.9;
/// A block's background may differ from that of the ring by this share of the level.
constexpr double kBackgroundSpread = 0.02;
/// Expected size of the polynomial's coefficients, in pitches, by their degree.
constexpr std::array kMoves = {0.3, 0.3, 0.15, 0.1};

constexpr int kSpotUnknowns = 3;
constexpr int kBlockUnknowns = BlockEquations::kUnknowns - 1;  // without the background
constexpr auto kGridTerms = static_cast<int>(Grid::kTerms);
constexpr int kField = kSpotUnknowns + 2 * kGridTerms;
constexpr auto kFieldTerms = static_cast<int>(SpotField::kTerms);
constexpr int kUnknowns = kField + kFieldTerms;

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
cv::Mat1d Dependence(const Search& s, const Block& block) {
  cv::Mat1d depends(kBlockUnknowns, kUnknowns, 0.0);
  const Grid& grid = s.grid;
  const cv::Point2d at = block.Middle();
  const double growth = s.field.GrowthAt(grid, at.x, at.y);
  const double area = growth * growth;
  depends(0, 0) = area;
  depends(1, 1) = area * area;
  depends(2, 2) = 1;
  const SpotField::Terms ofField = SpotField::TermsAt(grid, at.x, at.y);
  for (std::size_t i = 0; i < SpotField::kTerms; ++i) {
    const int column = kField + static_cast<int>(i);
    depends(0, column) = 2.0 * growth * s.spot.variance * ofField.at(i);
    depends(1, column) = 4.0 * growth * area * s.spot.diskSquared * ofField.at(i);
  }
  const Grid::Terms here = grid.TermsAt(at.x, at.y);
  const Grid::Terms left = grid.TermsAt(at.x - 0.5, at.y);
  const Grid::Terms right = grid.TermsAt(at.x + 0.5, at.y);
  const Grid::Terms above = grid.TermsAt(at.x, at.y - 0.5);
  const Grid::Terms below = grid.TermsAt(at.x, at.y + 0.5);
  for (std::size_t i = 0; i < Grid::kTerms; ++i) {
    const int x = kSpotUnknowns + static_cast<int>(i);
    const int y = x + kGridTerms;
    depends(3, x) = depends(4, y) = here.at(i);
    depends(5, x) = depends(7, y) = right.at(i) - left.at(i);
    depends(6, x) = depends(8, y) = below.at(i) - above.at(i);
  }
  return depends;
}

/// Where a spot's number is among the unknowns.
int UnknownOf(int number) {
  return number < kSpotUnknowns ? number : kField + number - kSpotUnknowns;
}

using SpotNumbers = std::array<double, KnownSpot::kNumbers>;

/// How far the spot of the search is from the known one.
SpotNumbers DepartureOf(const Search& s) {
  SpotNumbers departure = {s.spot.variance - s.known->variance,
                           s.spot.diskSquared - s.known->diskSquared, s.emitter - s.known->emitter};
  for (std::size_t i = 0; i < SpotField::kTerms; ++i) {
    departure.at(kSpotUnknowns + i) = s.field.terms.at(i) - s.known->widening.at(i);
  }
  return departure;
}

void AddKnownSpot(const Search& s, System& system) {
  const SpotNumbers departure = DepartureOf(s);
  for (int i = 0; i < KnownSpot::kNumbers; ++i) {
    for (int j = 0; j < KnownSpot::kNumbers; ++j) {
      const double information = s.known->information(i, j);
      system.normal(UnknownOf(i), UnknownOf(j)) += information;
      system.gradient(0, UnknownOf(i)) -= information * departure.at(static_cast<std::size_t>(j));
    }
  }
}

void AddPrior(const Search& s, System& system) {
  if (s.known) {
    AddKnownSpot(s, system);
  } else {
    const double emitterWeight = 1.0 / (s.emitterSpread * s.emitterSpread);
    system.normal(2, 2) += emitterWeight;
    system.gradient(0, 2) += emitterWeight * (kEmitter * s.pitch - s.emitter);
  }
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

/// While the field is to stay as it is, its terms are no unknowns: their step is exactly 0.
void AddFieldPrior(const Search& s, System& system) {
  for (int i = kField; i < kUnknowns; ++i) {
    if (s.fieldSpread == 0) {
      system.normal.row(i) = 0.0;
      system.normal.col(i) = 0.0;
      system.normal(i, i) = 1.0;
      system.gradient(0, i) = 0.0;
      continue;
    }
    const double weight = 1.0 / std::pow(s.fieldSpread, 2);
    system.normal(i, i) += weight;
    system.gradient(0, i) -= weight * s.field.terms.at(static_cast<std::size_t>(i - kField));
  }
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

}  // namespace

double LargestDiskSquared(double variance) {
  return std::pow(std::max(variance - kSmallestVariance, 0.0), 2);
}

System SystemOf(const std::vector<BlockEquations>& equations, const Search& s) {
  System system{cv::Mat1d(kUnknowns, kUnknowns, 0.0), cv::Mat1d(1, kUnknowns, 0.0)};
  for (std::size_t i = 0; i < equations.size(); ++i) {
    const Reduced reduced = WithoutBackground(equations[i], s.blocks[i], s);
    const cv::Mat1d depends = Dependence(s, s.blocks[i]);
    system.normal += depends.t() * cv::Mat(reduced.normal) * depends;
    system.gradient += cv::Mat(reduced.gradient).t() * depends;
  }
  AddPrior(s, system);
  AddFieldPrior(s, system);
  return system;
}

cv::Matx<double, KnownSpot::kNumbers, KnownSpot::kNumbers> SpotInformation(const System& system,
                                                                           const Search& s) {
  // The normal equations' Schur complement after the places are eliminated.
  const cv::Mat1d ofGrid =
      system.normal(cv::Rect(kSpotUnknowns, kSpotUnknowns, 2 * kGridTerms, 2 * kGridTerms));
  const cv::Mat1d both = system.normal.rowRange(kSpotUnknowns, kField);
  const cv::Mat1d solved = Cholesky(ofGrid).SolveRows(cv::Mat1d(both.t()));
  const cv::Mat1d left(system.normal - solved * both);
  cv::Matx<double, KnownSpot::kNumbers, KnownSpot::kNumbers> information;
  const int count = s.fieldSpread == 0 ? kSpotUnknowns : KnownSpot::kNumbers;
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) information(i, j) = left(UnknownOf(i), UnknownOf(j));
  }
  return information;
}

cv::Mat1d StepOf(const System& system, const SpotShape& spot, double damping) {
  System damped{system.normal.clone(), system.gradient.clone()};
  damped.normal.diag() *= 1.0 + damping;
  cv::Mat1d step = Cholesky(damped.normal).SolveRows(damped.gradient);
  const bool isGaussian = spot.diskSquared <= 1e-6 * spot.variance * spot.variance;
  const bool isDisk = spot.diskSquared >= 0.999 * LargestDiskSquared(spot.variance);
  const double slope = isDisk ? 2.0 * (spot.variance - kSmallestVariance) : 0.0;
  const bool leaves = (isGaussian && step(0, 1) < 0) || (isDisk && step(0, 1) > slope * step(0, 0));
  return leaves ? StepAlong(damped, slope) : step;
}

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

void Take(const cv::Mat1d& step, Search& s) {
  const double variance = s.spot.variance;
  // All unknowns go the same part of the way: variance, disk and emitter make up for each other, so
  // that a step cut short in one of them alone would make the fit worse.
  double part = 1.0;
  const auto limit = [&](double change, double most) {
    part = std::min(part, most / std::max(std::abs(change), 1e-12));
  };
  limit(step(0, 0), 0.3 * variance);
  limit(step(0, 1), 0.4 * variance * variance);
  limit(step(0, 2), 0.15 * s.pitch);
  limit(FarthestMove(s, step), 0.25 * s.pitch);
  for (int i = 0; i < kFieldTerms; ++i) limit(step(0, kField + i), 0.2);

  s.spot.variance = std::max(variance + part * step(0, 0), kSmallestVariance);
  s.spot.diskSquared =
      std::clamp(s.spot.diskSquared + part * step(0, 1), 0.0, LargestDiskSquared(s.spot.variance));
  s.emitter = std::clamp(s.emitter + part * step(0, 2), kSmallestEmitter * s.pitch,
                         kLargestEmitter * s.pitch);
  for (int i = 0; i < kFieldTerms; ++i) {
    s.field.terms.at(static_cast<std::size_t>(i)) += part * step(0, kField + i);
  }
  for (int i = 0; i < kGridTerms; ++i) {
    s.grid.X().at(static_cast<std::size_t>(i)) += part * step(0, kSpotUnknowns + i);
    s.grid.Y().at(static_cast<std::size_t>(i)) += part * step(0, kSpotUnknowns + kGridTerms + i);
  }
}

double SmallestGain(const std::vector<Block>& blocks) {
  constexpr double kShare = 0.003;
  double leds = 0;
  for (const Block& block : blocks) leds += block.inner.area();
  return kShare * leds;
}

bool IsNegligible(const cv::Mat1d& step, const System& system, const Search& s) {
  if (step.dot(system.gradient) < SmallestGain(s.blocks)) return true;
  const double variance = s.spot.variance;
  for (int i = 0; i < kFieldTerms; ++i) {
    if (std::abs(step(0, kField + i)) > 1e-3) return false;
  }
  return std::abs(step(0, 0)) < 1e-3 * variance &&
         std::abs(step(0, 1)) < 0.01 * variance * variance &&
         std::abs(step(0, 2)) < 0.01 * s.pitch && FarthestMove(s, step) < 0.002 * s.pitch;
}

}  // namespace dravix::lab::unmix
