#include <dravix/dravix.h>
#include <dravix/lab/check.h>
#include <dravix/lab/color_scale.h>
#include <dravix/lab/copied_border.h>
#include <dravix/lab/used_area.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/area_arguments.h"
#include "commands/commands.h"
#include "files/files.h"
#include "files/metadata.h"
#include "files/names.h"
#include "files/photograph_inputs.h"
#include "files/stored_data.h"
#include "photographs/photograph.h"
#include "report/findings_text.h"
#include "report/found_corners.h"
#include "report/measurement_overlay.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  dravix measure photo.shot --corners 195,189 2772,96 2832,1819 244,1895 -o screen.lum\n"
    "  dravix measure photo.shot --region area.roi -o screen.lum --image screen.png\n"
    "  dravix measure wall.dng --leds 384x256 --channel g --region area.roi -o screen.lum\n"
    "  dravix measure photo.shot --checkerboard board.shot --blocks 8x6 --region area.roi \\\n"
    "      -o screen.lum --debug-image check.png\n";

struct Options {
  std::string photo, output, image, debugImage, board, blocks;
  AreaArguments area;
  std::optional<std::int32_t> topLeds, bottomLeds, rowGroup, lastWidth, lastHeight;
  bool json = false;
  PhotographOptions photograph;
  MetadataOptions metadata;
};

void RequirePositive(const char* option, const std::optional<std::int32_t>& count) {
  if (!count || *count >= 1) return;
  throw Unexpected(option, std::to_string(*count), "1 or more");
}

void RequireFiles(const Options& o) {
  std::vector<NamedFile> inputs = FilesOf(o.area);
  inputs.insert(inputs.end(),
                {{"photo", o.photo}, {"--checkerboard", o.board}, {"--metadata", o.metadata.file}});
  RequireDistinctFiles(inputs,
                       {{"-o", o.output}, {"--image", o.image}, {"--debug-image", o.debugImage}});
}

/// Refuses what the command line alone shows to be wrong, before any work is done.
void CheckUsage(const Options& o) {
  RequireOneArea("measure", o.area);
  if (o.board.empty() != o.blocks.empty()) {
    throw UsageFailure(
        "measure: --checkerboard and --blocks belong together, but only one is given");
  }
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
  if (!o.output.empty()) RequireExtension("-o", o.output, ".lum");
  RequireFiles(o);
  RequirePictureFormat(ExitCode::kUsage, o.image);
  RequirePictureFormat(ExitCode::kUsage, o.debugImage);
}

RegionOI RegionFor(const Options& o, const Shot& shot) {
  if (!o.area.region.empty()) return LoadRegionOf(o.area.region, o.photo, shot);
  RegionOI region;
  const std::vector<cv::Point> corners = GivenCorners(o.area);
  const std::int32_t code = region.ManualSet(shot.image.size(), corners);
  if (code != DRAVIX_OK) {
    throw UsageFailure(CornersSource(o.area) + " " + CornersText(corners) + " in " + o.photo +
                       " of " + SizeText(shot.image.size()) + " pixels: " + Explained(code));
  }
  return region;
}

/// The four corners that the measurement finds in the region; fails where it finds none.
std::vector<cv::Point> CornersOf(const Options& o, const RegionOI& region) {
  const FoundCorners found = FindCorners(region);
  if (found.corners.empty()) {
    throw MeasurementFailure(o.area.region.empty() ? CornersSource(o.area) : o.area.region,
                             found.whyNot);
  }
  return found.corners;
}

void Measure(const Options& o, const Shot& shot, const std::vector<cv::Point>& corners) {
  std::vector<std::int32_t> pairs;
  for (const cv::Point& corner : corners) {
    pairs.push_back(corner.x);
    pairs.push_back(corner.y);
  }
  const std::int32_t rowGroup = o.topLeds ? o.rowGroup.value_or(1) : 0;
  const std::int32_t code = DravixExtract(Handle(), &shot, pairs.data(), 4, o.topLeds.value_or(0),
                                          o.bottomLeds.value_or(0), rowGroup);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.photo, Explained(code));
}

