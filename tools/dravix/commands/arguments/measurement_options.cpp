#include "commands/arguments/measurement_options.h"

#include "files/files.h"
#include "terminal/exit_codes.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

void RequirePositive(const char* option, const std::optional<std::int32_t>& count) {
  if (!count || *count >= 1) return;
  throw Unexpected(option, std::to_string(*count), "1 or more");
}

void RequireArea(const MeasurementOptions& o) {
  if (o.find.empty()) {
    RequireOneArea("measure", o.area);
    return;
  }
  if (!o.area.corners.empty() || !o.area.region.empty() || !o.area.truth.empty()) {
    throw UsageFailure(
        "measure: --find does not go with --corners, --region and --truth; it searches for the lit "
        "area");
  }
  if (o.find != "blur" && o.find != "auto") {
    throw Unexpected("--find", InQuotes(o.find), "blur or auto");
  }
}

void RequireBoard(const MeasurementOptions& o) {
  if (o.board.empty() != o.blocks.empty()) {
    throw UsageFailure(
        "measure: --checkerboard and --blocks belong together, but only one is given");
  }
  if (!o.blocks.empty()) static_cast<void>(BlocksOf(o));
}

void RequireRows(const MeasurementOptions& o) {
  RequirePositive("--top-leds", o.topLeds);
  RequirePositive("--bottom-leds", o.bottomLeds);
  RequirePositive("--row-group", o.rowGroup);
  RequirePositive("--last-width", o.lastWidth);
  RequirePositive("--last-height", o.lastHeight);
  if (o.topLeds.has_value() != o.bottomLeds.has_value()) {
    throw UsageFailure(
        "measure: --top-leds and --bottom-leds belong together, but only one is given");
  }
  if (o.topLeds && !o.board.empty()) {
    throw UsageFailure("measure: --top-leds and --bottom-leds do not go with --checkerboard");
  }
}

}  // namespace

void AddMeasurementOptions(CLI::App& command, MeasurementOptions& o) {
  command.add_option("photo", o.photo, "photograph: .shot, or any picture or raw file with --leds")
      ->required();
  AddAreaArguments(command, o.area);
  command.add_option("--find", o.find,
                     "search for the lit area as `dravix region` does: blur (defocused "
                     "photographs) or auto (sharp ones)");
  command.add_option("-o,--output", o.output, "where to save the result, .lum");
  command.add_option("--image", o.image, "false-color picture of the result, with a scale");
  command.add_option("--top-leds", o.topLeds, "LEDs in the top row, where rows differ in length");
  command.add_option("--bottom-leds", o.bottomLeds,
                     "LEDs in the bottom row, where rows differ in length");
  command.add_option("--row-group", o.rowGroup,
                     "neighboring rows that have the same number of LEDs (default 1)");
  command.add_option("--checkerboard", o.board,
                     "second photograph from the same place that shows a checkerboard: "
                     "measure block by block");
  command.add_option("--blocks", o.blocks, "blocks of the checkerboard across and down")
      ->type_name("WxH");
  command.add_option("--last-width", o.lastWidth,
                     "LEDs across one block of the last column, where it is narrower");
  command.add_option("--last-height", o.lastHeight,
                     "LEDs down one block of the last row, where it is lower");
  command.add_option("--debug-image", o.debugImage,
                     "picture for finding faults: outline and block grid over the photograph (and "
                     "the checkerboard), and the luminances warped into the same pose");
  o.photograph.AddTo(command);
  o.metadata.AddTo(command);
}

void CheckUsage(const MeasurementOptions& o) {
  RequireArea(o);
  RequireBoard(o);
  RequireRows(o);
  if (!o.output.empty()) RequireExtension("-o", o.output, ".lum");
  RequireDistinctFiles(InputsOf(o),
                       {{"-o", o.output}, {"--image", o.image}, {"--debug-image", o.debugImage}});
  RequirePictureFormat(ExitCode::kUsage, o.image);
  RequirePictureFormat(ExitCode::kUsage, o.debugImage);
}

std::vector<NamedFile> InputsOf(const MeasurementOptions& o) {
  std::vector<NamedFile> inputs = FilesOf(o.area);
  inputs.insert(inputs.end(),
                {{"photo", o.photo}, {"--checkerboard", o.board}, {"--metadata", o.metadata.file}});
  return inputs;
}

cv::Size BlocksOf(const MeasurementOptions& o) {
  const cv::Size blocks = ParseSize("--blocks", o.blocks);
  if (blocks.width < 2 || blocks.height < 2) {
    throw Unexpected("--blocks", o.blocks, "at least 2x2");
  }
  return blocks;
}

cv::Size LastOf(const MeasurementOptions& o) {
  return {o.lastWidth.value_or(-1), o.lastHeight.value_or(-1)};
}

}  // namespace dravix::tool
