#include <dravix/lab/board_places.h>
#include <dravix/lab/flat_field.h>
#include <dravix/lab/spot_photograph.h>
#include <dravix/lab/unmix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "commands/arguments/area_arguments.h"
#include "commands/arguments/flat_field_arguments.h"
#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "matrices/matrix_files.h"
#include "metadata/metadata.h"
#include "photographs/photograph.h"
#include "report/result_report.h"
#include "stored/photograph_inputs.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

constexpr const char* kUnmixExamples =
    "Examples:\n"
    "  dravix unmix photo.shot --corners 195,189 2772,96 2832,1819 244,1895 -o screen.lum\n"
    "  dravix unmix photo.shot --region area.roi -o screen.lum --sigma screen.sigma.npy --json\n"
    "  dravix unmix photo.shot --region area.roi --checkerboard board.shot --blocks 8x6 \\\n"
    "      --flat blank.shot -o screen.lum\n"
    "  dravix unmix wall.dng --leds 384x256 --channel g --region area.roi \\\n"
    "      --flat-from left.dng right.dng -o screen.lum\n"
    "  dravix unmix photo.shot --region area.roi --spot-from sparse.shot -o screen.lum\n";

struct UnmixOptions {
  std::string photo, output, sigma, board, blocks, sparse;
  AreaArguments area;
  FlatFieldArguments flat;
  std::optional<std::int32_t> lastWidth, lastHeight;
  bool json = false;
  PhotographOptions photograph;
  MetadataOptions metadata;
};

/// Refuses what the command line alone shows to be wrong, before any work is done.
void CheckUnmixUsage(const UnmixOptions& o) {
  RequireOneArea("unmix", o.area);
  CheckUsage("unmix", o.flat);
  if (o.board.empty() != o.blocks.empty()) {
    throw UsageFailure("unmix: --checkerboard and --blocks belong together, but only one is given");
  }
  for (const auto& [option, count] :
       {std::pair("--last-width", o.lastWidth), std::pair("--last-height", o.lastHeight)}) {
    if (count && *count < 1) throw Unexpected(option, std::to_string(*count), "1 or more");
  }
  RequireExtension("-o", o.output, ".lum");
  if (!o.sigma.empty()) RequireExtension("--sigma", o.sigma, ".npy");
  std::vector<NamedFile> inputs = FilesOf(o.area);
  for (const NamedFile& file : FilesOf(o.flat)) inputs.push_back(file);
  inputs.insert(inputs.end(), {{"photo", o.photo},
                               {"--checkerboard", o.board},
                               {"--spot-from", o.sparse},
                               {"--metadata", o.metadata.file}});
  RequireDistinctFiles(inputs, {{"-o", o.output}, {"--sigma", o.sigma}});
}

/// The photograph, from whatever file, with the groups that the command line adds.
Photograph Opened(const UnmixOptions& o, const std::string& name) {
  Photograph photograph = OpenPhotograph(name, o.photograph);
  o.metadata.Apply(photograph.shot);
  return photograph;
}

/// The four corners, top-left first and clockwise.
std::array<cv::Point2d, 4> CornersFor(const UnmixOptions& o, const Shot& shot) {
  const std::vector<cv::Point> corners = OrderedCorners(o.area, o.photo, shot);
  std::array<cv::Point2d, 4> ordered;
  std::copy(corners.begin(), corners.end(), ordered.begin());
  return ordered;
}

/// The largest sample by the camera's bits; 0 where the shot does not say them.
double SensorTop(const Shot& shot) {
  const int bits = shot.device ? shot.device->cam_type % 100 : 0;
  return bits >= 1 && bits <= 16 ? (1 << bits) - 1 : 0;
}

/// Where the checkerboard's blocks lie; nothing without one.
lab::BoardPlaces PlacesFor(const UnmixOptions& o, const Shot& shot,
                           const lab::UnmixOptions& options) {
  if (o.board.empty()) return {};
  const Shot board = Opened(o, o.board).shot;
  RequireCheckerboardOf(o.board, board, o.photo, shot);
  const lab::BoardGrid grid = {options.corners,
                               options.leds,
                               ParseSize("--blocks", o.blocks),
                               {o.lastWidth.value_or(-1), o.lastHeight.value_or(-1)}};
  try {
    lab::BoardPlaces found = lab::BoardPlacesOf(board, grid);
    if (found.refused.empty()) return found;
    throw MeasurementFailure(o.board, found.refused);
  } catch (const std::invalid_argument& error) {
    throw MeasurementFailure(o.board, error.what());
  }
}

/// The spot in the sparse photograph, or in the checkerboard where that is named again, whose LEDs
/// in lit blocks are `lit`; nothing without one. A sparse photograph's own pattern says which LEDs
/// are lit, so that it keeps its metadata.
std::optional<lab::PhotographedSpot> SpotFor(const UnmixOptions& o, const Shot& shot,
                                             const lab::UnmixOptions& options,
                                             const cv::Mat1b& lit) {
  if (o.sparse.empty()) return std::nullopt;
  const Shot sparse = OpenPhotograph(o.sparse, o.photograph).shot;
  RequireSameCamera(o.sparse, sparse, o.photo, shot);
  try {
    lab::PhotographedSpot found = o.sparse == o.board ? lab::SpotOfBoard(sparse, lit, shot, options)
                                                      : lab::SpotOf(sparse, shot, options);
    if (found.spot) return found;
    throw MeasurementFailure(o.sparse, found.refused);
  } catch (const std::invalid_argument& error) {
    throw InputFailure(o.sparse, error.what());
  }
}

struct Answer {
  lab::Unmixed unmixed;
  std::optional<lab::FlatField> flat;
  std::optional<lab::PhotographedSpot> spot;
};

