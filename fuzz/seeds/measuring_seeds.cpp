// Real photographs of small screens and checkerboards, rendered by the simulator.
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <opencv2/imgproc.hpp>

#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/seeds/seeds.h"
#include "fuzz/target.h"
#include "sim/render.h"

namespace dravix::fuzz {
namespace {

/// A screen of about 240 pixels a side: the smallest on which a region's corners are found.
sim::Scene Board(const std::string& name, cv::Size leds, int block) {
  constexpr double kSide = 240;
  sim::Scene scene;
  scene.name = name;
  scene.screen.ledWidth = leds.width;
  scene.screen.ledHeight = leds.height;
  scene.screen.luminance.scatter = 0.03;
  scene.pose.pitch = kSide / std::min(leds.width, leds.height);
  scene.pose.tiltX = 3;
  scene.pose.tiltY = -4;
  scene.pose.roll = 1.5;
  scene.checkerboard.block = block;
  scene.sensor.margin = 48;
  return scene;
}

std::vector<sim::Scene> Boards() {
  std::vector<sim::Scene> scenes = {Board("2x2", {16, 16}, 8), Board("3x2", {20, 16}, 8),
                                    Board("4x3", {24, 18}, 6), Board("3x3-last", {22, 20}, 8)};
  scenes.push_back(scenes.back());
  scenes.back().name = "reflection";
  scenes.back().reflection = {2.0, {20, 20}, 16};
  return scenes;
}

/// The smallest zoom that keeps the photograph's borders: its size is a multiple of it.
constexpr int kZoom = 4;

/// A shot of large pictures, as TakeLargeShot takes it.
void PutLargeShot(const Shot& shot, base::ByteWriter& out) {
  out.Write(static_cast<std::uint8_t>(shot.type));
  PutGroups(shot, out);
  PutLargePicture(shot.image, kZoom, out);
}

/// Only what measuring looks at.
Shot Bare(const Shot& shot) {
  Shot bare;
  bare.type = shot.type;
  bare.pattern = shot.pattern;
  bare.device = shot.device;
  bare.image = shot.image;
  return bare;
}

void AddPro(Seeds& seeds, const sim::Scene& scene, const Shot& photo, const Shot& board,
            const std::vector<cv::Point>& corners) {
  const cv::Size grid = sim::GridOf(scene);
  const cv::Size last = sim::LastBlockOf(scene);
  for (int how = 0; how < 3; ++how) {  // by hand, AutoSet, ComputeBlur
    base::ByteWriter out;
    out.Write(std::int32_t{grid.width}), out.Write(std::int32_t{grid.height});
    out.Write(std::int32_t{last.width}), out.Write(std::int32_t{last.height});
    out.Write(std::uint8_t{1});
    PutLargeShot(photo, out);
    PutLargeShot(board, out);
    out.Write(static_cast<std::uint8_t>(how));
    PutPoints(corners, out);
    seeds.Add("extract_pro", scene.name + "-" + std::to_string(how), out.Data());
  }
}

/// The seed is what it is meant to be: the checkerboard is found and measured.
void RequireMeasured(const sim::Scene& scene, const Shot& photo, const Shot& board,
                     const std::vector<cv::Point>& corners) {
  base::ByteWriter out;
  PutLargeShot(photo, out);
  PutLargeShot(board, out);
  Input input(out.Data());
  const Shot takenPhoto = TakeLargeShot(input);
  const Shot takenBoard = TakeLargeShot(input);
  RegionOI region;
  Require(region.ManualSet(takenPhoto.image.size(), corners) == DRAVIX_OK, "corners are in order");
  const cv::Size grid = sim::GridOf(scene);
  const cv::Size last = sim::LastBlockOf(scene);
  Dravix dravix;
  const std::int32_t code = dravix.ExtractPro(&takenPhoto, &takenBoard, {grid.width, grid.height},
                                              region, last.width, last.height);
  std::printf("%s: %dx%d pixels, code %d\n", scene.name.c_str(), takenPhoto.image.cols,
              takenPhoto.image.rows, code);
}

void AddDetector(Seeds& seeds, const sim::Scene& scene, const Shot& photo, const Shot& board) {
  const cv::Size grid = sim::GridOf(scene);
  for (const bool picture : {false, true}) {
    base::ByteWriter out;
    out.Write(static_cast<std::int8_t>(grid.width)),
        out.Write(static_cast<std::int8_t>(grid.height));
    out.Write(std::uint8_t{0}), out.Write(std::uint8_t{0});
    PutLargeShot(photo, out);
    PutLargeShot(board, out);
    out.Write(std::uint8_t{128}), out.Write(std::uint8_t{128});
    out.Write(std::uint8_t{0});
    out.Write(static_cast<std::uint8_t>(picture));
    seeds.Add("checkerboard", scene.name + (picture ? "-picture" : ""), out.Data());
  }
}

void AddSingle(Seeds& seeds, const std::string& name, const Shot& photo,
               const std::vector<cv::Point>& corners) {
  const auto put = [&](const std::vector<cv::Point>& points, std::int32_t top, std::int32_t bottom,
                       std::int32_t rowGroup) {
    base::ByteWriter out;
    out.Write(std::uint8_t{1});
    PutPoints(points, out);
    out.Write(top), out.Write(bottom), out.Write(rowGroup);
    PutLargeShot(photo, out);
    return std::move(out).Data();
  };
  seeds.Add("extract", name, put(corners, 0, 0, 0));
  seeds.Add("extract", name + "-rows", put(corners, 10, 14, 3));
  seeds.Add("extract", name + "-three", put({corners.begin(), corners.begin() + 3}, 0, 0, 0));
  seeds.Add("extract", name + "-line", put({{10, 10}, {20, 20}, {40, 40}, {60, 45}}, 0, 0, 0));

  base::ByteWriter location;
  location.Write(std::uint8_t{1}), location.Write(std::uint8_t{1});
  PutLargeShot(photo, location);
  seeds.Add("plain_location", name, location.Data());
  base::ByteWriter kernel;
  kernel.Write(std::uint8_t{1}), kernel.Write(std::uint8_t{0});
  kernel.Write(std::uint8_t{5}), kernel.Write(2.0F);
  PutLargeShot(photo, kernel);
  seeds.Add("plain_location", name + "-kernel", kernel.Data());

  base::ByteWriter search;
  search.Write(std::uint8_t{0});
  PutLargeShot(photo, search);
  seeds.Add("region_search", name, search.Data());
  for (const float sigma : {3.0F, 0.0F, -1.0F, 0.2F, 1e9F}) {
    base::ByteWriter parameters;
    parameters.Write(std::uint8_t{3});
    parameters.Write(std::uint8_t{7}), parameters.Write(sigma);
    PutLargeShot(photo, parameters);
    seeds.Add("region_search", name + "-sigma-" + std::to_string(sigma), parameters.Data());
  }
  Shot colors;
  colors.type = CAM_RGB;
  cv::Mat half;
  cv::resize(photo.image, half, photo.image.size() / 6, 0, 0, cv::INTER_AREA);
  for (const int type : {CV_16UC1, CV_8UC1, CV_32FC1, CV_16UC3}) {
    cv::Mat depth;
    half.convertTo(depth, CV_MAT_DEPTH(type), CV_MAT_DEPTH(type) == CV_8U ? 1 / 16.0 : 1.0);
    if (CV_MAT_CN(type) == 3) cv::cvtColor(depth, depth, cv::COLOR_GRAY2BGR);
    base::ByteWriter kind;
    kind.Write(std::uint8_t{8});
    kind.Write(static_cast<std::uint8_t>(colors.type));
    PutGroups(colors, kind);
    PutPicture(depth, kind);
    seeds.Add("region_search", name + "-type-" + std::to_string(type), kind.Data());
  }
}

/// Masks for the corner search: a quadrilateral, a triangle, noise.
void AddMasks(Seeds& seeds) {
  const auto put = [&](const std::string& name, const cv::Mat& mask, std::uint8_t margin) {
    for (const bool gray : {false, true}) {
      base::ByteWriter out;
      out.Write(std::uint8_t{50});
      for (int side = 0; side < 4; ++side) out.Write(margin);
      out.Write(static_cast<std::uint8_t>(gray));
      PutLargePicture(mask, 8, out);
      seeds.Add("strong_corners", name + (gray ? "-gray" : ""), out.Data());
    }
  };
  cv::Mat quad = cv::Mat::zeros(280, 320, CV_8UC1);
  cv::fillConvexPoly(quad, std::vector<cv::Point>{{8, 16}, {300, 8}, {310, 270}, {20, 260}}, 255);
  put("quad", quad, 70);
  put("touching", quad, 0);
  cv::Mat triangle = cv::Mat::zeros(280, 320, CV_8UC1);
  cv::fillConvexPoly(triangle, std::vector<cv::Point>{{8, 16}, {300, 8}, {150, 270}}, 255);
  put("triangle", triangle, 60);
  cv::Mat noise(160, 160, CV_8UC1);
  cv::RNG(1).fill(noise, cv::RNG::UNIFORM, 0, 256);
  put("noise", noise, 60);
}

void PutSmallArea(base::ByteWriter& out, const cv::Mat& image, const cv::Mat& mask) {
  PutPicture(image, out);
  PutPicture(mask, out);
}

/// Areas and cells of noise with whole masks and with slanted ones.
void AddAreas(Seeds& seeds) {
  cv::Mat image(24, 30, CV_16UC1);
  cv::RNG(2).fill(image, cv::RNG::UNIFORM, 0, 4096);
  cv::Mat slanted = cv::Mat::zeros(image.size(), CV_8UC1);
  cv::fillConvexPoly(slanted, std::vector<cv::Point>{{0, 3}, {29, 0}, {29, 20}, {0, 23}}, 255);
  const auto area = [&](const char* name, std::int8_t leds, bool unequal, const cv::Mat& mask,
                        int type) {
    base::ByteWriter out;
    out.Write(leds), out.Write(leds);
    out.Write(static_cast<std::uint8_t>(unequal));
    out.Write(std::int16_t{6}), out.Write(std::int16_t{leds}), out.Write(std::int16_t{3});
    for (const int field : {0, 0, 30, 24}) out.Write(static_cast<std::int16_t>(field));
    cv::Mat samples;
    image.convertTo(samples, type);
    PutSmallArea(out, samples, mask);
    seeds.Add("plain_luminance", name, out.Data());
  };
  for (const int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F}) {
    area(("depth-" + std::to_string(depth)).c_str(), 11, false, slanted, depth);
  }
  area("whole", 10, false, cv::Mat(), CV_16U);
  area("many", 40, false, slanted, CV_16U);
  area("unequal", 12, true, slanted, CV_16U);
  area("few", 4, false, slanted, CV_16U);
  area("no-mask", 10, false, cv::Mat::zeros(image.size(), CV_8UC1), CV_16U);

