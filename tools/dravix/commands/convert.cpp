#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <cmath>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/camera_file.h"
#include "files/files.h"
#include "files/metadata.h"
#include "files/names.h"
#include "files/stored_data.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  dravix convert sensor.raw photo.shot --cam-type 320012 --leds 256x128\n"
    "  dravix convert sensor.raw photo.shot --size 4250x2838 --type CAM_G --mosaic rggb\n"
    "  dravix convert camera.dng photo.shot --type CAM_RGB --mosaic rggb --metadata groups.json\n"
    "  dravix convert wall.jpg photo.shot --channel r --linearize srgb --leds 384x256\n\n"
    "The samples of 8-bit pictures are stretched to 16 bits (0 to 65535), with --linearize srgb in "
    "linear light. Without --channel a color picture keeps its three planes as CAM_RGB.";

struct Options {
  std::string input, output, size, type, mosaic, channel, linearize, dngOffsets = "auto";
  std::optional<int> camType;
  bool flip = false;
  bool json = false;
  MetadataOptions metadata;
};

bool IsGray(const std::string& channel) { return channel == "gray" || channel == "grey"; }

/// A picture's samples as 16 bits. Those of 8 bits are stretched to the full range: in proportion,
/// or along sRGB's curve where linear light is asked for.
cv::Mat SixteenBit(const std::string& name, const cv::Mat& picture, bool linear) {
  if (picture.depth() == CV_16U) {
    if (linear) throw InputFailure(name, "has 16-bit samples, expected 8-bit ones for --linearize");
    return picture;
  }
  if (picture.depth() != CV_8U) {
    throw InputFailure(name,
                       "has samples of " + PixelText(picture.type()) + ", expected 8 or 16 bits");
  }
  cv::Mat table(1, 256, CV_16UC1);
  for (int i = 0; i < 256; ++i) {
    const double share = i / 255.0;
    // The inverse of sRGB's transfer curve, IEC 61966-2-1.
    const double light = share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    table.at<std::uint16_t>(0, i) =
        static_cast<std::uint16_t>(std::lround(65535 * (linear ? light : share)));
  }
  cv::Mat samples(picture.size(), CV_16UC(picture.channels()));
  const int width = picture.cols * picture.channels();
  for (int y = 0; y < picture.rows; ++y) {
    const auto* from = picture.ptr<unsigned char>(y);
    auto* to = samples.ptr<std::uint16_t>(y);
    for (int x = 0; x < width; ++x) to[x] = table.at<std::uint16_t>(0, from[x]);
  }
  return samples;
}

/// Sets the pixels from one plane, or from the three of a color picture, which OpenCV decodes blue
/// first.
void SetPicture(const Options& o, const cv::Mat& decoded, Shot& shot) {
  const cv::Mat samples = SixteenBit(o.input, decoded, o.linearize == "srgb");
  std::vector<cv::Mat> planes;
  cv::split(samples, planes);
  if (planes.size() == 2) planes.resize(1);  // gray with transparency
  const bool color = planes.size() >= 3;
  const std::string channels = "bgr";
  const auto at = channels.find(o.channel);
  if (o.channel.size() == 1 && color && at != std::string::npos) {
    static constexpr std::uint32_t kTypes[] = {CAM_B, CAM_G, CAM_R};
    shot.type = o.type.empty() ? kTypes[at] : ParseType("--type", o.type);
    shot.image = planes[at];
  } else if (IsGray(o.channel) || !color) {
    shot.image = planes[0];
    if (color) {
      // The sum of three 16-bit samples needs wider ones.
      cv::Mat sum = cv::Mat::zeros(samples.size(), CV_32F);
      for (int i = 0; i < 3; ++i) {
        cv::Mat wide;
        planes[static_cast<std::size_t>(i)].convertTo(wide, CV_32F);
        sum += wide;
      }
      sum.convertTo(shot.image, CV_16U, 1.0 / 3);
    }
    shot.type = o.type.empty() ? static_cast<std::uint32_t>(CIE_Y) : ParseType("--type", o.type);
  } else if (o.channel.empty()) {
    if (!o.type.empty() && ParseType("--type", o.type) != CAM_RGB) {
      throw UsageFailure(
          "--type " + o.type +
          ": the picture has three planes, expected --channel r, g, b or gray beside it");
    }
    cv::merge(std::vector<cv::Mat>{planes[2], planes[1], planes[0]}, shot.image);
    shot.type = CAM_RGB;
  } else {
    throw Unexpected("--channel", InQuotes(o.channel), "r, g, b or gray");
  }
}

