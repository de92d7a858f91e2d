/// Named scenes that are shared by the tests, the benches, the tool, and the table of what the
/// detector can do.
#pragma once

#include <string>
#include <vector>

#include "sim/scene.h"

namespace dravix::sim {

/// Checkerboards as good photographs show them: 2 x 2 to 24 x 16 blocks of 4 to 64 LEDs, often with
/// a narrower last column or row; tilt up to 12 degrees, roll up to 5 degrees, distortion up to 1 %
/// either way, vignetting up to 40 %, the noise of a 12-bit camera and some dead LEDs. The
/// photographs have 0.5 to 3 megapixels. The scenes are named "plain-0" and so on.
std::vector<Scene> PlainScenes(int count = 60);

/// The difficulty of a hard scene.
enum class HardKind { kContrast, kDeadBlock, kLitLevels, kReflection, kDistortion, kBlur };
constexpr HardKind kHardKinds[] = {HardKind::kContrast,   HardKind::kDeadBlock,
                                   HardKind::kLitLevels,  HardKind::kReflection,
                                   HardKind::kDistortion, HardKind::kBlur};
const char* NameOf(HardKind kind);

/// Plain scenes with one difficulty each: contrast from 8:1 down to 4:1, a whole block that is
/// dead, lit blocks whose levels differ by a factor of 3, a bright reflection beside the screen, 2
/// % distortion, or blur of a third of a block. They are named "contrast-0", "dead-block-0" and so
/// on.
std::vector<Scene> HardScenes(HardKind kind, int count = 8);

/// Screens to measure, without lens distortion and with the noise of a 12-bit camera. By turns they
/// are even, have a gradient, have modules that differ, or have LEDs that differ. They are named
/// "lum-0" and so on.
std::vector<Scene> LuminanceScenes(int count = 40);

/// The demo's scene: 12 megapixels, 256 x 128 LEDs of which some are dead, steps between modules.
Scene DemoScene();

/// A plain scene whose photograph has about that many megapixels, for benches.
Scene SizedScene(double megapixels);

}  // namespace dravix::sim
