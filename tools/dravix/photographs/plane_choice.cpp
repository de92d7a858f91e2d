#include "photographs/plane_choice.h"

#include <dravix/dravix.h>

#include "photographs/formats/sample_levels.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

bool IsColorChannel(const std::string& channel) { return channel.size() == 1; }

std::uint32_t TypeOfChannel(const std::string& channel) {
  if (IsGray(channel)) return CIE_Y;
  return channel == "r" ? CAM_R : channel == "g" ? CAM_G : CAM_B;
}

int IndexOf(const std::string& channel) { return channel == "r" ? 0 : channel == "g" ? 1 : 2; }

bool IsCameraType(std::uint32_t type) { return (type & CAM_RGB) != 0; }

std::uint32_t TypeOr(const PlaneWish& wish, std::uint32_t otherwise) {
  return wish.type.empty() ? otherwise : ParseType("--type", wish.type);
}

/// The type of one plane that --type names, or the other.
std::uint32_t PlaneTypeOr(const std::string& name, const PlaneWish& wish, std::uint32_t otherwise) {
  const std::uint32_t type = TypeOr(wish, otherwise);
  if (type == CAM_RGB || type == CIE_XYZ) {
    throw UsageFailure("--type " + TypeName(type) + ": found one plane in " + name +
                       ", expected the type of one plane, or --mosaic with a type of the camera");
  }
  return type;
}

std::string NameOfType(std::uint32_t type) {
  switch (type) {
    case CAM_R:
      return "r";
    case CAM_G:
      return "g";
    case CAM_B:
      return "b";
    case CAM_RGB:
      return "rgb";
    default:
      return TypeName(type);
  }
}

void FromThreePlanes(const std::string& name, const PlaneWish& wish, const cv::Mat& samples,
                     Shot& shot, PhotographSource& source) {
  if (!wish.mosaic.empty()) {
    throw UsageFailure(name + ": --mosaic is for sensor data of one plane, found three planes");
  }
  if (wish.channel.empty()) {
    if (TypeOr(wish, CAM_RGB) != CAM_RGB) {
      throw UsageFailure(
          "--type " + wish.type +
          ": the picture has three planes, expected --channel r, g, b or gray beside it");
    }
    shot.image = samples;
    shot.type = CAM_RGB;
    source.plane = "rgb";
    return;
  }
  shot.type = PlaneTypeOr(name, wish, TypeOfChannel(wish.channel));
  if (IsGray(wish.channel)) {
    shot.image = MeanOfPlanes(samples);
  } else {
    cv::extractChannel(samples, shot.image, IndexOf(wish.channel));
  }
  source.plane = IsGray(wish.channel) ? "gray" : wish.channel;
}

void Demosaic(const std::string& name, const PlaneWish& wish, const std::string& mosaic,
              const cv::Mat& samples, Shot& shot, PhotographSource& source) {
  // One plane is taken as such; their mean and all three need the three of them.
  const bool colorChannel = IsColorChannel(wish.channel);
  const std::uint32_t type = colorChannel           ? TypeOfChannel(wish.channel)
                             : wish.channel.empty() ? TypeOr(wish, CIE_Y)
                                                    : std::uint32_t{CAM_RGB};
  const std::int32_t code = shot.SetImageColor(samples, ParseMosaic("--mosaic", mosaic), type);
  if (code != DRAVIX_OK) {
    throw UsageFailure(name + ": --type " + TypeName(type) + " --mosaic " + mosaic + ": " +
                       Explained(code));
  }
  source.plane = NameOfType(type);
  if (IsGray(wish.channel)) {
    shot.image = MeanOfPlanes(shot.image);
    source.plane = "gray";
  }
  if (!wish.channel.empty()) shot.type = PlaneTypeOr(name, wish, TypeOfChannel(wish.channel));
  source.mosaic = mosaic;
  source.demosaiced = true;
}

