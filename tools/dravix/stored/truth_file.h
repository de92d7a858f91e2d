/// What the simulator knows about its photograph, as a JSON file and a matrix file beside it.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "files/names.h"
#include "sim/render.h"

namespace dravix::tool {

/// The file that holds the luminances of the truth file `name`: "screen.truth.npy" for
/// "screen.json", so that exporting the measured "screen.npy" does not overwrite the truth.
[[nodiscard]] std::string TruthMatrixOf(const std::string& name);

/// The most blocks whose cells a truth file lists. More would make it larger than what reads it
/// takes, and no photograph shows that many blocks well enough to be found.
inline constexpr int kMostCells = 100000;

/// Writes `name` (.json) and its matrix file. Without "cells" when there are more than kMostCells:
/// they follow from the corners, the blocks and the scene.
void SaveTruth(const std::string& name, const sim::Scene& scene, const sim::Truth& truth);

/// What a truth file is read for.
struct StoredTruth {
  cv::Mat luminances;              ///< CV_32FC1, one value per LED
  std::vector<cv::Point> corners;  ///< of the lit area, photograph pixels; four
};
[[nodiscard]] StoredTruth LoadTruth(const std::string& name);

/// The truth file and the matrix file that it names, as files that `option` stands for. When the
/// name is not that of a readable truth file, it is the only one: reading it says what is wrong.
[[nodiscard]] std::vector<NamedFile> FilesOfTruth(const std::string& option,
                                                  const std::string& name);

}  // namespace dravix::tool
