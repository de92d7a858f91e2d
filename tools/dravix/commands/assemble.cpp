#include <dravix/lab/assembly.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/paths.h"
#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "json/json_lines.h"
#include "matrices/matrix_files.h"
#include "report/result_report.h"
#include "screens/assembly_manifest.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kHelp =
    "MANIFEST has one JSON object a line, with names relative to it:\n"
    "  {\"result\": \"a.lum\", \"shot\": \"a.shot\"}\n"
    "  {\"result\": \"b.lum\", \"partition\": {\"x\": 0, \"y\": 0, \"w\": 960, \"h\": 540, "
    "\"screen_w\": 7680, \"screen_h\": 4320}, \"pattern\": {\"interval_x\": 2, \"interval_y\": 2, "
    "\"loc_x\": 0, \"loc_y\": 1}, \"plane\": \"CIE_Y\"}\n\n"
    "DIR gets PLANE.lum, PLANE.npy and PLANE.count.npy (how often each LED was measured) of the "
    "whole screen, and assembly.json.\n\n"
    "Examples:\n"
    "  dravix assemble results.jsonl -o screen\n"
    "  dravix assemble results.jsonl -o screen --match seams --json\n";

struct AssembleOptions {
  std::string manifest, folder;
  std::string match = "none";
  bool json = false;
};

lab::Match MatchOf(const std::string& text) {
  if (text == "none") return lab::Match::kNone;
  if (text == "overlap") return lab::Match::kOverlap;
  if (text == "seams") return lab::Match::kSeams;
  throw Unexpected("--match", InQuotes(text), "none, overlap or seams");
}

/// The entries of one plane, in the manifest's order.
struct Plane {
  std::string name;
  std::vector<const ManifestEntry*> entries;
};

/// The planes in the order in which the manifest first names them.
std::vector<Plane> PlanesOf(const std::vector<ManifestEntry>& entries) {
  std::vector<Plane> planes;
  for (const ManifestEntry& entry : entries) {
    const auto isThat = [&](const Plane& plane) { return plane.name == entry.plane; };
    auto plane = std::find_if(planes.begin(), planes.end(), isThat);
    if (plane == planes.end()) plane = planes.insert(planes.end(), Plane{entry.plane, {}});
    plane->entries.push_back(&entry);
  }
  return planes;
}

std::string InFolder(const AssembleOptions& o, const std::string& file) {
  return base::NameOf(PathOf(o.folder) / PathOf(file));
}

struct PlaneFiles {
  std::string lum, npy, count;
};

PlaneFiles FilesOf(const AssembleOptions& o, const std::string& plane) {
  return {InFolder(o, plane + ".lum"), InFolder(o, plane + ".npy"),
          InFolder(o, plane + ".count.npy")};
}

std::string ReportFile(const AssembleOptions& o) { return InFolder(o, "assembly.json"); }

void RequireOwnFiles(const AssembleOptions& o, const std::vector<ManifestEntry>& entries,
                     const std::vector<Plane>& planes) {
  std::vector<NamedFile> inputs = {{"manifest", o.manifest}};
  for (const ManifestEntry& entry : entries) {
    inputs.push_back({"result", entry.file});
    inputs.push_back({"shot", entry.shot});
  }
  std::vector<NamedFile> outputs = {{"-o", ReportFile(o)}};
  for (const Plane& plane : planes) {
    const PlaneFiles files = FilesOf(o, plane.name);
    for (const std::string& file : {files.lum, files.npy, files.count}) {
      outputs.push_back({"-o", file});
    }
  }
  RequireDistinctFiles(inputs, outputs);
}

/// The values of a result, which must have the size that its place on the screen asks for.
cv::Mat ValuesOf(const AssembleOptions& o, const ManifestEntry& entry) {
  cv::Mat values;
  AtLine(o.manifest, entry.line, [&] {
    values = LoadMatrix(entry.file);
    const cv::Size expected = lab::LitLeds(entry.placement);
    if (values.size() == expected) return;
    throw InputFailure(entry.file, "holds " + SizeText(values.size()) + " LEDs, expected " +
                                       SizeText(expected) + " by partition, interval and place");
  });
  return values;
}

std::vector<lab::PlacedResult> ResultsOf(const AssembleOptions& o, const Plane& plane) {
  std::vector<lab::PlacedResult> results;
  for (const ManifestEntry* entry : plane.entries) {
    results.push_back({entry->result, entry->placement, ValuesOf(o, *entry)});
  }
  return results;
}

void CheckPlacements(const AssembleOptions& o, const Plane& plane, lab::Match match) {
  std::vector<lab::Placement> placements;
  for (const ManifestEntry* entry : plane.entries) placements.push_back(entry->placement);
  try {
    lab::Check(placements, match);
  } catch (const std::invalid_argument& error) {
    throw InputFailure(o.manifest, "plane " + plane.name + ": " + error.what());
  }
}

