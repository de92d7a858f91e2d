/// How the spot's width changes over the screen.
#pragma once

#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/model/spot.h"

namespace dravix::lab::unmix {

/// A lens is sharp on a curved surface, and a screen that is turned away lies before and behind it:
/// disk and Gaussian grow and shrink together, by a factor that is a quadratic polynomial of the
/// place. Without terms the spot is the same everywhere.
struct SpotField {
  static constexpr std::size_t kTerms = 5;  ///< of degree 1 and 2
  using Terms = std::array<double, kTerms>;
  Terms terms{};

  [[nodiscard]] bool IsConstant() const;
  /// Products of Legendre polynomials over the screen; their means over it are 0.
  [[nodiscard]] static Terms TermsAt(const Grid& grid, double u, double v);
  /// How much wider than the mean spot the one at (u, v) is.
  [[nodiscard]] double GrowthAt(const Grid& grid, double u, double v) const;
};

/// The spot whose disk and Gaussian are `growth` times as wide.
[[nodiscard]] SpotShape Grown(const SpotShape& shape, double growth);

/// Spots of all widths on a screen.
struct SpotFamily {
  std::vector<SpotModel> models;  ///< from the narrowest to the widest, in even steps of growth
  cv::Mat1f positions;            ///< of each LED's spot between the models, 0 to their count - 1
};
[[nodiscard]] SpotFamily FamilyOf(const SpotShape& shape, double emitter, const SpotField& field,
                                  const Grid& grid);

/// A value between those of two models.
struct Between {
  std::size_t first;
  float share;  ///< of the next; 0 where there is none
};
[[nodiscard]] Between BetweenOf(float position, std::size_t models);

}  // namespace dravix::lab::unmix
