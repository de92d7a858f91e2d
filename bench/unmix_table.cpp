/// unmix_table: how far un-mixed luminances are from the truth on simulated screens that nobody
/// tuned the method on, by noise gain, with the aims.
///
///   unmix_table                prints every scene, the table, and further promises with their aims
///   unmix_table --check        exits with 1 where an aim is missed
///   unmix_table --seed N       other scenes (default 90000)
///   unmix_table --scenes N     how many scenes in the table (default 60); a sixth as many even
///                              screens, half as many with corners far off, a sixth as many with
///                              spots that widen toward the corners
///   unmix_table --corners N    corners are off by up to N pitches in the table (default 0.2)
///   unmix_table --spots        what a second photograph of the spots brings, and nothing else
///   unmix_table --time         31 megapixels, 480 x 270 LEDs: seconds, and seconds of the
///   processor
#include <dravix/lab/unmix.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <opencv2/core/utility.hpp>
#include <string>
#include <vector>

#include "sim/random.h"
#include "sim/render.h"
#include "unmix_errors.h"
#include "unmix_spots.h"

namespace dravix {
namespace {

/// An aim of the table: medians and worst cases of the error in percent, for noise gains up to.
struct Aim {
  double noiseGain, median, worst;
};
constexpr Aim kAims[] = {{2, 0.25, 0.4}, {4, 0.45, 0.7}, {6, 0.9, 1.3}};
constexpr double kMostNoiseGain = 6;
constexpr double kMostOverPlain = 1.2;  ///< error of even screens over that of the plain method
constexpr double kMostOfDead = 2.5;     ///< 99.9th percentile with dead LEDs, percent
constexpr double kHonestShare = 0.95;
constexpr double kRight =
    1.3;  ///< percent; one LED off is wrong by more than 1.4 times the scatter

/// How far given corners are off, in pitches: each at random up to, and all of them together.
struct Corners {
  double each = 0;
  cv::Point2d together;
};

struct Outcome {
  std::string name;
  lab::Unmixed answer;
  double inner = 0, all = 0;  ///< RMS errors, percent of the mean
  double plain = 0;           ///< the same of cell means at the true places, inner LEDs
  double high = 0;            ///< 99.9th percentile of the absolute error, percent of the mean
  bool hasDead = false;
};

/// Means over squares of one cell at the true places: the plain method at its best.
cv::Mat1f CellMeans(const sim::Scene& scene, const cv::Mat& photo) {
  cv::Mat1f means(scene.screen.ledHeight, scene.screen.ledWidth);
  const int half = static_cast<int>(scene.pose.pitch / 2);
  const double dark = scene.sensor.blackLevel;
  for (int y = 0; y < means.rows; ++y) {
    for (int x = 0; x < means.cols; ++x) {
      const cv::Point at = sim::LedCenterOf(scene, {x, y});
      const cv::Rect cell(at.x - half, at.y - half, 2 * half + 1, 2 * half + 1);
      means(y, x) =
          static_cast<float>(cv::mean(photo(cell & cv::Rect({}, photo.size())))[0] - dark);
    }
  }
  return means;
}

lab::UnmixOptions OptionsFor(const sim::Scene& scene, const sim::Truth& truth,
                             const Corners& corners) {
  lab::UnmixOptions options;
  options.corners = truth.corners;
  sim::Random random(scene.seed, 0xC0);
  for (cv::Point2d& corner : options.corners) {
    const double reach = corners.each * scene.pose.pitch;
    corner += cv::Point2d(random.Uniform(-reach, reach), random.Uniform(-reach, reach));
    corner += corners.together * scene.pose.pitch;
  }
  options.leds = {scene.screen.ledWidth, scene.screen.ledHeight};
  options.sensorTop = (1 << scene.sensor.bits) - 1;
  return options;
}

Outcome Run(const sim::Scene& scene, const Corners& corners) {
  const sim::Photograph photograph = sim::Render(scene);
  Outcome outcome;
  outcome.name = scene.name;
  outcome.hasDead = scene.screen.luminance.deadShare > 0;
  outcome.answer = lab::Unmix(photograph.shot.image, OptionsFor(scene, photograph.truth, corners));
  const lab::Unmixed& u = outcome.answer;
  const cv::Mat1d truth = SeenTruth(scene, photograph.truth.luminances);
  outcome.plain = Rms(Errors(CellMeans(scene, photograph.shot.image), truth, 2));
  if (!u.refused) {
    const std::vector<double> all = Errors(u.luminances, truth, 0);
    outcome.all = Rms(all);
    outcome.inner = Rms(Errors(u.luminances, truth, 2));
    outcome.high = Quantile(all, 0.999);
  }
  std::printf("%-12s %3dx%-3d %4.1f px %s %.2f | plain %5.2f", scene.name.c_str(),
              scene.screen.ledWidth, scene.screen.ledHeight, scene.pose.pitch,
              scene.optics.defocus == sim::Defocus::kDisk ? "disk" : "gauss", scene.optics.blur,
              outcome.plain);
  if (u.refused) {
    std::printf(" | gain %.2f spot %.3f %.3f | %s: %s\n", u.noiseGain, u.spotSigma, u.spotDisk,
                lab::NameOf(u.refused->id), u.refused->message.c_str());
  } else {
    std::printf(" inner %.3f all %.3f 99.9 %% %.2f said %.3f (%.2f) gain %.2f spot %.3f %.3f\n",
                outcome.inner, outcome.all, outcome.high, 100 * u.sigma,
                100 * u.sigma / outcome.all, u.noiseGain, u.spotSigma, u.spotDisk);
  }
  std::fflush(stdout);
  return outcome;
}

/// Scenes with all that a good photograph may have: any spot that may be answered, perspective,
/// some distortion, vignetting, stray light, dead LEDs, modules, a level that is exposed well.
sim::Scene DrawScene(std::uint64_t seed, bool hard) {
  sim::Random random(seed, 0x0411);
  sim::Scene scene;
  scene.seed = seed;
  scene.name = (hard ? "hard-" : "plain-") + std::to_string(seed % 1000);
  scene.optics.fineSpots = true;
  scene.screen.ledWidth = random.Between(40, 110);
  scene.screen.ledHeight = random.Between(32, 80);
  scene.screen.emitterFill = random.Uniform(0.2, 0.45);
  scene.pose.pitch = random.Uniform(hard ? 5.5 : 7, 12);
  const double tilt = hard ? 10 : 4;
  scene.pose.tiltX = random.Uniform(-tilt, tilt);
  scene.pose.tiltY = random.Uniform(-tilt, tilt);
  scene.pose.roll = random.Uniform(-3, 3);
  scene.pose.distance = random.Uniform(2, 4);
  scene.sensor.margin = static_cast<int>(9 * scene.pose.pitch);
  if (random.Chance(0.5)) {
    scene.optics.blur = random.Uniform(0.25, 0.6);
  } else {
    scene.optics.defocus = sim::Defocus::kDisk;
    scene.optics.blur = random.Uniform(0.5, 1.1);
  }
  scene.optics.strayLight = random.Uniform(0, 0.01);
  if (hard) scene.optics.distortion = random.Uniform(-0.01, 0.01);
  if (hard) scene.optics.vignetting = random.Uniform(0, 0.3);
  sim::Luminance& l = scene.screen.luminance;
  l.scatter = random.Uniform(0.01, 0.1);
  if (hard) {
    l.deadShare = random.Uniform(0, 0.003);
    l.moduleSpread = random.Uniform(0, 0.04);
    l.gradientX = random.Uniform(-0.1, 0.1);
  }
  // The largest sample, at the middle of a spot, stays below the sensor's top.
  const double variance = scene.optics.defocus == sim::Defocus::kDisk
                              ? 0.25 * scene.optics.blur * scene.optics.blur
                              : scene.optics.blur * scene.optics.blur;
  const double peak = std::max(1.0, 1.0 / (6.28 * (variance + 0.01)));
  scene.sensor.exposure = 0.6 / peak / 1.1;
  return scene;
}

bool PrintTable(const std::vector<Outcome>& outcomes) {
  bool met = true;
  double from = 0;
  std::printf("\n| noise gain | scenes | median RMS %% | aim | worst %% | aim |\n");
  std::printf("| --- | --- | --- | --- | --- | --- |\n");
  int answered = 0;
  int honest = 0;
  for (const Aim& aim : kAims) {
    std::vector<double> errors;
    for (const Outcome& o : outcomes) {
      const double gain = o.answer.noiseGain;
      if (o.answer.refused || !(gain > from && gain <= aim.noiseGain)) continue;
      errors.push_back(std::max(o.inner, o.all));
      const double ratio = 100 * o.answer.sigma / o.all;
      honest += ratio >= 0.5 && ratio <= 2 ? 1 : 0;
      ++answered;
    }
    if (!errors.empty()) {
      const double median = Quantile(errors, 0.5);
      const double worst = Quantile(errors, 1.0);
      met = met && median <= aim.median && worst <= aim.worst;
      std::printf("| %.0f to %.0f | %zu | %.2f | %.2f | %.2f | %.1f |\n", from, aim.noiseGain,
                  errors.size(), median, aim.median, worst, aim.worst);
    }
    from = aim.noiseGain;
  }
  std::printf("\nstated standard deviation within a factor of 2: %d of %d\n", honest, answered);
  std::printf("refused: %zu of %zu\n", outcomes.size() - static_cast<std::size_t>(answered),
              outcomes.size());
  return met && honest >= kHonestShare * answered;
}

/// Prints a line of what was found and its aim.
bool PrintAim(const char* what, double found, const char* unit, double aim) {
  std::printf("%s: %.3g%s, aim at most %.3g%s%s\n", what, found, unit, aim, unit,
              found <= aim ? "" : " (missed)");
  return found <= aim;
}

bool PrintPromises(const std::vector<Outcome>& outcomes) {
  double dead = 0;
  double noiseGain = 0;
  for (const Outcome& o : outcomes) {
    if (o.answer.refused) continue;
    noiseGain = std::max(noiseGain, o.answer.noiseGain);
    if (o.hasDead) dead = std::max(dead, o.high);
  }
  const bool deadMet = PrintAim("99.9th percentile with dead LEDs, worst", dead, " %", kMostOfDead);
  return PrintAim("noise gain answered, worst", noiseGain, "", kMostNoiseGain) && deadMet;
}

/// Screens without any differences, on which un-mixing can only lose.
bool PrintEven(std::uint64_t seed, int count) {
  double worst = 0;
  int refused = 0;
  for (int i = 0; i < count; ++i) {
    sim::Scene scene = DrawScene(seed + static_cast<unsigned>(i), false);
    scene.name = "even-" + std::to_string(i);
    scene.screen.luminance.scatter = 0;
    const Outcome o = Run(scene, {0.1, {}});
    if (o.answer.refused) ++refused;
    if (!o.answer.refused) worst = std::max(worst, o.inner / o.plain);
  }
  std::printf("even screens refused: %d of %d\n", refused, count);
  return PrintAim("even screens, error over that of the plain method, worst", worst, "",
                  kMostOverPlain);
}

/// Corners that are off by half a pitch and more: the answer must be right, or refused.
bool PrintFarCorners(std::uint64_t seed, int count) {
  int refused = 0;
  int wrong = 0;
  for (int i = 0; i < count; ++i) {
    sim::Scene scene = DrawScene(seed + static_cast<unsigned>(i), i % 2 != 0);
    scene.name = "corners-" + std::to_string(i);
    scene.screen.ledWidth = scene.screen.ledWidth / 2 + 12;
    scene.screen.ledHeight = scene.screen.ledHeight / 2 + 10;
    scene.screen.luminance.scatter = 0.05;
    const double sign = i % 4 < 2 ? 1 : -1;
    const Corners kinds[] = {{0.5, {}}, {0, {0.5 * sign, -0.5}}, {0, {sign, 0}}};
    const Outcome o = Run(scene, kinds[i % 3]);
    refused += o.answer.refused ? 1 : 0;
    wrong += !o.answer.refused && o.inner > kRight ? 1 : 0;
  }
  std::printf("corners off by 0.5 and 1 pitches: %d answered, %d refused\n", count - refused,
              refused);
  return PrintAim("of these answered wrongly", wrong, "", 0);
}

/// Spots that widen toward the photograph's corners by 5 to 40 %.
void PrintField(std::uint64_t seed, int count) {
  std::vector<double> errors;
  for (int i = 0; i < count; ++i) {
    sim::Scene scene = DrawScene(seed + static_cast<unsigned>(i), i % 2 != 0);
    scene.name = "field-" + std::to_string(i);
    scene.optics.cornerBlur = sim::Random(scene.seed, 0xF1).Uniform(0.05, 0.4);
    const Outcome o = Run(scene, {0.1, {}});
    if (!o.answer.refused) errors.push_back(std::max(o.inner, o.all));
  }
  std::printf("spots that widen toward the corners: %zu of %d answered", errors.size(), count);
  if (!errors.empty()) {
    std::printf(", median RMS %.2f %%, worst %.2f %%", Quantile(errors, 0.5),
                Quantile(errors, 1.0));
  }
  std::printf("\n");
}

void PrintTime(sim::Defocus defocus, double blur) {
  sim::Scene scene;
  scene.optics.fineSpots = true;
  scene.screen.ledWidth = 480;
  scene.screen.ledHeight = 270;
  scene.screen.luminance.scatter = 0.05;
  scene.sensor.width = 6800;
  scene.sensor.height = 4560;
  scene.pose.pitch = 13;
  scene.pose.tiltX = 2;
  scene.optics.defocus = defocus;
  scene.optics.blur = blur;
  scene.sensor.exposure = 0.4;
  const sim::Photograph photograph = sim::Render(scene);
  for (const int threads : {1, 2, 2}) {
    cv::setNumThreads(threads);
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t processorStart = std::clock();
    const lab::Unmixed u =
        lab::Unmix(photograph.shot.image, OptionsFor(scene, photograph.truth, {0.1, {}}));
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double processor =
        static_cast<double>(std::clock() - processorStart) / static_cast<double>(CLOCKS_PER_SEC);
    std::printf("%s, %d threads: %.2f s, processor %.2f s, %s\n",
                defocus == sim::Defocus::kDisk ? "disk" : "gauss", threads, seconds, processor,
                u.refused ? u.refused->message.c_str() : "answered");
  }
}

struct Arguments {
  bool check = false, time = false, spots = false;
  std::uint64_t seed = 90000;
  int scenes = 60;
  double cornersOff = 0.2;
};

Arguments Parse(int argc, char** argv) {
  Arguments a;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : "0";
    if (word == "--check") a.check = true;
    if (word == "--time") a.time = true;
    if (word == "--spots") a.spots = true;
    if (word == "--seed") a.seed = std::strtoull(value, nullptr, 10);
    if (word == "--scenes") a.scenes = std::atoi(value);
    if (word == "--corners") a.cornersOff = std::strtod(value, nullptr);
  }
  return a;
}

int Main(int argc, char** argv) {
  const Arguments a = Parse(argc, argv);
  if (a.time) {
    PrintTime(sim::Defocus::kGaussian, 0.4);
    PrintTime(sim::Defocus::kDisk, 0.8);
    return 0;
  }
  if (a.spots) {
    PrintSpots(a.seed);
    return 0;
  }
  std::vector<Outcome> outcomes;
  for (int i = 0; i < a.scenes; ++i) {
    outcomes.push_back(
        Run(DrawScene(a.seed + static_cast<unsigned>(i), i % 2 != 0), {a.cornersOff, {}}));
  }
  bool met = PrintTable(outcomes);
  met = PrintPromises(outcomes) && met;
  met = PrintEven(a.seed + 1000, a.scenes / 6) && met;
  met = PrintFarCorners(a.seed + 2000, a.scenes / 2) && met;
  PrintField(a.seed + 3000, a.scenes / 6);
  return a.check && !met ? 1 : 0;
}

}  // namespace
}  // namespace dravix

int main(int argc, char** argv) { return dravix::Main(argc, argv); }
