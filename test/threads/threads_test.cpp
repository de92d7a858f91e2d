/// Handles are independent: eight threads, each with a handle and objects of its own, use the whole
/// interface at once and get what one thread gets alone. The photographs and the region that they
/// measure are shared and constant.
#include <dravix/bimage.h>
#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "extractor/extractor.h"
#include "sim/render.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "threads/visible_threads.h"

namespace dravix::test {
namespace {

constexpr std::size_t kThreads = 8;

/// What every thread measures.
struct Shared {
  Shared() {
    sim::Scene scene;  // 64 x 48 LEDs of 8 pixels, in 8 x 6 blocks
    scene.pose.roll = 2;
    scene.screen.luminance.scatter = 0.05;
    const sim::Photograph photograph = sim::Render(scene);
    photo = photograph.shot;
    board = sim::RenderCheckerboard(scene);
    blocks = {photograph.truth.grid.width, photograph.truth.grid.height};
    corners = photograph.truth.cornerPixels;
    EXPECT_EQ(region.ManualSet(photo.image.size(), corners), 0);
    color.type = CAM_RGB;
    cv::merge(std::array<cv::Mat, 3>{photo.image, board.image, photo.image}, color.image);
    color.device = photo.device;
    for (const cv::Point& corner : corners) {
      pairs.push_back(corner.x);
      pairs.push_back(corner.y);
    }
  }
  Shot photo;
  Shot board;
  Shot color;
  RegionOI region;
  DravixBlockCounts blocks{};
  std::vector<cv::Point> corners;
  std::vector<std::int32_t> pairs;
};

/// All that one thread finds out, as text: codes, and the bytes of results, files and buffers.
class Findings {
 public:
  void Code(const char* what, std::int64_t code) { text_ << what << ' ' << code << '\n'; }
  void Bytes(const char* what, const void* data, std::size_t size) {
    text_ << what << ' ' << size << ' ';
    text_.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    text_ << '\n';
  }
  void Image(const char* what, const cv::Mat& m) {
    const cv::Mat whole = m.clone();
    Code(what, whole.type());
    Bytes(what, whole.data, whole.total() * whole.elemSize());
  }
  void File(const char* what, const std::string& name) {
    const std::string bytes = Slurp(name);
    Bytes(what, bytes.data(), bytes.size());
  }
  [[nodiscard]] std::string Text() const { return text_.str(); }

