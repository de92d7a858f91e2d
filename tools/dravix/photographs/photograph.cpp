#include "photographs/photograph.h"

#include <dravix/dravix.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "files/file_kind.h"
#include "metadata/shot_metadata.h"
#include "photographs/formats/sample_levels.h"
#include "photographs/picture_stand_in.h"
#include "photographs/plane_choice.h"
#include "photographs/read_picture.h"
#include "stored/stored_data.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

/// What --black-level asks for: nothing, the file's own level, or this number.
struct BlackWish {
  bool subtract = false;
  std::optional<double> level;
};

BlackWish BlackWishOf(const std::string& text) {
  if (text == "keep") return {};
  if (text == "subtract") return {true, std::nullopt};
  double level = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, level);
  if (read.ec == std::errc() && read.ptr == end && level >= 0 && level <= 65535) {
    return {true, level};
  }
  throw Unexpected("--black-level", InQuotes(text), "keep, subtract or a number from 0 to 65535");
}

DngOffsets DngOffsetsOf(const std::string& text) {
  if (text == "auto") return DngOffsets::kAuto;
  if (text == "array") return DngOffsets::kArray;
  if (text == "direct") return DngOffsets::kDirect;
  throw Unexpected("--dng-layout", InQuotes(text), "auto, array or direct");
}

PictureLayout LayoutOf(const PhotographOptions& o) {
  PictureLayout layout;
  if (!o.rawSize.empty()) layout.rawSize = ParseSize("--raw-size", o.rawSize);
  layout.camType = o.camType;
  layout.dngOffsets = DngOffsetsOf(o.dngLayout);
  return layout;
}

void RequireKnownWords(const PhotographOptions& o) {
  if (!o.linearize.empty() && o.linearize != "srgb") {
    throw Unexpected("--linearize", InQuotes(o.linearize), "srgb");
  }
  const bool known = o.channel.empty() || o.channel == "r" || o.channel == "g" ||
                     o.channel == "b" || IsGray(o.channel);
  if (!known) throw Unexpected("--channel", InQuotes(o.channel), "r, g, b or gray");
  static_cast<void>(BlackWishOf(o.blackLevel));
}

void SubtractBlack(const std::string& name, const PhotographOptions& o, CameraPicture& picture,
                   PhotographSource& source) {
  const BlackWish wish = BlackWishOf(o.blackLevel);
  if (!wish.subtract) return;
  if (wish.level) {
    picture.black = BlackLevel{};
    picture.black->values = {*wish.level};
  }
  if (!picture.black) {
    throw UsageFailure(name +
                       ": names no black level, expected --black-level with a number beside it");
  }
  picture.samples = WithoutBlack(picture.samples, *picture.black);
  source.blackSubtracted = true;
}

/// 8-bit samples of pictures as 16-bit ones. A sensor's own numbers stay.
void StretchPicture(const std::string& name, const PhotographOptions& o, CameraPicture& picture,
                    PhotographSource& source) {
  const bool linear = o.linearize == "srgb";
  if (picture.samples.depth() == CV_8U) {
    picture.samples = Stretched(picture.samples, linear);
    source.stretched = true;
  } else if (linear) {
    throw UsageFailure(name +
                       ": --linearize is for 8-bit pictures, found a sensor's or 16-bit samples");
  }
}

void CopyText(const std::string& text, char (&field)[64]) {
  std::fill(std::begin(field), std::end(field), '\0');
  std::copy_n(text.begin(), std::min(text.size(), sizeof field - 1), field);
}

std::string DeviceText(const ExposureData& data) {
  std::string text = data.maker;
  // Models often repeat the maker's name.
  if (!data.model.empty() && data.model.starts_with(data.maker)) text.clear();
  for (const std::string& part : {data.model, data.serial}) {
    if (!part.empty()) text += (text.empty() ? "" : " ") + part;
  }
  return text;
}

std::int32_t Counted(double value) {
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::lround(std::clamp(value, 0.0, kMost)));
}

/// Fills in the groups that exposure data fits: exposure in microseconds, gain as ISO, aperture in
/// hundredths of the f-number. The camera's type stays 0, which leaves the sensor's range open.
void SetExposure(const ExposureData& data, const std::optional<int>& camType, Shot& shot) {
  const std::string camera = DeviceText(data);
  if (!camera.empty() || !data.lens.empty() || camType) {
    Shot::Device device;
    CopyText(camera, device.id);
    CopyText(data.lens, device.lens_id);
    device.cam_type = camType.value_or(0);
    shot.SetDevice(device);
  }
  if (data.seconds || data.iso || data.fNumber) {
    Shot::Capture capture;
    capture.exposure = Counted(data.seconds.value_or(0) * 1e6);
    capture.gain = Counted(data.iso.value_or(0));
    capture.aperture = Counted(data.fNumber.value_or(0) * 100);
    shot.SetCapture(capture);
  }
}