/// Refuses all that could be refused, before anything is written. Gives the results of the last
/// plane, so that they need not be read again; those of all planes may be more than the memory.
std::vector<lab::PlacedResult> CheckInputs(const AssembleOptions& o,
                                           const std::vector<Plane>& planes, lab::Match match) {
  for (const Plane& plane : planes) {
    CheckPlacements(o, plane, match);
    if (&plane == &planes.back()) break;
    for (const ManifestEntry* entry : plane.entries) static_cast<void>(ValuesOf(o, *entry));
  }
  return ResultsOf(o, planes.back());
}

/// Writes a plane's matrices, and forgets them.
lab::PlaneFigures AssemblePlane(const AssembleOptions& o, const Plane& plane,
                                std::vector<lab::PlacedResult> results, lab::Match match) {
  lab::AssembledPlane assembled = lab::Assemble(plane.name, results, match);
  results.clear();
  const PlaneFiles files = FilesOf(o, plane.name);
  WriteLum(files.lum, assembled.values);
  WriteNpy(files.npy, assembled.values);
  WriteNpy(files.count, assembled.counts);
  return std::move(assembled.figures);
}

std::string GapsText(const lab::PlaneFigures& figures) {
  constexpr std::size_t kShown = 3;
  std::string text = std::to_string(figures.missing) + " LEDs";
  const std::size_t shown = std::min(kShown, figures.missingRectangles.size());
  for (std::size_t i = 0; i < shown; ++i) {
    const cv::Rect& gap = figures.missingRectangles[i];
    text += (i == 0 ? ": " : ", ") + SizeText(gap.size()) + " at " + std::to_string(gap.x) + "," +
            std::to_string(gap.y);
  }
  return text + (figures.missingRectangles.size() > shown ? ", ..." : "");
}

std::string SeamsText(const lab::PlaneFigures& figures) {
  if (std::isnan(figures.seamRmsBefore)) return "partitions share no border";
  return PercentText(figures.seamRmsBefore) + " RMS before, " + PercentText(figures.seamRmsAfter) +
         " after matching";
}

std::string GainsText(const lab::PlaneFigures& figures) {
  const auto [least, most] = std::minmax_element(
      figures.gains.begin(), figures.gains.end(),
      [](const lab::ResultGain& a, const lab::ResultGain& b) { return a.gain < b.gain; });
  return NumberText(least->gain) + " to " + NumberText(most->gain) + " for " +
         std::to_string(figures.gains.size()) + " results";
}

std::string AssembleText(const AssembleOptions& o, const std::vector<lab::PlaneFigures>& planes) {
  std::string text;
  for (const lab::PlaneFigures& figures : planes) {
    const PlaneFiles files = FilesOf(o, figures.plane);
    text += ReportLine("plane", figures.plane + ", " + SizeText(figures.size) + " LEDs") +
            ReportLine("measured", std::to_string(figures.measured) + " LEDs, " +
                                       std::to_string(figures.doubled) + " more than once") +
            ReportLine("missing", GapsText(figures)) + ReportLine("gains", GainsText(figures)) +
            ReportLine("seams", SeamsText(figures)) +
            ReportLine("written", files.lum + " " + files.npy + " " + files.count);
  }
  return text + ReportLine("written", ReportFile(o));
}

void RunAssemble(const AssembleOptions& o) {
  const lab::Match match = MatchOf(o.match);
  std::vector<lab::PlaneFigures> figures;
  {
    const Progress progress("assembling " + o.manifest);
    const std::vector<ManifestEntry> entries = ReadAssemblyManifest(o.manifest);
    const std::vector<Plane> planes = PlanesOf(entries);
    RequireOwnFiles(o, entries, planes);
    std::vector<lab::PlacedResult> last = CheckInputs(o, planes, match);
    MakeFolder(o.folder);
    figures.resize(planes.size());
    figures.back() = AssemblePlane(o, planes.back(), std::move(last), match);
    for (std::size_t i = 0; i + 1 < planes.size(); ++i) {
      figures[i] = AssemblePlane(o, planes[i], ResultsOf(o, planes[i]), match);
    }
  }
  const std::string json = lab::ToJson(figures) + "\n";
  WriteFile(ReportFile(o), json);
  Print(o.json ? json : AssembleText(o, figures));
}

}  // namespace

void AddAssembleCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "assemble", "Put results of partitions and phases together to the whole screen.");
  const auto o = std::make_shared<AssembleOptions>();
  command.add_option("manifest", o->manifest, "list of results, .jsonl")->required();
  command.add_option("-o,--output", o->folder, "folder for what is written; made if needed")
      ->required()
      ->type_name("DIR");
  command
      .add_option("--match", o->match,
                  "gains that make results agree: none (default), overlap (by LEDs that two "
                  "results share) or seams (where their partitions meet)")
      ->type_name("HOW");
  command.add_flag("--json", o->json, "print what is written as assembly.json");
  command.footer(std::string(kHelp) + "\n" + kExitCodeHelp);
  command.callback([o] { RunAssemble(*o); });
}

}  // namespace dravix::tool
