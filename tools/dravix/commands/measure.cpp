#include <dravix/lab/check.h>
#include <dravix/lab/copied_border.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "commands/arguments/measurement_options.h"
#include "commands/commands.h"
#include "commands/measurement.h"
#include "photographs/photograph.h"
#include "report/findings_text.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/exit_codes.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

constexpr const char* kMeasureExamples =
    "Examples:\n"
    "  dravix measure photo.shot --corners 195,189 2772,96 2832,1819 244,1895 -o screen.lum\n"
    "  dravix measure photo.shot --region area.roi -o screen.lum --image screen.png\n"
    "  dravix measure wall.dng --leds 384x256 --channel g --region area.roi -o screen.lum\n"
    "  dravix measure photo.shot --checkerboard board.shot --blocks 8x6 --region area.roi \\\n"
    "      -o screen.lum --debug-image check.png\n";

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

std::string OutsideWarning(const MeasurementOptions& o, const std::vector<cv::Point>& outside,
                           cv::Size photo) {
  const std::string source = o.find.empty() ? CornersSource(o.area) : "--find " + o.find;
  return source + " " + CornersText(outside) + ": outside " + o.photo + " of " + SizeText(photo) +
         " pixels: no light was seen there, and LEDs that lie there are measured too low";
}

std::string NarrowWarning(const MeasurementOptions& o, cv::Size2d pixels) {
  return o.photo + ": found " + PixelsPerLedText(pixels) +
         " camera pixels per LED, expected at least 4 in each direction: the luminances of "
         "neighbors mix; check the pattern's LED counts, or photograph a smaller part of the "
         "screen";
}

/// One line for each finding but those in `said` and the copies, which every measurement has and
/// the answer names.
std::vector<std::string> LinesOf(const MeasurementOptions& o,
                                 const std::vector<lab::Finding>& findings,
                                 const std::vector<std::string>& said) {
  std::vector<std::string> lines;
  for (const lab::Finding& finding : findings) {
    const bool isSaid = std::find(said.begin(), said.end(), finding.id) != said.end();
    if (isSaid || finding.id == "edge-copied") continue;
    lines.push_back(o.photo + ": " + FindingLine(finding));
  }
  return lines;
}

std::vector<std::string> WarningsFor(const MeasurementOptions& o, const Measurement& m,
                                     cv::Size2d pixels) {
  std::vector<std::string> warnings;
  std::vector<std::string> said;  // ids of findings that a warning here says with file and option
  const cv::Size photo = m.photograph.shot.image.size();
  const std::vector<cv::Point> outside = Outside(m.corners, photo);
  if (!outside.empty()) {
    warnings.push_back(OutsideWarning(o, outside, photo));
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
  const std::vector<std::string> lines = LinesOf(o, m.findings, said);
  warnings.insert(warnings.end(), lines.begin(), lines.end());
  const std::string turned = OrientationWarning(o.photo, m.photograph.source);
  if (!turned.empty()) warnings.push_back(turned);
  return warnings;
}

Json Answer(const MeasurementOptions& o, const Measurement& m, cv::Size2d pixels,
            const std::vector<std::string>& warnings) {
  Json json;
  json["photo"] = o.photo;
  json["source"] = SourceJson(m.photograph.source);
  json.update(StatisticsJson(StatisticsOf(m.luminances)));
  json["copied_border"] = m.copied;
  json["copied_leds"] = lab::CopiedLeds(m.copied, m.luminances.size());
  json["pixels_per_led"] = {pixels.width, pixels.height};
  json["warnings"] = warnings;
  json["findings"] = FindingsJson(m.findings);
  json["seconds"] = m.seconds;
  if (!o.output.empty()) json["result"] = o.output;
  if (!o.image.empty()) json["image"] = o.image;
  if (!o.debugImage.empty()) json["debug_image"] = o.debugImage;
  return json;
}

std::string MeasureText(const MeasurementOptions& o, const Measurement& m, cv::Size2d pixels) {
  std::string source;
  for (const SourceLine& line : SourceLines(m.photograph.source)) {
    source += ReportLine(line.label, line.value);
  }
  return source + StatisticsText(StatisticsOf(m.luminances)) +
         ReportLine("copied border", lab::CopiedBorderText(m.copied, m.luminances.size())) +
         ReportLine("pixels per LED", PixelsPerLedText(pixels)) +
         ReportLine("time", NumberText(m.seconds) + " s") +
         (o.output.empty() ? "" : ReportLine("result", o.output)) +
         (o.image.empty() ? "" : ReportLine("image", o.image)) +
         (o.debugImage.empty() ? "" : ReportLine("debug image", o.debugImage));
}

void RunMeasure(const MeasurementOptions& o, bool asJson) {
  CheckUsage(o);
  const Measurement measurement = Measure(o);
  const cv::Size2d pixels = PixelsPerLed(measurement.corners, measurement.luminances.size());
  const std::vector<std::string> warnings = WarningsFor(o, measurement, pixels);
  for (const std::string& warning : warnings) PrintWarning(warning);
  if (asJson) {
    PrintJson(Answer(o, measurement, pixels, warnings));
  } else {
    Print(MeasureText(o, measurement, pixels));
  }
}

}  // namespace

void AddMeasureCommand(CLI::App& program) {
  CLI::App& command =
      *program.add_subcommand("measure", "Measure a photograph: one luminance per LED.");
  struct Given {
    MeasurementOptions measurement;
    bool json = false;
  };
  const auto given = std::make_shared<Given>();
  AddMeasurementOptions(command, given->measurement);
  command.add_flag("--json", given->json, "print the answer as JSON");
  command.footer(std::string(kMeasureExamples) + "\n" + kUniformityHelp + "\n" + kExitCodeHelp);
  command.callback([given] { RunMeasure(given->measurement, given->json); });
}

}  // namespace dravix::tool
