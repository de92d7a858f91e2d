// The photograph of a block is a linear function of its LEDs' luminances: each LED adds its spot.
// For given spots and places, the luminances that fit best solve a small system of equations with
// one unknown per LED, in which each LED is also drawn a little toward what is expected of it. What
// the fit leaves over, compared with how the fitted picture would change with the spot and with a
// move of the grid, says how these have to change (Gauss-Newton with the luminances projected out,
// which is the Schur complement of their part of the normal equations).
#include "lab/unmix/search/block.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <span>

#include "lab/unmix/search/cholesky.h"

namespace dravix::lab::unmix {
namespace {

constexpr int kAcross = 5;  ///< blocks along either axis
constexpr int kSide = 6;    ///< LEDs along an inner square
constexpr int kRing = 3;    ///< LEDs around it whose light may reach into it
constexpr int kDark = 3;    ///< LEDs' width of dark that is looked at beside the screen

std::vector<int> SpreadPlaces(int leds) {
  std::vector<int> places;
  for (int i = 0; i < kAcross; ++i) {
    const double share = static_cast<double>(i) / (kAcross - 1);
    const int place = cvRound(share * std::max(0, leds - kSide));
    if (places.empty() || place > places.back()) places.push_back(place);
  }
  return places;
}

Block BlockAt(cv::Point place, cv::Size leds) {
  const cv::Rect screen(cv::Point(0, 0), leds);
  Block block{};
  block.inner = cv::Rect(place, cv::Size(kSide, kSide)) & screen;
  const cv::Rect around(block.inner.x - kRing, block.inner.y - kRing, block.inner.width + 2 * kRing,
                        block.inner.height + 2 * kRing);
  block.leds = around & screen;
  const bool left = block.inner.x == 0;
  const bool top = block.inner.y == 0;
  const bool right = block.inner.br().x == leds.width;
  const bool bottom = block.inner.br().y == leds.height;
  block.view = {block.inner.x - (left ? kDark : 0), block.inner.y - (top ? kDark : 0),
                block.inner.width + (left ? kDark : 0) + (right ? kDark : 0),
                block.inner.height + (top ? kDark : 0) + (bottom ? kDark : 0)};
  block.atBorder = left || top || right || bottom;
  return block;
}

/// How many neighbors are lit and dark.
int EdgesIn(const cv::Mat1b& lit) {
  int edges = 0;
  for (int y = 0; y < lit.rows; ++y) {
    for (int x = 0; x < lit.cols; ++x) {
      if (x > 0 && lit(y, x) != lit(y, x - 1)) ++edges;
      if (y > 0 && lit(y, x) != lit(y - 1, x)) ++edges;
    }
  }
  return edges;
}

/// One LED's part of a pixel.
struct Share {
  int led;
  float spot;  ///< the spot's value there times the cell's area
};

/// How the picture of the block depends on its LEDs, pixel by pixel.
struct Mixing {
  std::vector<int> first;     ///< per pixel of the view's frame, where its shares begin, and an end
  std::vector<Share> shares;  ///< of all pixels, one after another; none outside of the view
};

/// An LED of the block: where its spot is in the frame and in the tables.
struct Placed {
  Phase x, y;
  double area;
  cv::Point2d fromMiddle;  ///< of the block, LEDs
};

std::vector<Placed> PlacedLeds(const Trial& trial, const Block& block) {
  std::vector<Placed> placed;
  const int steps = trial.spot.spot.Steps();
  for (int row = block.leds.y; row < block.leds.br().y; ++row) {
    for (int column = block.leds.x; column < block.leds.br().x; ++column) {
      const cv::Point2d at = trial.grid.At(column + 0.5, row + 0.5);
      placed.push_back({PhaseOf(at.x, steps), PhaseOf(at.y, steps),
                        trial.grid.CellArea(column + 0.5, row + 0.5),
                        cv::Point2d(column + 0.5, row + 0.5) - block.Middle()});
    }
  }
  return placed;
}

/// The part of an LED's patch that lies in the frame, in the patch's coordinates.
cv::Rect PatchPart(const Placed& led, int radius, const cv::Rect& frame) {
  const cv::Point origin(led.x.pixel - radius, led.y.pixel - radius);
  return cv::Rect(0, 0, 2 * radius + 1, 2 * radius + 1) & (frame - origin);
}

/// Calls `visit(pixel, at)` for each pixel of the view that the LED's spot reaches: its index in
/// the frame, and the index of its value in a patch of the table.
template <class Visit>
void ForEachPixel(const SpotTable& table, const Placed& led, const BlockView& view, Visit visit) {
  const cv::Rect part = PatchPart(led, table.Radius(), view.frame);
  const cv::Point origin = cv::Point(led.x.pixel, led.y.pixel) -
                           cv::Point(table.Radius(), table.Radius()) - view.frame.tl();
  for (int y = part.y; y < part.br().y; ++y) {
    const int row = origin.y + y;
    const std::uint8_t* mask = view.mask[row] + origin.x;
    for (int x = part.x; x < part.br().x; ++x) {
      if (mask[x] == 0) continue;
      visit(row * view.frame.width + origin.x + x,
            static_cast<std::ptrdiff_t>(y) * table.Stride() + x);
    }
  }
}

/// Values of a table for one LED, interpolated between the four phases around its center.
class Interpolated {
 public:
  Interpolated(const SpotTable& table, const Placed& led)
      : patches_{table.At(led.x.first, led.y.first), table.At(led.x.first + 1, led.y.first),
                 table.At(led.x.first, led.y.first + 1),
                 table.At(led.x.first + 1, led.y.first + 1)},
        weights_{(1 - led.x.share) * (1 - led.y.share), led.x.share * (1 - led.y.share),
                 (1 - led.x.share) * led.y.share, led.x.share * led.y.share} {}

