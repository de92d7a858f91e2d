// Prints how much faster than the plain transcription the library is, ratio by ratio: both do the
// same work in turns in the same process on one thread, and the shortest time of each counts. Then
// the memory that one measurement takes at its peak, beyond the photograph and the result, as a
// multiple of the photograph. Fails when a result differs by a bit.
//
//   speed_table [MEGAPIXELS | --brief]
#include <hwy/targets.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#ifndef _WIN32
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "extractor/extractor.h"
#include "reference/plain_transcription.h"
#include "sim/render.h"

namespace {

/// Processor time of the calling thread in milliseconds: on a busy machine the wall's is useless.
double ThreadTime() {
#ifdef _WIN32
  return 1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
#else
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
#endif
}

template <class Work>
double Time(Work&& work) {
  const double begin = ThreadTime();
  work();
  return ThreadTime() - begin;
}

/// A photograph of that many megapixels, 3:2, four fifths of it screen.
dravix::sim::Photograph PhotographOf(double megapixels, cv::Size leds) {
  dravix::sim::Scene scene;
  scene.sensor.width = static_cast<int>(std::lround(std::sqrt(megapixels * 1.5e6)));
  scene.sensor.height = static_cast<int>(std::lround(std::sqrt(megapixels * 1e6 / 1.5)));
  scene.screen.ledWidth = leds.width;
  scene.screen.ledHeight = leds.height;
  scene.screen.luminance.scatter = 0.02;
  scene.pose.pitch = 0.8 * scene.sensor.width / leds.width;
  scene.pose.tiltX = 5;
  scene.pose.tiltY = -6;
  scene.pose.roll = 1;
  return dravix::sim::Render(scene);
}

struct Case {
  dravix::sim::Photograph photo;
  dravix::reference::Panel panel;
  cv::Mat expected;
};

bool SameBits(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) return false;
  const std::size_t bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
  for (int y = 0; y < a.rows; ++y) {
    if (std::memcmp(a.ptr(y), b.ptr(y), bytes) != 0) return false;
  }
  return true;
}

double TimeOfPlain(Case& c) {
  return Time([&] {
    c.expected = *dravix::reference::Extract(c.photo.shot.image, c.photo.truth.cornerPixels,
                                             c.photo.shot.device->cam_type, c.panel);
  });
}

/// 0 when the result has the wrong bits.
double TimeOfLibrary(const Case& c) {
  Dravix dravix;
  const double time =
      Time([&] { dravix.Extract(&c.photo.shot, c.photo.truth.cornerPixels, 0, 0, 0); });
  return SameBits(dravix.lum, c.expected) ? time : 0;
}

#ifndef _WIN32

std::size_t StatusBytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(key, 0) == 0) return std::stoull(line.substr(key.size())) * 1024;
  }
  return 0;
}

/// Peak memory of one measurement, in multiples of the photograph: measured in a child process,
/// whose high-water mark starts at what it holds when it begins.
double PeakMemory(const Case& c) {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    // A child has to load the pages of code anew when it runs them. They count as used already.
    Dravix().Extract(&c.photo.shot, c.photo.truth.cornerPixels, 0, 0, 0);
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";  // the mark falls to the present
    const std::size_t before = StatusBytes("VmRSS:");
    Dravix dravix;
    dravix.Extract(&c.photo.shot, c.photo.truth.cornerPixels, 0, 0, 0);
    const double extra = static_cast<double>(StatusBytes("VmHWM:")) - static_cast<double>(before) -
                         static_cast<double>(dravix.lum.total() * (sizeof(float) + 1));
    const bool told = write(ends[1], &extra, sizeof(extra)) == sizeof(extra);
    _exit(told ? 0 : 1);
  }
  double extra = 0;
  const bool told = read(ends[0], &extra, sizeof(extra)) == sizeof(extra);
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  const double photo = static_cast<double>(c.photo.shot.image.total()) * 2;
  return told ? extra / photo : 0;
}

#else
double PeakMemory(const Case& /*c*/) { return 0; }
#endif

/// The portable target is none that Extract would use: it then measures through the whole image.
const char* NameOf(std::int64_t target) {
  return (target & (HWY_EMU128 | HWY_SCALAR)) != 0 ? "none" : hwy::TargetName(target);
}

void Force(std::int64_t target) {
  hwy::SetSupportedTargetsForTest(target);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace

int main(int argc, char** argv) {
  const bool brief = argc > 1 && std::string(argv[1]) == "--brief";
  const int turns = brief ? 1 : 5;
  std::vector<double> sizes = brief ? std::vector<double>{5} : std::vector<double>{12, 20, 31};
  if (argc > 1 && !brief) sizes = {std::stod(argv[1])};
  cv::setNumThreads(1);
  bool same = true;
  std::printf("%-6s %-11s %-8s %12s %10s %7s %7s\n", "MP", "LEDs", "target", "plain [ms]",
              "ours [ms]", "ratio", "memory");
  for (const double megapixels : sizes) {
    for (const cv::Size leds : {cv::Size(480, 270), cv::Size(256, 128)}) {
      Case c{PhotographOf(megapixels, leds), {leds.width, leds.height, -1, {}}, {}};
      const std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
      std::vector<double> ours(targets.size(), 1e9);
      double plain = 1e9;
      for (int turn = 0; turn < turns; ++turn) {
        plain = std::min(plain, TimeOfPlain(c));
        for (std::size_t i = 0; i < targets.size(); ++i) {
          Force(targets[i]);
          const double time = TimeOfLibrary(c);
          same = same && time > 0;
          ours[i] = std::min(ours[i], time);
        }
      }
      for (std::size_t i = 0; i < targets.size(); ++i) {
        Force(targets[i]);
        const std::string ledText = std::to_string(leds.width) + "x" + std::to_string(leds.height);
        std::printf("%-6g %-11s %-8s %12.0f %10.0f %7.2f %7.2f\n", megapixels, ledText.c_str(),
                    NameOf(targets[i]), plain, ours[i], plain / ours[i], PeakMemory(c));
        std::fflush(stdout);
      }
      Force(0);
    }
  }
  if (!same) std::printf("A result has the wrong bits.\n");
  return same ? 0 : 1;
}
