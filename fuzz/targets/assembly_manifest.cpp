// The manifest of an assembly, with two shots that it may name: their pieces, then the lines.
#include "screens/assembly_manifest.h"

#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(assembly_manifest, input) {
  ScratchFile("a.shot", input.TakePiece());
  ScratchFile("b.shot", input.TakePiece());
  const std::string name = ScratchFile("m.jsonl", input.Rest());
  std::vector<tool::ManifestEntry> entries;
  try {
    entries = tool::ReadAssemblyManifest(name);
  } catch (const tool::Failure& failure) {
    const std::string message = failure.what();
    Require(message.starts_with(name + ": "), "a message names the manifest");
    Require(failure.Exit() == tool::ExitCode::kInput, "a manifest is an input");
    return;
  }
  Require(!entries.empty(), "a manifest lists results");
  for (const tool::ManifestEntry& entry : entries) {
    lab::Check(entry.placement);
    const cv::Size leds = lab::LitLeds(entry.placement);
    const cv::Rect& part = entry.placement.partition;
    Require(leds.width >= 1 && leds.width <= part.width && leds.height >= 1 &&
                leds.height <= part.height,
            "a result has LEDs, and no more than its partition");
    Require(entry.plane.find('/') == std::string::npos, "a plane is no path");
  }
}

}  // namespace dravix::fuzz
