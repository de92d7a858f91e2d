#include <dravix/dravix.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/stored_data.h"
#include "files/truth_file.h"
#include "report/false_color.h"
#include "report/measurement_overlay.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  dravix measure photo.shot --corners 195,189 2772,96 2832,1819 244,1895 -o screen.lum\n"
    "  dravix measure photo.shot --region area.roi -o screen.lum --image screen.png\n"
    "  dravix measure photo.shot --checkerboard board.shot --blocks 8x6 --region area.roi \\\n"
    "      -o screen.lum --debug-image check.png\n";

struct Options {
  std::string photo, output, image, debugImage, region, truth, board, blocks;
  std::vector<std::string> corners;
  std::int32_t topLeds = 0, bottomLeds = 0, rowGroup = 1;
  std::int32_t lastWidth = -1, lastHeight = -1;
  bool json = false;
};

/// Everything that can be told from the command line alone, before any work is done.
void CheckUsage(const Options& o) {
  const int sources =
      (o.corners.empty() ? 0 : 1) + (o.region.empty() ? 0 : 1) + (o.truth.empty() ? 0 : 1);
  if (sources != 1) {
    throw UsageFailure(
        "measure: give one of --corners, --region or --truth, which say where the lit area is");
  }
  if (o.board.empty() != o.blocks.empty()) {
    throw UsageFailure("measure: --checkerboard and --blocks belong together");
  }
  const bool rows = o.topLeds != 0 || o.bottomLeds != 0;
  if (rows && (o.topLeds < 1 || o.bottomLeds < 1 || o.rowGroup < 1)) {
    throw UsageFailure("measure: --top-leds, --bottom-leds and --row-group must be 1 or more");
  }
  if (rows && !o.board.empty()) {
    throw UsageFailure("measure: --top-leds and --bottom-leds do not go with --checkerboard");
  }
  if (!o.output.empty()) RequireExtension("-o", o.output, ".lum");
}

RegionOI RegionFor(const Options& o, const Shot& shot) {
  if (!o.region.empty()) {
    RegionOI region = LoadRegion(o.region);
    if (region.frameWidth != shot.image.cols || region.frameHeight != shot.image.rows) {
      throw InputFailure(o.region, "refers to a frame of " + std::to_string(region.frameWidth) +
                                       " x " + std::to_string(region.frameHeight) +
                                       " pixels, expected " + std::to_string(shot.image.cols) +
                                       " x " + std::to_string(shot.image.rows) + " as in " +
                                       o.photo);
    }
    return region;
  }
  RegionOI region;
  const auto corners =
      o.truth.empty() ? ParseCorners("--corners", o.corners) : LoadTruth(o.truth).corners;
  const std::int32_t code = region.ManualSet(shot.image.size(), corners);
  if (code != DRAVIX_OK) {
    throw UsageFailure("--corners " + CornersText(corners) + ": " + Explained(code));
  }
  return region;
}

/// The corners that the measurement starts from. Corners given by hand are taken as they are.
std::vector<cv::Point> CornersFor(const Options& o) {
  if (!o.corners.empty()) return ParseCorners("--corners", o.corners);
  if (!o.truth.empty()) return LoadTruth(o.truth).corners;
  std::vector<cv::Point> corners;
  const std::int32_t code = LoadRegion(o.region).GetPrecision4Corner(corners);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.region, Explained(code));
  return corners;
}

std::vector<cv::Point> OrderedCorners(const std::vector<cv::Point>& corners) {
  std::vector<cv::Point> ordered = OrderCorners(corners);
  if (ordered.size() != 4) {
    throw UsageFailure("corners " + CornersText(corners) +
                       ": expected two above and two at or below their mean height");
  }
  return ordered;
}

void Measure(const Options& o, const Shot& shot, const std::vector<cv::Point>& corners) {
  std::vector<std::int32_t> pairs;
  for (const cv::Point& corner : corners) {
    pairs.push_back(corner.x);
    pairs.push_back(corner.y);
  }
  const std::int32_t code = DravixExtract(Handle(), &shot, pairs.data(), 4, o.topLeds, o.bottomLeds,
                                          o.topLeds > 0 ? o.rowGroup : 0);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.photo, Explained(code));
}

void MeasureByBlocks(const Options& o, const Shot& shot, const Shot& board,
                     const RegionOI& region) {
  const cv::Size blocks = ParseSize("--blocks", o.blocks);
  if (blocks.width < 2 || blocks.height < 2) {
    throw Unexpected("--blocks", o.blocks, "at least 2x2");
  }
  if (board.image.size() != shot.image.size()) {
    throw InputFailure(o.board, "is " + std::to_string(board.image.cols) + " x " +
                                    std::to_string(board.image.rows) + " pixels, expected " +
                                    std::to_string(shot.image.cols) + " x " +
                                    std::to_string(shot.image.rows) + " as " + o.photo);
  }
  const std::int32_t code = DravixExtractPro(
      Handle(), &region, &shot, &board, {blocks.width, blocks.height}, o.lastWidth, o.lastHeight);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.photo + " with " + o.board, Explained(code));
}