/// The rows of an undemosaiced mosaic change places with the picture's.
void Flip(Photograph& photo) {
  std::string& mosaic = photo.source.mosaic;
  const bool evenRows = photo.shot.image.rows % 2 == 0;
  if (evenRows && !photo.source.demosaiced && IsBayer(mosaic)) {
    mosaic = mosaic.substr(2) + mosaic.substr(0, 2);
  }
  cv::flip(photo.shot.image, photo.shot.image, 0);
}

Photograph FromShot(const std::string& name, const PhotographOptions& o, Shot shot) {
  Photograph photo;
  photo.shot = std::move(shot);
  photo.source.format = "shot";
  CameraPicture picture;
  picture.samples = photo.shot.image;
  picture.sensor = true;
  if (photo.shot.image.channels() == 1 && photo.shot.type == CAM_RGB) picture.mosaic = "unknown";
  SubtractBlack(name, o, picture, photo.source);
  photo.source.black = picture.black;
  photo.shot.image = picture.samples;
  if (!o.linearize.empty()) {
    throw UsageFailure(name + ": --linearize is for 8-bit pictures, found a .shot");
  }
  ChoosePlaneOfShot(name, {o.channel, o.type, o.mosaic}, photo.shot, photo.source);
  if (o.camType) {
    Shot::Device device = photo.shot.device.value_or(Shot::Device{});
    device.cam_type = *o.camType;
    photo.shot.SetDevice(device);
  }
  return photo;
}

Photograph FromPicture(const std::string& name, const PhotographOptions& o, CameraPicture picture) {
  Photograph photo;
  PhotographSource& source = photo.source;
  source.format = picture.format;
  source.decoder = picture.decoder;
  source.bits = picture.bits;
  source.white = picture.white;
  source.exposure = picture.exposure;
  source.mosaic = picture.mosaic;
  SubtractBlack(name, o, picture, source);
  source.black = picture.black;
  StretchPicture(name, o, picture, source);
  ChoosePlane(name, {o.channel, o.type, o.mosaic}, picture, photo.shot, source);
  SetExposure(picture.exposure, o.camType, photo.shot);
  return photo;
}

}  // namespace

Photograph OpenPhotograph(const std::string& name, const PhotographOptions& options) {
  RequireKnownWords(options);
  const bool dump = !options.rawSize.empty() || options.camType;
  const FileKind kind = KindOf(name);
  // A .shot keeps its size; the type of its camera may be set beside it.
  const bool isShot = kind == FileKind::kShot && options.rawSize.empty();
  const bool isOther = kind == FileKind::kLum || kind == FileKind::kRegion ||
                       kind == FileKind::kNpy || kind == FileKind::kTruth;
  if (isOther && !dump) {
    throw InputFailure(
        name,
        "is no photograph, expected a .shot, JPEG, PNG, TIFF, DNG, PGM, raw dump or raw file");
  }
  Photograph photo = isShot
                         ? FromShot(name, options, LoadShot(name))
                         : FromPicture(name, options, ReadCameraPicture(name, LayoutOf(options)));
  if (options.flip) Flip(photo);
  return photo;
}

std::optional<PhotographStandIn> StandInFor(const std::string& name,
                                            const PhotographOptions& options) {
  RequireKnownWords(options);
  const PictureLayout layout = LayoutOf(options);
  if (KindOf(name) == FileKind::kShot && !layout.rawSize) {
    ShotHead head = LoadShotHead(name);
    head.shot.image = FewSamples(head.pixelType);
    return PhotographStandIn{FromShot(name, options, std::move(head.shot)).shot, head.size};
  }
  if (layout.camType || layout.dngOffsets != DngOffsets::kAuto) return std::nullopt;
  auto picture = layout.rawSize ? StandInForDump(*layout.rawSize) : StandInForPicture(name);
  if (!picture) return std::nullopt;
  return PhotographStandIn{FromPicture(name, options, std::move(picture->picture)).shot,
                           picture->size};
}

}  // namespace dravix::tool
