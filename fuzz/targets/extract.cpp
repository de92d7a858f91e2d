// The pipeline with given corners: arbitrary pictures, corners and LED counts. Where it measures,
// it gives the bits of the plain transcription, by rows and through the whole image alike.
#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/target.h"
#include "reference/plain_transcription.h"

namespace dravix::fuzz {
namespace {

struct Call {
  std::vector<cv::Point> corners;
  std::int32_t top = 0, bottom = 0, rowGroup = 0;
};

std::int32_t Extracted(Dravix& dravix, const Shot& shot, const Call& call) {
  std::vector<std::int32_t> flat;
  for (const cv::Point& corner : call.corners) flat.insert(flat.end(), {corner.x, corner.y});
  flat.push_back(0);  // an address also for no corners
  return DravixExtract(&dravix, &shot, flat.data(), static_cast<std::int32_t>(call.corners.size()),
                       call.top, call.bottom, call.rowGroup);
}

void CheckPlain(const Dravix& dravix, const Shot& shot, const Call& call) {
  const reference::Panel panel{dravix.ledWidth, dravix.ledHeight, dravix.rowGroup,
                               dravix.rowLedNums};
  const std::optional<int> camera =
      shot.device ? std::optional<int>(shot.device->cam_type) : std::nullopt;
  const auto expected = reference::Extract(shot.image, call.corners, camera, panel);
  Require(expected && SameMat(*expected, dravix.lum), "luminances are those of the plain method");
}

}  // namespace

FUZZ_TARGET(extract, input) {
  const bool large = input.TakeBool();
  Call call{TakePoints(input), input.Take<std::int32_t>(), input.Take<std::int32_t>(),
            input.Take<std::int32_t>()};
  const Shot shot = large ? TakeLargeShot(input) : TakeShot(input);

  Dravix byRows;
  byRows.extractBy = ExtractBy::kRows;
  Dravix whole;
  whole.extractBy = ExtractBy::kWholeImage;
  const std::int32_t code = Extracted(byRows, shot, call);
  Require(Extracted(whole, shot, call) == code, "both ways end alike");
  Require(SameMat(byRows.lum, whole.lum), "both ways give the same bits");
  Require(code == DRAVIX_OK || byRows.lum.empty(), "a run that fails leaves the result");
  if (code == DRAVIX_OK && call.corners.size() == 4) CheckPlain(byRows, shot, call);
}

}  // namespace dravix::fuzz