Answer AnswerFor(const UnmixOptions& o, const Shot& shot) {
  const Progress progress("un-mixing " + o.photo);
  lab::UnmixOptions options;
  options.corners = CornersFor(o, shot);
  options.leds = {shot.pattern->lighted_led_w, shot.pattern->lighted_led_h};
  if (!o.sparse.empty()) options.interval = {shot.pattern->interval_x, shot.pattern->interval_y};
  options.sensorTop = SensorTop(shot);
  Answer answer;
  answer.flat = FlatFieldFor(o.flat, [&](const std::string& name) { return Opened(o, name).shot; },
                             o.photo, shot, {options.corners, options.leds});
  const lab::BoardPlaces board = PlacesFor(o, shot, options);
  options.places = board.places;
  answer.spot = SpotFor(o, shot, options, board.lit);
  if (answer.spot) options.spot = answer.spot->spot;
  try {
    answer.unmixed = lab::Unmix(shot.image, options);
  } catch (const std::invalid_argument& error) {
    throw InputFailure(o.photo, error.what());
  }
  if (answer.flat) answer.unmixed = lab::Flattened(answer.unmixed, *answer.flat);
  return answer;
}

void Report(const UnmixOptions& o, const Photograph& photograph, const Answer& answer) {
  const lab::Unmixed& u = answer.unmixed;
  const std::string turned = OrientationWarning(o.photo, photograph.source);
  if (!turned.empty()) PrintWarning(turned);
  if (o.json) {
    Json json = Json::parse(lab::ToJson(u));
    json["photo"] = o.photo;
    json["source"] = SourceJson(photograph.source);
    if (answer.flat) json["flat"] = Json::parse(lab::ToJson(*answer.flat));
    if (answer.spot) {
      json["spot_from"] = {
          {"photo", o.sparse}, {"sigma", answer.spot->sigma}, {"disk", answer.spot->disk}};
    }
    if (!u.refused) json["result"] = o.output;
    PrintJson(json);
    return;
  }
  if (u.refused) return;
  std::string text;
  for (const SourceLine& line : SourceLines(photograph.source)) {
    text += ReportLine(line.label, line.value);
  }
  text += ReportLine("LEDs", SizeText(u.leds)) +
          ReportLine("spot", "sigma " + NumberText(u.spotSigma) + ", disk " +
                                 NumberText(u.spotDisk) + " pitches") +
          ReportLine("noise gain", NumberText(u.noiseGain));
  if (answer.flat) text += ReportLine("light lost", PercentText(answer.flat->lost));
  Print(text + ReportLine("expected error", PercentText(u.sigma)) +
        ReportLine("of the plain method", PercentText(u.plainError)) +
        ReportLine("result", o.output) + (o.sigma.empty() ? "" : ReportLine("sigma", o.sigma)));
}

/// What is left under the names of the outputs. It stays, but must not be taken for the answer.
std::string OlderFiles(const UnmixOptions& o) {
  std::string older;
  for (const std::string& name : {o.output, o.sigma}) {
    std::error_code none;
    if (name.empty() || !std::filesystem::is_regular_file(PathOf(name), none)) continue;
    older += (older.empty() ? "" : " and ") + name;
  }
  return older.empty() ? "" : "; " + older + " stays as it was, from before";
}

void RunUnmix(const UnmixOptions& o) {
  CheckUnmixUsage(o);
  const Photograph photograph = Opened(o, o.photo);
  RequireMeasurable(o.photo, photograph.shot);
  const Answer answer = AnswerFor(o, photograph.shot);
  const lab::Unmixed& unmixed = answer.unmixed;
  if (!unmixed.refused) {
    WriteFile(o.output, EncodeLum(unmixed.luminances));
    if (!o.sigma.empty()) WriteFile(o.sigma, EncodeNpy(unmixed.deviations));
  }
  Report(o, photograph, answer);
  if (!unmixed.refused) return;
  throw MeasurementFailure(o.photo, std::string(lab::NameOf(unmixed.refused->id)) + ": " +
                                        unmixed.refused->message + OlderFiles(o));
}

}  // namespace

void AddUnmixCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "unmix", "Measure each LED's own light, without that of its neighbors.");
  const auto o = std::make_shared<UnmixOptions>();
  command
      .add_option("photo", o->photo, "photograph: .shot, or any picture or raw file with --leds")
      ->required();
  AddAreaArguments(command, o->area);
  command.add_option("-o,--output", o->output, "where to save the result, .lum")->required();
  command.add_option("--sigma", o->sigma,
                     "where to save the standard deviation of each LED, .npy of 32-bit floats");
  command.add_option("--checkerboard", o->board,
                     "second photograph from the same place that shows a checkerboard: its blocks "
                     "say how the lens bends the screen");
  command.add_option("--blocks", o->blocks, "blocks of the checkerboard across and down")
      ->type_name("WxH");
  command.add_option("--last-width", o->lastWidth,
                     "LEDs across one block of the last column, where it is narrower");
  command.add_option("--last-height", o->lastHeight,
                     "LEDs down one block of the last row, where it is lower");
  command.add_option(
      "--spot-from", o->sparse,
      "second photograph (.shot) from the same place in which fewer LEDs are lit, as "
      "its pattern says: its spots lie apart and show their shape");
  AddFlatFieldArguments(command, o->flat);
  o->photograph.AddTo(command);
  o->metadata.AddTo(command);
  command.add_flag("--json", o->json, "print the answer as JSON, also when it is refused");
  command.footer(std::string(kUnmixExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { RunUnmix(*o); });
}

}  // namespace dravix::tool
