// Picture files of cameras and of other programs, as a command opens them.
#include "photographs/photograph.h"

#include <string>

#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "photographs/formats/exif.h"
#include "terminal/failure.h"

namespace dravix::fuzz {
namespace {

/// The first byte of an input chooses what the file is called, the second one what is asked for.
tool::PhotographOptions OptionsOf(unsigned choice) {
  tool::PhotographOptions options;
  constexpr const char* kChannels[] = {"", "r", "g", "gray"};
  options.channel = kChannels[choice % 4];
  if ((choice & 4U) != 0) options.mosaic = "grbg";
  if ((choice & 8U) != 0) options.blackLevel = "subtract";
  if ((choice & 16U) != 0) options.linearize = "srgb";
  if ((choice & 32U) != 0) options.flip = true;
  return options;
}

/// What shows by the first bytes of a file must never be that options suit it which do not.
void CompareStandIn(const std::string& file, const tool::PhotographOptions& options,
                    const tool::Failure* refusal) {
  if (refusal != nullptr && refusal->Exit() != tool::ExitCode::kUsage) return;
  try {
    const auto standIn = tool::StandInFor(file, options);
    Require(!standIn || refusal == nullptr, "a stand-in is refused where the photograph is");
  } catch (const tool::Failure&) {
    return;
  }
}

}  // namespace

FUZZ_TARGET(photograph, input) {
  constexpr const char* kNames[] = {"file.dng", "file.tif", "file.jpg", "file.png",
                                    "file.pgm", "file.bmp", "file.nef"};
  const unsigned name = input.TakeBelow(7);
  const tool::PhotographOptions options = OptionsOf(input.TakeBelow(64));
  static_cast<void>(tool::ExposureOfBlock(Text(input.Rest())));
  const std::string file = ScratchFile(kNames[name], input.Rest());
  try {
    const tool::Photograph photo = tool::OpenPhotograph(file, options);
    const cv::Mat& image = photo.shot.image;
    Require(!image.empty(), "a photograph has pixels");
    Require(image.depth() == CV_16U && (image.channels() == 1 || image.channels() == 3),
            "a photograph has 16-bit samples, one or three a pixel");
    Require(static_cast<double>(image.total()) <= tool::kMostPicturePixels,
            "a photograph has at most 250 megapixels");
    static_cast<void>(tool::SourceJson(photo.source).dump());
    static_cast<void>(tool::SourceLines(photo.source));
    CompareStandIn(file, options, nullptr);
  } catch (const tool::Failure& failure) {
    CompareStandIn(file, options, &failure);
  }
}

}  // namespace dravix::fuzz
