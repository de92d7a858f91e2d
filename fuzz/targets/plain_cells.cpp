// Luminances of any cells against the plain transcription.
#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/target.h"
#include "reference/plain_transcription.h"

namespace dravix::fuzz {

FUZZ_TARGET(plain_cells, input) {
  Dravix dravix;
  dravix.ledWidth = input.Take<std::int8_t>();
  dravix.ledHeight = input.Take<std::int8_t>();
  CheckerboardDetector detector;
  detector.gridColumns = static_cast<int>(input.TakeBelow(8));
  detector.gridRows = static_cast<int>(input.TakeBelow(8));
  const int lastWidth = input.Take<std::int16_t>();
  const int lastHeight = input.Take<std::int16_t>();
  detector.cells.resize(static_cast<std::size_t>(detector.gridColumns * detector.gridRows));
  for (cv::Rect& cell : detector.cells) {
    for (int* field : {&cell.x, &cell.y, &cell.width, &cell.height})
      *field = input.Take<std::int16_t>();
  }
  const cv::Mat image = TakePicture(input);
  detector.mask = TakePicture(input);
  if (detector.mask.empty() && !image.empty() && image.dims == 2) {
    detector.mask = cv::Mat(image.size(), CV_8UC1, cv::Scalar(255));
  }

  std::int32_t code = 0;
  if (Refused([&] {
        code = dravix.SetsingleAreaSize(detector.gridColumns, detector.gridRows, lastWidth,
                                        lastHeight);
        if (code == DRAVIX_OK) code = dravix.CalLum(image, detector);
      })) {
    return;
  }
  if (code != DRAVIX_OK) return;
  const auto expected = reference::CellLuminance(
      image,
      {detector.mask, detector.cells, detector.gridColumns, detector.gridRows,
       dravix.singleAreaSize, dravix.lastColumnAreaWidth, dravix.lastRowAreaHeight},
      {dravix.ledWidth, dravix.ledHeight, -1, {}});
  Require(expected && SameMat(*expected, dravix.lum), "luminances are those of the plain method");
}

}  // namespace dravix::fuzz
