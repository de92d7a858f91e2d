#include "fidelity/detect.h"

#include <dravix/dravix.h>

#include <array>
#include <cmath>

#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "extractor/rectify.h"

namespace dravix::fidelity {
namespace {

/// Corners in the photograph, mapped to the working image.
sim::Quad InWorking(const sim::Quad& quad, const cv::Mat& workingFromPhoto) {
  const cv::Matx33d m = workingFromPhoto;
  sim::Quad mapped;
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Vec3d p = m * cv::Vec3d(quad[i].x, quad[i].y, 1);
    mapped[i] = {p[0] / p[2], p[1] / p[2]};
  }
  return mapped;
}

/// Adds the errors of a block's four bounds. `q` is the true block in the working image and `block`
/// its column and row.
void AddErrors(const cv::Rect& cell, const sim::Quad& q, cv::Point block, Outcome& outcome) {
  constexpr const char* kSides[4] = {"left", "right", "top", "bottom"};
  const double errors[4] = {
      cell.x - 0.5 * (q[0].x + q[3].x), cell.x + cell.width - 0.5 * (q[1].x + q[2].x),
      cell.y - 0.5 * (q[0].y + q[1].y), cell.y + cell.height - 0.5 * (q[2].y + q[3].y)};
  for (std::size_t side = 0; side < 4; ++side) {
    const double e = errors[side];
    if (std::abs(e) > outcome.worst) {
      outcome.worst = std::abs(e);
      outcome.where = "block " + std::to_string(block.x) + "," + std::to_string(block.y) + " " +
                      kSides[side] + (e > 0 ? " +" : " -");
    }
    outcome.squares += e * e;
    ++outcome.bounds;
  }
}

CheckerboardDetector Prepared(const Subject& subject, cv::Size grid) {
  CheckerboardDetector detector;
  detector.SetImage(&subject.board, &subject.measured.shot);
  detector.SetParam(grid, subject.working, subject.workingFromPhoto);
  return detector;
}

}  // namespace

double Outcome::Rms() const { return bounds > 0 ? std::sqrt(squares / bounds) : 0; }

Subject Photographed(const sim::Scene& scene) {
  Subject subject{scene, sim::Render(scene), sim::RenderCheckerboard(scene), {}, {}};
  const Dravix extractor;
  subject.working = extractor::WorkingSize(subject.measured.shot.image.size(), extractor.warpScale);
  subject.workingFromPhoto = extractor::WorkingFromPhoto(
      subject.measured.truth.cornerPixels, extractor.TargetRectangle(subject.working));
  return subject;
}

Outcome Detect(const Subject& subject, cv::Size grid) {
  CheckerboardDetector detector = Prepared(subject, grid);
  Outcome outcome;
  outcome.code = detector.checkborderPrision();
  const sim::Truth& truth = subject.measured.truth;
  if (outcome.code != DRAVIX_OK || grid != truth.grid) return outcome;
  for (std::size_t i = 0; i < truth.cells.size(); ++i) {
    const auto at = static_cast<int>(i);
    AddErrors(detector.cells[i], InWorking(truth.cells[i], subject.workingFromPhoto),
              {at % grid.width, at / grid.width}, outcome);
  }
  return outcome;
}

std::vector<cv::Size> WrongGrids(cv::Size grid) {
  const int w = grid.width;
  const int h = grid.height;
  std::vector<cv::Size> wrong;
  for (const cv::Size g : {cv::Size(w + 1, h), cv::Size(w - 1, h), cv::Size(w, h + 1),
                           cv::Size(w, h - 1), cv::Size(w + 1, h + 1), cv::Size(w - 1, h - 1),
                           cv::Size(h, w), cv::Size(w / 2, h / 2), cv::Size(2 * w, 2 * h)}) {
    if (g != grid && g.width >= 2 && g.height >= 2) wrong.push_back(g);
  }
  return wrong;
}

void Paint(const Subject& subject, const std::string& fullname) {
  CheckerboardDetector detector = Prepared(subject, subject.measured.truth.grid);
  detector.checkborderPrision();
  detector.ExportCheckerboardResult(fullname);
}

}  // namespace dravix::fidelity
