// Setters, checks, copies and files of a photograph's metadata, in any order.
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <array>
#include <utility>

#include "fuzz/pictures.h"
#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

std::string BytesOf(const Shot& shot) {
  std::string bytes(shot.image.total() * 2 + 1024, '\0');
  std::size_t size = bytes.size();
  Require(shot.ToBuffer(bytes.data(), &size) == DRAVIX_OK, "a shot fits its buffer");
  bytes.resize(size);
  return bytes;
}

/// Hands each group that another shot has to the setter.
void SetAll(Shot& shot, const Shot& groups) {
  if (groups.partition) shot.SetPartition(*groups.partition);
  if (groups.panel) shot.SetLedPanel(*groups.panel);
  if (groups.layer) shot.SetLayer(*groups.layer);
  if (groups.pattern) shot.SetPattern(*groups.pattern);
  if (groups.color) shot.SetColor(*groups.color);
  if (groups.device) shot.SetDevice(*groups.device);
  if (groups.capture) shot.SetCapture(*groups.capture);
}

void Locate(Shot& shot, Input& input) {
  const auto camera = input.Take<std::int32_t>();
  const std::array screen{input.Take<std::int32_t>(), input.Take<std::int32_t>()};
  const std::array interval{input.Take<std::int32_t>(), input.Take<std::int32_t>()};
  const auto index = input.Take<std::int32_t>();
  const unsigned nulls = input.TakeBelow(8);
  shot.SetPointLocatorMeta(camera, nulls == 1 ? nullptr : screen.data(),
                           nulls == 2 ? nullptr : interval.data(), index,
                           input.Take<std::int32_t>());
}

void CheckPair(const Shot& shot, const Shot& other, Input& input) {
  const auto flags = input.Take<std::uint32_t>();
  const std::int32_t both = Shot::Check(flags, &shot, &other);
  const std::int32_t second = Shot::Check(flags, &other);
  if (second != DRAVIX_OK) Require(both == second, "the second shot is checked first");
  Require(Shot::Check(flags, nullptr, &other) != DRAVIX_OK || flags == 0, "no shot meets no flag");
  Require((Shot::Check(flags, nullptr) == DRAVIX_OK) == (flags == 0), "no shot meets no flag");
}

void CheckFile(const Shot& shot) {
  const std::string bytes = BytesOf(shot);
  Shot read;
  Require(read.FromBuffer(bytes.data(), bytes.size()) == DRAVIX_OK, "a saved shot is read");
  Require(BytesOf(read) == bytes, "saved, loaded and saved: same bytes");
}

}  // namespace

FUZZ_TARGET(shot_metadata, input) {
  Shot shot;
  Shot other;
  for (int steps = 0; steps < 32 && !input.Empty(); ++steps) {
    switch (input.TakeBelow(9)) {
      case 0: {
        Shot groups;
        TakeGroups(input, groups);
        SetAll(shot, groups);
        break;
      }
      case 1:
        TakeGroups(input, other);
        other.type = input.Take<std::uint32_t>();
        break;
      case 2:
        Locate(shot, input);
        break;
      case 3:
        CheckPair(shot, other, input);
        break;
      case 4:
        CheckFile(shot);
        CheckFile(other);
        break;
      case 5:
        shot.Info();
        other.Info();
        break;
      case 6: {
        const Shot copy = shot;
        Require(BytesOf(copy) == BytesOf(shot), "a copy is the same");
        other = copy;
        other.CopyTo(other);
        break;
      }
      case 7:
        std::swap(shot, other);
        break;
      default:
        shot.image = TakeLargePicture(input);
        if (shot.pattern) shot.SetPattern(*shot.pattern);
    }
  }
}

}  // namespace dravix::fuzz