  float operator()(std::ptrdiff_t at) const {
    return weights_[0] * patches_[0][at] + weights_[1] * patches_[1][at] +
           weights_[2] * patches_[2][at] + weights_[3] * patches_[3][at];
  }

 private:
  std::array<const float*, 4> patches_;
  std::array<float, 4> weights_;
};

/// The values of the phase nearest to an LED's center: good enough for derivatives.
const float* Nearest(const SpotTable& table, const Placed& led) {
  return table.At(led.x.first + (led.x.share > 0.5F ? 1 : 0),
                  led.y.first + (led.y.share > 0.5F ? 1 : 0));
}

Mixing MixingOf(const Trial& trial, const std::vector<Placed>& leds, const BlockView& view) {
  const SpotTable& spot = trial.spot.spot;
  Mixing mixing;
  mixing.first.assign(static_cast<std::size_t>(view.frame.area()) + 1, 0);
  for (const Placed& led : leds) {
    ForEachPixel(spot, led, view, [&](int pixel, std::ptrdiff_t) {
      ++mixing.first[static_cast<std::size_t>(pixel) + 1];
    });
  }
  std::partial_sum(mixing.first.begin(), mixing.first.end(), mixing.first.begin());
  mixing.shares.resize(static_cast<std::size_t>(mixing.first.back()));
  std::vector<int> next(mixing.first.begin(), mixing.first.end() - 1);
  for (std::size_t k = 0; k < leds.size(); ++k) {
    const Interpolated value(spot, leds[k]);
    const auto area = static_cast<float>(leds[k].area);
    ForEachPixel(spot, leds[k], view, [&](int pixel, std::ptrdiff_t at) {
      const int place = next[static_cast<std::size_t>(pixel)]++;
      mixing.shares[static_cast<std::size_t>(place)] = {static_cast<int>(k), value(at) * area};
    });
  }
  return mixing;
}

/// The shares of one pixel.
std::span<const Share> SharesOf(const Mixing& mixing, std::size_t pixel) {
  const auto first = static_cast<std::size_t>(mixing.first[pixel]);
  return {mixing.shares.data() + first, static_cast<std::size_t>(mixing.first[pixel + 1]) - first};
}

/// The normal equations' matrix of the luminances.
cv::Mat1d Products(const Mixing& mixing, int leds, double lambda) {
  cv::Mat1d products(leds, leds, 0.0);
  products.diag() = lambda;
  for (std::size_t pixel = 0; pixel + 1 < mixing.first.size(); ++pixel) {
    const std::span<const Share> shares = SharesOf(mixing, pixel);
    for (std::size_t i = 0; i < shares.size(); ++i) {
      double* row = products[shares[i].led];
      const double own = static_cast<double>(shares[i].spot);
      for (std::size_t j = 0; j <= i; ++j) {
        row[shares[j].led] += own * static_cast<double>(shares[j].spot);
      }
    }
  }
  return products;  // the lower triangle, which is all that Cholesky looks at
}

/// LEDs that are not lit stay at their expected levels.
void KeepDark(const cv::Mat1b& lit, cv::Mat1d& products) {
  constexpr double kFirm = 1e6;
  int led = 0;
  for (const std::uint8_t isLit : lit) {
    if (isLit == 0) products(led, led) *= kFirm;
    ++led;
  }
}

/// For each LED, the sum of its spot times `picture`.
cv::Mat1d Correlated(const Mixing& mixing, const std::vector<double>& picture, int leds) {
  cv::Mat1d sums(1, leds, 0.0);
  for (std::size_t pixel = 0; pixel < picture.size(); ++pixel) {
    for (const Share& share : SharesOf(mixing, pixel)) {
      sums(0, share.led) += static_cast<double>(share.spot) * picture[pixel];
    }
  }
  return sums;
}

void Subtract(const Mixing& mixing, const cv::Mat1d& luminances, std::vector<double>& picture) {
  for (std::size_t pixel = 0; pixel < picture.size(); ++pixel) {
    for (const Share& share : SharesOf(mixing, pixel)) {
      picture[pixel] -= static_cast<double>(share.spot) * luminances(0, share.led);
    }
  }
}

/// A block's best luminances for a trial, and what they leave over.
struct Fit {
  BlockView view;
  std::vector<Placed> leds;
  Mixing mixing;
  cv::Mat1d luminances;          ///< one row
  std::vector<double> residual;  ///< per pixel of the frame; 0 outside of the view
  BlockEquations sums;
  Cholesky factor;
};

std::vector<double> PictureOf(const Trial& trial, const BlockView& view) {
  std::vector<double> picture(static_cast<std::size_t>(view.frame.area()), 0.0);
  auto to = picture.begin();
  for (int y = 0; y < view.frame.height; ++y) {
    const float* from = trial.photo[view.frame.y + y] + view.frame.x;
    for (int x = 0; x < view.frame.width; ++x, ++to) {
      if (view.mask(y, x) != 0) *to = from[x] - trial.background;
    }
  }
  return picture;
}

Fit BestFit(const Trial& trial, const Block& block) {
  BlockView view = ViewOf(trial.grid, block, trial.photo.size());
  std::vector<Placed> leds = PlacedLeds(trial, block);
  Mixing mixing = MixingOf(trial, leds, view);
  const auto count = static_cast<int>(leds.size());
  const cv::Mat1d expected = trial.levels.clone().reshape(1, 1);

  std::vector<double> residual = PictureOf(trial, view);
  Subtract(mixing, expected, residual);
  cv::Mat1d products = Products(mixing, count, trial.lambda);
  if (!trial.lit.empty()) KeepDark(trial.lit, products);
  Cholesky factor(products);
  const cv::Mat1d departures = factor.SolveRows(Correlated(mixing, residual, count));
  Subtract(mixing, departures, residual);

  BlockEquations sums;
  for (const double r : residual) sums.squares += r * r;
  sums.cost = sums.squares + trial.lambda * departures.dot(departures);
  sums.pixels = cv::countNonZero(view.mask);
  return {std::move(view),     std::move(leds),
          std::move(mixing),   cv::Mat1d(expected + departures),
          std::move(residual), sums,
          std::move(factor)};
}

/// How a pixel of the fitted picture changes with each unknown. Kept together by pixel, so that
/// what is done for one unknown is done for all at once.
using Change = std::array<double, BlockEquations::kUnknowns>;

void AddScaled(double factor, const Change& from, Change& to) {
  for (std::size_t i = 0; i < from.size(); ++i) to[i] += factor * from[i];
}

std::vector<Change> ChangesOf(const Trial& trial, const Fit& fit) {
  std::vector<Change> changes(fit.residual.size(), Change{});
  const SpotModel::Derivatives& d = trial.spot.derivatives;
  for (std::size_t k = 0; k < fit.leds.size(); ++k) {
    const Placed& led = fit.leds[k];
    const double light = fit.luminances(0, static_cast<int>(k)) * led.area;
    const std::array<const float*, 5> values = {
        Nearest(d.variance, led), Nearest(d.diskSquared, led), Nearest(d.emitter, led),
        Nearest(d.x, led), Nearest(d.y, led)};
    const cv::Point2d off = led.fromMiddle;
    ForEachPixel(d.variance, led, fit.view, [&](int pixel, std::ptrdiff_t at) {
      const auto value = [&](std::size_t i) { return static_cast<double>(values[i][at]); };
      const double x = value(3);
      const double y = value(4);
      AddScaled(light,
                {value(0), value(1), value(2), x, y, x * off.x, x * off.y, y * off.x, y * off.y, 0},
                changes[static_cast<std::size_t>(pixel)]);
    });
  }
  for (int y = 0; y < fit.view.frame.height; ++y) {
    for (int x = 0; x < fit.view.frame.width; ++x) {
      const auto pixel = static_cast<std::size_t>(y * fit.view.frame.width + x);
      changes[pixel].back() = fit.view.mask(y, x) != 0 ? 1.0 : 0.0;
    }
  }
  return changes;
}

/// For each unknown, one row: for each LED, the sum of its spot times the change.
cv::Mat1d Correlated(const Mixing& mixing, const std::vector<Change>& changes, int leds) {
  std::vector<Change> sums(static_cast<std::size_t>(leds), Change{});
  for (std::size_t pixel = 0; pixel < changes.size(); ++pixel) {
    for (const Share& share : SharesOf(mixing, pixel)) {
      AddScaled(static_cast<double>(share.spot), changes[pixel],
                sums[static_cast<std::size_t>(share.led)]);
    }
  }
  cv::Mat1d rows(BlockEquations::kUnknowns, leds);
  for (int k = 0; k < leds; ++k) {
    for (int i = 0; i < rows.rows; ++i) {
      rows(i, k) = sums[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)];
    }
  }
  return rows;
}

}  // namespace

