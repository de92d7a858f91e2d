#include "sim/render.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "sim/fine_spots.h"
#include "sim/kernel.h"
#include "sim/luminance.h"
#include "sim/projection.h"
#include "sim/random.h"

namespace dravix::sim {
namespace {

double Largest(const Sensor& sensor) { return static_cast<double>((1 << sensor.bits) - 1); }

// --- light on the sensor ---

/// Adds one spot of `flux` with its center at `at`. Light that falls outside the sensor is lost.
void Splat(const SpotKernel& kernel, cv::Point2d at, float flux, cv::Mat& light) {
  const int steps = kernel.Steps();
  // The place is rounded to whole steps first and split into pixel and step afterward. Rounding the
  // two apart could put a center near a pixel's border one pixel off.
  const auto stepsX = static_cast<int>(std::floor((at.x + 0.5) * steps + 0.5));
  const auto stepsY = static_cast<int>(std::floor((at.y + 0.5) * steps + 0.5));
  const int pixelX = stepsX >= 0 ? stepsX / steps : (stepsX - steps + 1) / steps;
  const int pixelY = stepsY >= 0 ? stepsY / steps : (stepsY - steps + 1) / steps;
  const int side = kernel.Side();
  const float* weights = kernel.At(stepsX - pixelX * steps, stepsY - pixelY * steps);

  const int left = pixelX - kernel.Radius();
  const int top = pixelY - kernel.Radius();
  const int firstX = std::max(0, -left);
  const int endX = std::min(side, light.cols - left);
  const int endY = std::min(side, light.rows - top);
  for (int y = std::max(0, -top); y < endY; ++y) {
    const float* from = weights + static_cast<std::ptrdiff_t>(y) * side;
    float* to = light.ptr<float>(top + y);
    for (int x = firstX; x < endX; ++x) to[left + x] += flux * from[x];
  }
}

double AreaOf(cv::Point2d a, cv::Point2d b, cv::Point2d c, cv::Point2d d) {
  return 0.5 * std::abs((c.x - a.x) * (d.y - b.y) - (d.x - b.x) * (c.y - a.y));
}

/// The upper corners of a row of LED fields, in photograph pixels. An LED's field is its unit
/// square, the cell of a lit LED.
std::vector<cv::Point2d> FieldCorners(const Projection& projection, int columns, int row) {
  std::vector<cv::Point2d> corners(static_cast<std::size_t>(columns) + 1);
  for (int x = 0; x <= columns; ++x) {
    corners[static_cast<std::size_t>(x)] = projection.ToPhoto(cv::Point2d(x, row));
  }
  return corners;
}

/// The share of a lit LED's cell that is its own place on the screen: the rest is that of dark
/// LEDs.
double LitShareOf(const Scene& scene) {
  const cv::Point step = LitLedsOf(scene).step;
  return 1.0 / (1.0 * step.x * step.y);
}

/// Gives the place and the light of each lit LED to `add`. An LED's light is its luminance times
/// the area that its place on the screen covers on the sensor, so that an even screen looks evenly
/// bright however it is tilted, as real ones do, and that an LED is as bright beside dark ones.
template <class Add>
void ForEachSpot(const Scene& scene, const cv::Mat& luminances, cv::Size photo, Add add) {
  const Projection projection(scene, photo);
  const double litShare = LitShareOf(scene);
  auto above = FieldCorners(projection, luminances.cols, 0);
  for (int y = 0; y < luminances.rows; ++y) {
    auto below = FieldCorners(projection, luminances.cols, y + 1);
    for (int x = 0; x < luminances.cols; ++x) {
      const float luminance = luminances.at<float>(y, x);
      if (luminance <= 0) continue;
      const auto i = static_cast<std::size_t>(x);
      const double area = AreaOf(above[i], above[i + 1], below[i + 1], below[i]);
      add(projection.ToPhoto(cv::Point2d(x + 0.5, y + 0.5)), luminance * (area * litShare));
    }
    above.swap(below);
  }
}

/// Adds the spots of all LEDs.
void AddScreen(const Scene& scene, const cv::Mat& luminances, cv::Mat& light) {
  if (scene.optics.fineSpots || scene.optics.cornerBlur != 0) {
    FineSpots spots(scene, light.size());
    ForEachSpot(scene, luminances, light.size(),
                [&](cv::Point2d at, double flux) { spots.Add(at, flux, light); });
    return;
  }
  const SpotKernel kernel(scene.screen.emitterFill * scene.pose.pitch, scene.optics.defocus,
                          scene.optics.blur * scene.pose.pitch);
  ForEachSpot(scene, luminances, light.size(), [&](cv::Point2d at, double flux) {
    Splat(kernel, at, static_cast<float>(flux), light);
  });
}

void AddReflection(const Reflection& reflection, cv::Mat& light) {
  if (reflection.level <= 0 || reflection.radius <= 0) return;
  const double rr = reflection.radius * reflection.radius;
  for (int y = 0; y < light.rows; ++y) {
    const double dy = y - reflection.center.y;
    float* row = light.ptr<float>(y);
    for (int x = 0; x < light.cols; ++x) {
      const double dx = x - reflection.center.x;
      const double rest = 1.0 - (dx * dx + dy * dy) / rr;
      if (rest > 0) row[x] += static_cast<float>(reflection.level * rest * rest);
    }
  }
}

// --- from light to samples ---

/// The numbers that turn light into samples. Levels are in sample values.
struct Exposure {
  float gain;          ///< sample values per luminance
  float stray;         ///< stray light
  float black;         ///< black level
  float largest;       ///< largest sample value
  float readVariance;  ///< variance of the read noise
  float shotVariance;  ///< variance of the photon noise per sample value of signal
};

Exposure ExposureOf(const Scene& scene) {
  const Sensor& s = scene.sensor;
  const double largest = Largest(s);
  const double gain = s.exposure * largest;
  return {static_cast<float>(gain),
          static_cast<float>(gain * scene.optics.strayLight),
          static_cast<float>(s.blackLevel),
          static_cast<float>(largest),
          static_cast<float>(s.readNoise * s.readNoise),
          static_cast<float>(s.fullWell > 0 ? largest / s.fullWell : 0.0)};
}

/// Turns one row of light into mean sample values above black. Vignetting takes light with the
/// square of the distance from the photograph's middle.
void Expose(const Scene& scene, const Exposure& exposure, int y, cv::Mat& light) {
  const double middleX = 0.5 * (light.cols - 1);
  const double middleY = 0.5 * (light.rows - 1);
  const double perSquare =
      scene.optics.vignetting / std::max(1.0, middleX * middleX + middleY * middleY);
  const auto dy = y - middleY;
  const auto base = static_cast<float>(1.0 - perSquare * (dy * dy));
  const auto fall = static_cast<float>(perSquare);
  const auto middle = static_cast<float>(middleX);
  float* row = light.ptr<float>(y);
  for (int x = 0; x < light.cols; ++x) {
    const float dx = static_cast<float>(x) - middle;
    row[x] = row[x] * exposure.gain * (base - fall * (dx * dx)) + exposure.stray;
  }
}

/// The color of the filter over a pixel: 0 is red, 1 green, 2 blue.
int FilterAt(Mosaic mosaic, int x, int y) {
  static constexpr int kRggb[2][2] = {{0, 1}, {1, 2}};
  const bool shiftX = mosaic == Mosaic::kGrbg || mosaic == Mosaic::kBggr;
  const bool shiftY = mosaic == Mosaic::kGbrg || mosaic == Mosaic::kBggr;
  return kRggb[(y + (shiftY ? 1 : 0)) % 2][(x + (shiftX ? 1 : 0)) % 2];
}

void Filter(const Sensor& sensor, int y, cv::Mat& light) {
  if (sensor.mosaic == Mosaic::kNone) return;
  const double pass[3] = {sensor.red, sensor.green, sensor.blue};
  const float factors[2] = {static_cast<float>(pass[FilterAt(sensor.mosaic, 0, y)]),
                            static_cast<float>(pass[FilterAt(sensor.mosaic, 1, y)])};
  float* row = light.ptr<float>(y);
  for (int x = 0; x < light.cols; ++x) row[x] *= factors[x & 1];
}

std::uint16_t Quantize(float value, float largest) {
  const float rounded = std::floor(value + 0.5F);
  return static_cast<std::uint16_t>(std::clamp(rounded, 0.0F, largest));
}

/// Adds noise to one row and rounds it to samples. A pixel's deviate is the sum of two draws from
/// the normal table, 12 random bits each, so that two pixels can share one 64-bit number.
void Sample(const Exposure& exposure, Random random, const float* light, int count,
            std::uint16_t* out) {
  constexpr std::uint64_t kMask = kNormalSteps - 1;
  const float* table = NormalTable();
  std::uint64_t bits = 0;
  for (int x = 0; x < count; ++x) {
    bits = x % 2 == 0 ? random.Next() : bits >> 24U;
    const float deviate = table[bits & kMask] + table[(bits >> 12U) & kMask];
    const float sigma = std::sqrt(exposure.readVariance + exposure.shotVariance * light[x]);
    out[x] = Quantize(exposure.black + light[x] + sigma * deviate, exposure.largest);
  }
}

/// The seed of a photograph's noise. Photographs of other parts, lit LEDs and planes of a screen
/// have other noise, and so have those that are taken again.
std::uint64_t NoiseSeedOf(const Scene& scene) {
  if (!IsPart(scene) && scene.sensor.noiseSeed == 0) return scene.seed;
  const LitLeds lit = LitLedsOf(scene);
  std::uint64_t seed = Random(scene.seed, scene.sensor.noiseSeed).Next();
  for (const int value : {lit.first.x, lit.first.y, lit.step.x, lit.step.y, lit.count.width,
                          lit.count.height, static_cast<int>(scene.metadata.type)}) {
    seed = Random(seed, static_cast<std::uint64_t>(value)).Next();
  }
  return seed;
}

cv::Mat Photographed(const Scene& scene, const cv::Mat& luminances, Stream noise) {
  cv::Mat light = cv::Mat::zeros(PhotoSizeOf(scene), CV_32FC1);
  AddScreen(scene, luminances, light);
  AddReflection(scene.reflection, light);
  const Exposure exposure = ExposureOf(scene);
  const std::uint64_t noiseSeed = NoiseSeedOf(scene);
  cv::Mat samples(light.size(), CV_16UC1);
  for (int y = 0; y < light.rows; ++y) {
    Expose(scene, exposure, y, light);
    Filter(scene.sensor, y, light);
    const auto row = (static_cast<std::uint64_t>(noise) << 32U) + static_cast<unsigned>(y);
    Sample(exposure, Random(noiseSeed, row), light.ptr<float>(y), light.cols,
           samples.ptr<std::uint16_t>(y));
  }
  return samples;
}

// --- what the shot says beside its pixels ---

void CopyText(const char* text, char (&field)[64]) {
  std::memcpy(field, text, std::min(std::strlen(text), sizeof(field) - 1));
}

/// The primary that a plane shows, as a bit of blue, green, red.
std::int32_t ColorOf(std::uint32_t type) {
  if (type == CIE_X || type == CAM_R) return 4;
  return type == CIE_Z || type == CAM_B ? 1 : 2;
}

/// What the shot of a part of a larger screen says about the part and its lit LEDs.
void FillPart(const Scene& scene, std::int32_t patternType, Shot& shot) {
  const WholeScreen& whole = scene.whole;
  const cv::Rect part = PartOf(scene);
  const cv::Size lit = LitLedsOf(scene).count;
  shot.partition =
      Shot::Partition{part.x, part.y, part.width, part.height, whole.ledWidth, whole.ledHeight};
  shot.pattern = Shot::Pattern{patternType,  whole.intervalX, whole.intervalY, whole.phaseX,
                               whole.phaseY, lit.width,       lit.height};
  shot.color = ColorOf(scene.metadata.type);
}

/// What the shot of all LEDs of a screen says, in which others may lie between and around them.
void FillLit(const Scene& scene, std::int32_t patternType, Shot& shot) {
  const Metadata& m = scene.metadata;
  const std::int32_t w = scene.screen.ledWidth;
  const std::int32_t h = scene.screen.ledHeight;
  const std::int32_t fullW = w * m.intervalX;
  const std::int32_t fullH = h * m.intervalY;
  shot.partition = Shot::Partition{m.partitionX,
                                   m.partitionY,
                                   fullW,
                                   fullH,
                                   std::max(m.screenWidth, m.partitionX + fullW),
                                   std::max(m.screenHeight, m.partitionY + fullH)};
  shot.pattern = Shot::Pattern{patternType, m.intervalX, m.intervalY, 0, 0, w, h};
}

void FillMetadata(const Scene& scene, std::int32_t patternType, Shot& shot) {
  const Metadata& m = scene.metadata;
  shot.type = m.type;
  if (IsPart(scene)) {
    FillPart(scene, patternType, shot);
  } else {
    FillLit(scene, patternType, shot);
  }
  shot.panel = Shot::LedPanel{
      0, 0, 0, scene.screen.luminance.moduleWidth, scene.screen.luminance.moduleHeight, 1.0F};
  shot.layer = Shot::Layer{0, 1.0F, 255};
  Shot::Device device;
  CopyText("simulated camera", device.id);
  CopyText("simulated lens", device.lens_id);
  device.cam_type = m.camera * 100 + scene.sensor.bits;
  device.lens_type = m.lens;
  shot.device = device;
  shot.capture = Shot::Capture{m.exposure, m.gain, m.aperture, m.microfocus, m.filter};
}

Quad QuadOf(const Projection& projection, cv::Point2d first, cv::Point2d last) {
  return {projection.ToPhoto(first), projection.ToPhoto({last.x, first.y}),
          projection.ToPhoto(last), projection.ToPhoto({first.x, last.y})};
}

void AddCells(const Scene& scene, const Projection& projection, Truth& truth) {
  const int block = scene.checkerboard.block;
  const cv::Size lit = LitLedsOf(scene).count;
  truth.grid = GridOf(scene);
  // A vector that grows would hold the cells of a large screen twice.
  const auto count =
      static_cast<std::size_t>(truth.grid.width) * static_cast<std::size_t>(truth.grid.height);
  truth.cells.reserve(count);
  truth.cellLit.reserve(count);
  for (int row = 0; row < truth.grid.height; ++row) {
    for (int column = 0; column < truth.grid.width; ++column) {
      const cv::Point2d first(column * block, row * block);
      const cv::Point2d last(std::min((column + 1) * block, lit.width),
                             std::min((row + 1) * block, lit.height));
      truth.cells.push_back(QuadOf(projection, first, last));
      truth.cellLit.push_back(IsLit(scene, column, row) ? 1 : 0);
    }
  }
}

}  // namespace

double RmsError(const std::vector<cv::Point>& found, const Quad& truth) {
  double sum = 0;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const cv::Point2d off = cv::Point2d(found[i]) - truth[i];
    sum += off.dot(off);
  }
  return std::sqrt(sum / static_cast<double>(truth.size()));
}