cv::Size BlocksFor(const Options& o) {
  const cv::Size blocks = ParseSize("--blocks", o.blocks);
  if (blocks.width < 2 || blocks.height < 2) {
    throw Unexpected("--blocks", o.blocks, "at least 2x2");
  }
  return blocks;
}

/// LEDs of the last column's and the last row's blocks; -1 where they are like the others.
cv::Size LastFor(const Options& o) { return {o.lastWidth.value_or(-1), o.lastHeight.value_or(-1)}; }

void MeasureByBlocks(const Options& o, const Shot& shot, const Shot& board,
                     const RegionOI& region) {
  const cv::Size blocks = BlocksFor(o);
  const cv::Size last = LastFor(o);
  const std::int32_t code = DravixExtractPro(
      Handle(), &region, &shot, &board, {blocks.width, blocks.height}, last.width, last.height);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.photo + " with " + o.board, Explained(code));
}

struct Measurement {
  cv::Mat luminances;
  std::vector<cv::Point> corners;  ///< of the lit area, top-left first and clockwise
  int copied = 0;                  ///< rows and columns on each side that are copies
  double seconds = 0;
};

Measurement Measured(const Options& o, const Shot& shot, const std::optional<Shot>& board) {
  const Progress progress("measuring " + o.photo);
  Measurement m;
  const auto start = std::chrono::steady_clock::now();
  if (board) {
    const RegionOI region = RegionFor(o, shot);
    m.corners = CornersOf(o, region);
    MeasureByBlocks(o, shot, *board, region);
    m.copied = lab::kCopiedBorderByBlocks;
  } else {
    m.corners = OrderedCorners(o.area, o.photo, shot);
    Measure(o, shot, m.corners);
    m.copied = lab::kCopiedBorder;
  }
  m.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  m.luminances = Luminances();
  return m;
}

/// Camera pixels from one LED to the next, across and down: the means of opposite sides of the lit
/// area over its LEDs.
cv::Size2d PixelsPerLed(const std::vector<cv::Point>& corners, cv::Size leds) {
  const auto side = [&](std::size_t a, std::size_t b) { return cv::norm(corners[a] - corners[b]); };
  return {(side(0, 1) + side(3, 2)) / (2.0 * leds.width),
          (side(0, 3) + side(1, 2)) / (2.0 * leds.height)};
}

/// To a hundredth of a pixel, which is as much as corners in whole pixels tell.
double Rounded(double pixels) { return std::round(pixels * 100) / 100; }

/// "12 x 11.95"
std::string PixelsPerLedText(cv::Size2d pixels) {
  return NumberText(Rounded(pixels.width)) + " x " + NumberText(Rounded(pixels.height));
}

/// The corners that the photograph does not show, with a pixel's tolerance for rounding.
std::vector<cv::Point> Outside(const std::vector<cv::Point>& corners, cv::Size photo) {
  const cv::Rect shown(-1, -1, photo.width + 2, photo.height + 2);
  std::vector<cv::Point> outside;
  std::copy_if(corners.begin(), corners.end(), std::back_inserter(outside),
               [&](const cv::Point& corner) { return !shown.contains(corner); });
  return outside;
}

std::string OutsideWarning(const Options& o, const std::vector<cv::Point>& outside,
                           cv::Size photo) {
  return CornersSource(o.area) + " " + CornersText(outside) + ": outside " + o.photo + " of " +
         SizeText(photo) +
         " pixels: no light was seen there, and LEDs that lie there are measured too low";
}

std::string NarrowWarning(const Options& o, cv::Size2d pixels) {
  return o.photo + ": found " + PixelsPerLedText(pixels) +
         " camera pixels per LED, expected at least 4 in each direction: the luminances of "
         "neighbors mix; check the pattern's LED counts, or photograph a smaller part of the "
         "screen";
}

/// What `dravix check` says of the photograph, and how many LEDs are copies.
std::vector<lab::Finding> FindingsOn(const Options& o, const Shot& shot,
                                     const std::optional<Shot>& board, const Measurement& m) {
  const Progress progress("checking " + o.photo);
  lab::CheckOptions given;
  // The measurement's own corners, whether they were given or found in a region.
  given.corners = m.corners;
  given.checkerboard = board ? &*board : nullptr;
  if (board) {
    given.blocks = BlocksFor(o);
    given.last = LastFor(o);
  }
  std::vector<lab::Finding> findings = lab::Check(shot, given);
  findings.push_back(lab::EdgeCopied(m.luminances.size(), m.copied));
  return findings;
}

