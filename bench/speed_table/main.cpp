// Prints how fast and how large the library is beside the plain way, ratio by ratio: both do the
// same work in turns in the same process on one thread, and the shortest time of each counts. Fails
// when a result differs by a bit.
//
//   speed_table [--brief] [PART...]
//
// The parts are extract, threads, growth, pro, region and files; all of them unless some are named.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "speed_table/rows.h"

namespace dravix::bench {

sim::Scene SceneOf(double megapixels, cv::Size leds) {
  sim::Scene scene;
  scene.sensor.width = static_cast<int>(std::lround(std::sqrt(megapixels * 1.5e6)));
  scene.sensor.height = static_cast<int>(std::lround(std::sqrt(megapixels * 1e6 / 1.5)));
  scene.screen.ledWidth = leds.width;
  scene.screen.ledHeight = leds.height;
  scene.screen.luminance.scatter = 0.02;
  scene.checkerboard.block = 20;
  scene.pose.pitch = 0.8 * scene.sensor.width / leds.width;
  scene.pose.tiltX = 5;
  scene.pose.tiltY = -6;
  scene.pose.roll = 1;
  return scene;
}

namespace {

struct Part {
  const char* name;
  void (*print)(const Options&, Table&);
};

constexpr std::array<Part, 6> kParts = {{{"extract", ExtractRows},
                                         {"threads", ThreadRows},
                                         {"growth", GrowthRows},
                                         {"pro", ProRows},
                                         {"region", RegionRows},
                                         {"files", FileRows}}};

int Usage() {
  std::fprintf(stderr,
               "usage: speed_table [--brief] [extract|threads|growth|pro|region|files]...\n");
  return 2;
}

int Run(std::vector<std::string> words) {
  Options options;
  const auto brief = std::find(words.begin(), words.end(), "--brief");
  options.brief = brief != words.end();
  if (options.brief) words.erase(brief);
  const auto isPart = [](const std::string& word) {
    return std::any_of(kParts.begin(), kParts.end(),
                       [&](const Part& part) { return word == part.name; });
  };
  if (!std::all_of(words.begin(), words.end(), isPart)) return Usage();
  cv::setNumThreads(1);
  Table table(!options.brief);  // the aims are for large photographs
  for (const Part& part : kParts) {
    if (words.empty() || std::find(words.begin(), words.end(), part.name) != words.end()) {
      part.print(options, table);
    }
  }
  return table.Finish() ? 0 : 1;
}

}  // namespace
}  // namespace dravix::bench

int main(int argc, char** argv) {
  return dravix::bench::Run(std::vector<std::string>(argv + 1, argv + argc));
}