 private:
  std::ostringstream text_;
};

/// The bytes that an object of the C++ interface writes into a buffer, and reads back.
template <class Object>
void Buffers(Object object, Findings& found) {
  std::size_t size = 0;
  found.Code("size", object.GetBufferSize(&size));
  std::string buffer(size, '\0');
  found.Code("to", object.ToBuffer(buffer.data(), &size));
  found.Bytes("buffer", buffer.data(), size);
  found.Code("from", object.FromBuffer(buffer.data(), size));
}

void Results(DravixHandle handle, const TempDir& folder, Findings& found) {
  for (const std::int32_t copy : {0, 1}) {
    DravixResult result{};
    found.Code("get", DravixGet(handle, &result, copy));
    found.Bytes("lum", result.lum.data, static_cast<std::size_t>(result.lum.size));
    found.Bytes("marks", result.resultImage.data,
                static_cast<std::size_t>(result.resultImage.size));
    if (copy == 0) continue;
    delete[] static_cast<char*>(result.lum.data);
    delete[] static_cast<char*>(result.resultImage.data);
  }
  const std::string file = folder.File("r.lum");
  found.Code("save", DravixSave(handle, file.c_str()));
  found.File("file", file);
  std::uint64_t size = 0;
  found.Code("buffer size", DravixGetBufferSize(handle, &size));
  std::string buffer(static_cast<std::size_t>(size), '\0');
  found.Code("to buffer", DravixToBuffer(handle, buffer.data(), &size));
  found.Bytes("buffer", buffer.data(), buffer.size());
  for (const std::int32_t colored : {0, 1}) {
    const std::string picture = folder.File("r.png");
    found.Code("export", DravixExportImage(handle, picture.c_str(), colored));
    found.File("picture", picture);
  }
  found.Code("release", DravixRelease(handle));
  found.Code("none", DravixSave(handle, folder.File("r.txt").c_str()));
  found.Code("load", DravixLoad(handle, file.c_str()));
  found.Code("from buffer", DravixFromBuffer(handle, buffer.data(), static_cast<int>(size)));
  found.Code("destroy", DravixDestroyHandle(handle));
}

void Measuring(const Shared& shared, const TempDir& folder, Findings& found) {
  DravixHandle handle = nullptr;
  found.Code("create", DravixCreateHandle(&handle));
  const std::unique_ptr<Dravix> owner(handle);
  const auto extract = [&](std::int32_t count, std::int32_t top, std::int32_t bottom) {
    return DravixExtract(handle, &shared.photo, shared.pairs.data(), count, top, bottom, 4);
  };
  found.Code("three corners", extract(3, 0, 0));
  found.Code("extract", extract(4, 0, 0));
  Results(handle, folder, found);
  found.Code("unequal rows", extract(4, 40, 64));
  Results(handle, folder, found);
  found.Code("too many LEDs", extract(4, 400, 640));
  handle->rowLedNums.clear();
  found.Code("extract pro", DravixExtractPro(handle, &shared.region, &shared.photo, &shared.board,
                                             shared.blocks, -1, -1));
  Results(handle, folder, found);
}

void Photographs(const Shared& shared, const TempDir& folder, Findings& found) {
  Shot shot = shared.photo;
  found.Code("check", Shot::Check(CHECK_IMAGE | CHECK_SAME_SIZE, &shared.photo, &shared.board));
  found.Code("check color", Shot::Check(CHECK_COLOR, &shared.photo));
  found.Code("subtract", shot.RemoveBackground(shared.board));
  found.Image("difference", shot.image);
  found.Code("rotate", shot.Rotate(90));
  found.Image("rotated", shot.image);
  shot.Info();
  Buffers(shared.photo, found);
  const std::string file = folder.File("s.shot");
  found.Code("save", shared.color.Save(file));
  found.File("file", file);
  found.Code("load", shot.Load(file));
  Shot red;
  Shot green;
  found.Code("split", shared.color.Split(&red, &green, nullptr));
  found.Image("red", red.image);
  found.Code("xyz", shot.ConvertColorSpace(CIE_XYZ, cv::Mat::eye(3, 3, CV_32FC1) * 0.5));
  found.Image("xyz", shot.image);
  shared.photo.CopyTo(green);
  found.Image("copy", green.image);
  const int screen[] = {640, 480};
  const int interval[] = {2, 2};
  found.Code("locator", green.SetPointLocatorMeta(120012, screen, interval, 3, 35));
  for (const char* name : {"c.png", "g.png"}) {
    const std::string picture = folder.File(name);
    found.Code("picture", name[0] == 'c' ? shared.color.ExportColorImage(picture)
                                         : shared.color.ExportGrayImage(picture));
    found.File("picture", picture);
  }
  found.Code("mosaic", shot.SetImageColor(shared.photo.image, 46, CAM_RGB));
  found.Image("mosaic", shot.image);
}

void Regions(const Shared& shared, const TempDir& folder, Findings& found) {
  std::vector<cv::Point> corners;
  found.Code("corners", shared.region.GetPrecision4Corner(corners));
  found.Bytes("corners", corners.data(), corners.size() * sizeof corners[0]);
  RegionOI region;
  found.Code("set shot", region.SetShot(&shared.photo));
  found.Code("auto", region.AutoSet());
  found.Image("auto", region.mask);
  found.Code("blur", region.ComputeBlur());
  found.Image("blur", region.mask);
  Buffers(region, found);
  const std::string file = folder.File("r.roi");
  found.Code("save", shared.region.Save(file));
  found.File("file", file);
  const std::string picture = folder.File("r.png");
  found.Code("export", shared.region.ExportImage(picture, shared.photo));
  found.File("picture", picture);
  found.Code("load", region.Load(file));
  found.Code("rotate", region.Rotate(90));
  found.Code("perspective", region.PerspectiveSet(shared.corners));
  Shot shot = shared.photo;
  found.Code("warp", region.WarpPerspective(&shot));
  found.Image("warp", shot.image);
}

void Files(const Shared& shared, const TempDir& folder, Findings& found) {
  cv::Mat m;
  const std::string bin = folder.File("m.bin");
  found.Code("save bin", BIO::SaveMatToBin(bin, shared.photo.image) ? 1 : 0);
  found.Code("load bin", BIO::LoadBinToMat(bin, m) ? 1 : 0);
  found.Image("bin", m);
  const std::string text = folder.File("m.txt");
  Spill(text, "1 2.5\n-3 4e2\n");
  found.Code("load text", BIO::LoadTxtToMat(text, {2, 2}, m) ? 1 : 0);
  found.Image("text", m);
  std::vector<std::string> names;
  found.Code("names", BIO::ReadFullNameListTxt(text, names) ? 1 : 0);
  found.Code("names", static_cast<std::int64_t>(names.size()));
  const cv::Size size = shared.photo.image.size();
  const std::string raw = folder.File("m.raw");
  const cv::Mat& image = shared.photo.image;
  Spill(raw, {static_cast<const char*>(static_cast<const void*>(image.data)), image.total() * 2});
  found.Image("raw", BImage::ReadOrvelRaw(raw, size.height, size.width));
  Shot shot;
  found.Code("from raw", shot.CreateFromRaw(raw, CIE_Y, size.width, size.height, 0));
  found.Code("no raw", shot.CreateFromRaw(raw, 120016, CIE_Y));
  const std::string pgm = folder.File("m.pgm");
  Spill(pgm, std::string("P5\n2 1\n65535\n") + std::string("\x01\x02\x03\x04", 4));
  found.Code("pgm", BImage::ReadPgm16(pgm, m) ? 1 : 0);
  found.Image("pgm", m);
  found.Code("no dng", shot.ReadDng(folder.File("none.dng"), CAM_RGB, 46));
  found.Code("no dng", shot.ReadDngToupTek(folder.File("none.dng"), CIE_Y));
}

std::string AllFindings(const Shared& shared) {
  const TempDir folder;
  Findings found;
  Measuring(shared, folder, found);
  Photographs(shared, folder, found);
  Regions(shared, folder, found);
  Files(shared, folder, found);
  return found.Text();
}

class Threads : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    cv::parallel::setParallelForBackend(std::make_shared<VisibleThreads>(), true);
  }
};

