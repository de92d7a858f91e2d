// The pipeline with a checkerboard: arbitrary pictures, regions, block counts. Where it measures,
// the luminances are those of the plain transcription for the cells that the detector finds.
#include <dravix/region.h>

#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/target.h"
#include "reference/plain_transcription.h"

namespace dravix::fuzz {
namespace {

struct ProCall {
  DravixBlockCounts blocks{};
  std::int32_t lastWidth = 0, lastHeight = 0;
};

/// A region that is searched, set by hand, or has any fields.
RegionOI TakeRegion(Input& input, const Shot& shot) {
  RegionOI region;
  const unsigned how = input.TakeBelow(4);
  const auto corners = TakePoints(input);
  static_cast<void>(Refused([&] {
    if (how == 0) region.ManualSet(shot.image.size(), corners);
    if (how == 1 && region.SetShot(&shot) == DRAVIX_OK) region.AutoSet();
    if (how == 2 && region.SetShot(&shot) == DRAVIX_OK) region.ComputeBlur();
    if (how == 3) {
      region.frameWidth = input.Take<std::int32_t>();
      region.frameHeight = input.Take<std::int32_t>();
      region.rect = {input.Take<std::int32_t>(), input.Take<std::int32_t>(),
                     input.Take<std::int32_t>(), input.Take<std::int32_t>()};
      region.mask = TakePicture(input);
    }
  }));
  return region;
}

reference::Cells CellsOf(const Dravix& dravix, const Shot& shot, const Shot& board,
                         const RegionOI& region, const ProCall& call) {
  std::vector<cv::Point> corners;
  Require(region.GetPrecision4Corner(corners) == DRAVIX_OK, "the corners are found once more");
  const cv::Mat workingFromPhoto = reference::WorkingFromPhoto(corners, shot.image.size());
  CheckerboardDetector detector;
  detector.SetImage(&board, &shot);
  detector.SetParam({call.blocks.across, call.blocks.down},
                    reference::Rectified(shot.image, corners).size(), workingFromPhoto);
  Require(detector.checkborderPrision() == DRAVIX_OK, "the cells are found once more");
  return {detector.mask,           detector.cells,        detector.gridColumns,
          detector.gridRows,       dravix.singleAreaSize, dravix.lastColumnAreaWidth,
          dravix.lastRowAreaHeight};
}

}  // namespace

FUZZ_TARGET(extract_pro, input) {
  ProCall call;
  call.blocks = {input.Take<std::int32_t>(), input.Take<std::int32_t>()};
  call.lastWidth = input.Take<std::int32_t>();
  call.lastHeight = input.Take<std::int32_t>();
  const bool large = input.TakeBool();
  const auto take = large ? TakeLargeShot : TakeShot;
  const Shot shot = take(input);
  const Shot board = take(input);
  const RegionOI region = TakeRegion(input, shot);

  Dravix dravix;
  const std::int32_t code = DravixExtractPro(&dravix, &region, &shot, &board, call.blocks,
                                             call.lastWidth, call.lastHeight);
  if (code != DRAVIX_OK) return;
  std::vector<cv::Point> corners;
  Require(region.GetPrecision4Corner(corners) == DRAVIX_OK, "the corners are found once more");
  const auto expected = reference::CellLuminance(reference::Rectified(shot.image, corners),
                                                 CellsOf(dravix, shot, board, region, call),
                                                 {dravix.ledWidth, dravix.ledHeight, -1, {}});
  Require(expected && SameMat(*expected, dravix.lum), "luminances are those of the plain method");
}

}  // namespace dravix::fuzz
