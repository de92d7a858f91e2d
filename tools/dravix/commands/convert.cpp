#include <memory>
#include <string>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "metadata/metadata.h"
#include "photographs/photograph.h"
#include "report/result_report.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

constexpr const char* kConvertExamples =
    "Examples:\n"
    "  dravix convert sensor.raw photo.shot --cam-type 320012 --leds 256x128\n"
    "  dravix convert sensor.raw photo.shot --size 4250x2838 --type CAM_G --mosaic rggb\n"
    "  dravix convert camera.dng photo.shot --channel g --black-level subtract --leds 384x256\n"
    "  dravix convert wall.jpg photo.shot --channel r --linearize srgb --leds 384x256\n\n"
    "The samples of 8-bit pictures are stretched to 16 bits (0 to 65535), with --linearize srgb in "
    "linear light; a sensor's samples stay as they are. Without --channel a color picture keeps "
    "its "
    "three planes as CAM_RGB, and a sensor's mosaic its one.";

struct ConvertOptions {
  std::string input, output;
  PhotographOptions photograph;
  bool json = false;
  MetadataOptions metadata;
};

void RunConvert(const ConvertOptions& o) {
  RequireExtension("output", o.output, ".shot");
  RequireDistinctFiles({{"input", o.input}, {"--metadata", o.metadata.file}},
                       {{"output", o.output}});
  const Progress progress("converting " + o.input);
  Photograph photograph = OpenPhotograph(o.input, o.photograph);
  Shot& shot = photograph.shot;
  o.metadata.Apply(shot);
  SaveShot(o.output, shot);
  const std::string turned = OrientationWarning(o.input, photograph.source);
  if (!turned.empty()) PrintWarning(turned);
  if (o.json) {
    Json json;
    json["shot"] = o.output;
    json["size"] = {shot.image.cols, shot.image.rows};
    json["type"] = TypeName(shot.type);
    json["source"] = SourceJson(photograph.source);
    json["metadata"] = MetadataJson(shot);
    PrintJson(json);
    return;
  }
  std::string text =
      ReportLine("shot", o.output + ", " + SizeText(shot.image.size()) + " pixels, " +
                             TypeName(shot.type) + ", " + PixelText(shot.image.type()));
  for (const SourceLine& line : SourceLines(photograph.source)) {
    text += ReportLine(line.label, line.value);
  }
  Print(text);
}

}  // namespace

void AddConvertCommand(CLI::App& program) {
  CLI::App& command =
      *program.add_subcommand("convert", "Make a .shot from a camera's file or a picture.");
  const auto o = std::make_shared<ConvertOptions>();
  command
      .add_option("input", o->input, "camera's raw file, raw dump, .dng, .pgm, .tif, .png or .jpg")
      ->required();
  command.add_option("output", o->output, "photograph to write, .shot")->required();
  o->photograph.AddTo(command, "--size,--raw-size");
  command.add_flag("--json", o->json, "print the answer as JSON");
  o->metadata.AddTo(command);
  command.footer(std::string(kConvertExamples) + "\n\n" + kExitCodeHelp);
  command.callback([o] { RunConvert(*o); });
}

}  // namespace dravix::tool