TEST_F(Threads, EightFindWhatOneFinds) {
  const Shared shared;
  const std::string alone = AllFindings(shared);
  EXPECT_NE(alone.find("extract pro 0\n"), std::string::npos);
  EXPECT_NE(alone.find("extract 0\n"), std::string::npos);
  std::array<std::string, kThreads> found;
  {
    std::vector<std::jthread> threads;
    for (std::string& findings : found) {
      threads.emplace_back([&shared, &findings] { findings = AllFindings(shared); });
    }
  }
  for (std::size_t i = 0; i < kThreads; ++i) {
    EXPECT_TRUE(found.at(i) == alone) << "thread " << i << " found something else";
  }
}

/// Copies of one region share its mask, and shots are copied while others measure them.
TEST_F(Threads, CopiesOfSharedObjectsAreTheirOwn) {
  const Shared shared;
  std::array<std::int32_t, kThreads> codes{};
  {
    std::vector<std::jthread> threads;
    for (std::int32_t& code : codes) {
      threads.emplace_back([&shared, &code] {
        for (int i = 0; i < 20; ++i) {
          RegionOI region = shared.region;
          Shot shot = shared.photo;
          code += region.Rotate(90) + shot.Rotate(180) + region.PerspectiveSet(shared.corners);
          shot.image.setTo(0);
          Shot moved = std::move(shot);
          moved = shared.board;
        }
      });
    }
  }
  EXPECT_EQ(codes, (std::array<std::int32_t, kThreads>{}));
}

/// The log is one for all; lines of several threads are whole.
TEST_F(Threads, LinesOfTheLogAreWhole) {
  const LogCapture log;
  constexpr int kCalls = 50;
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
      threads.emplace_back([] {
        for (int k = 0; k < kCalls; ++k) static_cast<void>(Shot::Check(CHECK_NOT_NULL, nullptr));
      });
    }
  }
  EXPECT_EQ(log.Errors(), std::vector<std::string>(kThreads * kCalls,
                                                   "Shot::Check--Error in Shot input is nullptr"));
}

}  // namespace
}  // namespace dravix::test
