#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "metadata/metadata.h"
#include "metadata/turned_metadata.h"
#include "stored/stored_data.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

/// Fails when the library refused the shot that was read from `name`.
void RequireDone(const std::string& name, std::int32_t code) {
  if (code != DRAVIX_OK) throw InputFailure(name, Explained(code));
}

/// A color matrix of nine numbers. They are counted first, because the library's reader takes
/// numbers that are missing for 0.
cv::Mat ColorMatrix(const std::string& name) {
  std::istringstream text(ReadFile(name));
  int count = 0;
  for (std::string word; text >> word; ++count) {
    std::istringstream number(word);
    double value = 0;
    number >> value;
    if (number.fail() || !number.eof() || !std::isfinite(value)) {
      throw InputFailure(name, "found \"" + word + "\", expected nine numbers");
    }
  }
  if (count != 9) {
    throw InputFailure(name, "found " + std::to_string(count) + " numbers, expected nine (3 x 3)");
  }
  cv::Mat matrix;
  if (!BIO::LoadTxtToMat(name, {3, 3}, matrix)) {
    throw InputFailure(name, "cannot be read as nine numbers");
  }
  return matrix;
}

struct SplitOptions {
  std::string input, red, green, blue;
};

void RunSplit(const SplitOptions& o) {
  if (o.red.empty() && o.green.empty() && o.blue.empty()) {
    throw UsageFailure("shot split: give one or more of --red, --green and --blue");
  }
  for (const std::string& name : {o.red, o.green, o.blue}) {
    if (!name.empty()) RequireExtension("output", name, ".shot");
  }
  RequireDistinctFiles({{"input", o.input}},
                       {{"--red", o.red}, {"--green", o.green}, {"--blue", o.blue}});
  const Shot shot = LoadShot(o.input);
  Shot red;
  Shot green;
  Shot blue;
  RequireDone(o.input, shot.Split(&red, &green, &blue));
  if (!o.red.empty()) SaveShot(o.red, red);
  if (!o.green.empty()) SaveShot(o.green, green);
  if (!o.blue.empty()) SaveShot(o.blue, blue);
}

void AddSplit(CLI::App& group) {
  CLI::App& command =
      *group.add_subcommand("split", "The planes of a CAM_RGB shot, one shot each.");
  const auto o = std::make_shared<SplitOptions>();
  command.add_option("input", o->input, "shot with three planes, .shot")->required();
  command.add_option("--red", o->red, "where to save the red plane, .shot");
  command.add_option("--green", o->green, "where to save the green plane, .shot");
  command.add_option("--blue", o->blue, "where to save the blue plane, .shot");
  command.footer("Example:\n  dravix shot split photo.shot --green green.shot");
  command.callback([o] { RunSplit(*o); });
}

struct ChangeOptions {
  std::string input, output, matrix, type, background, mosaic;
  int angle = 0;
  bool gray = false;
  bool imageOnly = false;
  MetadataOptions metadata;
};

/// A command that reads one shot, changes it and writes it under another name, which is given
/// after the input's or with -o.
template <class Change>
void AddChange(CLI::App& command, const std::shared_ptr<ChangeOptions>& o, Change change) {
  command.add_option("input", o->input, "shot to read, .shot")->required();
  command.add_option("-o,--output,output", o->output, "shot to write, .shot")->required();
  command.callback([o, change] {
    RequireExtension("output", o->output, ".shot");
    std::vector<NamedFile> inputs = {
        {"input", o->input}, {"--background", o->background}, {"--matrix", o->matrix}};
    inputs.push_back({"--metadata", o->metadata.file});
    RequireDistinctFiles(inputs, {{"output", o->output}});
    Shot shot = LoadShot(o->input);
    change(shot);
    SaveShot(o->output, shot);
  });
}

void AddXyz(CLI::App& group) {
  CLI::App& command =
      *group.add_subcommand("xyz", "Camera color to CIE planes with a 3 x 3 color matrix.");
  const auto o = std::make_shared<ChangeOptions>();
  o->type = "CIE_Y";
  command
      .add_option("--matrix", o->matrix,
                  "text file with nine numbers, row by row: X, Y and Z from red, green and blue")
      ->required();
  command.add_option("--type", o->type, "CIE_X, CIE_Y (default), CIE_Z or CIE_XYZ");
  command.footer(
      "Example:\n  dravix shot xyz photo.shot --matrix camera.txt --type CIE_Y -o y.shot");
  AddChange(command, o, [o](Shot& shot) {
    const std::uint32_t type = ParseType("--type", o->type);
    RequireDone(o->input, shot.ConvertColorSpace(type, ColorMatrix(o->matrix)));
  });
}