std::vector<Block> SpreadBlocks(cv::Size leds) {
  std::vector<Block> blocks;
  for (const int y : SpreadPlaces(leds.height)) {
    for (const int x : SpreadPlaces(leds.width)) blocks.push_back(BlockAt({x, y}, leds));
  }
  return blocks;
}

std::vector<Block> SpreadBlocksAtEdges(const cv::Mat1b& lit) {
  std::vector<Block> blocks = SpreadBlocks(lit.size());
  for (Block& block : blocks) {
    int most = -1;
    const cv::Point even = block.inner.tl();
    // From the even place outward, so that of equally good places the nearest is taken.
    for (int reach = 0; reach <= kSide; ++reach) {
      for (int dy = -reach; dy <= reach; ++dy) {
        for (int dx = -reach; dx <= reach; ++dx) {
          if (std::max(std::abs(dx), std::abs(dy)) != reach) continue;
          const cv::Rect inner = block.inner - block.inner.tl() + even + cv::Point(dx, dy);
          if ((inner & cv::Rect(cv::Point(0, 0), lit.size())) != inner) continue;
          const int edges = EdgesIn(lit(inner));
          if (edges <= most) continue;
          most = edges;
          block = BlockAt(inner.tl(), lit.size());
        }
      }
    }
  }
  return blocks;
}

