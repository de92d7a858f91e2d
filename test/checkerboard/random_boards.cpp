#include "checkerboard/random_boards.h"

#include <dravix/dravix.h>
#include <dravix/region.h>

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <opencv2/imgproc.hpp>
#include <sstream>
#include <string_view>

#include "checkerboard/checkerboard.h"
#include "extractor/rectify.h"
#include "sim/random.h"

namespace dravix::test {
namespace {

void DrawScreen(sim::Random& random, sim::Scene& scene) {
  const int block = random.Between(4, 12);
  scene.checkerboard.block = block;
  scene.pose.pitch = random.Uniform(4, 8);
  const auto leds = [&](double pixels) {
    const int blocks = std::clamp(static_cast<int>(pixels / scene.pose.pitch / block), 2, 16);
    const bool narrower = random.Chance(0.4);
    return (blocks - 1) * block + (narrower ? random.Between((block + 2) / 3, block) : block);
  };
  scene.screen.ledWidth = leds(random.Uniform(230, 520));
  scene.screen.ledHeight = leds(random.Uniform(230, 400));
  scene.screen.emitterFill = random.Uniform(0.3, 0.6);
  sim::Luminance& luminance = scene.screen.luminance;
  luminance.scatter = random.Uniform(0, 0.08);
  luminance.gradientX = random.Chance(0.3) ? random.Uniform(-0.5, 0.5) : 0;
  luminance.moduleSpread = random.Chance(0.3) ? 0.1 : 0;
  luminance.deadShare = random.Uniform(0, 0.01);
  luminance.hotShare = random.Chance(0.3) ? 0.002 : 0;
}

void DrawCamera(sim::Random& random, sim::Scene& scene) {
  scene.pose.tiltX = random.Uniform(-12, 12);
  scene.pose.tiltY = random.Uniform(-12, 12);
  scene.pose.roll = random.Uniform(-5, 5);
  sim::Optics& optics = scene.optics;
  optics.defocus = random.Chance(0.5) ? sim::Defocus::kGaussian : sim::Defocus::kDisk;
  optics.blur = random.Uniform(0.3, 1.2);
  optics.distortion = random.Uniform(-0.015, 0.015);
  optics.vignetting = random.Uniform(0, 0.5);
  optics.strayLight = random.Uniform(0, 0.03);
  sim::Sensor& sensor = scene.sensor;
  constexpr int kBits[] = {8, 10, 12, 14, 16};
  sensor.bits = kBits[random.Between(0, 4)];
  sensor.exposure = random.Chance(0.2) ? random.Uniform(0.01, 0.1) : random.Uniform(0.3, 0.9);
  sensor.blackLevel = sensor.bits > 8 ? 16 : 2;
  // Little margin lets the screen reach the frame, or leave it.
  sensor.margin = random.Chance(0.25) ? random.Between(-6, 12) : random.Between(45, 70);
}

void DrawPattern(sim::Random& random, sim::Scene& scene) {
  sim::Checkerboard& board = scene.checkerboard;
  board.firstLit = random.Chance(0.5);
  if (random.Chance(0.2)) board.contrast = random.Uniform(4, 10);
  if (random.Chance(0.3)) board.levelRatio = random.Uniform(1.5, 5);
  const cv::Size grid = sim::GridOf(scene);
  if (random.Chance(0.2)) {
    const cv::Point dead(random.Between(0, grid.width - 1), random.Between(0, grid.height - 1));
    if (((dead.x + dead.y) % 2 == 0) == board.firstLit) board.deadBlock = dead;
  }
  if (random.Chance(0.2)) {
    scene.reflection = {random.Uniform(0.5, 2.5),
                        {random.Uniform(0, 300), random.Uniform(0, 300)},
                        random.Uniform(15, 50)};
  }
}

sim::Scene DrawScene(std::uint64_t seed) {
  sim::Random random(seed, 77);
  sim::Scene scene;
  scene.seed = seed;
  DrawScreen(random, scene);
  DrawCamera(random, scene);
  DrawPattern(random, scene);
  return scene;
}

/// Damages the photographs in one of several ways, or in none.
void Spoil(sim::Random& random, RandomBoard& scene) {
  cv::Mat& board = scene.board.image;
  cv::Mat& measured = scene.measured.image;
  const double full = (1 << scene.scene.sensor.bits) - 1;
  switch (random.Between(0, 15)) {
    case 0:
      board.setTo(scene.scene.sensor.blackLevel);
      break;
    case 1:
      measured.setTo(0);
      break;
    case 2:
      board.rowRange(0, board.rows / 2).setTo(scene.scene.sensor.blackLevel);
      break;
    case 3:
      ++scene.grid.width;
      break;
    case 4:
      board.convertTo(board, CV_8U, 255 / full);
      measured.convertTo(measured, CV_8U, 255 / full);
      break;
    case 5:
      measured.convertTo(measured, CV_8U, 255 / full);
      break;
    case 6:
      board.convertTo(board, CV_32F, 1.01);
      break;
    case 7:
      cv::merge(std::vector<cv::Mat>(3, board), board);
      break;
    case 8:
      measured.colRange(measured.cols / 3, measured.cols / 2).setTo(0);
      break;
    default:
      break;
  }
}

/// FNV-1a, 64 bits.
class Hash {
 public:
  void Add(const void* bytes, std::size_t count) {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t i = 0; i < count; ++i) value_ = (value_ ^ first[i]) * 0x100000001B3U;
  }
  void Add(std::int64_t number) {
    std::uint8_t bytes[8];
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<std::uint8_t>(number >> (8 * i));
    Add(bytes, sizeof(bytes));
  }
  void Add(const cv::Mat& m) {
    Add(m.type());
    Add(m.cols);
    for (int y = 0; y < m.rows; ++y) Add(m.ptr(y), static_cast<std::size_t>(m.cols) * m.elemSize());
  }
  void Add(const cv::Rect& r) {
    for (const int v : {r.x, r.y, r.width, r.height}) Add(v);
  }
  void Add(const std::vector<cv::Rect>& rects) {
    Add(static_cast<std::int64_t>(rects.size()));
    for (const cv::Rect& r : rects) Add(r);
  }
  [[nodiscard]] std::uint32_t Value() const {
    return static_cast<std::uint32_t>(value_ ^ (value_ >> 32));
  }

