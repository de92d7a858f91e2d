#include "extractor/extractor.h"

#include <dravix/algolog.h>

#include <optional>
#include <utility>

namespace {

/// a / b when b is not 0, divides a and gives 32 bits; empty otherwise. Negative counts are divided
/// like others.
std::optional<std::int32_t> ExactQuotient(std::int64_t a, std::int64_t b) {
  if (b == 0 || a % b != 0 || !std::in_range<std::int32_t>(a / b)) return std::nullopt;
  return static_cast<std::int32_t>(a / b);
}

std::int32_t RefuseHorizontal() {
  AlgoLogError("Dravix::SetsingleAreaSize--Error ::  checkerboard size wrong or illegal !!.");
  return DRAVIX_BAD_BLOCKS;
}

}  // namespace

std::int32_t Dravix::SetImage(const Shot* newShot) {
  AlgoLogInfo("Dravix::SetImage");
  const std::int32_t code = Shot::Check(CHECK_NOT_NULL | CHECK_IMAGE, newShot);
  if (code != DRAVIX_OK) return code;
  shot = newShot;
  const Shot::Pattern pattern = shot->pattern.value_or(Shot::Pattern());
  ledWidth = pattern.lighted_led_w;
  ledHeight = pattern.lighted_led_h;
  return DRAVIX_OK;
}

std::int32_t Dravix::SetsingleAreaSize(std::int32_t countAcross, std::int32_t countDown,
                                       std::int32_t lastWidth, std::int32_t lastHeight) {
  constexpr std::int32_t kNotGiven = -1;
  std::optional<std::int32_t> side;
  if (lastWidth != kNotGiven) {
    lastColumnAreaWidth = lastWidth;
    side = ExactQuotient(std::int64_t{ledWidth} - lastWidth, std::int64_t{countAcross} - 1);
    if (!side) return RefuseHorizontal();
  } else {
    side = ExactQuotient(ledWidth, countAcross);
    if (!side) return RefuseHorizontal();
    lastColumnAreaWidth = *side;
  }
  singleAreaSize = *side;
  lastRowAreaHeight = lastHeight != kNotGiven ? lastHeight : singleAreaSize;

  // Blocks are square: the rows must give the very side that the columns gave.
  const std::int64_t rowsAbove = std::int64_t{ledHeight} - lastRowAreaHeight;
  if (ExactQuotient(rowsAbove, std::int64_t{countDown} - 1) != side) {
    AlgoLogError("Dravix::SetsingleAreaSize--Error ::  checkboarder size wrong or illegal !!.");
    return DRAVIX_BAD_BLOCKS;
  }
  return DRAVIX_OK;
}

std::array<cv::Point2f, 4> Dravix::TargetRectangle(cv::Size workingSize) const {
  const int centerX = workingSize.width / 2;  // truncated
  const int centerY = workingSize.height / 2;
  const double halfWidth = workingSize.width * roiScale / 2;
  const double halfHeight = workingSize.height * roiScale / 2;
  const auto left = static_cast<float>(centerX - halfWidth);
  const auto right = static_cast<float>(centerX + halfWidth);
  const auto top = static_cast<float>(centerY - halfHeight);
  const auto bottom = static_cast<float>(centerY + halfHeight);
  return {cv::Point2f(left, top), cv::Point2f(right, top), cv::Point2f(right, bottom),
          cv::Point2f(left, bottom)};
}

void Dravix::Release() {
  resultImage = cv::Mat();
  lum = cv::Mat_<float>();
}

bool Dravix::Empty() const { return lum.empty(); }