/// Where to draw lines: between blocks, or between eighths of the screen where there are none.
BlockGrid GridFor(const Options& o, const Shot& shot) {
  BlockGrid grid;
  grid.leds = {shot.pattern->lighted_led_w, shot.pattern->lighted_led_h};
  if (!o.blocks.empty()) {
    const cv::Size blocks = ParseSize("--blocks", o.blocks);
    grid.blocks = blocks;
    grid.last = {o.lastWidth, o.lastHeight};
  }
  return grid;
}

void Report(const Options& o, double seconds) {
  const Statistics statistics = StatisticsOf(Luminances());
  if (o.json) {
    Json json;
    json["photo"] = o.photo;
    json.update(StatisticsJson(statistics));
    json["seconds"] = seconds;
    if (!o.output.empty()) json["result"] = o.output;
    if (!o.image.empty()) json["image"] = o.image;
    if (!o.debugImage.empty()) json["debug_image"] = o.debugImage;
    PrintJson(json);
    return;
  }
  Print(StatisticsText(statistics) + ReportLine("time", NumberText(seconds) + " s") +
        (o.output.empty() ? "" : ReportLine("result", o.output)) +
        (o.image.empty() ? "" : ReportLine("image", o.image)) +
        (o.debugImage.empty() ? "" : ReportLine("debug image", o.debugImage)));
}

void Run(const Options& o) {
  CheckUsage(o);
  const Shot shot = LoadShot(o.photo);
  RequireMeasurable(o.photo, shot);
  std::optional<Shot> board;
  if (!o.board.empty()) board = LoadShot(o.board);
  std::vector<cv::Point> outline;
  const auto start = std::chrono::steady_clock::now();
  {
    const Progress progress("measuring " + o.photo);
    if (board) {
      const RegionOI region = RegionFor(o, shot);
      if (!o.debugImage.empty() && region.GetPrecision4Corner(outline) != DRAVIX_OK)
        outline.clear();
      MeasureByBlocks(o, shot, *board, region);
    } else {
      outline = OrderedCorners(CornersFor(o));
      Measure(o, shot, outline);
    }
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!o.output.empty()) SaveResult(o.output);
  const cv::Mat luminances = Luminances();
  if (!o.image.empty()) {
    WritePicture(o.image, FalseColorPicture(luminances, ScaleOf(luminances, "luminance per LED")));
  }
  if (!o.debugImage.empty()) {
    WritePicture(o.debugImage, MeasurementOverlay(shot.image, board ? board->image : cv::Mat(),
                                                  outline, luminances, GridFor(o, shot)));
  }
  Report(o, seconds);
}

}  // namespace

void AddMeasureCommand(CLI::App& program) {
  CLI::App& command =
      *program.add_subcommand("measure", "Measure a photograph: one luminance per LED.");
  const auto o = std::make_shared<Options>();
  command.add_option("photo", o->photo, "photograph, .shot with one plane and a pattern")
      ->required();
  command
      .add_option("--corners", o->corners, "the lit area's four corners, x,y each, in any order")
      ->expected(4)
      ->type_name("X,Y");
  command.add_option("--region", o->region, "the lit area as `dravix region` found it, .roi");
  command.add_option("--truth", o->truth, "take the corners from a simulation's truth file, .json");
  command.add_option("-o,--output", o->output, "where to save the result, .lum");
  command.add_option("--image", o->image, "false-color picture of the result, with a scale");
  command.add_option("--top-leds", o->topLeds, "LEDs in the top row, where rows differ in length");
  command.add_option("--bottom-leds", o->bottomLeds, "LEDs in the bottom row, likewise");
  command.add_option("--row-group", o->rowGroup, "rows that share one length (default 1)");
  command.add_option(
      "--checkerboard", o->board,
      "second photograph of the same pose, .shot, that shows a checkerboard: measure "
      "block by block");
  command.add_option("--blocks", o->blocks, "blocks of the checkerboard across and down")
      ->type_name("WxH");
  command.add_option("--last-width", o->lastWidth, "LEDs across of the last column, if narrower");
  command.add_option("--last-height", o->lastHeight, "LEDs down of the last row, if narrower");
  command.add_option("--debug-image", o->debugImage,
                     "picture for support: outline and block grid over the photograph (and the "
                     "checkerboard), and the luminances laid back into the same pose");
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string(kExamples) + "\n" + kUniformityHelp + "\n" + kExitCodeHelp);
  command.callback([o] { Run(*o); });
}

}  // namespace dravix::tool