 private:
  std::uint64_t value_ = 0xCBF29CE484222325U;
};

template <class... Things>
std::uint32_t HashOf(const Things&... things) {
  Hash hash;
  (hash.Add(things), ...);
  return hash.Value();
}

std::uint32_t HashOfRejected(const CheckerboardDetector& d) {
  Hash hash;
  for (const CheckerboardDetector::Rejected& r : d.rejected) {
    hash.Add(r.rect);
    hash.Add(r.reason, std::string_view(r.reason).size());
  }
  return hash.Value();
}

std::uint32_t HashOfBlocks(const CheckerboardDetector& d) {
  Hash hash;
  hash.Add(d.contourRectangles);
  hash.Add(static_cast<std::int64_t>(d.inferredFrom));
  for (const std::int32_t i : d.cellIndex) hash.Add(i);
  return hash.Value();
}

std::uint32_t HashOfExcess(const CheckerboardDetector& d) {
  Hash hash;
  for (const double side :
       {d.outlineExcess.left, d.outlineExcess.right, d.outlineExcess.top, d.outlineExcess.bottom}) {
    hash.Add(&side, sizeof(side));
  }
  return hash.Value();
}

}  // namespace

RandomBoard::RandomBoard(std::uint64_t seed) : scene(DrawScene(seed)) {
  sim::Photograph photograph = sim::Render(scene);
  measured = photograph.shot;
  board = sim::RenderCheckerboard(scene);
  corners = photograph.truth.cornerPixels;
  grid = photograph.truth.grid;
  last = sim::LastBlockOf(scene);
  sim::Random random(seed, 78);
  Spoil(random, *this);
  const Dravix extractor;
  working = extractor::WorkingSize(measured.image.size(), extractor.warpScale);
  workingFromPhoto = extractor::WorkingFromPhoto(corners, extractor.TargetRectangle(working));
}

CheckerboardDetector RandomBoard::Prepared() const {
  CheckerboardDetector detector;
  detector.SetImage(&board, &measured);
  detector.SetParam(grid, working, workingFromPhoto);
  return detector;
}

std::int32_t RandomBoard::Measure(Dravix& dravix) const {
  RegionOI region;
  if (region.ManualSet(measured.image.size(), corners) != DRAVIX_OK) return -1;
  return dravix.ExtractPro(&measured, &board, {grid.width, grid.height}, region, last.width,
                           last.height);
}

std::string Fingerprint(const RandomBoard& board) {
  CheckerboardDetector d = board.Prepared();
  const std::int32_t detected = d.checkborderPrision();
  Dravix dravix;
  const std::int32_t measured = board.Measure(dravix);
  std::ostringstream line;
  line << detected << ' ' << measured << std::hex << std::setfill('0');
  for (const std::uint32_t hash :
       {HashOf(d.mask), HashOf(d.rectified), HashOfBlocks(d), HashOfRejected(d), HashOfExcess(d),
        HashOf(d.cells), HashOf(dravix.lum), HashOf(dravix.resultImage)}) {
    line << ' ' << std::setw(8) << hash;
  }
  return line.str();
}

}  // namespace dravix::test