/// Sets the pixels from a sensor's one plane, demosaiced if asked.
void SetSensor(const Options& o, const cv::Mat& samples, Shot& shot) {
  const std::uint32_t type = ParseType("--type", o.type.empty() ? "CIE_Y" : o.type);
  if (o.mosaic.empty() && (type == CAM_RGB || type == CIE_XYZ)) {
    throw UsageFailure("--type " + TypeName(type) + ": found one plane in " + o.input +
                       ", expected the type of one plane, or --mosaic with a type of the camera");
  }
  const std::int32_t code =
      o.mosaic.empty() ? shot.SetImageSingle(samples, type)
                       : shot.SetImageColor(samples, ParseMosaic("--mosaic", o.mosaic), type);
  if (code != DRAVIX_OK) {
    throw UsageFailure(o.input + ": --type " + TypeName(type) +
                       (o.mosaic.empty() ? " without --mosaic" : " --mosaic " + o.mosaic) + ": " +
                       Explained(code));
  }
}

cv::Mat RawSamples(const Options& o) {
  if (o.camType.has_value() == !o.size.empty()) {
    throw UsageFailure("convert: a raw file needs one of --cam-type and --size");
  }
  if (!o.size.empty()) return ReadRaw(o.input, ParseSize("--size", o.size));
  static_cast<void>(ReadHead(o.input, 1));
  Shot sensor;
  const std::int32_t code = sensor.CreateFromRaw(o.input, *o.camType, CIE_Y);
  if (code == DRAVIX_UNKNOWN_CAMERA) {
    throw UsageFailure("--cam-type " + std::to_string(*o.camType) + ": " + Explained(code) +
                       "; give --size instead");
  }
  if (code != DRAVIX_OK) {
    throw InputFailure(o.input, "found " + std::to_string(ReadHead(o.input, 1).size) +
                                    " bytes, expected a full frame of camera type " +
                                    std::to_string(*o.camType) + ": " + Explained(code));
  }
  return sensor.image;
}

DngOffsets DngOffsetsOf(const std::string& text) {
  if (text == "auto") return DngOffsets::kAuto;
  if (text == "array") return DngOffsets::kArray;
  if (text == "direct") return DngOffsets::kDirect;
  throw Unexpected("--dng-layout", InQuotes(text), "auto, array or direct");
}

/// Whether a TIFF or DNG holds a sensor's samples. Color and 8-bit TIFF files are pictures.
bool IsSensorTiff(const std::string& name) {
  const auto tiff = SummaryOfTiff(ReadFile(name));
  return ExtensionOf(name) == ".dng" || (tiff && tiff->samples == 1 && tiff->bits == 16 &&
                                         tiff->compression == 1 && tiff->littleEndian);
}