/// One line for each finding but those in `said` and the copies, which every measurement has and
/// the answer names.
std::vector<std::string> LinesOf(const Options& o, const std::vector<lab::Finding>& findings,
                                 const std::vector<std::string>& said) {
  std::vector<std::string> lines;
  for (const lab::Finding& finding : findings) {
    const bool isSaid = std::find(said.begin(), said.end(), finding.id) != said.end();
    if (isSaid || finding.id == "edge-copied") continue;
    lines.push_back(o.photo + ": " + FindingLine(finding));
  }
  return lines;
}

std::vector<std::string> WarningsFor(const Options& o, const Shot& shot, const Measurement& m,
                                     cv::Size2d pixels, const std::vector<lab::Finding>& findings) {
  std::vector<std::string> warnings;
  std::vector<std::string> said;  // ids of findings that a warning here says with file and option
  const std::vector<cv::Point> outside = Outside(m.corners, shot.image.size());
  if (!outside.empty()) {
    warnings.push_back(OutsideWarning(o, outside, shot.image.size()));
    said.emplace_back("area-cut");
  }
  // Below this a soft spot of light covers several LEDs, and their luminances mix.
  constexpr double kFewestPixels = 4;
  const bool enough =
      Rounded(pixels.width) >= kFewestPixels && Rounded(pixels.height) >= kFewestPixels;
  if (!enough) {
    warnings.push_back(NarrowWarning(o, pixels));
    said.emplace_back("resolution");
  }
  const std::vector<std::string> lines = LinesOf(o, findings, said);
  warnings.insert(warnings.end(), lines.begin(), lines.end());
  return warnings;
}

/// Where the debug picture draws its lines.
BlockGrid GridFor(const Options& o, const Measurement& m) {
  BlockGrid grid;
  grid.leds = m.luminances.size();
  grid.copied = m.copied;
  if (!o.blocks.empty()) {
    grid.blocks = BlocksFor(o);
    grid.last = LastFor(o);
  }
  return grid;
}

/// The corners of the area that was divided into LEDs, for the debug picture. Block by block these
/// are the region's; without a checkerboard the measurement searches once more.
std::vector<cv::Point> UsedCorners(const Shot& shot, const std::optional<Shot>& board,
                                   const Measurement& m) {
  if (board) return m.corners;
  const auto used = lab::UsedArea(shot, m.corners);
  if (!used) return m.corners;
  return {used->begin(), used->end()};
}

void WritePictures(const Options& o, const Shot& shot, const std::optional<Shot>& board,
                   const Measurement& m) {
  if (!o.image.empty()) {
    lab::FalseColor how = lab::ScaleOf(m.luminances, "luminance per LED");
    how.copied = m.copied;
    WritePicture(o.image, lab::FalseColorPicture(m.luminances, how));
  }
  if (!o.debugImage.empty()) {
    WritePicture(o.debugImage,
                 MeasurementOverlay(shot.image, board ? board->image : cv::Mat(),
                                    UsedCorners(shot, board, m), m.luminances, GridFor(o, m)));
  }
}

/// The photograph, from whatever file, with the groups that the command line adds.
Photograph OpenForMeasuring(const Options& o) {
  Photograph photograph = OpenPhotograph(o.photo, o.photograph);
  o.metadata.Apply(photograph.shot);
  RequireMeasurable(o.photo, photograph.shot);
  return photograph;
}

Shot OpenCheckerboard(const Options& o, const Shot& shot) {
  Shot board = OpenPhotograph(o.board, o.photograph).shot;
  RequireCheckerboardOf(o.board, board, o.photo, shot);
  return board;
}

