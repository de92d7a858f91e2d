// Sequences of operations and calls, as their targets take them.
#include <limits>
#include <opencv2/imgproc.hpp>

#include "fuzz/pictures.h"
#include "fuzz/seeds/seeds.h"
#include "sim/render.h"

namespace dravix::fuzz {
namespace {

void Bytes(base::ByteWriter& out, std::initializer_list<int> bytes) {
  for (const int byte : bytes) out.Write(static_cast<std::uint8_t>(byte));
}

cv::Mat Noise(cv::Size size, int type) {
  cv::Mat m(size, type);
  cv::RNG(7).fill(m, cv::RNG::UNIFORM, 0, 200);
  return m;
}

/// A shot without groups, as TakeShot takes it.
void PutShot(base::ByteWriter& out, std::uint32_t type, const cv::Mat& picture) {
  Bytes(out, {static_cast<int>(type), 0});
  PutPicture(picture, out);
}

/// Each operation with what it refuses.
void AddRefusedShotImages(Seeds& seeds) {
  base::ByteWriter empty;
  PutShot(empty, CAM_RGB, cv::Mat(0, 0, CV_16UC3));
  Bytes(empty, {3, 0, 3, 7, 5, 6, 7, 45, 0, 7, 90, 0, 8, 9, 11, 0, 0, 11, 0, 1, 4, CIE_Y});
  PutPicture(Noise({3, 3}, CV_32FC1), empty);
  seeds.Add("shot_image", "empty", empty.Data());

  base::ByteWriter refused;
  PutShot(refused, CAM_RGB, Noise({4, 3}, CV_16UC3));
  Bytes(refused, {4, 0x33});
  PutPicture(Noise({3, 3}, CV_32FC1), refused);
  Bytes(refused, {4, CIE_Y});
  PutPicture(Noise({2, 3}, CV_32FC1), refused);
  Bytes(refused, {0});
  PutShot(refused, CAM_G, Noise({5, 3}, CV_8UC1));
  Bytes(refused, {5, 1, CIE_Y, 2, 46, 0, 0x70, 10, 3, 7, 4, CIE_Y});
  PutPicture(Noise({3, 3}, CV_32FC1), refused);
  Bytes(refused, {7, 45, 0});
  seeds.Add("shot_image", "refused", refused.Data());

  base::ByteWriter eightBit;
  PutShot(eightBit, CAM_RGB, Noise({4, 3}, CV_8UC3));
  Bytes(eightBit, {4, CIE_Y});
  PutPicture(Noise({3, 3}, CV_32FC1), eightBit);
  seeds.Add("shot_image", "eight-bit", eightBit.Data());

  Shot shot;
  shot.SetColor(5);
  base::ByteWriter color;
  Bytes(color, {CAM_G});
  PutGroups(shot, color);
  PutPicture(Noise({4, 3}, CV_16UC1), color);
  Bytes(color, {11, 0, 1, 11, 0, 0});
  seeds.Add("shot_image", "color", color.Data());
}

void AddShotImages(Seeds& seeds) {
  for (const int type : {CV_8UC1, CV_16UC1, CV_16UC3, CV_16SC1, CV_32SC1, CV_32FC1, CV_64FC3,
                         CV_8SC1, CV_8UC(5), CV_16FC1}) {
    base::ByteWriter out;
    const cv::Mat picture =
        CV_MAT_DEPTH(type) == CV_16F ? cv::Mat::zeros(4, 5, type) : Noise({5, 4}, type);
    const std::uint32_t planes = CV_MAT_CN(type) == 3 ? CAM_RGB : CAM_G;
    PutShot(out, planes, picture);
    Bytes(out, {6});                              // minus itself
    Bytes(out, {7, 90, 0, 7, 180, 0, 7, 14, 1});  // turns by 90, 180, 270
    Bytes(out, {8});
    Bytes(out, {3, 7});  // split
    Bytes(out, {4, CIE_XYZ});
    PutPicture(Noise({3, 3}, CV_32FC1), out);
    for (int name = 0; name < 8; ++name) Bytes(out, {11, name, name & 1});
    Bytes(out, {0});
    PutShot(out, planes, picture);
    Bytes(out, {5, 9, 10});
    seeds.Add("shot_image", "type-" + std::to_string(type), out.Data());
  }
  base::ByteWriter set;
  PutShot(set, CAM_G, cv::Mat());
  Bytes(set, {0});
  PutShot(set, CAM_G, Noise({8, 6}, CV_16UC1));
  Bytes(set, {1, CIE_Y, 1, 0x33});
  for (const int code :
       {static_cast<int>(cv::COLOR_BayerBG2BGR), static_cast<int>(cv::COLOR_BayerBG2BGRA),
        static_cast<int>(cv::COLOR_BayerBG2GRAY), 0, 1000}) {
    for (const ShotType type : {CAM_RGB, CAM_R, CAM_B, CIE_Y}) {
      Bytes(set, {2, code & 0xFF, code >> 8, static_cast<int>(type)});
    }
  }
  seeds.Add("shot_image", "set", set.Data());
  for (const ShotType type : {CIE_X, CIE_Y, CIE_Z}) {
    base::ByteWriter convert;
    PutShot(convert, CAM_RGB, Noise({4, 3}, CV_16UC3));
    Bytes(convert, {4, static_cast<int>(type)});
    PutPicture(Noise({3, 3}, CV_64FC1), convert);
    seeds.Add("shot_image", "to-" + std::to_string(type), convert.Data());
  }
  AddRefusedShotImages(seeds);
}

void AddShotMetadata(Seeds& seeds) {
  Shot full;
  full.SetPartition({1, 2, 6, 6, 12, 10});
  full.SetLedPanel({1, 2, 3, 16, 8, 1.5F});
  full.SetLayer({1, 0.5F, 128});
  full.SetPattern({1, 2, 2, 0, 1, 0, 0});
  full.SetColor(2);
  full.SetDevice({"camera", 120016, "lens", 35});
  full.SetCapture({1, 2, 3, 4, 5});
  base::ByteWriter out;
  Bytes(out, {0});
  PutGroups(full, out);
  Bytes(out, {8, 2, 3, 4, 5, 6, 7, 1});
  PutGroups(full, out);
  out.Write(std::uint32_t{CIE_Y});
  for (const std::uint32_t flags :
       {0U, 1U, 2U, 4U, 0x13U, 0x23U, 0x100U, 0x1000U, 0x10000U, 0x100000U}) {
    Bytes(out, {3});
    out.Write(flags);
  }
  Bytes(out, {2});
  for (const std::int32_t number : {120016, 64, 48, 2, 2, 3}) out.Write(number);
  Bytes(out, {0});
  out.Write(std::int32_t{35});
  Bytes(out, {4, 5, 6});
  seeds.Add("shot_metadata", "full", out.Data());
  base::ByteWriter checks;
  const auto check = [&checks](std::uint32_t flags) {
    Bytes(checks, {3});
    checks.Write(flags);
  };
  Bytes(checks, {8});
  PutLargePicture(Noise({8, 6}, CV_8UC1), 1, checks);
  Bytes(checks, {7, 8});
  PutLargePicture(Noise({6, 6}, CV_8UC1), 1, checks);
  for (const std::uint32_t flags : {2U, 4U, 0x20U, 0x100U, 0x1000U, 0x10000U, 0x100000U})
    check(flags);
  Bytes(checks, {1, 0});
  checks.Write(std::uint32_t{CIE_Y});
  check(0x10);
  check(4);
  seeds.Add("shot_metadata", "checks", checks.Data());
  full.partition->w = 99;
  full.panel->w = 0;
  full.pattern->loc_x = 5;
  base::ByteWriter wrong;
  Bytes(wrong, {0});
  PutGroups(full, wrong);
  seeds.Add("shot_metadata", "refused", wrong.Data());
  full.partition->w = 6;
  full.pattern = Shot::Pattern{1, 2, 2, 0, 1, 6, 6};
  base::ByteWriter mismatch;
  Bytes(mismatch, {0});
  PutGroups(full, mismatch);
  seeds.Add("shot_metadata", "mismatch", mismatch.Data());
}

void AddRegionCalls(Seeds& seeds) {
  const std::vector<cv::Point> corners = {{50, 60}, {330, 50}, {340, 320}, {60, 330}};
  base::ByteWriter out;
  Bytes(out, {5});
  PutShot(out, CIE_Y, Noise({40, 30}, CV_16UC1));
  Bytes(out, {3});
  out.Write(std::int32_t{400}), out.Write(std::int32_t{380});
  PutPoints(corners, out);
  Bytes(out, {4, 8, 9, 0});
  for (const int quarters : {1, 2, 3, 4, -4}) Bytes(out, {7, 1, quarters});
  Bytes(out, {4, 8, 6});
  PutPoints(corners, out);
  Bytes(out, {4});
  seeds.Add("region_calls", "by-hand", out.Data());

  base::ByteWriter mask;
  Bytes(mask, {5});
  PutShot(mask, CAM_RGB, Noise({60, 50}, CV_16UC3));
  Bytes(mask, {1});
  cv::Mat area = cv::Mat::zeros(240, 240, CV_8UC1);
  cv::fillConvexPoly(area, std::vector<cv::Point>{{8, 8}, {232, 0}, {239, 230}, {0, 239}}, 255);
  PutLargePicture(area, 8, mask);
  Bytes(mask, {70, 70, 70, 70, 4, 8, 9, 0, 2});
  mask.Write(0.05F), mask.Write(std::int32_t{61});
  Bytes(mask, {4, 2});
  mask.Write(0.05F), mask.Write(std::int32_t{2000});
  Bytes(mask, {4, 0});
  for (const std::int32_t field : {20000, 20000, 5, 6, 4, 4}) mask.Write(field);
  PutPicture(Noise({4, 4}, CV_8UC1), mask);
  Bytes(mask, {4, 8, 9, 0});
  seeds.Add("region_calls", "by-mask", mask.Data());
}

/// Each operation with what it refuses, and pictures that are large enough for every mark.
void AddOtherRegionCalls(Seeds& seeds) {
  base::ByteWriter refused;
  Bytes(refused, {9, 0, 10, 4, 3});
  refused.Write(std::int32_t{100}), refused.Write(std::int32_t{100});
  PutPoints({{1, 1}, {2, 1}, {3, 1}, {4, 90}}, refused);
  Bytes(refused, {3});
  refused.Write(std::int32_t{100}), refused.Write(std::int32_t{100});
  PutPoints({{1, 1}, {2, 1}, {3, 1}, {4, 190}}, refused);
  Bytes(refused, {6});
  PutPoints({{1, 1}, {2, 1}}, refused);
  Bytes(refused, {5});
  PutShot(refused, CIE_Y, Noise({40, 30}, CV_16UC1));
  Bytes(refused, {10, 7, 0, 45, 0, 0, 0, 0});
  for (const std::int32_t field : {20, 20, 15, 6, 10, 10}) refused.Write(field);
  PutPicture(Noise({10, 10}, CV_8UC1), refused);
  Bytes(refused, {4, 9, 1, 0});
  for (const std::int32_t field : {20, 20, 5, 6, 10, 10}) refused.Write(field);
  PutPicture(Noise({10, 10}, CV_16UC1), refused);
  Bytes(refused, {4, 9, 0});
  seeds.Add("region_calls", "refused", refused.Data());

  // A square on its tip has one corner above and two beside: no order fits.
  base::ByteWriter tip;
  Bytes(tip, {2});
  tip.Write(0.02F), tip.Write(std::int32_t{60});
  Bytes(tip, {1});
  cv::Mat area = cv::Mat::zeros(400, 400, CV_8UC1);
  cv::fillConvexPoly(area, std::vector<cv::Point>{{200, 0}, {399, 200}, {200, 399}, {0, 200}}, 255);
  PutLargePicture(area, 8, tip);
  Bytes(tip, {70, 70, 70, 70, 4});
  seeds.Add("region_calls", "tip", tip.Data());

  base::ByteWriter picture;
  Bytes(picture, {5});
  PutShot(picture, CIE_Y, Noise({90, 80}, CV_8UC1));
  Bytes(picture, {3});
  picture.Write(std::int32_t{90}), picture.Write(std::int32_t{80});
  PutPoints({{10, 12}, {80, 10}, {82, 70}, {8, 72}}, picture);
  Bytes(picture, {9, 0, 9, 1});
  seeds.Add("region_calls", "picture", picture.Data());
}

void AddCornerOrder(Seeds& seeds) {
  const auto put = [&](const char* name, const std::vector<cv::Point>& points) {
    base::ByteWriter out;
    Bytes(out, {static_cast<int>(points.size())});
    for (const cv::Point& point : points) out.Write(point.x), out.Write(point.y);
    for (const int number : {3, 4, 20, 30}) out.Write(number);
    for (const float number : {10.0F, 20.0F, 30.0F, 40.0F, 25.0F}) out.Write(number);
    seeds.Add("corner_order", name, out.Data());
  };
  constexpr int kMost = std::numeric_limits<int>::max();
  put("ordered", {{50, 60}, {330, 50}, {340, 320}, {60, 330}});
  put("mixed", {{340, 320}, {50, 60}, {60, 330}, {330, 50}});
  put("line", {{10, 10}, {20, 10}, {40, 10}, {60, 10}});
  put("three-above", {{10, 10}, {20, 10}, {40, 10}, {60, 90}});
  put("three-below", {{10, 10}, {20, 90}, {40, 90}, {60, 90}});
  put("three", {{10, 10}, {20, 10}, {40, 40}});
  put("far", {{kMost, -kMost}, {-kMost, -kMost}, {kMost, kMost}, {-kMost, kMost}});
}

/// Each of the first calls of each kind fails once, for each kind of reason that is handled in a
/// way of its own, over each thing that a name may stand for.
void AddFailingCalls(Seeds& seeds) {
  constexpr int kCalls = 15;
  constexpr int kPlaces = 7;
  constexpr int kByName = 0x80;
  constexpr int kHalting = 0x80;
  for (int call = 0; call < kCalls; ++call) {
    for (const int error : {0, 1, 2, 5, 6, 11, 12, kHalting}) {
      for (int n = 0; n < 4; ++n) {
        for (int place = 0; place < kPlaces; ++place) {
          base::ByteWriter out;
          // The high bit counts towards the place, too.
          for (const int choice :
               {place, kByName + (place + kPlaces - kByName % kPlaces) % kPlaces}) {
            Bytes(out, {choice, call, n, error});
            PutPiece(base::ViewOf("new content"), out);
          }
          const std::string name = std::to_string(call) + "-" + std::to_string(n) + "-" +
                                   std::to_string(error) + "-" + std::to_string(place);
          seeds.Add("failing_calls", name, out.Data());
        }
      }
    }
  }
}

void AddFiles(Seeds& seeds) {
  base::ByteWriter out;
  for (const int choice :
       {0, 1, 2, 3, 4, 5, 6, 7, 0x40, 0x41, 0x42, 0x43, 0xC0, 0xC1, 0xC2, 0x47}) {
    Bytes(out, {choice});
    PutPiece(base::ViewOf("first"), out);
    PutPiece(base::ViewOf("second"), out);
  }
  seeds.Add("saved_file", "all", out.Data());
  for (const int choice : {0, 0x80, 1, 2, 6, 3, 7, 11, 15, 19, 23, 27, 31}) {
    base::ByteWriter hindered;
    Bytes(hindered, {choice});
    PutPiece(base::ViewOf("the old content"), hindered);
    PutPiece(base::ViewOf("new content"), hindered);
    Bytes(hindered, {choice == 6 ? 200 : 5});
    seeds.Add("hindered_save", "choice-" + std::to_string(choice), hindered.Data());
  }
  AddFailingCalls(seeds);
  base::ByteWriter steps;
  Bytes(steps, {14});
  for (const int kind : {0, 1, 2, 3, 4, 5, 7, 4, 0, 5, 1, 2, 6, 7}) Bytes(steps, {kind, 5, 0});
  steps.Append(base::ViewOf(std::string(80, 'x')));
  seeds.Add("input_file", "steps", steps.Data());
  base::ByteWriter large;
  Bytes(large, {4, 0x80});
  large.Write(std::uint64_t{1} << 40);
  Bytes(large, {0x84});
  large.Write(std::uint64_t{1} << 19);
  Bytes(large, {0x85});
  large.Write(~std::uint64_t{0});
  Bytes(large, {3, 0, 0});
  large.Append(base::ViewOf("content"));
  seeds.Add("input_file", "large-counts", large.Data());
  seeds.Add("input_file", "nothing", "");
}

void AddHandleCalls(Seeds& seeds) {
  sim::Scene scene;
  scene.screen.ledWidth = 16;
  scene.screen.ledHeight = 16;
  scene.pose.pitch = 15;
  scene.sensor.margin = 48;
  const sim::Photograph photo = sim::Render(scene);
  const auto putShot = [](const Shot& shot, base::ByteWriter& out) {
    out.Write(static_cast<std::uint8_t>(shot.type));
    PutGroups(shot, out);
    PutLargePicture(shot.image, 8, out);
  };
  base::ByteWriter out;
  Bytes(out, {1});
  putShot(photo.shot, out);
  base::ByteWriter pro;
  pro.Append(out.Data());
  Bytes(pro, {2});
  putShot(sim::RenderCheckerboard(scene), pro);
  Bytes(pro, {3, 1});
  PutPoints(photo.truth.cornerPixels, pro);
  Bytes(pro, {5, 2, 2});
  pro.Write(std::int32_t{-1}), pro.Write(std::int32_t{-1});
  Bytes(pro, {0, 0, 0, 6, 0, 0});
  seeds.Add("handle_calls", "pro", pro.Data());

  Bytes(out, {4});
  for (const cv::Point& corner : photo.truth.cornerPixels) {
    out.Write(static_cast<std::int16_t>(corner.x)), out.Write(static_cast<std::int16_t>(corner.y));
  }
  Bytes(out, {5});
  for (int i = 0; i < 3; ++i) out.Write(std::int32_t{0});
  Bytes(out, {0, 0});
  Bytes(out, {6, 1, 0, 6, 0, 0, 8, 0, 7, 9, 0, 10, 0, 12, 4, 1, 12, 5, 0});
  seeds.Add("handle_calls", "one", out.Data());
  base::ByteWriter empty;
  Bytes(empty, {6, 1, 0, 10, 0, 9, 0, 8, 2, 8, 3, 8, 6, 8, 7, 12, 4, 0, 7, 3, 0, 5, 2, 2});
  seeds.Add("handle_calls", "empty", empty.Data());
}

}  // namespace

void AddCallSeeds(Seeds& seeds) {
  AddShotImages(seeds);
  AddShotMetadata(seeds);
  AddRegionCalls(seeds);
  AddOtherRegionCalls(seeds);
  AddCornerOrder(seeds);
  AddFiles(seeds);
  AddHandleCalls(seeds);
}

}  // namespace dravix::fuzz
