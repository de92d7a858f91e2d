/// One scene through the detector, compared with the truth.
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

/// Errors of the bounds in working-image pixels: a block's left is its rectangle's x, its right
/// x + width, and so on; the truth is the mean of the two corners of that side.
struct Outcome {
  std::int32_t code = 0;
  double worst = 0;    ///< largest error of a bound
  std::string where;   ///< of that bound: column, row, side and signed error
  double squares = 0;  ///< sum of squared errors
  int bounds = 0;

  double Rms() const;
};

[[nodiscard]] Subject Photographed(const sim::Scene& scene);
/// Asks for `grid` blocks; errors only where the code is 0 and the grid the scene's.
[[nodiscard]] Outcome Detect(const Subject& subject, cv::Size grid);
/// Grids that the scene does not have: one more or less each way, swapped, half, double.
[[nodiscard]] std::vector<cv::Size> WrongGrids(cv::Size grid);
/// The picture that the detector paints of the scene.
void Paint(const Subject& subject, const std::string& fullname);

}  // namespace dravix::fidelity