Shot Converted(const Options& o) {
  Shot shot;
  const FileKind kind = o.size.empty() && !o.camType ? KindOf(o.input) : FileKind::kRaw;
  const bool sensorTiff = kind == FileKind::kTiff && IsSensorTiff(o.input);
  const auto pgm = kind == FileKind::kPgm ? SummaryOfPgm(o.input) : std::nullopt;
  const bool sensor = kind == FileKind::kRaw || sensorTiff || (pgm && pgm->maximum > 255);
  if (sensor && (!o.channel.empty() || !o.linearize.empty())) {
    throw UsageFailure(o.input +
                       ": --channel and --linearize are for pictures, not for sensor data");
  }
  if (!sensor && !o.mosaic.empty() && kind != FileKind::kTiff) {
    throw UsageFailure(o.input + ": --mosaic is for sensor data of 16 bits");
  }
  if (kind == FileKind::kRaw) {
    SetSensor(o, RawSamples(o), shot);
  } else if (sensorTiff && ExtensionOf(o.input) == ".dng") {
    SetSensor(o, ReadDng(o.input, DngOffsetsOf(o.dngOffsets)), shot);
  } else if (sensorTiff) {
    // A TIFF's rows run from the top. Only camera files of the direct layout are stored bottom-up.
    const cv::Mat samples = ReadPicture(o.input);
    if (samples.type() != CV_16UC1) {
      throw InputFailure(o.input, "has samples of " + PixelText(samples.type()) + ", expected " +
                                      PixelText(CV_16UC1));
    }
    SetSensor(o, samples, shot);
  } else if (sensor) {
    SetSensor(o, ReadPgm(o.input), shot);
  } else if (kind == FileKind::kPicture || kind == FileKind::kTiff || kind == FileKind::kPgm) {
    SetPicture(o, ReadPicture(o.input), shot);
  } else {
    throw InputFailure(o.input, "is none of raw, DNG, PGM, TIFF, PNG or JPEG");
  }
  if (o.flip) cv::flip(shot.image, shot.image, 0);
  return shot;
}

void Run(const Options& o) {
  RequireExtension("output", o.output, ".shot");
  RequireDistinctFiles({{"input", o.input}, {"--metadata", o.metadata.file}},
                       {{"output", o.output}});
  if (!o.linearize.empty() && o.linearize != "srgb") {
    throw Unexpected("--linearize", InQuotes(o.linearize), "srgb");
  }
  const Progress progress("converting " + o.input);
  Shot shot = Converted(o);
  if (o.camType) {
    Shot::Device device;
    device.cam_type = *o.camType;
    shot.SetDevice(device);
  }
  o.metadata.Apply(shot);
  SaveShot(o.output, shot);
  if (o.json) {
    Json json;
    json["shot"] = o.output;
    json["size"] = {shot.image.cols, shot.image.rows};
    json["type"] = TypeName(shot.type);
    json["metadata"] = MetadataJson(shot);
    PrintJson(json);
    return;
  }
  Print(ReportLine("shot", o.output + ", " + std::to_string(shot.image.cols) + " x " +
                               std::to_string(shot.image.rows) + " pixels, " + TypeName(shot.type) +
                               ", " + PixelText(shot.image.type())));
}

}  // namespace

void AddConvertCommand(CLI::App& program) {
  CLI::App& command =
      *program.add_subcommand("convert", "Make a .shot from a camera's file or a picture.");
  const auto o = std::make_shared<Options>();
  command.add_option("input", o->input, "raw dump, .dng, .pgm, .tif, .png or .jpg")->required();
  command.add_option("output", o->output, "photograph to write, .shot")->required();
  command.add_option("--cam-type", o->camType, "camera type of a raw dump: 120016 or 320012");
  command.add_option("--size", o->size, "pixels across and down of a raw dump")->type_name("WxH");
  command.add_option(
      "--type", o->type,
      "what the plane holds: CIE_X, CIE_Y (default), CIE_Z, CAM_R, CAM_G, CAM_B; or CAM_RGB");
  command.add_option("--mosaic", o->mosaic,
                     "demosaic: rggb, grbg, bggr or gbrg (the sensor's first two rows), OpenCV's "
                     "bayer-bg and so on, or its code");
  command.add_option("--channel", o->channel,
                     "plane of a color picture: r, g, b or gray (their mean)");
  command.add_option("--linearize", o->linearize,
                     "srgb: undo the transfer curve of an 8-bit picture");
  command.add_option("--dng-layout", o->dngOffsets,
                     "where a DNG's strip tag points: array (to a list of offsets), direct (to the "
                     "samples, rows bottom-up); auto decides by the number of strips");
  command.add_flag("--flip", o->flip, "turn the picture upside down");
  command.add_flag("--json", o->json, "print the answer as JSON");
  o->metadata.AddTo(command);
  command.footer(std::string(kExamples) + "\n\n" + kExitCodeHelp);
  command.callback([o] { Run(*o); });
}

}  // namespace dravix::tool
