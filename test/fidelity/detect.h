/// Runs the detector on one scene and compares what it finds with the truth.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "sim/render.h"

namespace dravix::fidelity {

/// Both photographs of a scene and the rectification that the truth's corners give.
struct Subject {
  sim::Scene scene;
  sim::Photograph measured;
  Shot board;
  cv::Size working;
  cv::Mat workingFromPhoto;
};

/// What the detector answered and how far the bounds of its cells are off, in working-image pixels.
/// The left bound of a cell is its x, the right one x + width, and so on; the truth is the mean of
/// the two corners on that side.
struct Outcome {
  std::int32_t code = 0;
  double worst = 0;    ///< the largest error of a bound
  std::string where;   ///< that bound: column, row, side and the sign of its error
  double squares = 0;  ///< the sum of the squared errors
  int bounds = 0;      ///< the number of bounds that were compared

  double Rms() const;  ///< root mean square of the errors; 0 without any
};

/// Takes both photographs of a scene.
[[nodiscard]] Subject Photographed(const sim::Scene& scene);
/// Searches for a grid of that many columns and rows. There are errors only when it was found and
/// is the grid of the scene.
[[nodiscard]] Outcome Detect(const Subject& subject, cv::Size grid);
/// Grids that a scene with this one does not have: one column or row more or less, columns and rows
/// swapped, half and twice as many of both.
[[nodiscard]] std::vector<cv::Size> WrongGrids(cv::Size grid);
/// Writes the picture that the detector paints of the scene.
void Paint(const Subject& subject, const std::string& fullname);

}  // namespace dravix::fidelity
