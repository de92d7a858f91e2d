// The checkerboard detector alone: arbitrary pictures, grids, working images and perspectives. It
// gives what the plain transcription gives.
#include "checkerboard/checkerboard.h"

#include <dravix/dravix.h>

#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "reference/plain_detector.h"

namespace dravix::fuzz {
namespace {

void TakeParameters(CheckerboardDetector& detector, Input& input) {
  const unsigned choice = input.Take<std::uint8_t>();
  if ((choice & 1U) != 0) detector.areaScale = input.Take<double>();
  if ((choice & 2U) != 0) detector.edgeLevelPercent = input.Take<std::int32_t>();
  if ((choice & 4U) != 0) detector.kernelSize = input.Take<std::int32_t>();
  if ((choice & 8U) != 0) detector.blurSigma = input.Take<float>();
}

/// Up to twice the photograph's size each way, as a working image is made from a photograph.
cv::Size TakeSize(Input& input, cv::Size photo) {
  const int across = input.Take<std::uint8_t>();
  const int down = input.Take<std::uint8_t>();
  return {photo.width * across / 128, photo.height * down / 128};
}

/// Nine numbers, or a scaling of the photograph to the working image, which needs none.
cv::Mat TakeTransform(Input& input, cv::Size photo, cv::Size working) {
  cv::Mat transform = cv::Mat::eye(3, 3, CV_64F);
  const bool any = input.TakeBool();
  for (auto number = transform.begin<double>(); any && number != transform.end<double>();
       ++number) {
    *number = input.Take<double>();
  }
  if (any || photo.empty()) return transform;
  transform.at<double>(0, 0) = static_cast<double>(working.width) / photo.width;
  transform.at<double>(1, 1) = static_cast<double>(working.height) / photo.height;
  return transform;
}

void CheckCells(const CheckerboardDetector& detector) {
  const cv::Rect working({}, detector.imageSize);
  Require(detector.cells.size() == static_cast<std::size_t>(detector.gridColumns) *
                                       static_cast<std::size_t>(detector.gridRows),
          "there is a cell for each block");
  for (const cv::Rect& cell : detector.cells) {
    Require((cell & working) == cell || cell.empty(), "a cell lies in the working image");
  }
}

void CheckPlain(const CheckerboardDetector& detector, std::int32_t code,
                CheckerboardDetector& plain) {
  Require(reference::Detect(plain) == code, "both ways end alike");
  Require(plain.cells == detector.cells && plain.contourRectangles == detector.contourRectangles &&
              SameMat(plain.mask, detector.mask),
          "both ways find the same");
}

}  // namespace

FUZZ_TARGET(checkerboard, input) {
  const cv::Size grid(input.Take<std::int8_t>(), input.Take<std::int8_t>());
  CheckerboardDetector detector;
  TakeParameters(detector, input);
  const auto take = input.TakeBool() ? TakeShot : TakeLargeShot;
  const Shot shot = take(input);
  const Shot board = take(input);
  const cv::Size photo = shot.image.size();
  const cv::Size working = TakeSize(input, photo);
  const cv::Mat transform = TakeTransform(input, photo, working);

  Require(detector.SetImage(&board, &shot) == DRAVIX_OK, "two shots are taken");
  if (Refused([&] { detector.SetParam(grid, working, transform); })) return;
  CheckerboardDetector plain = detector;
  plain.mask = detector.mask.clone();
  std::int32_t code = 0;
  if (Refused([&] { code = detector.checkborderPrision(); })) return;
  Require(code == DRAVIX_OK || code == DRAVIX_NO_LED_AREA || code == DRAVIX_NO_GRID,
          "the detector answers with its codes");
  if (code == DRAVIX_OK) CheckCells(detector);
  // Without pictures or blocks there is nothing that could be transcribed.
  const bool searched = code != DRAVIX_NO_LED_AREA && grid.width > 0 && grid.height > 0;
  if (searched) CheckPlain(detector, code, plain);
  if (!input.TakeBool()) return;
  static_cast<void>(Refused([&] {
    const std::string name = ScratchName("cells.bmp");
    static_cast<void>(detector.ExportCheckerboardResult(name));
  }));
}

}  // namespace dravix::fuzz