Truth TruthOf(const Scene& scene) {
  const Projection projection(scene);
  Truth truth;
  truth.corners = QuadOf(projection, {0, 0}, cv::Point2d(cv::Point(LitLedsOf(scene).count)));
  for (const cv::Point2d& p : truth.corners) {
    truth.cornerPixels.emplace_back(static_cast<int>(std::floor(p.x + 0.5)),
                                    static_cast<int>(std::floor(p.y + 0.5)));
  }
  truth.luminances = LuminancesOf(scene);
  truth.samplesPerLuminance = scene.sensor.exposure * Largest(scene.sensor) * LitShareOf(scene);
  truth.blackLevel = scene.sensor.blackLevel;
  AddCells(scene, projection, truth);
  return truth;
}

cv::Point2d LedCenterOf(const Scene& scene, cv::Point led) {
  return Projection(scene).ToPhoto(cv::Point2d(led.x + 0.5, led.y + 0.5));
}

Photograph Render(const Scene& scene) {
  Photograph photograph;
  photograph.truth = TruthOf(scene);
  FillMetadata(scene, 0, photograph.shot);
  photograph.shot.image = Photographed(scene, photograph.truth.luminances, kShotNoise);
  return photograph;
}

Shot RenderCheckerboard(const Scene& scene) {
  Shot shot;
  FillMetadata(scene, 1, shot);
  shot.image = Photographed(scene, CheckerboardLuminancesOf(scene), kBoardNoise);
  return shot;
}

int BayerCodeOf(Mosaic mosaic) {
  // OpenCV names a mosaic by the second and third pixel of its second row.
  switch (mosaic) {
    case Mosaic::kRggb:
      return cv::COLOR_BayerBG2RGB;
    case Mosaic::kBggr:
      return cv::COLOR_BayerRG2RGB;
    case Mosaic::kGrbg:
      return cv::COLOR_BayerGB2RGB;
    case Mosaic::kGbrg:
      return cv::COLOR_BayerGR2RGB;
    case Mosaic::kNone:
      break;
  }
  return 0;
}

}  // namespace dravix::sim