void SetSingle(const std::string& name, const PlaneWish& wish, std::uint32_t type,
               const cv::Mat& samples, Shot& shot, PhotographSource& source) {
  const std::int32_t code = shot.SetImageSingle(samples, type);
  if (code != DRAVIX_OK) {
    throw UsageFailure(name + ": --type " + TypeName(type) +
                       " without --mosaic: " + Explained(code));
  }
  source.plane = wish.channel.empty() ? NameOfType(type) : "gray";
}

void FromOnePlane(const std::string& name, const PlaneWish& wish, const CameraPicture& picture,
                  Shot& shot, PhotographSource& source) {
  if (!wish.mosaic.empty() && !picture.sensor) {
    throw UsageFailure(name + ": --mosaic is for sensor data of 16 bits");
  }
  const std::string mosaic = wish.mosaic.empty() ? picture.mosaic : wish.mosaic;
  const bool cameraType = !wish.type.empty() && IsCameraType(TypeOr(wish, 0));
  const bool wantsColor = !wish.channel.empty() || !wish.mosaic.empty() || cameraType;
  if (!mosaic.empty() && wantsColor) {
    if (wish.mosaic.empty() && !IsBayer(mosaic)) {
      throw InputFailure(name,
                         "has a mosaic that is no 2 x 2 of red, green and blue, expected one of "
                         "these: rggb, grbg, bggr or gbrg");
    }
    Demosaic(name, wish, mosaic, picture.samples, shot, source);
    return;
  }
  if (!mosaic.empty() && wish.type.empty()) {
    // One plane of a type that has three elsewhere: that is how a mosaic is recognized.
    shot.image = picture.samples.clone();
    shot.type = CAM_RGB;
    source.plane = "mosaic";
    return;
  }
  if (IsColorChannel(wish.channel) && picture.sensor) {
    throw UsageFailure(name + ": --channel " + wish.channel +
                       ": the file has one plane and names no mosaic, expected --channel gray, or "
                       "--mosaic with the sensor's first two rows beside it");
  }
  SetSingle(name, wish, PlaneTypeOr(name, wish, CIE_Y), picture.samples, shot, source);
}

}  // namespace

void ChoosePlane(const std::string& name, const PlaneWish& wish, const CameraPicture& picture,
                 Shot& shot, PhotographSource& source) {
  if (picture.samples.channels() == 3) {
    FromThreePlanes(name, wish, picture.samples, shot, source);
  } else {
    FromOnePlane(name, wish, picture, shot, source);
  }
}

void ChoosePlaneOfShot(const std::string& name, const PlaneWish& wish, Shot& shot,
                       PhotographSource& source) {
  const bool one = shot.image.channels() == 1;
  const bool mosaic = one && shot.type == CAM_RGB;
  if (mosaic) source.mosaic = "unknown";
  const bool asIs = wish.channel.empty() && wish.type.empty() && wish.mosaic.empty();
  const bool already = one && !mosaic && !wish.channel.empty() && wish.mosaic.empty() &&
                       (IsGray(wish.channel) || shot.type == TypeOfChannel(wish.channel));
  if (asIs || already) {
    source.plane = mosaic ? "mosaic" : NameOfType(shot.type);
    if (!wish.type.empty()) shot.type = PlaneTypeOr(name, wish, shot.type);
    return;
  }
  if (!one && shot.type != CAM_RGB) {
    throw UsageFailure(name + ": holds " + TypeName(shot.type) +
                       ", expected red, green and blue for --channel");
  }
  if (mosaic && wish.mosaic.empty()) {
    throw UsageFailure(name +
                       ": is a color mosaic whose first rows it does not name, expected --mosaic "
                       "rggb, grbg, bggr or gbrg beside it");
  }
  CameraPicture picture;
  picture.samples = shot.image;
  picture.sensor = true;
  ChoosePlane(name, wish, picture, shot, source);
}

}  // namespace dravix::tool
