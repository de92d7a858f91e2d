// LibRaw's object is opened and unpacked, and nothing more: the plane that it unpacks is the
// sensor's, with the borders that see no light. What lies in the visible area is copied. Black
// levels and the mosaic's colors are read from the fields that LibRaw's own processing would use;
// both are counted from the visible area's corner.
#include <libraw/libraw.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <memory>
#include <numeric>

#include "photographs/formats/camera_raw.h"
#include "photographs/formats/tiff_directory.h"
#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

struct DataErrors {
  int count = 0;
  std::int64_t offset = 0;  ///< of the first; negative at the file's end
};

/// LibRaw's versions differ in the type of the offset.
constexpr auto kOnDataError = [](void* data, const char* /*file*/, auto offset) {
  auto& errors = *static_cast<DataErrors*>(data);
  if (errors.count++ == 0) errors.offset = static_cast<std::int64_t>(offset);
};

void RequireSuccess(const std::string& name, int code, const char* step) {
  if (code == LIBRAW_SUCCESS) return;
  throw InputFailure(name, std::string("cannot be ") + step + ": LibRaw says \"" +
                               libraw_strerror(code) + "\" (cut short, damaged or unknown)");
}

/// The colors of the first two rows; "other" for what is no 2 x 2 of red, green and blue.
std::string MosaicOf(LibRaw& raw) {
  if (raw.imgdata.idata.filters == 0) return {};
  constexpr unsigned kFewestOfBayer = 1000;  // LibRaw gives special mosaics small numbers
  if (raw.imgdata.idata.filters < kFewestOfBayer) return "other";
  constexpr int kPeriod = 8;  // rows that LibRaw's pattern may have
  std::string letters;
  for (int y = 0; y < kPeriod; ++y) {
    for (int x = 0; x < 2; ++x) {
      const int color = raw.COLOR(y, x);
      const char letter = raw.imgdata.idata.cdesc[std::clamp(color, 0, 3)];
      letters += static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
    }
  }
  const std::string first = letters.substr(0, 4);
  for (std::size_t i = 0; i < letters.size(); ++i) {
    if (letters[i] != first[i % 4]) return "other";
  }
  return IsBayer(first) ? first : "other";
}

double BlackAt(LibRaw& raw, int y, int x, int color) {
  const auto& c = raw.imgdata.color;
  double black = static_cast<double>(c.black) + static_cast<double>(c.cblack[color]);
  const auto rows = static_cast<int>(c.cblack[4]);
  const auto columns = static_cast<int>(c.cblack[5]);
  if (rows > 0 && columns > 0) {
    black += static_cast<double>(c.cblack[6 + y % rows * columns + x % columns]);
  }
  return black;
}

BlackLevel BlackLevelOf(LibRaw& raw, int planes) {
  const auto& c = raw.imgdata.color;
  const auto side = [](unsigned repeat) {
    constexpr unsigned kMostRepeat = 64;
    return static_cast<int>(std::lcm(std::clamp(repeat, 1U, kMostRepeat), 2U));
  };
  BlackLevel black;
  black.planes = planes;
  black.rows = side(c.cblack[4]);
  black.columns = side(c.cblack[5]);
  for (int y = 0; y < black.rows; ++y) {
    for (int x = 0; x < black.columns; ++x) {
      for (int p = 0; p < planes; ++p) {
        const bool mosaic = planes == 1 && raw.imgdata.idata.filters != 0;
        black.values.push_back(BlackAt(raw, y, x, mosaic ? std::clamp(raw.COLOR(y, x), 0, 3) : p));
      }
    }
  }
  return black;
}

std::string TimeText(std::time_t time) {
  if (time <= 0) return {};
  std::tm parts{};
  if (localtime_r(&time, &parts) == nullptr) return {};
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  return {text.data(), length};
}

std::optional<double> Positive(float value) {
  return std::isfinite(value) && value > 0 ? std::optional<double>(value) : std::nullopt;
}

/// A text in a field of fixed length.
template <std::size_t N>
std::string FieldText(const char (&field)[N]) {
  return PlainText(std::string_view(field, N));
}

/// EXIF's code for the turn that LibRaw would make.
int OrientationOf(int flip) {
  switch (flip) {
    case 3:
      return 3;
    case 5:
      return 8;
    case 6:
      return 6;
    default:
      return 1;
  }
}

ExposureData ExposureOf(const libraw_data_t& data) {
  ExposureData exposure;
  exposure.maker = FieldText(data.idata.make);
  exposure.model = FieldText(data.idata.model);
  exposure.serial = FieldText(data.shootinginfo.BodySerial);
  exposure.lens = FieldText(data.lens.Lens);
  exposure.taken = TimeText(data.other.timestamp);
  exposure.seconds = Positive(data.other.shutter);
  exposure.iso = Positive(data.other.iso_speed);
  exposure.fNumber = Positive(data.other.aperture);
  exposure.orientation = OrientationOf(data.sizes.flip);
  return exposure;
}

