#include "commands/measurement.h"

#include <dravix/dravix.h>
#include <dravix/lab/board_places.h>
#include <dravix/lab/color_scale.h>
#include <dravix/lab/copied_border.h>
#include <dravix/lab/used_area.h>
#include <dravix/region.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "files/files.h"
#include "report/found_corners.h"
#include "report/measurement_overlay.h"
#include "stored/photograph_inputs.h"
#include "stored/stored_data.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

using Options = MeasurementOptions;

struct Inputs {
  Photograph photograph;
  std::optional<Shot> board;
};

/// The photographs, from whatever files, with the groups that the options add.
Inputs Open(const Options& o) {
  Inputs inputs{OpenPhotograph(o.photo, o.photograph), {}};
  Shot& shot = inputs.photograph.shot;
  o.metadata.Apply(shot);
  RequireMeasurable(o.photo, shot);
  if (o.board.empty()) return inputs;
  inputs.board = OpenPhotograph(o.board, o.photograph).shot;
  RequireCheckerboardOf(o.board, *inputs.board, o.photo, shot);
  return inputs;
}

/// The lit area as `dravix region blur` or `auto` finds it.
RegionOI Searched(const Options& o, const Shot& shot) {
  RegionOI region;
  std::int32_t code = region.SetShot(&shot);
  if (code == DRAVIX_OK) code = o.find == "auto" ? region.AutoSet() : region.ComputeBlur();
  if (code != DRAVIX_OK) throw MeasurementFailure(o.photo, Explained(code));
  return region;
}

/// The region within given corners, in a photograph of that size.
RegionOI GivenRegion(const Options& o, cv::Size frame) {
  RegionOI region;
  const std::vector<cv::Point> corners = GivenCorners(o.area);
  const std::int32_t code = region.ManualSet(frame, corners);
  if (code != DRAVIX_OK) {
    throw UsageFailure(CornersSource(o.area) + " " + CornersText(corners) + " in " + o.photo +
                       " of " + SizeText(frame) + " pixels: " + Explained(code));
  }
  return region;
}

RegionOI RegionFor(const Options& o, const Shot& shot) {
  if (!o.find.empty()) return Searched(o, shot);
  if (!o.area.region.empty()) return LoadRegionOf(o.area.region, o.photo, shot);
  return GivenRegion(o, shot.image.size());
}

/// What messages about the lit area begin with.
std::string AreaSource(const Options& o) {
  if (!o.find.empty()) return o.photo;
  return o.area.region.empty() ? CornersSource(o.area) : o.area.region;
}

/// The four corners that the measurement finds in the region; fails where it finds none.
std::vector<cv::Point> CornersOf(const Options& o, const RegionOI& region) {
  FoundCorners found = FindCorners(region);
  if (found.corners.empty()) throw MeasurementFailure(AreaSource(o), found.whyNot);
  return std::move(found.corners);
}

std::vector<cv::Point> CornersFor(const Options& o, const Shot& shot) {
  if (!o.find.empty()) return CornersOf(o, Searched(o, shot));
  return OrderedCorners(o.area, o.photo, shot);
}

void MeasureByCorners(const Options& o, const Shot& shot, const std::vector<cv::Point>& corners) {
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

void MeasureByBlocks(const Options& o, const Shot& shot, const Shot& board,
                     const RegionOI& region) {
  const cv::Size blocks = BlocksOf(o);
  const cv::Size last = LastOf(o);
  const std::int32_t code = DravixExtractPro(
      Handle(), &region, &shot, &board, {blocks.width, blocks.height}, last.width, last.height);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.photo + " with " + o.board, Explained(code));
}

/// Fills in all but the findings.
void MeasureInto(Measurement& m, const Options& o, const std::optional<Shot>& board) {
  const Progress progress("measuring " + o.photo);
  const Shot& shot = m.photograph.shot;
  const auto start = std::chrono::steady_clock::now();
  if (board) {
    const RegionOI region = RegionFor(o, shot);
    m.corners = CornersOf(o, region);
    MeasureByBlocks(o, shot, *board, region);
    m.copied = lab::kCopiedBorderByBlocks;
  } else {
    m.corners = CornersFor(o, shot);
    MeasureByCorners(o, shot, m.corners);
    m.copied = lab::kCopiedBorder;
  }
  m.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  m.luminances = Luminances();
}

