/// Levels of the photograph over LED cells, and outside of the screen.
#pragma once

#include <opencv2/core.hpp>

#include "lab/unmix/model/grid.h"

namespace dravix::lab::unmix {

/// The mean over an upright square of the given side about a point. Pixels at its border count by
/// the part inside; what lies beyond the photograph is left out. NaN when nothing is left.
[[nodiscard]] double SquareMean(const cv::Mat1f& photo, cv::Point2d center, double side);

/// For each LED, the mean over a square of its cell's area: the plain way to measure.
[[nodiscard]] cv::Mat1d CellMeans(const cv::Mat1f& photo, const Centers& centers);

/// The level beside the screen: the mean over a ring that lies 3 to 7 LEDs outside, without samples
/// that stand out, as those of a lamp do. The photograph's lowest hundredth of samples where it
/// shows no such ring.
[[nodiscard]] double BackgroundOf(const cv::Mat1f& photo, const Grid& grid);

/// Values smoothed with a Gaussian of `sigma` LEDs. Nothing is assumed beyond the border.
[[nodiscard]] cv::Mat1d Smoothed(const cv::Mat1d& values, double sigma);

/// Level of the cells before un-mixing starts: cell means over the background, divided by the
/// share of a cell's light that an even screen would give it. The outer cells lose light to the
/// dark outside, and without this division their LEDs would begin far too low.
[[nodiscard]] cv::Mat1d CoveredLevels(const cv::Mat1d& cellMeans, double background,
                                      const cv::Mat1d& cellResponse);

/// The same for a screen on which some LEDs are dark, smoothed over the lit ones by `sigma` LEDs:
/// what the light on the cells of lit LEDs says of the level about them. `isLit` is 1 or 0.
[[nodiscard]] cv::Mat1d LitLevels(const cv::Mat1d& cellMeans, double background,
                                  const cv::Mat1d& cellResponse, const cv::Mat1d& isLit,
                                  double sigma);

}  // namespace dravix::lab::unmix