void RequirePossible(const std::string& name, std::size_t bytes, const libraw_data_t& data) {
  const auto& s = data.sizes;
  const std::string size = std::to_string(s.raw_width) + " x " + std::to_string(s.raw_height);
  const double pixels = static_cast<double>(s.raw_width) * s.raw_height;
  if (pixels <= 0) throw InputFailure(name, "does not say its size");
  if (pixels > kMostPicturePixels) {
    throw InputFailure(name, "has " + size + " pixels, expected at most 250 megapixels");
  }
  // Lossless schemes need a bit for most samples; this leaves room for those that do better.
  constexpr double kMostPixelsPerByte = 64;
  if (pixels > kMostPixelsPerByte * static_cast<double>(bytes)) {
    throw InputFailure(name, "is damaged: its " + std::to_string(bytes) + " bytes cannot hold " +
                                 size + " pixels");
  }
}

void RequireAllThere(const std::string& name, std::size_t bytes, const DataErrors& errors) {
  if (errors.count == 0) return;
  const bool atEnd = errors.offset < 0 || static_cast<std::size_t>(errors.offset) >= bytes;
  if (atEnd) throw EndsEarly(name, bytes, "end within the sensor's data");
  throw InputFailure(
      name, "is damaged: the sensor's data is not valid at byte " + std::to_string(errors.offset));
}

/// The visible part of what was unpacked: a plane of the sensor, or three where the file has a
/// color for every pixel.
cv::Mat VisibleSamples(const std::string& name, LibRaw& raw) {
  const auto& s = raw.imgdata.sizes;
  const auto& data = raw.imgdata.rawdata;
  const cv::Rect visible(s.left_margin, s.top_margin, s.width, s.height);
  const cv::Rect whole(0, 0, s.raw_width, s.raw_height);
  if (visible.empty() || (visible & whole) != visible) {
    throw InputFailure(name, "is damaged: its visible area leaves the sensor");
  }
  const bool processed = raw.is_sraw() != 0 || raw.is_fuji_rotated() != 0;
  const auto planeOf = [&](void* pixels, int channels) {
    const auto least = static_cast<std::size_t>(s.raw_width) * 2 * static_cast<unsigned>(channels);
    const auto step = static_cast<std::size_t>(s.raw_pitch);
    return cv::Mat(s.raw_height, s.raw_width, CV_16UC(channels), pixels,
                   step >= least ? step : least)(visible);
  };
  if (!processed && data.raw_image != nullptr) return planeOf(data.raw_image, 1).clone();
  if (!processed && data.color3_image != nullptr) return planeOf(data.color3_image, 3).clone();
  if (!processed && data.color4_image != nullptr && raw.imgdata.idata.colors == 3) {
    cv::Mat three;
    cv::Mat(s.raw_height, s.raw_width, CV_16UC4, data.color4_image)(visible).copyTo(three);
    cv::Mat picture(three.size(), CV_16UC3);
    cv::mixChannels({three}, {picture}, {0, 0, 1, 1, 2, 2});
    return picture;
  }
  throw InputFailure(name,
                     "holds no sensor's samples of up to 16 bits (floating point, processed by "
                     "the camera, or a diagonal sensor), expected such");
}

}  // namespace

CameraPicture ReadCameraRaw(const std::string& name, std::string& bytes) {
  const auto raw = std::make_unique<LibRaw>(LIBRAW_OPTIONS_NONE);
  DataErrors errors;
  raw->set_dataerror_handler(kOnDataError, &errors);
  // Without options nothing is scaled or filled in while unpacking, floating-point samples least.
#if LIBRAW_COMPILE_CHECK_VERSION_NOTLESS(0, 21)
  raw->imgdata.rawparams.options = 0;
#else
  raw->imgdata.params.raw_processing_options = 0;
#endif
  const Hushed hushed;
  RequireSuccess(name, raw->open_buffer(bytes.data(), bytes.size()), "read as a raw file");
  RequirePossible(name, bytes.size(), raw->imgdata);
  const int unpacked = raw->unpack();
  RequireAllThere(name, bytes.size(), errors);
  RequireSuccess(name, unpacked, "unpacked");

  CameraPicture picture;
  picture.format = raw->imgdata.idata.dng_version != 0 ? "dng" : "camera-raw";
  picture.decoder = CameraRawDecoder();
  picture.sensor = true;
  picture.samples = VisibleSamples(name, *raw);
  picture.bits = static_cast<int>(raw->imgdata.color.raw_bps);
  picture.mosaic = picture.samples.channels() == 1 ? MosaicOf(*raw) : std::string();
  picture.black = BlackLevelOf(*raw, picture.samples.channels());
  if (raw->imgdata.color.maximum > 0) picture.white = raw->imgdata.color.maximum;
  picture.exposure = ExposureOf(raw->imgdata);
  return picture;
}

std::string CameraRawDecoder() { return std::string("LibRaw ") + LibRaw::version(); }

}  // namespace dravix::tool
