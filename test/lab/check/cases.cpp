#include "lab/check/cases.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <opencv2/imgproc.hpp>
#include <random>

#include "sim/render.h"

namespace dravix::test {
namespace {

using sim::Defocus;
using sim::Scene;

/// Numbers that are the same with every compiler.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}
  double Real(double low, double high) {
    constexpr double kUnit = 1.0 / 9007199254740992.0;  // 2^-53
    return low + (high - low) * static_cast<double>(engine_() >> 11U) * kUnit;
  }
  double Log(double low, double high) { return std::exp(Real(std::log(low), std::log(high))); }
  int Whole(int low, int high) {
    return low + static_cast<int>(engine_() % static_cast<std::uint64_t>(high - low + 1));
  }
  bool Chance(double share) { return Real(0, 1) < share; }

 private:
  std::mt19937_64 engine_;
};

/// The light of an LED's middle over the mean, about: what decides how far a scene may be exposed.
double PeakOf(const Scene& scene) {
  const double s = scene.optics.blur;
  const double wave =
      scene.optics.defocus == Defocus::kGaussian
          ? 2 * std::exp(-2 * CV_PI * CV_PI * s * s)
          : std::min(1.3, 2 * std::abs(2 * std::cyl_bessel_j(1, 2 * CV_PI * s) / (2 * CV_PI * s)));
  const auto& l = scene.screen.luminance;
  return (1 + wave) * (1 + wave) * (1 + 4 * l.scatter) *
         (1 + (std::abs(l.gradientX) + std::abs(l.gradientY)) / 2) * (1 + 3 * l.moduleSpread) *
         (l.hotShare > 0 ? l.hotFactor : 1.0);
}

/// Exposes so that the brightest pixels reach between a part and nearly all of the range.
void Expose(Dice& dice, Scene& scene) {
  scene.sensor.exposure = dice.Real(0.35, 0.85) / PeakOf(scene);
  // The median is to stay above what is too dark, vignetting included.
  scene.sensor.exposure = std::max(scene.sensor.exposure, 0.09);
}

void SetLeds(Dice& dice, Scene& scene) {
  constexpr double kLongest = 2200;  // pixels: larger photographs show nothing else, but slowly
  const double most = std::min(480.0, kLongest / scene.pose.pitch);
  scene.screen.ledWidth = static_cast<int>(dice.Log(20, most));
  const double height = scene.screen.ledWidth * dice.Real(0.5, 0.9);
  scene.screen.ledHeight = std::clamp(static_cast<int>(height), 12, 270);
}

Scene GoodScene(Dice& dice, std::uint64_t seed) {
  Scene s;
  s.seed = seed;
  s.pose.pitch = dice.Log(4.5, 16);
  SetLeds(dice, s);
  s.screen.emitterFill = dice.Real(0.3, 0.6);
  auto& l = s.screen.luminance;
  l.gradientX = dice.Real(-0.2, 0.2);
  l.gradientY = dice.Real(-0.2, 0.2);
  l.scatter = dice.Chance(0.7) ? dice.Real(0, 0.1) : 0;
  l.moduleSpread = dice.Chance(0.5) ? dice.Real(0, 0.04) : 0;
  l.deadShare = dice.Chance(0.5) ? dice.Real(0, 0.004) : 0;
  l.hotShare = dice.Chance(0.2) ? 0.002 : 0;
  s.pose.tiltX = dice.Real(-10, 10);
  s.pose.tiltY = dice.Real(-10, 10);
  s.pose.roll = dice.Real(-4, 4);
  s.pose.distance = dice.Real(2.5, 5);
  s.optics.defocus = dice.Chance(0.6) ? Defocus::kGaussian : Defocus::kDisk;
  s.optics.blur =
      s.optics.defocus == Defocus::kGaussian ? dice.Real(0.25, 0.7) : dice.Real(0.3, 1.0);
  s.optics.distortion = dice.Chance(0.5) ? dice.Real(-0.005, 0.005) : 0;
  s.optics.vignetting = dice.Real(0, 0.4);
  s.optics.strayLight = dice.Chance(0.5) ? dice.Real(0, 0.05) : 0;
  s.sensor.bits = 8 + 2 * dice.Whole(1, 3);
  const double unit = std::pow(2.0, s.sensor.bits - 12);
  s.sensor.blackLevel = dice.Real(0, 32) * unit;
  s.sensor.readNoise = std::max(0.4, dice.Real(0.7, 3) * unit);
  s.sensor.fullWell = dice.Real(8000, 40000);
  s.sensor.margin = dice.Whole(20, 80);
  s.metadata.intervalX = dice.Whole(1, 3);
  s.metadata.intervalY = dice.Whole(1, 3);
  s.metadata.partitionX = dice.Chance(0.3) ? dice.Whole(0, 500) : 0;
  Expose(dice, s);
  return s;
}

CheckCase Photographed(const Scene& scene) {
  CheckCase c;
  c.photo = sim::Render(scene).shot;
  return c;
}

/// Keeps the partition and the pattern together.
void SetPatternCounts(Shot& photo, cv::Size leds) {
  photo.pattern->lighted_led_w = leds.width;
  photo.pattern->lighted_led_h = leds.height;
  photo.partition->w = leds.width * photo.pattern->interval_x;
  photo.partition->h = leds.height * photo.pattern->interval_y;
  photo.partition->screen_w = photo.partition->x + photo.partition->w;
  photo.partition->screen_h = photo.partition->y + photo.partition->h;
}

/// A defocus with which the LED grid shows.
void ShowGrid(Dice& dice, Scene& scene) {
  const bool gaussian = scene.optics.defocus == Defocus::kGaussian;
  scene.optics.blur = gaussian ? dice.Real(0.25, 0.5) : dice.Real(0.3, 0.9);
}

void AddLight(Shot& photo, const cv::Mat& shape, double level) {
  cv::Mat soft;
  shape.convertTo(soft, CV_32F);
  cv::GaussianBlur(soft, soft, {}, 4);
  cv::Mat sum;
  photo.image.convertTo(sum, CV_32F);
  sum += soft * level;
  const int bits = photo.device->cam_type % 100;
  cv::min(sum, (1 << bits) - 1, sum);
  sum.convertTo(photo.image, CV_16U);
}

// --- one mistake each ---

CheckCase Saturated(Dice& dice, Scene scene, int /*index*/) {
  // The brightest pixels of an even area reach the top even where vignetting takes light away.
  scene.sensor.exposure =
      dice.Real(1.15, 2.5) / (1 - 0.3 * scene.optics.vignetting) / (1 - scene.optics.strayLight);
  return Photographed(scene);
}

CheckCase TooDark(Dice& dice, Scene scene, int /*index*/) {
  scene.optics.strayLight = 0;
  scene.sensor.exposure = dice.Log(0.006, 0.03);
  return Photographed(scene);
}

CheckCase NoArea(Dice& dice, Scene scene, int index) {
  const cv::Size size = sim::PhotoSizeOf(scene);
  scene.screen.luminance.matrix =
      cv::Mat(scene.screen.ledHeight, scene.screen.ledWidth, CV_32FC1, cv::Scalar(0));
  switch (index % 4) {
    case 0:  // the screen was off
      break;
    case 1:  // an evenly lit room
      scene.optics.strayLight = dice.Real(0.2, 1.0);
      break;
    case 2:  // a round reflection
      scene.reflection = {dice.Real(0.5, 1.5),
                          {size.width * dice.Real(0.35, 0.65), size.height * dice.Real(0.35, 0.65)},
                          std::min(size.width, size.height) * dice.Real(0.2, 0.33)};
      break;
    default:  // a lamp
      CheckCase c = Photographed(scene);
      cv::Mat disk = cv::Mat::zeros(size, CV_8UC1);
      const int radius = static_cast<int>(std::min(size.width, size.height) * dice.Real(0.1, 0.3));
      cv::circle(disk, {size.width / 2, size.height / 2}, radius, 1, cv::FILLED);
      AddLight(c.photo, disk, 0.4 * (1 << scene.sensor.bits));
      return c;
  }
  return Photographed(scene);
}

CheckCase SeveralAreas(Dice& dice, Scene scene, int index) {
  const int w = scene.screen.ledWidth;
  const int h = scene.screen.ledHeight;
  if (index % 2 == 0) {  // a dark stripe of modules cuts the screen in two
    cv::Mat lit = sim::Render(scene).truth.luminances;
    const int stripe = std::max(4, w / 6);
    const int at = static_cast<int>(w * dice.Real(0.3, 0.6));
    lit(cv::Rect(at, 0, stripe, h)) = 0;
    scene.screen.luminance.matrix = lit;
    return Photographed(scene);
  }
  // another screen beside it
  const cv::Size size = sim::PhotoSizeOf(scene);
  const int room = size.width / 2;
  scene.sensor.width = size.width + room;
  scene.sensor.height = size.height;
  scene.pose.offset.x = -room / 2.0;
  CheckCase c = Photographed(scene);
  cv::Mat other = cv::Mat::zeros(c.photo.image.size(), CV_8UC1);
  cv::rectangle(other, cv::Rect(size.width, size.height / 4, room * 3 / 4, size.height / 2), 1,
                cv::FILLED);
  AddLight(c.photo, other, dice.Real(0.7, 1.1) * scene.sensor.exposure * (1 << scene.sensor.bits));
  return c;
}

CheckCase AreaCut(Dice& dice, Scene scene, int index) {
  const cv::Size size = sim::PhotoSizeOf(scene);
  if (index % 4 == 3) {
    sim::Photograph p = sim::Render(scene);
    CheckCase c;
    c.photo = p.shot;
    c.corners = p.truth.cornerPixels;
    c.corners[1].x = size.width + dice.Whole(5, 60);
    return c;
  }
  scene.sensor.width = size.width;
  scene.sensor.height = size.height;
  const double share = dice.Real(0.1, 0.4);
  const double sign = dice.Chance(0.5) ? 1 : -1;
  if (index % 4 != 1) scene.pose.offset.x = sign * (scene.sensor.margin + share * size.width);
  if (index % 4 != 0) scene.pose.offset.y = scene.sensor.margin + share * size.height;
  return Photographed(scene);
}

CheckCase CornersOff(Dice& dice, Scene scene, int index) {
  const sim::Photograph p = sim::Render(scene);
  CheckCase c;
  c.photo = p.shot;
  std::vector<cv::Point> corners = p.truth.cornerPixels;
  const double off = dice.Real(3, 7) * scene.pose.pitch;
  const cv::Point2d middle = 0.5 * (p.truth.corners[0] + p.truth.corners[2]);
  const auto inward = [&](std::size_t i, double pixels) {
    const cv::Point2d to = middle - p.truth.corners.at(i);
    return cv::Point(p.truth.corners.at(i) + pixels / cv::norm(to) * to);
  };
  if (index % 3 == 0) {
    for (std::size_t i = 0; i < 4; ++i) corners[i] = inward(i, off);
  } else if (index % 3 == 1) {  // half the screen
    corners[1] = (corners[0] + corners[1]) / 2;
    corners[2] = (corners[2] + corners[3]) / 2;
  } else {
    const auto one = static_cast<std::size_t>(dice.Whole(0, 3));
    corners[one] = inward(one, off);
  }
  if (index % 2 == 0) {
    c.corners = corners;
  } else {
    c.region.emplace();
    c.region->ManualSet(p.shot.image.size(), corners);
  }
  return c;
}

CheckCase LedCount(Dice& dice, Scene scene, int index) {
  ShowGrid(dice, scene);
  Expose(dice, scene);
  CheckCase c = Photographed(scene);
  const cv::Size leds(scene.screen.ledWidth, scene.screen.ledHeight);
  const auto wrong = [&](int count) {
    const double factor =
        dice.Chance(0.2) ? 0.5 : 1 + dice.Real(0.04, 0.4) * (dice.Chance(0.5) ? 1 : -1);
    const int other = static_cast<int>(std::lround(count * factor));
    return other == count ? count + 1 : other;
  };
  cv::Size said = leds;
  if (index % 3 != 1) said.width = wrong(leds.width);
  if (index % 3 != 0) said.height = wrong(leds.height);
  SetPatternCounts(c.photo, said);
  return c;
}

CheckCase TooSharp(Dice& dice, Scene scene, int /*index*/) {
  scene.pose.pitch = dice.Log(4.2, 10);
  SetLeds(dice, scene);
  scene.screen.emitterFill = dice.Real(0.3, 0.5);
  scene.optics.blur =
      scene.optics.defocus == Defocus::kGaussian ? dice.Real(0, 0.1) : dice.Real(0.02, 0.18);
  const double fill = scene.screen.emitterFill;
  scene.screen.luminance.hotShare = 0;
  scene.sensor.exposure = std::max(0.07, dice.Real(0.5, 0.8) * fill * fill / 1.5);
  scene.optics.vignetting = 0.1;
  scene.sensor.blackLevel = 0;
  scene.screen.luminance.scatter = std::min(scene.screen.luminance.scatter, 0.03);
  return Photographed(scene);
}

CheckCase Moire(Dice& dice, Scene scene, int /*index*/) {
  scene.pose.pitch = dice.Log(1.3, 3.6);
  SetLeds(dice, scene);
  scene.optics.blur =
      scene.optics.defocus == Defocus::kGaussian ? dice.Real(0, 0.08) : dice.Real(0.02, 0.12);
  scene.screen.luminance.hotShare = 0;
  scene.screen.luminance.scatter = std::min(scene.screen.luminance.scatter, 0.03);
  const double fill = scene.screen.emitterFill;
  scene.sensor.exposure = std::max(0.07, 0.5 * fill * fill);
  return Photographed(scene);
}

CheckCase TooBlurred(Dice& dice, Scene scene, int /*index*/) {
  const bool gaussian = scene.optics.defocus == Defocus::kGaussian;
  scene.optics.blur = gaussian ? dice.Real(0.95, 1.5) : dice.Real(1.95, 2.8);
  const double reach = (gaussian ? 2.5 : 1.0) * scene.optics.blur * scene.pose.pitch;
  scene.sensor.margin = std::max(scene.sensor.margin, static_cast<int>(reach) + 10);
  Expose(dice, scene);
  return Photographed(scene);
}

CheckCase Resolution(Dice& dice, Scene scene, int /*index*/) {
  scene.pose.pitch = dice.Real(1.8, 3.7);
  scene.pose.tiltX = dice.Real(-5, 5);
  scene.pose.tiltY = dice.Real(-5, 5);
  SetLeds(dice, scene);
  scene.optics.blur =
      scene.optics.defocus == Defocus::kGaussian ? dice.Real(0.35, 0.65) : dice.Real(0.55, 1.0);
  Expose(dice, scene);
  return Photographed(scene);
}

CheckCase Tilt(Dice& dice, Scene scene, int index) {
  const double angle = dice.Real(26, 38) * (dice.Chance(0.5) ? 1 : -1);
  (index % 2 == 0 ? scene.pose.tiltX : scene.pose.tiltY) = angle;
  (index % 2 == 0 ? scene.pose.tiltY : scene.pose.tiltX) = dice.Real(-3, 3);
  scene.pose.distance = 1.4;
  scene.pose.pitch = dice.Log(8, 16);
  scene.screen.ledWidth = dice.Whole(30, 100);
  scene.screen.ledHeight = dice.Whole(scene.screen.ledWidth * 3 / 4, scene.screen.ledWidth);
  return Photographed(scene);
}

CheckCase Mosaic(Dice& dice, Scene scene, int index) {
  constexpr sim::Mosaic kOrders[] = {sim::Mosaic::kRggb, sim::Mosaic::kBggr, sim::Mosaic::kGrbg,
                                     sim::Mosaic::kGbrg};
  scene.sensor.mosaic = kOrders[index % 4];
  scene.sensor.red = dice.Real(0.3, 0.7);
  scene.sensor.blue = dice.Real(0.2, 0.6);
  // The mean over the filters must not be too dark.
  scene.sensor.exposure = std::max(scene.sensor.exposure, 0.2);
  if (PeakOf(scene) * scene.sensor.exposure > 0.9) scene.sensor.exposure = 0.9 / PeakOf(scene);
  CheckCase c = Photographed(scene);
  c.photo.type = index % 3 == 0 ? CAM_RGB : (index % 3 == 1 ? CAM_G : CIE_Y);
  return c;
}

CheckCase BitDepth(Dice& dice, Scene scene, int index) {
  if (index % 3 == 0 && scene.sensor.bits > 12) scene.sensor.bits = 12;
  CheckCase c = Photographed(scene);
  const int bits = scene.sensor.bits;
  double largest = 0;
  cv::minMaxLoc(c.photo.image, nullptr, &largest);
  switch (index % 3) {
    case 0:  // more bits than the camera is said to have
      c.photo.image *= (1 << (bits + 1)) / largest;
      break;
    case 1: {  // stretched
      const int step = 2 << dice.Whole(0, 16 - bits > 1 ? 1 : 0);
      const int more = step == 2 ? 1 : 2;
      c.photo.image *= step;
      c.photo.device->cam_type += more;
      break;
    }
    default: {  // cut
      std::vector<std::uint16_t> values(c.photo.image.begin<std::uint16_t>(),
                                        c.photo.image.end<std::uint16_t>());
      std::sort(values.begin(), values.end());
      const auto at =
          static_cast<std::size_t>(static_cast<double>(values.size()) * dice.Real(0.9, 0.985));
      cv::min(c.photo.image, values[at], c.photo.image);
    }
  }
  return c;
}

CheckCase Pattern(Dice& dice, Scene scene, int index) {
  CheckCase c = Photographed(scene);
  switch (index % 3) {
    case 0:
      c.photo.pattern.reset();
      break;
    case 1:
      (dice.Chance(0.5) ? c.photo.pattern->lighted_led_w : c.photo.pattern->lighted_led_h) = 0;
      break;
    default:
      (dice.Chance(0.5) ? c.photo.partition->w : c.photo.partition->h) += dice.Whole(4, 40);
  }
  return c;
}

CheckCase Frame(Dice& dice, Scene scene, int index) {
  const sim::Photograph p = sim::Render(scene);
  CheckCase c;
  c.photo = p.shot;
  const cv::Size larger = p.shot.image.size() + cv::Size(dice.Whole(1, 50), dice.Whole(0, 50));
  if (index % 2 == 0) {
    c.region.emplace();
    c.region->ManualSet(larger, p.truth.cornerPixels);
  } else {
    c.board.emplace();
    c.board->image = cv::Mat(larger, CV_16UC1, cv::Scalar(100));
  }
  return c;
}

/// A scene whose screen is divided into square blocks.
cv::Size DivideIntoBlocks(Dice& dice, Scene& scene) {
  const cv::Size blocks(dice.Whole(3, 12), dice.Whole(2, 8));
  const int most = std::max(4, static_cast<int>(2000 / scene.pose.pitch) / blocks.width);
  const int side = dice.Whole(4, std::min(16, most)) / 2 * 2;
  scene.screen.ledWidth = blocks.width * side;
  scene.screen.ledHeight = blocks.height * side;
  scene.checkerboard.block = side;
  scene.checkerboard.firstLit = dice.Chance(0.5);
  scene.screen.luminance.hotShare = 0;
  return blocks;
}

CheckCase Blocks(Dice& dice, Scene scene, int index) {
  const cv::Size blocks = DivideIntoBlocks(dice, scene);
  CheckCase c = Photographed(scene);
  c.board = sim::RenderCheckerboard(scene);
  c.blocks = blocks;
  switch (index % 4) {
    case 0:  // counts that do not fit
      c.blocks.width += 1;
      break;
    case 1:  // twice as many blocks would fit as well
      c.blocks *= 2;
      break;
    case 2:
      std::swap(c.photo.image, c.board->image);
      break;
    default:  // no checkerboard
      c.board->image = c.photo.image.clone();
  }
  return c;
}

using Make = std::function<CheckCase(Dice&, Scene, int)>;

const std::map<std::string, Make>& Makers() {
  static const std::map<std::string, Make> makers = {
      {"saturated", Saturated},    {"too-dark", TooDark},
      {"no-area", NoArea},         {"several-areas", SeveralAreas},
      {"area-cut", AreaCut},       {"corners-off", CornersOff},
      {"led-count", LedCount},     {"too-sharp", TooSharp},
      {"too-blurred", TooBlurred}, {"moire", Moire},
      {"resolution", Resolution},  {"tilt", Tilt},
      {"mosaic", Mosaic},          {"bit-depth", BitDepth},
      {"pattern", Pattern},        {"frame", Frame},
      {"blocks", Blocks}};
  return makers;
}

std::uint64_t SeedOf(std::uint64_t seed, std::uint64_t kind, int index) {
  return (seed * 1000003 + kind) * 1000003 + static_cast<std::uint64_t>(index) + 1;
}

}  // namespace

