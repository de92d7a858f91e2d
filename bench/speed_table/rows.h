/// The parts of the table. Each measures one kind of work and prints its lines.
#pragma once

#include "sim/render.h"
#include "speed_table/table.h"

namespace dravix::bench {

struct Options {
  bool brief = false;  ///< small photographs and one turn, to see that all of it runs

  /// A size of the table, or a small one.
  [[nodiscard]] double Megapixels(double wanted) const { return brief ? 3 : wanted; }
  [[nodiscard]] int Turns() const { return brief ? 1 : 5; }
};

/// A screen of that many LEDs on a photograph of that many megapixels, 3:2, four fifths of it
/// screen. The checkerboard has 24 x 16 blocks where the LEDs are 480 x 320.
sim::Scene SceneOf(double megapixels, cv::Size leds);

/// DravixExtract against the plain transcription on every target, and its memory.
void ExtractRows(const Options& options, Table& table);
/// DravixExtract on two threads against one, by the wall.
void ThreadRows(const Options& options, Table& table);
/// DravixExtract's time per pixel of the working image at 61 and at 12 megapixels.
void GrowthRows(const Options& options, Table& table);
/// DravixExtractPro against the plain way through whole pictures, and its memory.
void ProRows(const Options& options, Table& table);
/// GetPrecision4Corner, AutoSet and ComputeBlur against the matrix library's calls.
void RegionRows(const Options& options, Table& table);
/// Shot::Save and ReadOrvelRaw beside writing and reading the same bytes.
void FileRows(const Options& options, Table& table);

}  // namespace dravix::bench
