/// What a photograph's metadata says once the photograph has been turned.
#pragma once

#include <dravix/shot.h>

#include <string>

namespace dravix::tool {

/// Turns the groups of `shot` that have a direction counter-clockwise by `angle` degrees, which is
/// 0, 90, 180 or 270, as Shot::Rotate turns the pixels. `name` is the file that messages are about.
///
/// A quarter turn takes LED (x, y) of a screen of w x h LEDs to (y, w - 1 - x) of one of h x w:
/// - the partition and the screen swap their sides, and the partition's place turns with them;
/// - the pattern swaps its intervals and its counts of lit LEDs; its offset turns within the
///   interval, and depends on how many LEDs the partition has;
/// - the panel swaps its sides.
/// Codes of the host (types, layouts) say how something is built, and stay.
///
/// Fails when the groups contradict each other, and when an offset cannot be turned because a
/// pattern that skips LEDs comes without a partition.
void TurnMetadata(const std::string& name, int angle, Shot& shot);

}  // namespace dravix::tool
