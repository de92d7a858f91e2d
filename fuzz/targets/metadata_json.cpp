// A photograph's metadata, which the tool reads from a JSON file and from options.
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "metadata/metadata.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(metadata_json, input) {
  constexpr const char* kGroups[] = {"partition", "panel",  "layer",  "pattern",
                                     "color",     "device", "capture"};
  tool::MetadataOptions options;
  for (unsigned count = input.TakeBelow(4); count > 0; --count) {
    const char* group = kGroups[input.TakeBelow(7)];
    options.groups.emplace_back(group, Text(input.TakePiece()));
  }
  if (input.TakeBool()) options.leds = Text(input.TakePiece());
  options.file = ScratchFile("metadata.json", input.Rest());
  Shot shot;
  try {
    options.Apply(shot);
  } catch (const tool::Failure&) {
    return;
  }
  const tool::Json json = tool::MetadataJson(shot);
  Shot again;
  tool::ApplyMetadata("again", json, again);
  Require(tool::MetadataJson(again) == json, "metadata survive their file");
}

}  // namespace dravix::fuzz
