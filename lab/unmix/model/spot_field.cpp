#include "lab/unmix/model/spot_field.h"

#include <algorithm>
#include <cmath>

namespace dravix::lab::unmix {

bool SpotField::IsConstant() const {
  return std::all_of(terms.begin(), terms.end(), [](double term) { return term == 0; });
}

SpotField::Terms SpotField::TermsAt(const Grid& grid, double u, double v) {
  const Grid::Terms all = grid.TermsAt(u, v);
  Terms some{};
  std::size_t next = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const int degree = Grid::Degrees().at(i);
    if (degree == 1 || degree == 2) some.at(next++) = all.at(i);
  }
  return some;
}

double SpotField::GrowthAt(const Grid& grid, double u, double v) const {
  constexpr double kSmallest = 0.2;  // a polynomial that goes astray must not turn spots inside out
  const Terms at = TermsAt(grid, u, v);
  double growth = 1;
  for (std::size_t i = 0; i < kTerms; ++i) growth += terms[i] * at[i];
  return std::max(growth, kSmallest);
}

SpotShape Grown(const SpotShape& shape, double growth) {
  const double area = growth * growth;
  return {shape.variance * area, shape.diskSquared * area * area};
}

SpotFamily FamilyOf(const SpotShape& shape, double emitter, const SpotField& field,
                    const Grid& grid) {
  const cv::Size leds = grid.Leds();
  SpotFamily family;
  family.positions = cv::Mat1f(leds, 0.0F);
  if (field.IsConstant()) {
    family.models.emplace_back(shape, emitter);
    return family;
  }
  // So near to each other that a straight line between two spots is as good as the spot between.
  constexpr double kStep = 0.04;
  for (int y = 0; y < leds.height; ++y) {
    for (int x = 0; x < leds.width; ++x) {
      family.positions(y, x) = static_cast<float>(field.GrowthAt(grid, x + 0.5, y + 0.5));
    }
  }
  double least = 0;
  double most = 0;
  cv::minMaxLoc(family.positions, &least, &most);
  const int steps = std::max(1, static_cast<int>(std::ceil((most - least) / kStep)));
  const double step = std::max((most - least) / steps, 1e-6);
  for (int i = 0; i <= steps; ++i)
    family.models.emplace_back(Grown(shape, least + i * step), emitter);
  family.positions = (family.positions - least) / step;
  return family;
}

Between BetweenOf(float position, std::size_t models) {
  if (models < 2) return {0, 0.0F};
  const float within = std::clamp(position, 0.0F, static_cast<float>(models - 1));
  const auto first = std::min(static_cast<std::size_t>(within), models - 2);
  return {first, within - static_cast<float>(first)};
}

}  // namespace dravix::lab::unmix
