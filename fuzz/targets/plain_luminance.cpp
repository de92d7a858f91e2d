// Luminances of an area with any mask, rectangle and LED counts against the plain transcription.
#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/target.h"
#include "reference/plain_transcription.h"

namespace dravix::fuzz {

FUZZ_TARGET(plain_luminance, input) {
  Dravix dravix;
  dravix.ledWidth = input.Take<std::int8_t>();
  dravix.ledHeight = input.Take<std::int8_t>();
  const bool unequal = input.TakeBool();
  const int top = input.Take<std::int16_t>();
  const int bottom = input.Take<std::int16_t>();
  const int rowGroup = input.Take<std::int16_t>();
  cv::Rect rect;
  for (int* field : {&rect.x, &rect.y, &rect.width, &rect.height})
    *field = input.Take<std::int16_t>();
  const cv::Mat image = TakePicture(input);
  cv::Mat mask = TakePicture(input);
  if (mask.empty() && !image.empty() && image.dims == 2) {
    mask = cv::Mat(image.size(), CV_8UC1, cv::Scalar(255));
  }

  std::int32_t code = 0;
  if (Refused([&] {
        if (unequal) code = dravix.GetRowLedNums(top, bottom, rowGroup);
        if (code == DRAVIX_OK) code = dravix.CalLum(image, mask, rect);
      })) {
    Require(dravix.Empty(), "a run that fails leaves the result");
    return;
  }
  if (code != DRAVIX_OK) return;
  const auto expected = reference::Luminance(
      image, {mask, rect}, {dravix.ledWidth, dravix.ledHeight, dravix.rowGroup, dravix.rowLedNums});
  Require(expected && SameMat(*expected, dravix.lum), "luminances are those of the plain method");
}

}  // namespace dravix::fuzz
