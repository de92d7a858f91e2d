// The findings on any picture, with any pattern, corners and checkerboard.
#include <dravix/lab/check.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

/// A picture of up to 128 pixels a side; samples that have run out are 0.
cv::Mat TakePicture(Input& input) {
  constexpr std::array<int, 4> kTypes = {CV_16UC1, CV_8UC1, CV_16UC3, CV_32FC1};
  const int type = kTypes.at(input.TakeBelow(4));
  const int width = static_cast<int>(input.TakeBelow(129));
  const int height = static_cast<int>(input.TakeBelow(129));
  cv::Mat picture = cv::Mat::zeros(height, width, type);
  if (picture.empty()) return picture;
  // A rectangle of light leads past the search for the lit area.
  cv::Rect lit;
  lit.x = static_cast<int>(input.TakeBelow(64));
  lit.y = static_cast<int>(input.TakeBelow(64));
  lit.width = static_cast<int>(input.TakeBelow(129));
  lit.height = static_cast<int>(input.TakeBelow(129));
  picture(lit & cv::Rect({0, 0}, picture.size())) = cv::Scalar::all(input.Take<std::uint8_t>());
  const base::ByteView samples = input.TakePiece();
  const std::size_t held = std::min(samples.size(), picture.total() * picture.elemSize());
  std::copy_n(samples.begin(), held, static_cast<std::byte*>(static_cast<void*>(picture.data)));
  return picture;
}

Shot TakeShot(Input& input) {
  Shot shot;
  shot.type = input.TakeBool() ? CIE_Y : CAM_RGB;
  if (input.TakeBool()) {
    shot.pattern = Shot::Pattern();
    shot.pattern->interval_x = input.Take<std::int8_t>();
    shot.pattern->interval_y = input.Take<std::int8_t>();
    shot.pattern->loc_x = input.Take<std::int8_t>();
    shot.pattern->loc_y = input.Take<std::int8_t>();
    shot.pattern->lighted_led_w = input.Take<std::int16_t>();
    shot.pattern->lighted_led_h = input.Take<std::int16_t>();
  }
  if (input.TakeBool()) {
    shot.device = Shot::Device();
    shot.device->cam_type = input.Take<std::int32_t>();
  }
  shot.image = TakePicture(input);
  return shot;
}

}  // namespace

FUZZ_TARGET(check, input) {
  const Shot photo = TakeShot(input);
  lab::CheckOptions options;
  if (input.TakeBool()) {
    for (int i = 0; i < 4; ++i) {
      const int x = input.Take<std::int16_t>();
      options.corners.emplace_back(x, input.Take<std::int16_t>());
    }
  }
  Shot board;
  if (input.TakeBool()) {
    board = TakeShot(input);
    options.checkerboard = &board;
    options.blocks.width = input.Take<std::int8_t>();
    options.blocks.height = input.Take<std::int8_t>();
    options.last.width = input.Take<std::int8_t>();
    options.last.height = input.Take<std::int8_t>();
  }
  std::vector<lab::Finding> findings;
  if (Refused([&] { findings = lab::Check(photo, options); })) {
    Require(false, "a photograph is checked and not refused");
  }
  Require(lab::ToJson(findings) == lab::ToJson(lab::Check(photo, options)),
          "the same photograph has the same findings");
  std::vector<std::string> ids;
  for (const lab::Finding& finding : findings) ids.push_back(finding.id);
  std::sort(ids.begin(), ids.end());
  Require(std::adjacent_find(ids.begin(), ids.end()) == ids.end(), "each id stands there once");
}

}  // namespace dravix::fuzz