void AddSubtract(CLI::App& group) {
  CLI::App& command =
      *group.add_subcommand("subtract", "Take a dark photograph away from another, not below 0.");
  const auto o = std::make_shared<ChangeOptions>();
  command.add_option("--background", o->background, "dark photograph, .shot")->required();
  command.footer(
      "Example:\n  dravix shot subtract photo.shot --background dark.shot -o clean.shot");
  AddChange(command, o, [o](Shot& shot) {
    const Shot background = LoadShot(o->background);
    if (background.image.size() != shot.image.size() ||
        background.image.type() != shot.image.type()) {
      throw InputFailure(o->background, "is " + std::to_string(background.image.cols) + " x " +
                                            std::to_string(background.image.rows) + ", " +
                                            PixelText(background.image.type()) + ", expected " +
                                            std::to_string(shot.image.cols) + " x " +
                                            std::to_string(shot.image.rows) + ", " +
                                            PixelText(shot.image.type()) + " as " + o->input);
    }
    RequireDone(o->input, shot.RemoveBackground(background));
  });
}

void AddDemosaic(CLI::App& group) {
  CLI::App& command = *group.add_subcommand(
      "demosaic", "Make color planes from the mosaic that a color sensor recorded.");
  const auto o = std::make_shared<ChangeOptions>();
  o->type = "CAM_RGB";
  command
      .add_option("--mosaic", o->mosaic,
                  "rggb, grbg, bggr or gbrg (the sensor's first two rows), OpenCV's bayer-bg and "
                  "so on, or its code")
      ->required();
  command.add_option("--type", o->type,
                     "planes to keep: CAM_RGB (default), or one of CAM_R, CAM_G and CAM_B, which "
                     "can be measured");
  command.footer(
      "Example:\n  dravix shot demosaic mosaic.shot green.shot --mosaic rggb --type CAM_G");
  AddChange(command, o, [o](Shot& shot) {
    const std::uint32_t type = ParseType("--type", o->type);
    if (type != CAM_RGB && type != CAM_R && type != CAM_G && type != CAM_B) {
      throw Unexpected("--type", InQuotes(o->type), "CAM_RGB, CAM_R, CAM_G or CAM_B");
    }
    const int code = ParseMosaic("--mosaic", o->mosaic);
    if (shot.image.type() != CV_16UC1) {
      throw InputFailure(o->input, "has pixels of " + PixelText(shot.image.type()) +
                                       ", expected a mosaic of " + PixelText(CV_16UC1));
    }
    const cv::Mat mosaic = shot.image;
    const std::int32_t result = shot.SetImageColor(mosaic, code, type);
    if (result == DRAVIX_OK) return;
    throw UsageFailure("--mosaic " + o->mosaic + ": " + Explained(result));
  });
}

void AddRotate(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("rotate", "Turn a photograph counter-clockwise.");
  const auto o = std::make_shared<ChangeOptions>();
  command.add_option("--angle", o->angle, "0, 90, 180 or 270 degrees")->required();
  command.add_flag("--image-only", o->imageOnly,
                   "keep partition, pattern and panel: for a camera that stood on its side, whose "
                   "photograph becomes upright by the turn");
  command.footer("Example:\n  dravix shot rotate photo.shot --angle 90 -o turned.shot");
  AddChange(command, o, [o](Shot& shot) {
    // The library takes further multiples of 90, which nobody means on a command line.
    if (o->angle < 0 || o->angle > 270 || o->angle % 90 != 0) {
      throw Unexpected("--angle", std::to_string(o->angle), "0, 90, 180 or 270");
    }
    if (!o->imageOnly) TurnMetadata(o->input, o->angle, shot);
    RequireDone(o->input, shot.Rotate(o->angle));
  });
}

void AddSet(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("set", "Change a photograph's metadata.");
  const auto o = std::make_shared<ChangeOptions>();
  o->metadata.AddTo(command);
  command.footer(
      "Example:\n  dravix shot set photo.shot --leds 256x128 --device id=cam1,cam_type=1212 -o "
      "new.shot");
  AddChange(command, o, [o](Shot& shot) { o->metadata.Apply(shot); });
}

void RunPicture(const ChangeOptions& o) {
  RequireDistinctFiles({{"input", o.input}}, {{"output", o.output}});
  RequirePictureFormat(ExitCode::kOutput, o.output);
  const Shot shot = LoadShot(o.input);
  WriteByName(o.output, [&](const std::string& name) {
    return (o.gray ? shot.ExportGrayImage(name) : shot.ExportColorImage(name)) == DRAVIX_OK;
  });
}

void AddPicture(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("picture", "An 8-bit picture of a photograph.");
  const auto o = std::make_shared<ChangeOptions>();
  command.add_option("input", o->input, "shot to read, .shot")->required();
  command.add_option("output", o->output, "picture to write, .png, .tif, .jpg and so on")
      ->required();
  command.add_flag("--gray", o->gray, "in gray, not in the color that the screen showed");
  command.add_flag("--grey", o->gray)->group("");
  command.footer("Example:\n  dravix shot picture photo.shot photo.png --gray");
  command.callback([o] { RunPicture(*o); });
}

}  // namespace

void AddShotCommand(CLI::App& program) {
  CLI::App& group = *program.add_subcommand(
      "shot", "Split, demosaic, convert, clean, turn or show a photograph.");
  group.require_subcommand(1);
  group.footer(std::string("`dravix shot COMMAND --help` shows each with an example.\n") +
               kExitCodeHelp);
  AddSplit(group);
  AddDemosaic(group);
  AddXyz(group);
  AddSubtract(group);
  AddRotate(group);
  AddSet(group);
  AddPicture(group);
}

}  // namespace dravix::tool
