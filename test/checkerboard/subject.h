/// A small simulated screen in front of the detector.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "sim/render.h"

namespace dravix::test {

/// A screen of 6 x 4 blocks of 8 LEDs, the last column and row narrower, seen a little aslant.
inline sim::Scene SmallScene() {
  sim::Scene scene;
  scene.screen.ledWidth = 45;
  scene.screen.ledHeight = 30;
  scene.pose.pitch = 6;
  scene.pose.tiltY = 5;
  scene.pose.roll = 2;
  return scene;
}

/// Both photographs of a scene and their rectification. Detectors refer to them and must not
/// outlive them.
struct Subject {
  explicit Subject(const sim::Scene& scene)
      : measured(sim::Render(scene)), board(sim::RenderCheckerboard(scene)) {
    const Dravix extractor;
    working = extractor::WorkingSize(board.image.size(), extractor.warpScale);
    transform = extractor::WorkingFromPhoto(measured.truth.cornerPixels,
                                            extractor.TargetRectangle(working));
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  CheckerboardDetector Prepared(cv::Size grid) const {
    CheckerboardDetector detector;
    detector.SetImage(&board, &measured.shot);
    detector.SetParam(grid, working, transform);
    return detector;
  }
  CheckerboardDetector Prepared() const { return Prepared(measured.truth.grid); }

  /// The true cell of a block. Each bound is the mean of the two corners on that side.
  cv::Rect2d TrueCell(std::size_t i) const {
    const cv::Matx33d m = transform;
    sim::Quad q = measured.truth.cells[i];
    for (cv::Point2d& p : q) {
      const cv::Vec3d v = m * cv::Vec3d(p.x, p.y, 1);
      p = {v[0] / v[2], v[1] / v[2]};
    }
    const cv::Point2d first(0.5 * (q[0].x + q[3].x), 0.5 * (q[0].y + q[1].y));
    const cv::Point2d last(0.5 * (q[1].x + q[2].x), 0.5 * (q[2].y + q[3].y));
    return {first, last};
  }

  sim::Photograph measured;
  Shot board;
  cv::Size working;
  cv::Mat transform;
};

}  // namespace dravix::test
