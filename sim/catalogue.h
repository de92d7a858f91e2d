/// Named scenes that tests, benches, fuzz seeds and the table of the detector's abilities share.
#pragma once

#include <string>
#include <vector>

#include "sim/scene.h"

namespace dravix::sim {

/// Checkerboards as they should be: 2 x 2 to 24 x 16 blocks of 4 to 64 LEDs, last column or row
/// often narrower, tilt to 12 degrees, roll to 5, distortion to 1 % either way, vignetting to 40 %,
/// 12-bit noise, some dead LEDs. 0.5 to 3 megapixels. Named "plain-0" and so on.
std::vector<Scene> PlainScenes(int count = 60);

/// What makes a hard scene hard.
enum class HardKind { kContrast, kDeadBlock, kLitLevels, kReflection, kDistortion, kBlur };
constexpr HardKind kHardKinds[] = {HardKind::kContrast,   HardKind::kDeadBlock,
                                   HardKind::kLitLevels,  HardKind::kReflection,
                                   HardKind::kDistortion, HardKind::kBlur};
const char* NameOf(HardKind kind);

/// Plain scenes with one trouble each: contrast 4:1 to 8:1, one whole block dead, lit levels that
/// differ by 3, a bright reflection beside the screen, 2 % distortion, blur of a third of a block.
/// Named "contrast-0", "dead-block-0" and so on.
std::vector<Scene> HardScenes(HardKind kind, int count = 8);

/// Screens to measure: no lens distortion, 12-bit noise; even, gradient, modules and scatter by
/// turns. Named "lum-0" and so on.
std::vector<Scene> LuminanceScenes(int count = 40);

/// The demo's photograph: about 12 megapixels, 256 x 128 LEDs, some dead, module steps.
Scene DemoScene();

/// A plain scene of about that many megapixels, for benches.
Scene SizedScene(double megapixels);

}  // namespace dravix::sim