void Report(const Options& o, const Photograph& photograph, const Measurement& m,
            const std::vector<lab::Finding>& findings) {
  const Shot& shot = photograph.shot;
  const Statistics statistics = StatisticsOf(m.luminances);
  const cv::Size2d pixels = PixelsPerLed(m.corners, m.luminances.size());
  std::vector<std::string> warnings = WarningsFor(o, shot, m, pixels, findings);
  const std::string turned = OrientationWarning(o.photo, photograph.source);
  if (!turned.empty()) warnings.push_back(turned);
  for (const std::string& warning : warnings) PrintWarning(warning);
  if (o.json) {
    Json json;
    json["photo"] = o.photo;
    json["source"] = SourceJson(photograph.source);
    json.update(StatisticsJson(statistics));
    json["copied_border"] = m.copied;
    json["copied_leds"] = lab::CopiedLeds(m.copied, m.luminances.size());
    json["pixels_per_led"] = {pixels.width, pixels.height};
    json["warnings"] = warnings;
    json["findings"] = FindingsJson(findings);
    json["seconds"] = m.seconds;
    if (!o.output.empty()) json["result"] = o.output;
    if (!o.image.empty()) json["image"] = o.image;
    if (!o.debugImage.empty()) json["debug_image"] = o.debugImage;
    PrintJson(json);
    return;
  }
  std::string source;
  for (const SourceLine& line : SourceLines(photograph.source)) {
    source += ReportLine(line.label, line.value);
  }
  Print(source + StatisticsText(statistics) +
        ReportLine("copied border", lab::CopiedBorderText(m.copied, m.luminances.size())) +
        ReportLine("pixels per LED", PixelsPerLedText(pixels)) +
        ReportLine("time", NumberText(m.seconds) + " s") +
        (o.output.empty() ? "" : ReportLine("result", o.output)) +
        (o.image.empty() ? "" : ReportLine("image", o.image)) +
        (o.debugImage.empty() ? "" : ReportLine("debug image", o.debugImage)));
}

void Run(const Options& o) {
  CheckUsage(o);
  const Photograph photograph = OpenForMeasuring(o);
  const Shot& shot = photograph.shot;
  std::optional<Shot> board;
  if (!o.board.empty()) board = OpenCheckerboard(o, shot);
  const Measurement measurement = Measured(o, shot, board);
  if (!o.output.empty()) SaveResult(o.output);
  WritePictures(o, shot, board, measurement);
  Report(o, photograph, measurement, FindingsOn(o, shot, board, measurement));
}

}  // namespace

void AddMeasureCommand(CLI::App& program) {
  CLI::App& command =
      *program.add_subcommand("measure", "Measure a photograph: one luminance per LED.");
  const auto o = std::make_shared<Options>();
  command
      .add_option("photo", o->photo, "photograph: .shot, or any picture or raw file with --leds")
      ->required();
  AddAreaArguments(command, o->area);
  command.add_option("-o,--output", o->output, "where to save the result, .lum");
  command.add_option("--image", o->image, "false-color picture of the result, with a scale");
  command.add_option("--top-leds", o->topLeds, "LEDs in the top row, where rows differ in length");
  command.add_option("--bottom-leds", o->bottomLeds,
                     "LEDs in the bottom row, where rows differ in length");
  command.add_option("--row-group", o->rowGroup,
                     "neighboring rows that have the same number of LEDs (default 1)");
  command.add_option("--checkerboard", o->board,
                     "second photograph from the same place that shows a checkerboard: "
                     "measure block by block");
  command.add_option("--blocks", o->blocks, "blocks of the checkerboard across and down")
      ->type_name("WxH");
  command.add_option("--last-width", o->lastWidth,
                     "LEDs across one block of the last column, where it is narrower");
  command.add_option("--last-height", o->lastHeight,
                     "LEDs down one block of the last row, where it is lower");
  command.add_option("--debug-image", o->debugImage,
                     "picture for finding faults: outline and block grid over the photograph (and "
                     "the checkerboard), and the luminances warped into the same pose");
  o->photograph.AddTo(command);
  o->metadata.AddTo(command);
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string(kExamples) + "\n" + kUniformityHelp + "\n" + kExitCodeHelp);
  command.callback([o] { Run(*o); });
}

}  // namespace dravix::tool
