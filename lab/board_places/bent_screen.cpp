#include "lab/board_places/bent_screen.h"

#include <algorithm>
#include <cmath>

#include "lab/unmix/search/cholesky.h"

namespace dravix::lab::board {
namespace {

using unmix::Grid;

constexpr auto kTerms = static_cast<int>(Grid::kTerms);
constexpr double kEdgeDeviation = 0.05;  ///< LEDs; an edge is found about as well as that
/// How much a lens bends a screen at most, as a share of its longer side. Terms that few edges say
/// little of are kept small by it.
constexpr double kMostBend = 0.03;

double ValueOf(const Grid::Terms& coefficients, const Grid::Terms& terms) {
  double sum = 0;
  for (std::size_t i = 0; i < Grid::kTerms; ++i) sum += coefficients.at(i) * terms.at(i);
  return sum;
}

/// Least squares in which edges far from the polynomial count less (weights of Cauchy). Adds to
/// the coefficients and answers the weighted RMS of what is left.
double Fit(const Grid& grid, const std::vector<Displacement>& displacements,
           Grid::Terms& coefficients) {
  const double longest = std::max(grid.Leds().width, grid.Leds().height);
  const double prior = std::pow(kEdgeDeviation / (kMostBend * longest), 2);
  std::vector<double> left(displacements.size(), 0.0);
  Grid::Terms found{};
  double squares = 0;
  double weights = 0;
  for (int round = 0; round < 6; ++round) {
    cv::Mat1d normal(cv::Mat1d::eye(kTerms, kTerms) * prior);
    cv::Mat1d right(1, kTerms, 0.0);
    for (std::size_t k = 0; k < displacements.size(); ++k) {
      const double off = left[k] / kEdgeDeviation;
      const double weight = round == 0 ? 1.0 : 1.0 / (1.0 + off * off);
      const Grid::Terms terms = grid.TermsAt(displacements[k].led.x, displacements[k].led.y);
      cv::Mat1d row(1, kTerms);
      std::copy(terms.begin(), terms.end(), row.begin());
      normal += row.t() * row * weight;
      right += row * (weight * displacements[k].by);
    }
    const cv::Mat1d solution = unmix::Cholesky(normal).SolveRows(right);
    for (int i = 0; i < kTerms; ++i) found.at(static_cast<std::size_t>(i)) = solution(0, i);
    squares = weights = 0;
    for (std::size_t k = 0; k < displacements.size(); ++k) {
      const cv::Point2d led = displacements[k].led;
      left[k] = displacements[k].by - ValueOf(found, grid.TermsAt(led.x, led.y));
      const double off = left[k] / kEdgeDeviation;
      const double weight = 1.0 / (1.0 + off * off);
      squares += weight * left[k] * left[k];
      weights += weight;
    }
  }
  for (std::size_t i = 0; i < Grid::kTerms; ++i) coefficients.at(i) += found.at(i);
  return weights > 0 ? std::sqrt(squares / weights) : 0.0;
}

}  // namespace

cv::Point2d BentScreen::At(cv::Point2d led) const {
  const Grid::Terms terms = grid_.TermsAt(led.x, led.y);
  return grid_.At(led.x + ValueOf(across_, terms), led.y + ValueOf(down_, terms));
}

double BentScreen::Pitch(cv::Point2d led) const { return std::sqrt(grid_.CellArea(led.x, led.y)); }

double BentScreen::Bend(const std::vector<Displacement>& across,
                        const std::vector<Displacement>& down) {
  return std::hypot(Fit(grid_, across, across_), Fit(grid_, down, down_));
}

}  // namespace dravix::lab::board
