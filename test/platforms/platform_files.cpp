// Writes what dravix makes of simulated scenes into the current folder: shots, regions, masks,
// luminances of both pipelines, and every result code. When it is built for two systems, it must
// write the same bytes on both.
//
// usage: platform_files <number of scenes>
#include <dravix/bio.h>
#include <dravix/region.h>

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "base/files.h"
#include "extractor/extractor.h"
#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

using dravix::sim::Photograph;
using dravix::sim::Scene;

/// Collects result codes and corners, one per line.
using Notes = std::ostringstream;

void Note(Notes& notes, const std::string& what, std::int32_t code) {
  notes << what << ' ' << code << '\n';
}

void WriteRegion(const std::string& name, const RegionOI& region, Notes& notes) {
  Note(notes, "Save region", region.Save(name + ".roi"));
  notes << "mask " << BIO::SaveMatToBin(name + ".mask", region.mask) << '\n';
}

/// Finds the region, and writes it, its corners and its rectified form. Returns it as it was found.
RegionOI FindRegion(const std::string& name, const Photograph& photograph, Notes& notes) {
  RegionOI region;
  Note(notes, "SetShot", region.SetShot(&photograph.shot));
  Note(notes, "AutoSet", region.AutoSet());
  WriteRegion(name, region, notes);
  std::vector<cv::Point> corners;
  Note(notes, "GetPrecision4Corner", region.GetPrecision4Corner(corners));
  for (const cv::Point& corner : corners) notes << corner.x << ' ' << corner.y << '\n';
  RegionOI rectified = region;
  Note(notes, "PerspectiveSet", rectified.PerspectiveSet(corners));
  WriteRegion(name + "-rectified", rectified, notes);
  return region;
}

void WriteLuminances(const std::string& name, const Photograph& photograph, Notes& notes) {
  Dravix dravix;
  Note(notes, "Extract", dravix.Extract(&photograph.shot, photograph.truth.cornerPixels, 0, 0, 1));
  Note(notes, "Save", dravix.Save(name + ".lum"));
  Note(notes, "ExportImage", dravix.ExportImage(name + ".bmp", true));
}

void WriteBlockLuminances(const std::string& name, const Scene& scene, const Photograph& photograph,
                          const RegionOI& region, Notes& notes) {
  const Shot checkerboard = RenderCheckerboard(scene);
  const cv::Size grid = photograph.truth.grid;
  const cv::Size last = LastBlockOf(scene);
  const int block = scene.checkerboard.block;
  Dravix dravix;
  Note(notes, "ExtractPro",
       dravix.ExtractPro(&photograph.shot, &checkerboard, {grid.width, grid.height}, region,
                         last.width == block ? -1 : last.width,
                         last.height == block ? -1 : last.height));
  Note(notes, "Save blocks", dravix.Save(name + "-blocks.lum"));
}

bool WriteScene(const Scene& scene, bool withCheckerboard) {
  const std::string& name = scene.name;
  Notes notes;
  const Photograph photograph = dravix::sim::Render(scene);
  Note(notes, "Save shot", photograph.shot.Save(name + ".shot"));
  const RegionOI region = FindRegion(name, photograph, notes);
  WriteLuminances(name, photograph, notes);
  if (withCheckerboard) WriteBlockLuminances(name, scene, photograph, region, notes);
  return dravix::base::WriteFile(name + ".txt", {dravix::base::ViewOf(notes.str())}).result ==
         dravix::base::WriteResult::kWritten;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc == 2 ? std::atoi(argv[1]) : 0;
  if (count < 2) {
    std::cerr << "usage: platform_files <number of scenes, 2 or more>\n";
    return 2;
  }
  bool written = true;
  for (const Scene& scene : dravix::sim::PlainScenes(count / 2))
    written = WriteScene(scene, true) && written;
  for (const Scene& scene : dravix::sim::LuminanceScenes(count - count / 2))
    written = WriteScene(scene, false) && written;
  return written ? 0 : 1;
}
