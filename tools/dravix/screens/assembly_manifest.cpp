#include "screens/assembly_manifest.h"

#include <dravix/shot.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>

#include "base/paths.h"
#include "files/files.h"
#include "json/json_fields.h"
#include "json/json_lines.h"
#include "metadata/shot_metadata.h"
#include "screens/plane_names.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

/// A 16K screen in 256 partitions, 16 phases and 3 planes has 12,288.
constexpr int kMostEntries = 65536;
/// X, Y, Z or red, green, blue, and some to spare: each plane costs a screen's memory on the disk.
constexpr std::size_t kMostPlanes = 16;

const Json& Required(JsonFields& fields, const char* name, const char* expected) {
  const Json* found = fields.Find(name);
  if (found == nullptr) throw Unexpected(fields.Place(name), "nothing", expected);
  return *found;
}

std::string TextOf(JsonFields& fields, const char* name) {
  constexpr const char* kExpected = "a text";
  const Json& found = Required(fields, name, kExpected);
  if (!found.is_string()) throw fields.Wrong(name, kExpected);
  return found.get<std::string>();
}

int NumberOf(JsonFields& fields, const char* name) {
  constexpr const char* kExpected = "a 32-bit whole number";
  const Json& found = Required(fields, name, kExpected);
  if (!IsWholeWithin(found, INT32_MIN, INT32_MAX)) throw fields.Wrong(name, kExpected);
  return found.get<int>();
}

/// A count that may be left out; 0 where it is.
int CountOf(JsonFields& fields, const char* name) {
  const Json* found = fields.Find(name);
  if (found == nullptr) return 0;
  if (!IsWholeWithin(*found, 0, INT32_MAX)) throw fields.Wrong(name, "a count of LEDs");
  return found->get<int>();
}

Shot::Partition PartitionOf(const Json& json) {
  JsonFields fields("partition", json);
  Shot::Partition p;
  p.x = NumberOf(fields, "x");
  p.y = NumberOf(fields, "y");
  p.w = NumberOf(fields, "w");
  p.h = NumberOf(fields, "h");
  p.screen_w = NumberOf(fields, "screen_w");
  p.screen_h = NumberOf(fields, "screen_h");
  fields.RequireAllKnown();
  return p;
}

Shot::Pattern PatternOf(const Json& json) {
  JsonFields fields("pattern", json);
  Shot::Pattern p;
  p.interval_x = NumberOf(fields, "interval_x");
  p.interval_y = NumberOf(fields, "interval_y");
  p.loc_x = NumberOf(fields, "loc_x");
  p.loc_y = NumberOf(fields, "loc_y");
  p.lighted_led_w = CountOf(fields, "lighted_led_w");
  p.lighted_led_h = CountOf(fields, "lighted_led_h");
  // Photographs' metadata have it too.
  static_cast<void>(fields.Find("type"));
  fields.RequireAllKnown();
  return p;
}

lab::Placement PlacementOf(const Shot::Partition& partition, const Shot::Pattern& pattern) {
  const lab::Placement placement{{partition.screen_w, partition.screen_h},
                                 {partition.x, partition.y, partition.w, partition.h},
                                 {pattern.interval_x, pattern.interval_y},
                                 {pattern.loc_x, pattern.loc_y}};
  try {
    lab::Check(placement);
  } catch (const std::invalid_argument& error) {
    throw UsageFailure(error.what());
  }
  // Counts below 1 say that they are not known.
  const cv::Size leds = lab::LitLeds(placement);
  const bool agrees = (pattern.lighted_led_w < 1 || pattern.lighted_led_w == leds.width) &&
                      (pattern.lighted_led_h < 1 || pattern.lighted_led_h == leds.height);
  if (!agrees) {
    throw Unexpected("lit LEDs", SizeText({pattern.lighted_led_w, pattern.lighted_led_h}),
                     SizeText(leds) + " by partition, interval and place");
  }
  return placement;
}

/// The plane and the place that a photograph's file names.
void TakeFromShot(ManifestEntry& entry) {
  const Shot shot = LoadShotMetadata(entry.shot);
  if (!shot.partition) throw InputFailure(entry.shot, "does not say which partition it shows");
  if (!shot.pattern) throw InputFailure(entry.shot, "does not say which LEDs were lit");
  if (shot.type == 0 || (shot.type & (shot.type - 1)) != 0) {
    throw InputFailure(entry.shot, "is of the type " + TypeName(shot.type) +
                                       ", expected one plane; or give partition, pattern and "
                                       "plane instead of the shot");
  }
  try {
    entry.placement = PlacementOf(*shot.partition, *shot.pattern);
  } catch (const Failure& failure) {
    throw InputFailure(entry.shot, failure.what());
  }
  entry.plane = TypeName(shot.type);
}

void TakeFromLine(JsonFields& fields, ManifestEntry& entry) {
  constexpr const char* kExpected = "an object, or a shot that says the same";
  const Shot::Partition partition = PartitionOf(Required(fields, "partition", kExpected));
  const Shot::Pattern pattern = PatternOf(Required(fields, "pattern", kExpected));
  entry.placement = PlacementOf(partition, pattern);
  entry.plane = TextOf(fields, "plane");
}

/// A name as the manifest has it, from the current folder.
std::string BesideManifest(const std::string& manifest, const std::string& name) {
  if (name.empty()) throw UsageFailure("found an empty file name, expected one");
  return base::NameOf(PathOf(manifest).parent_path() / PathOf(name));
}

ManifestEntry EntryOf(const std::string& manifest, int line, const Json& json) {
  if (!json.is_object()) throw UsageFailure("found no JSON object, expected one");
  JsonFields fields("entry", json);
  ManifestEntry entry;
  entry.line = line;
  entry.result = TextOf(fields, "result");
  entry.file = BesideManifest(manifest, entry.result);
  if (fields.Find("shot") != nullptr) {
    fields.RequireAllKnown();
    entry.shot = BesideManifest(manifest, TextOf(fields, "shot"));
    TakeFromShot(entry);
  } else {
    TakeFromLine(fields, entry);
    fields.RequireAllKnown();
  }
  RequirePlaneName(entry.plane);
  return entry;
}

/// Fails for an entry that does not go with those before it.
void RequireToFit(const ManifestEntry& entry, const ManifestEntry& first,
                  std::vector<std::string>& planes) {
  if (entry.placement.screen != first.placement.screen) {
    throw Unexpected(
        "screen", SizeText(entry.placement.screen),
        SizeText(first.placement.screen) + " as in line " + std::to_string(first.line));
  }
  if (std::find(planes.begin(), planes.end(), entry.plane) != planes.end()) return;
  for (const std::string& plane : planes) {
    if (!DifferOnlyInCase(plane, entry.plane)) continue;
    throw Unexpected(
        "plane", InQuotes(entry.plane),
        "a name that differs from " + InQuotes(plane) + " in more than capital letters");
  }
  planes.push_back(entry.plane);
  if (planes.size() > kMostPlanes) {
    throw Unexpected("plane", InQuotes(entry.plane),
                     "at most " + std::to_string(kMostPlanes) + " planes");
  }
}

}  // namespace

std::vector<ManifestEntry> ReadAssemblyManifest(const std::string& name) {
  std::vector<ManifestEntry> entries;
  std::vector<std::string> planes;
  ForEachJsonLine(name, kMostEntries, [&](int line, const Json& json) {
    entries.push_back(EntryOf(name, line, json));
    RequireToFit(entries.back(), entries.front(), planes);
  });
  if (entries.empty()) throw InputFailure(name, "lists no result, expected one JSON object a line");
  return entries;
}

}  // namespace dravix::tool
