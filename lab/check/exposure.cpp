/// Findings on the samples' values: saturation, darkness, and ranges that are not the sensor's own.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

constexpr double kPlateau = 0.001;  // share of the samples; less may be hot pixels
constexpr double kDark = 0.05;      // of the sensor's range

using ValueCounts = std::vector<std::uint32_t>;

std::uint64_t CountAll(const ValueCounts& histogram) {
  std::uint64_t sum = 0;
  for (const std::uint32_t count : histogram) sum += count;
  return sum;
}

int LargestValue(const ValueCounts& histogram) {
  for (int value = static_cast<int>(histogram.size()) - 1; value >= 0; --value) {
    if (histogram[static_cast<std::size_t>(value)] > 0) return value;
  }
  return 0;
}

double ShareFrom(const ValueCounts& histogram, int value, std::uint64_t all) {
  std::uint64_t sum = 0;
  for (auto v = static_cast<std::size_t>(std::max(0, value)); v < histogram.size(); ++v) {
    sum += histogram[v];
  }
  return all > 0 ? static_cast<double>(sum) / static_cast<double>(all) : 0;
}

/// The share of samples at the largest value where they pile up there. Light that is not cut off
/// thins out toward its largest value: the values just below occur about as often or more.
double PlateauShare(const ValueCounts& histogram, std::uint64_t all) {
  const int largest = LargestValue(histogram);
  const double count = histogram[static_cast<std::size_t>(largest)];
  constexpr int kNext = 6;       // values that occur, below the largest
  constexpr double kPileUp = 3;  // times their mean
  double next = 0;
  int seen = 0;
  for (int value = largest - 1; value >= 0 && seen < kNext; --value) {
    const double below = histogram[static_cast<std::size_t>(value)];
    if (below <= 0) continue;
    next += below / kNext;
    ++seen;
  }
  const double share = all > 0 ? count / static_cast<double>(all) : 0;
  return seen == kNext && count > kPileUp * next ? share : 0;
}

/// The largest step from 2 on of which nearly all values are multiples, apart from one remainder; 1
/// where there is none. The largest value is left out: there a stretched range may have been cut.
int StepOf(const ValueCounts& histogram) {
  std::vector<int> values;
  double all = 0;
  const auto largest = static_cast<std::size_t>(LargestValue(histogram));
  std::size_t commonest = 0;
  for (std::size_t v = 0; v < largest; ++v) {
    if (histogram[v] == 0) continue;
    values.push_back(static_cast<int>(v));
    all += histogram[v];
    if (histogram[v] > histogram[commonest]) commonest = v;
  }
  constexpr std::size_t kFewest = 12;  // values; a few may share a divisor by chance
  if (values.size() < kFewest) return 1;
  constexpr double kNearlyAll = 0.995;  // of the samples
  constexpr double kMost = 0.9;         // of the values that occur
  constexpr int kLargestStep = 512;
  const auto nearlyAllAreMultiples = [&](int step) {
    double samples = all;
    auto multiples = static_cast<double>(values.size());
    for (const int value : values) {
      if ((value - static_cast<int>(commonest)) % step == 0) continue;
      samples -= histogram[static_cast<std::size_t>(value)];
      multiples -= 1;
      if (samples < kNearlyAll * all || multiples < kMost * static_cast<double>(values.size())) {
        return false;  // as for nearly all steps, after a few values
      }
    }
    return true;
  };
  for (int step = std::min(kLargestStep, (values.back() - values.front()) / 6); step >= 2; --step) {
    if (nearlyAllAreMultiples(step)) return step;
  }
  return 1;
}

/// The smallest usual number of bits that holds the value.
int BitsFor(int value) {
  constexpr std::array<int, 5> kUsual = {8, 10, 12, 14, 16};
  for (const int bits : kUsual) {
    if (value < (1 << bits)) return bits;
  }
  return kUsual.back();
}