lab::CheckOptions CheckCase::Options() const {
  lab::CheckOptions options;
  options.corners = corners;
  options.region = region ? &*region : nullptr;
  options.checkerboard = board ? &*board : nullptr;
  options.blocks = blocks;
  return options;
}

const std::vector<std::string>& CheckIds() {
  static const std::vector<std::string> ids = {
      "saturated", "too-dark",  "no-area", "several-areas", "area-cut",   "corners-off",
      "led-count", "too-sharp", "moire",   "too-blurred",   "resolution", "tilt",
      "mosaic",    "bit-depth", "pattern", "frame",         "blocks"};
  return ids;
}

const std::vector<std::string>& MayStandBeside(const std::string& id) {
  static const std::vector<std::string> none;
  static const std::map<std::string, std::vector<std::string>> beside = {
      {"too-sharp", {"moire"}},
      {"moire", {"too-sharp", "resolution"}},
      {"area-cut", {"led-count", "tilt", "resolution", "corners-off"}},
      {"corners-off", {"resolution"}},
      {"several-areas", {"led-count"}},
      {"led-count", {"resolution"}}};
  const auto found = beside.find(id);
  return found == beside.end() ? none : found->second;
}

CheckCase GoodCase(std::uint64_t seed, int index) {
  Dice dice(SeedOf(seed, 0, index));
  Scene scene = GoodScene(dice, SeedOf(seed, 0, index));
  const int kind = index % 5;
  if (kind == 0 && dice.Chance(0.7)) {
    const cv::Size blocks = DivideIntoBlocks(dice, scene);
    CheckCase c = Photographed(scene);
    c.board = sim::RenderCheckerboard(scene);
    c.blocks = blocks;
    return c;
  }
  const sim::Photograph p = sim::Render(scene);
  CheckCase c;
  c.photo = p.shot;
  if (kind == 1) c.corners = p.truth.cornerPixels;
  if (kind == 2) {
    c.region.emplace();
    c.region->ManualSet(p.shot.image.size(), p.truth.cornerPixels);
  }
  return c;
}

CheckCase WrongCase(const std::string& id, std::uint64_t seed, int index) {
  const auto at = std::find(CheckIds().begin(), CheckIds().end(), id) - CheckIds().begin();
  const std::uint64_t own = SeedOf(seed, static_cast<std::uint64_t>(at) + 1, index);
  Dice dice(own);
  const Scene scene = GoodScene(dice, own);
  CheckCase c = Makers().at(id)(dice, scene, index);
  c.what = id;
  return c;
}

std::vector<std::string> IdsOf(const std::vector<lab::Finding>& findings) {
  std::vector<std::string> ids;
  ids.reserve(findings.size());
  for (const lab::Finding& finding : findings) ids.push_back(finding.id);
  return ids;
}

}  // namespace dravix::test
