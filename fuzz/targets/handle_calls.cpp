// The exported functions on one handle, in any order and with any arguments.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <array>
#include <memory>

#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

/// What a host holds beside the handle.
struct Host {
  DravixHandle handle = nullptr;
  Shot shot, board;
  RegionOI region;
};

/// Null in one of sixteen cases.
template <class T>
T* OrNull(Input& input, T* pointer) {
  return input.TakeBelow(16) == 15 ? nullptr : pointer;
}

std::string TakeName(Input& input) {
  constexpr std::array kNames{"a.lum", "b.lum", "none/c.lum", "a.LUM",
                              "a.png", "a.bmp", ".lum",       ""};
  const std::string name = kNames.at(input.TakeBelow(8));
  return name.empty() ? name : ScratchName(name);
}

/// Reads every byte that a result describes.
void Read(const DravixMatrix& m) {
  std::uint32_t sum = 0;
  for (std::int32_t i = 0; i < m.size; ++i) sum += static_cast<unsigned char*>(m.data)[i];
  Require(sum < 0xFFFFFFFFU, "a result's bytes can be read");
  Require((m.size == 0) == (m.data == nullptr), "an empty matrix has no data");
}

void Get(Host& host, Input& input) {
  DravixResult result{};
  const std::int32_t copy = input.Take<std::int8_t>();
  if (DravixGet(host.handle, OrNull(input, &result), copy) != DRAVIX_OK) return;
  Read(result.resultImage);
  Read(result.lum);
  if (copy < 1) return;
  const std::unique_ptr<char[]> image(static_cast<char*>(result.resultImage.data));
  const std::unique_ptr<char[]> lum(static_cast<char*>(result.lum.data));
}

void Extract(Host& host, Input& input) {
  std::array<std::int32_t, 8> corners{};
  for (std::int32_t& number : corners) number = input.Take<std::int16_t>();
  const auto count = static_cast<std::int32_t>(input.TakeBelow(8)) - 1;
  const auto top = input.Take<std::int32_t>();
  const auto bottom = input.Take<std::int32_t>();
  DravixExtract(host.handle, OrNull(input, &host.shot), OrNull(input, corners.data()), count, top,
                bottom, input.Take<std::int32_t>());
}

void ExtractPro(Host& host, Input& input) {
  const DravixBlockCounts blocks{input.Take<std::int8_t>(), input.Take<std::int8_t>()};
  const auto lastWidth = input.Take<std::int32_t>();
  const auto lastHeight = input.Take<std::int32_t>();
  DravixExtractPro(host.handle, OrNull(input, &host.region), OrNull(input, &host.shot),
                   OrNull(input, &host.board), blocks, lastWidth, lastHeight);
}

void ToBuffer(Host& host, Input& input) {
  std::uint64_t size = 0;
  const std::int32_t code = DravixGetBufferSize(host.handle, OrNull(input, &size));
  const std::uint64_t expected = size;
  if (code != DRAVIX_OK) size = input.Take<std::uint16_t>();
  std::string buffer(static_cast<std::size_t>(size), '\0');
  if (DravixToBuffer(host.handle, buffer.data(), &size) != DRAVIX_OK) return;
  Require(code != DRAVIX_OK || size == expected, "the buffer size is foretold");
  Require(
      DravixFromBuffer(host.handle, buffer.data(), static_cast<std::int64_t>(size)) == DRAVIX_OK,
      "what was written is read");
}

void TakeRegion(Host& host, Input& input) {
  static_cast<void>(Refused([&] {
    if (input.TakeBool()) {
      const auto corners = TakePoints(input);
      host.region.ManualSet(host.shot.image.size(), corners);
    } else if (host.region.SetShot(&host.shot) == DRAVIX_OK) {
      host.region.AutoSet();
    }
  }));
}

void Step(Host& host, Input& input) {
  switch (input.TakeBelow(13)) {
    case 0:
      host.shot = TakeShot(input);
      break;
    case 1:
      host.shot = TakeLargeShot(input);
      break;
    case 2:
      host.board = TakeLargeShot(input);
      break;
    case 3:
      TakeRegion(host, input);
      break;
    case 4:
      Extract(host, input);
      break;
    case 5:
      ExtractPro(host, input);
      break;
    case 6:
      Get(host, input);
      break;
    case 7:
      Require(DravixRelease(host.handle) == DRAVIX_OK, "a result can be released");
      Require(DravixRelease(nullptr) == DRAVIX_NULL_ARGUMENT, "no handle is told");
      break;
    case 8:
      DravixSave(host.handle, TakeName(input).c_str());
      break;
    case 9:
      DravixLoad(host.handle, TakeName(input).c_str());
      break;
    case 10:
      ToBuffer(host, input);
      break;
    case 11: {
      const base::ByteView bytes = input.TakePiece();
      DravixFromBuffer(host.handle, OrNull(input, Chars(bytes)),
                       static_cast<std::int64_t>(bytes.size()));
      break;
    }
    default:
      DravixExportImage(host.handle, TakeName(input).c_str(), input.Take<std::int8_t>());
  }
}

}  // namespace

FUZZ_TARGET(handle_calls, input) {
  // Handles live until the process ends, so all inputs share one, which each finds as new.
  static const DravixHandle handle = [] {
    DravixHandle made = nullptr;
    DravixCreateHandle(&made);
    return made;
  }();
  *handle = Dravix();
  Host host;
  host.handle = handle;
  for (int steps = 0; steps < 16 && !input.Empty(); ++steps) Step(host, input);
  DravixDestroyHandle(handle);
}

}  // namespace dravix::fuzz