void CheckSaturation(Subject& subject, const ValueCounts& histogram, std::uint64_t all,
                     bool aboveRange, Findings& findings) {
  const int largest = LargestValue(histogram);
  const bool topKnown = subject.samples.bits > 0 && !aboveRange;
  const int top = topKnown ? static_cast<int>(subject.samples.top) : largest;
  const double share = topKnown ? ShareFrom(histogram, top, all) : PlateauShare(histogram, all);
  subject.clipped = share;
  if (share <= kPlateau) return;
  Add(findings, "saturated",
      Percent(share) + " of the lit area's samples are at the sensor's top of " +
          std::to_string(top) +
          ", so the brightest LEDs are measured too low: shorten the exposure or lower the gain "
          "until no more than 0.1 % are",
      {{"share", share}, {"top", static_cast<double>(top)}, {"largest", double(largest)}});
}

void CheckDarkness(const Subject& subject, const ValueCounts& histogram, Findings& findings) {
  const int bits =
      subject.samples.bits > 0 ? subject.samples.bits : BitsFor(LargestValue(histogram));
  const double top = (1 << bits) - 1;
  const double share = subject.litLevel / top;
  if (share >= kDark) return;
  Add(findings, "too-dark",
      "the lit area's median level is " + Text(subject.litLevel, 1) + ", " + Percent(share) +
          " of the sensor's range of " + Text(top, 0) +
          ", so noise and rounding spoil the result: expose longer, until it is above 5 %, better "
          "30 to 60 %",
      {{"median", subject.litLevel}, {"share", share}, {"range", top}});
}

/// Which of the three signs of a range that is not the sensor's own is seen, the plainest first.
void CheckRange(const Subject& subject, const ValueCounts& histogram, std::uint64_t all,
                bool aboveRange, Findings& findings) {
  const int largest = LargestValue(histogram);
  if (aboveRange) {
    Add(findings, "bit-depth",
        "samples reach " + std::to_string(largest) + ", but a camera of " +
            std::to_string(subject.samples.bits) +
            " bits (by the device's cam_type) gives at most " + Text(subject.samples.top, 0) +
            ": correct the device's cam_type, or take the camera's own samples without scaling",
        {{"largest", static_cast<double>(largest)},
         {"top", subject.samples.top},
         {"bits", static_cast<double>(subject.samples.bits)}});
    return;
  }
  const int step = StepOf(histogram);
  if (step > 1) {
    Add(findings, "bit-depth",
        "only every " + std::to_string(step) +
            ". value occurs, so the range was stretched and the samples hold fewer bits than they "
            "seem to: convert the camera's own samples without scaling, and say their bits in the "
            "device's cam_type",
        {{"step", static_cast<double>(step)}, {"largest", static_cast<double>(largest)}});
    return;
  }
  const double plateau = PlateauShare(histogram, all);
  if (subject.samples.bits > 0 && plateau > kPlateau && largest < subject.samples.top) {
    Add(findings, "bit-depth",
        Percent(plateau) + " of the lit area's samples have the largest value " +
            std::to_string(largest) + ", below the sensor's top of " +
            Text(subject.samples.top, 0) +
            ": the range was cut off there, and brighter LEDs are measured too low; convert the "
            "camera's own samples, or expose shorter",
        {{"share", plateau},
         {"largest", static_cast<double>(largest)},
         {"top", subject.samples.top}});
  }
}

}  // namespace

void CheckExposure(Subject& subject, Findings& findings) {
  const ValueCounts histogram =
      HistogramOf(subject.samples.plane, subject.outline ? &*subject.outline : nullptr);
  const std::uint64_t all = CountAll(histogram);
  if (all == 0) return;
  const bool aboveRange = subject.samples.bits > 0 && LargestValue(histogram) > subject.samples.top;
  CheckSaturation(subject, histogram, all, aboveRange, findings);
  if (subject.isLit) CheckDarkness(subject, histogram, findings);
  if (subject.samples.exact) CheckRange(subject, histogram, all, aboveRange, findings);
}

}  // namespace dravix::lab
