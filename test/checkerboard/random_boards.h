/// Random checkerboards to compare two ways of detecting and measuring. The same seed gives the
/// same photographs on every machine.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "extractor/extractor.h"
#include "sim/render.h"

namespace dravix::test {

/// A checkerboard, photographed: small screens, so that many of them take little time, with all
/// that makes detection hard, and some that cannot be detected at all.
struct RandomBoard {
  explicit RandomBoard(std::uint64_t seed);

  sim::Scene scene;
  Shot measured;
  Shot board;
  std::vector<cv::Point> corners;  ///< of the screen in the photograph, ordered
  cv::Size grid;                   ///< that the detector is told
  cv::Size last;                   ///< LEDs of the last column's and row's blocks
  cv::Size working;                ///< size of the working image
  cv::Mat workingFromPhoto;

  /// A detector that is set up for both photographs, which must outlive it.
  [[nodiscard]] CheckerboardDetector Prepared() const;
  /// Runs ExtractPro with the screen's corners as the region. -1 where those are no region.
  [[nodiscard]] std::int32_t Measure(Dravix& dravix) const;
};

/// Code and hashes of all that a detection and a measurement of the board leave, in one line.
[[nodiscard]] std::string Fingerprint(const RandomBoard& board);

}  // namespace dravix::test
