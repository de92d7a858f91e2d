// What the tool says about pictures of cameras and of other programs, and their samples.
#include "files/file_kind.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "photographs/formats/gray_map.h"
#include "photographs/formats/tiff_summary.h"
#include "photographs/library_pictures.h"
#include "terminal/failure.h"

namespace dravix::fuzz {
namespace {

template <class Work>
void Try(Work&& work) {
  try {
    work();
  } catch (const tool::Failure&) {
    return;
  }
}

}  // namespace

FUZZ_TARGET(camera_file, input) {
  constexpr const char* kNames[] = {"file.dng", "file.pgm", "file.raw", "file.png"};
  const std::string name = ScratchFile(kNames[input.TakeBelow(4)], input.Rest());
  static_cast<void>(tool::KindOf(name));
  static_cast<void>(tool::MapHeaderIn(Text(input.Rest())));
  static_cast<void>(tool::SummaryOfTiff(Text(input.Rest())));
  Try([&] { static_cast<void>(tool::ReadDng(name, tool::DngOffsets::kAuto)); });
  Try([&] { static_cast<void>(tool::ReadDng(name, tool::DngOffsets::kArray)); });
  const auto samples = static_cast<int>(input.Rest().size() / 2);
  Try([&] { static_cast<void>(tool::ReadRaw(name, {samples, 1})); });
}

}  // namespace dravix::fuzz
