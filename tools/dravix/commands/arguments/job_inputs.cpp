#include "commands/arguments/job_inputs.h"

#include <dravix/region.h>

#include <algorithm>

#include "commands/arguments/job_options.h"
#include "files/files.h"
#include "photographs/picture_size.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

/// Bytes of memory for each sample, with a margin over what was measured with photographs of 31
/// megapixels (docs/cluster.md): 4 for a .shot by corners, 6 by blocks, 12 with a debug picture.
/// Pictures of other formats are decoded, demosaiced and converted before.
struct MemoryNeed {
  std::uint64_t shot = 8, picture = 20, debugPicture = 10;
  std::uint64_t process = std::uint64_t{100} << 20;
};

std::uint64_t MemoryFor(const MeasurementOptions& o, std::uint64_t samples) {
  constexpr MemoryNeed kNeed;
  std::uint64_t bytes = HasExtension(o.photo, ".shot") ? kNeed.shot : kNeed.picture;
  if (!o.debugImage.empty()) bytes += kNeed.debugPicture;
  return kNeed.process + bytes * samples;
}

/// Whether options depend on what the photograph holds. Those of a .shot that says all itself do
/// not, so that it need not be read twice.
bool DependsOnPhotograph(const MeasurementOptions& o) {
  const PhotographOptions& p = o.photograph;
  const bool chosen = !p.channel.empty() || !p.mosaic.empty() || !p.type.empty() ||
                      !p.linearize.empty() || p.blackLevel != "keep" || !p.rawSize.empty();
  const bool described = !o.metadata.leds.empty() || !o.metadata.groups.empty();
  const bool framed = !o.board.empty() && o.find.empty() && o.area.region.empty();
  return chosen || described || framed || !HasExtension(o.photo, ".shot");
}

/// The order of the corners is wrong usage whatever the photograph holds. A truth file that cannot
/// be read is a failure of the job.
void RequireOrder(const MeasurementOptions& o) {
  if (!o.find.empty() || !o.area.region.empty()) return;
  std::vector<cv::Point> corners;
  try {
    corners = GivenCorners(o.area);
  } catch (const Failure& failure) {
    if (failure.Exit() == ExitCode::kUsage) throw;
    return;
  }
  if (!o.board.empty() || OrderCorners(corners).size() == corners.size()) return;
  throw UsageFailure(CornersSource(o.area) + " " + CornersText(corners) +
                     ": expected two above and two at or below their mean height");
}

BatchJob Described(const ManifestLine& line, const MeasurementOptions& o) {
  BatchJob job;
  job.id = line.id;
  job.options = line.options;
  job.inputs = InputNames(o);
  for (const std::string& picture : {o.image, o.debugImage}) {
    if (!picture.empty()) job.pictures.push_back(picture);
  }
  job.samples = SamplesIn(o.photo);
  if (!o.board.empty()) job.samples += SamplesIn(o.board);
  job.memory = MemoryFor(o, job.samples);
  job.needsRehearsal = DependsOnPhotograph(o);
  return job;
}

}  // namespace

std::vector<std::string> InputNames(const MeasurementOptions& options) {
  std::vector<std::string> names;
  for (const NamedFile& file : InputsOf(options)) {
    if (!file.name.empty()) names.push_back(file.name);
  }
  return names;
}

BatchJob JobOf(const ManifestLine& line, const std::string& place, const std::string& output) {
  try {
    MeasurementOptions options = OptionsOfJob(Json::parse(line.options));
    options.output = output;
    CheckUsage(options);
    RequireOrder(options);
    BatchJob job = Described(line, options);
    job.place = place;
    return job;
  } catch (const Failure& failure) {
    throw Failure(failure.Exit(), place + ": " + failure.what());
  }
}

}  // namespace dravix::tool