  const auto cells = [&](const char* name, const cv::Mat& mask, std::int8_t leds) {
    base::ByteWriter out;
    out.Write(leds), out.Write(leds);
    out.Write(std::uint8_t{3}), out.Write(std::uint8_t{3});
    out.Write(std::int16_t{-1}), out.Write(std::int16_t{-1});
    for (std::int16_t y = 0; y < 3; ++y) {
      for (std::int16_t x = 0; x < 3; ++x) {
        out.Write(static_cast<std::int16_t>(10 * x)), out.Write(static_cast<std::int16_t>(8 * y));
        out.Write(std::int16_t{10}), out.Write(std::int16_t{8});
      }
    }
    PutSmallArea(out, image, mask);
    seeds.Add("plain_cells", name, out.Data());
  };
  cells("whole", cv::Mat(), 9);
  cells("slanted", slanted, 12);
  cells("uneven", slanted, 10);
}

}  // namespace

void AddMeasuringSeeds(Seeds& seeds) {
  for (const sim::Scene& scene : Boards()) {
    const sim::Photograph rendered = sim::Render(scene);
    const Shot photo = Bare(rendered.shot);
    const Shot board = Bare(sim::RenderCheckerboard(scene));
    const std::vector<cv::Point>& corners = rendered.truth.cornerPixels;
    RequireMeasured(scene, photo, board, corners);
    AddPro(seeds, scene, photo, board, corners);
    AddDetector(seeds, scene, photo, board);
    AddSingle(seeds, scene.name, photo, corners);
  }
  base::ByteWriter dark;
  dark.Write(std::uint8_t{8});
  dark.Write(std::uint8_t{CIE_Y}), dark.Write(std::uint8_t{0});
  PutPicture(cv::Mat::zeros(20, 30, CV_16UC1), dark);
  seeds.Add("region_search", "dark", dark.Data());
  AddMasks(seeds);
  AddAreas(seeds);
}

}  // namespace dravix::fuzz
