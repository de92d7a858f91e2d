#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <cmath>
#include <memory>
#include <sstream>
#include <string>

#include "commands/commands.h"
#include "files/files.h"
#include "files/metadata.h"
#include "files/stored_data.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

/// The library says what it does not like about a shot: the file's content is what is wrong.
void RequireDone(const std::string& name, std::int32_t code) {
  if (code != DRAVIX_OK) throw InputFailure(name, Explained(code));
}

/// A colour matrix of nine numbers. The library's reader takes what is missing for 0, so they are
/// counted before.
cv::Mat ColourMatrix(const std::string& name) {
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
    throw InputFailure(name, "cannot be read: " + TakeLibraryError());
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
  std::string input, output, matrix, type = "CIE_Y", background;
  int angle = 0;
  bool grey = false;
  MetadataOptions metadata;
};

/// A command that reads one shot, changes it and writes it under another name.
template <class Change>
void AddChange(CLI::App& command, const std::shared_ptr<ChangeOptions>& o, Change change) {
  command.add_option("input", o->input, "shot to read, .shot")->required();
  command.add_option("-o,--output", o->output, "shot to write, .shot")->required();
  command.callback([o, change] {
    RequireExtension("-o", o->output, ".shot");
    Shot shot = LoadShot(o->input);
    change(shot);
    SaveShot(o->output, shot);
  });
}

void AddXyz(CLI::App& group) {
  CLI::App& command =
      *group.add_subcommand("xyz", "Camera colour to CIE planes with a 3 x 3 colour matrix.");
  const auto o = std::make_shared<ChangeOptions>();
  command
      .add_option("--matrix", o->matrix,
                  "text file with nine numbers, row by row: X, Y and Z from red, green and blue")
      ->required();
  command.add_option("--type", o->type, "CIE_X, CIE_Y (default), CIE_Z or CIE_XYZ");
  command.footer(
      "Example:\n  dravix shot xyz photo.shot --matrix camera.txt --type CIE_Y -o y.shot");
  AddChange(command, o, [o](Shot& shot) {
    const std::uint32_t type = ParseType("--type", o->type);
    RequireDone(o->input, shot.ConvertColorSpace(type, ColourMatrix(o->matrix)));
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

void AddRotate(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("rotate", "Turn a photograph counter-clockwise.");
  const auto o = std::make_shared<ChangeOptions>();
  command.add_option("--angle", o->angle, "0, 90, 180 or 270 degrees")->required();
  command.footer("Example:\n  dravix shot rotate photo.shot --angle 90 -o turned.shot");
  AddChange(command, o, [o](Shot& shot) {
    const std::int32_t code = shot.Rotate(o->angle);
    if (code == DRAVIX_OK) return;
    static_cast<void>(TakeLibraryError());
    throw Unexpected("--angle", std::to_string(o->angle), "0, 90, 180 or 270");
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
  const Shot shot = LoadShot(o.input);
  std::int32_t code = DRAVIX_OK;
  WriteByName(o.output, [&](const std::string& name) {
    code = o.grey ? shot.ExportGrayImage(name) : shot.ExportColorImage(name);
    static_cast<void>(TakeLibraryError());
    return code == DRAVIX_OK;
  });
}

void AddPicture(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("picture", "An 8-bit picture of a photograph.");
  const auto o = std::make_shared<ChangeOptions>();
  command.add_option("input", o->input, "shot to read, .shot")->required();
  command.add_option("output", o->output, "picture to write, .png, .tif, .jpg and so on")
      ->required();
  command.add_flag("--grey,--gray", o->grey, "in grey, not in the colour that the screen showed");
  command.footer("Example:\n  dravix shot picture photo.shot photo.png --grey");
  command.callback([o] { RunPicture(*o); });
}

}  // namespace

void AddShotCommand(CLI::App& program) {
  CLI::App& group =
      *program.add_subcommand("shot", "Split, convert, clean, turn or show a photograph.");
  group.require_subcommand(1);
  group.footer(std::string("`dravix shot COMMAND --help` shows each with an example.\n") +
               kExitCodeHelp);
  AddSplit(group);
  AddXyz(group);
  AddSubtract(group);
  AddRotate(group);
  AddSet(group);
  AddPicture(group);
}

}  // namespace dravix::tool