BlockView ViewOf(const Grid& grid, const Block& block, cv::Size photo) {
  const double left = block.view.x;
  const double top = block.view.y;
  const double right = block.view.br().x;
  const double bottom = block.view.br().y;
  std::vector<cv::Point> outline;
  for (const cv::Point2d corner : {cv::Point2d(left, top), cv::Point2d(right, top),
                                   cv::Point2d(right, bottom), cv::Point2d(left, bottom)}) {
    outline.emplace_back(grid.At(corner.x, corner.y));
  }
  const cv::Rect frame = cv::boundingRect(outline) & cv::Rect(cv::Point(0, 0), photo);
  BlockView view{frame, cv::Mat1b(frame.size(), std::uint8_t{0})};
  if (frame.empty()) return view;
  for (cv::Point& corner : outline) corner -= frame.tl();
  cv::fillConvexPoly(view.mask, outline, 255);
  return view;
}

BlockEquations FitOf(const Trial& trial, const Block& block) { return BestFit(trial, block).sums; }

BlockEquations EquationsOf(const Trial& trial, const Block& block) {
  const Fit fit = BestFit(trial, block);
  const std::vector<Change> changes = ChangesOf(trial, fit);
  std::array<Change, BlockEquations::kUnknowns> products{};
  Change gradient{};
  for (std::size_t pixel = 0; pixel < changes.size(); ++pixel) {
    const Change& change = changes[pixel];
    AddScaled(fit.residual[pixel], change, gradient);
    for (std::size_t i = 0; i < products.size(); ++i) AddScaled(change[i], change, products[i]);
  }
  const cv::Mat1d correlated = Correlated(fit.mixing, changes, static_cast<int>(fit.leds.size()));
  const cv::Mat1d solved = fit.factor.SolveRows(correlated);
  BlockEquations equations = fit.sums;
  for (int i = 0; i < BlockEquations::kUnknowns; ++i) {
    const auto row = static_cast<std::size_t>(i);
    equations.gradient[i] = gradient[row];
    for (int j = 0; j < BlockEquations::kUnknowns; ++j) {
      equations.normal(i, j) =
          products[row][static_cast<std::size_t>(j)] - correlated.row(i).dot(solved.row(j));
    }
  }
  return equations;
}

}  // namespace dravix::lab::unmix
