#include "lab/unmix/model/grid.h"

#include <cmath>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace dravix::lab::unmix {
namespace {

/// Legendre polynomials of degree 0 to 3, which are orthogonal from -1 to 1.
std::array<double, 4> Legendre(double t) {
  return {1.0, t, 1.5 * t * t - 0.5, 2.5 * t * t * t - 1.5 * t};
}

cv::Matx33d Homography(const std::array<cv::Point2d, 4>& corners, cv::Size leds) {
  const auto w = static_cast<float>(leds.width);
  const auto h = static_cast<float>(leds.height);
  const std::vector<cv::Point2f> from = {{0, 0}, {w, 0}, {w, h}, {0, h}};
  std::vector<cv::Point2f> to;
  to.reserve(corners.size());
  for (const cv::Point2d& corner : corners) to.emplace_back(corner);
  return cv::getPerspectiveTransform(from, to);
}

/// Places one LED apart along a row of the screen.
std::vector<cv::Point2d> LineOf(const Grid& grid, double first, double v, int count) {
  std::vector<cv::Point2d> line;
  line.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) line.push_back(grid.At(first + i, v));
  return line;
}

}  // namespace

Grid::Grid(const std::array<cv::Point2d, 4>& corners, cv::Size leds)
    : leds_(leds), photoFromLed_(Homography(corners, leds)), span_(leds) {}

const std::array<int, Grid::kTerms>& Grid::Degrees() {
  static constexpr std::array<int, kTerms> kDegrees = {0, 1, 2, 3, 1, 2, 3, 2, 3, 3};
  return kDegrees;
}

Grid::Terms Grid::TermsAt(double u, double v) const {
  const auto across = Legendre(2.0 * (origin_.x + step_.x * u) / span_.width - 1.0);
  const auto down = Legendre(2.0 * (origin_.y + step_.y * v) / span_.height - 1.0);
  Terms terms{};
  std::size_t next = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    for (std::size_t j = 0; i + j < 4; ++j) terms.at(next++) = across.at(i) * down.at(j);
  }
  return terms;
}

cv::Point2d Grid::Moved(double u, double v) const {
  const Terms terms = TermsAt(u, v);
  cv::Point2d moved;
  for (std::size_t i = 0; i < kTerms; ++i) moved += cv::Point2d(x_[i], y_[i]) * terms[i];
  return moved;
}

cv::Point2d Grid::At(double u, double v) const {
  const cv::Vec3d p = photoFromLed_ * cv::Vec3d(u, v, 1.0);
  const Terms terms = TermsAt(u, v);
  cv::Point2d at(p[0] / p[2], p[1] / p[2]);
  for (std::size_t i = 0; i < kTerms; ++i) {
    at.x += (bendX_[i] + x_[i]) * terms[i];
    at.y += (bendY_[i] + y_[i]) * terms[i];
  }
  return at;
}

bool Grid::Bend(const std::vector<KnownPlace>& places) {
  constexpr auto kCount = static_cast<int>(kTerms);
  cv::Mat1d terms(static_cast<int>(places.size()), kCount);
  cv::Mat1d moves(static_cast<int>(places.size()), 2);
  for (int k = 0; k < terms.rows; ++k) {
    const KnownPlace& place = places[static_cast<std::size_t>(k)];
    const Terms at = TermsAt(place.led.x, place.led.y);
    const cv::Point2d move = place.photo - At(place.led.x, place.led.y);
    for (int i = 0; i < kCount; ++i) terms(k, i) = at.at(static_cast<std::size_t>(i));
    moves(k, 0) = move.x;
    moves(k, 1) = move.y;
  }
  // Places along a line, say, leave terms open; their singular values show it.
  constexpr double kSmallest = 1e-3;  // of the largest
  const cv::SVD svd(terms);
  if (svd.w.rows < kCount || !(svd.w.at<double>(kCount - 1) > kSmallest * svd.w.at<double>(0))) {
    return false;
  }
  cv::Mat1d found;
  svd.backSubst(moves, found);
  for (int i = 0; i < kCount; ++i) {
    bendX_.at(static_cast<std::size_t>(i)) += found(i, 0);
    bendY_.at(static_cast<std::size_t>(i)) += found(i, 1);
  }
  return true;
}

Grid Grid::Sparse(cv::Point2d first, cv::Point2d step, cv::Size leds) const {
  const cv::Point2d origin(first.x + 0.5 - 0.5 * step.x, first.y + 0.5 - 0.5 * step.y);
  Grid sparse = *this;
  sparse.leds_ = leds;
  sparse.photoFromLed_ =
      photoFromLed_ * cv::Matx33d(step.x, 0, origin.x, 0, step.y, origin.y, 0, 0, 1);
  sparse.origin_ = origin_ + cv::Point2d(step_.x * origin.x, step_.y * origin.y);
  sparse.step_ = {step_.x * step.x, step_.y * step.y};
  for (std::size_t i = 0; i < kTerms; ++i) {
    sparse.bendX_[i] += x_[i];
    sparse.bendY_[i] += y_[i];
  }
  sparse.x_ = sparse.y_ = {};
  return sparse;
}

Grid Grid::Binned(int side) const {
  const double scale = 1.0 / side;
  const double shift = 0.5 * (scale - 1.0);
  Grid binned = *this;
  binned.photoFromLed_ = cv::Matx33d(scale, 0, shift, 0, scale, shift, 0, 0, 1) * photoFromLed_;
  for (Terms* terms : {&binned.bendX_, &binned.bendY_, &binned.x_, &binned.y_}) {
    for (double& term : *terms) term *= scale;
  }
  return binned;
}

double Grid::CellArea(double u, double v) const {
  const cv::Point2d across = At(u + 0.5, v) - At(u - 0.5, v);
  const cv::Point2d down = At(u, v + 0.5) - At(u, v - 0.5);
  return std::abs(across.cross(down));
}

double Grid::Pitch() const { return std::sqrt(CellArea(0.5 * leds_.width, 0.5 * leds_.height)); }

Centers CentersOf(const Grid& grid) {
  Centers centers;
  centers.x.create(grid.Leds());
  centers.y.create(grid.Leds());
  centers.area.create(grid.Leds());
  cv::parallel_for_(cv::Range(0, grid.Leds().height), [&](const cv::Range& rows) {
    // The middles of a cell's sides, which it shares with its neighbors.
    std::vector<cv::Point2d> above = LineOf(grid, 0.5, rows.start, grid.Leds().width);
    for (int row = rows.start; row < rows.end; ++row) {
      std::vector<cv::Point2d> below = LineOf(grid, 0.5, row + 1, grid.Leds().width);
      const std::vector<cv::Point2d> beside = LineOf(grid, 0, row + 0.5, grid.Leds().width + 1);
      for (int column = 0; column < grid.Leds().width; ++column) {
        const auto i = static_cast<std::size_t>(column);
        const cv::Point2d at = grid.At(column + 0.5, row + 0.5);
        centers.x(row, column) = at.x;
        centers.y(row, column) = at.y;
        centers.area(row, column) =
            static_cast<float>(std::abs((beside[i + 1] - beside[i]).cross(below[i] - above[i])));
      }
      above.swap(below);
    }
  });
  return centers;
}

Centers Centers::Binned(int side) const {
  const double shift = 0.5 * (side - 1);
  return {cv::Mat1d((x - shift) / side), cv::Mat1d((y - shift) / side),
          cv::Mat1f(area / (side * side))};
}

}  // namespace dravix::lab::unmix