std::vector<lab::Finding> FindingsOn(const Options& o, const std::optional<Shot>& board,
                                     const Measurement& m) {
  const Progress progress("checking " + o.photo);
  lab::CheckOptions given;
  // The measurement's own corners, whether they were given or found in a region.
  given.corners = m.corners;
  given.checkerboard = board ? &*board : nullptr;
  if (board) {
    given.blocks = BlocksOf(o);
    given.last = LastOf(o);
  }
  std::vector<lab::Finding> findings = lab::Check(m.photograph.shot, given);
  findings.push_back(lab::EdgeCopied(m.luminances.size(), m.copied));
  return findings;
}

/// Where the debug picture draws its lines.
BlockGrid GridFor(const Options& o, const Measurement& m) {
  BlockGrid grid;
  grid.copied = m.copied;
  if (!o.blocks.empty()) {
    grid.blocks = BlocksOf(o);
    grid.last = LastOf(o);
  }
  return grid;
}

/// Places along the edges that the checkerboard's blocks really have; none where they are not seen
/// well enough.
std::vector<lab::KnownPlace> PlacesOnBoard(const Options& o, const Shot& board,
                                           const std::array<cv::Point2d, 4>& corners,
                                           cv::Size leds) {
  try {
    return lab::BoardPlacesOf(board, {corners, leds, BlocksOf(o), LastOf(o)}).places;
  } catch (const std::invalid_argument&) {
    return {};  // samples of a kind that the measurement takes, and the search does not
  }
}

/// Where the LEDs lie that were measured, for the debug picture: block by block by the blocks'
/// edges; without a checkerboard in the area that the measurement searches for once more.
ScreenInPhoto UsedScreen(const Options& o, const std::optional<Shot>& board, const Measurement& m) {
  const cv::Size leds = m.luminances.size();
  std::array<cv::Point2d, 4> corners;
  std::copy_n(m.corners.begin(), corners.size(), corners.begin());
  if (!board) return {leds, lab::UsedArea(m.photograph.shot, m.corners).value_or(corners)};
  const std::vector<lab::KnownPlace> places = PlacesOnBoard(o, *board, corners, leds);
  return places.empty() ? ScreenInPhoto(leds, corners) : ScreenInPhoto(leds, places);
}

void WritePictures(const Options& o, const std::optional<Shot>& board, const Measurement& m) {
  if (!o.image.empty()) {
    lab::FalseColor how = lab::ScaleOf(m.luminances, "luminance per LED");
    how.copied = m.copied;
    WritePicture(o.image, lab::FalseColorPicture(m.luminances, how));
  }
  if (!o.debugImage.empty()) {
    WritePicture(o.debugImage,
                 MeasurementOverlay(m.photograph.shot.image, board ? board->image : cv::Mat(),
                                    UsedScreen(o, board, m), m.luminances, GridFor(o, m)));
  }
}

/// Fails where the lit area's options do not suit a photograph of that size.
void RehearseArea(const Options& o, cv::Size frame) {
  // Searching for the area is work. Neither that nor a region's file can be wrong usage.
  if (!o.find.empty() || !o.area.region.empty()) return;
  if (o.board.empty()) {
    static_cast<void>(OrderedGivenCorners(o.area));
  } else {
    static_cast<void>(GivenRegion(o, frame));
  }
}

/// Whether the first bytes of the files are enough to know that the options suit them.
bool SuitsByFirstBytes(const Options& o) {
  try {
    auto photo = StandInFor(o.photo, o.photograph);
    if (!photo || (!o.board.empty() && !StandInFor(o.board, o.photograph))) return false;
    o.metadata.Apply(photo->shot);
    RehearseArea(o, photo->size);
    return true;
  } catch (const Failure&) {
    return false;  // it may also be that the file is damaged, of which measuring would speak first
  }
}

}  // namespace

Measurement Measure(const Options& o) {
  Inputs inputs = Open(o);
  Measurement measurement;
  measurement.photograph = std::move(inputs.photograph);
  MeasureInto(measurement, o, inputs.board);
  if (!o.output.empty()) SaveResult(o.output);
  WritePictures(o, inputs.board, measurement);
  measurement.findings = FindingsOn(o, inputs.board, measurement);
  return measurement;
}

std::string ResultBytes() {
  std::uint64_t size = 0;
  std::int32_t code = DravixGetBufferSize(Handle(), &size);
  std::string bytes;
  if (code == DRAVIX_OK) {
    bytes.resize(static_cast<std::size_t>(size));
    code = DravixToBuffer(Handle(), bytes.data(), &size);
  }
  if (code != DRAVIX_OK) throw OutputFailure("result", "cannot be written: " + Explained(code));
  return bytes;
}

void Rehearse(const Options& o) {
  if (SuitsByFirstBytes(o)) return;
  const Inputs inputs = Open(o);
  RehearseArea(o, inputs.photograph.shot.image.size());
}

}  // namespace dravix::tool
