/// A host that runs for months: however often each export is called, memory stays what it was.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "extractor/extractor.h"
#include "sim/render.h"
#include "support/temp_dir.h"
#include "support/watched_memory.h"

namespace dravix::test {
namespace {

/// How often each export is called. A hundred thousand calls take two minutes.
int Calls() {
  constexpr int kNightly = 100000;
  constexpr int kQuick = 5000;
  return std::getenv("DRAVIX_NIGHTLY") != nullptr ? kNightly
                                                  : kQuick;  // NOLINT(concurrency-mt-unsafe)
}

/// Most of what the matrix library and the system keep for later is there after so many calls.
constexpr int kWarmUp = 500;
/// Blocks that are rounded up differently, by turns.
constexpr std::ptrdiff_t kNoise = 4096;

/// Expects that memory is after `calls` calls what it was after the first few.
void ExpectFlat(const std::string& name, int calls, const std::function<void()>& call) {
  for (int i = 0; i < kWarmUp && i < calls; ++i) call();
  const CountedMemory memory;
  for (int i = 0; i < calls; ++i) call();
  EXPECT_LE(memory.Live(), kNoise) << name << " after " << calls << " calls";
  EXPECT_GE(memory.Live(), -kNoise) << name << " after " << calls << " calls";
}

struct Subject {
  Subject() {
    photo.image = cv::Mat(24, 24, CV_16UC1, cv::Scalar(20));
    photo.image(cv::Rect(4, 4, 16, 16)) = 2000;
    photo.type = CIE_Y;
    photo.pattern = Shot::Pattern{1, 1, 1, 0, 0, 8, 8};
    EXPECT_EQ(Extract(), 0);
    std::uint64_t size = 0;
    EXPECT_EQ(DravixGetBufferSize(&dravix, &size), 0);
    buffer.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(DravixToBuffer(&dravix, buffer.data(), &size), 0);
    EXPECT_EQ(DravixSave(&dravix, loaded.c_str()), 0);
    // Names that lead to where nothing is kept, since a disk would take minutes.
    std::filesystem::create_symlink("/dev/null", saved);
    std::filesystem::create_symlink("/dev/null", picture);
  }
  std::int32_t Extract() {
    const std::int32_t corners[] = {4, 4, 19, 4, 19, 19, 4, 19};
    return DravixExtract(&dravix, &photo, corners, 4, 0, 0, 0);
  }

  TempDir folder;
  std::string saved = folder.File("saved.lum");
  std::string loaded = folder.File("loaded.lum");
  std::string picture = folder.File("picture.png");
  std::string buffer;
  Shot photo;
  Dravix dravix;
};

TEST(FlatMemory, EveryExportLeavesItFlat) {
  Subject s;
  RegionOI region;
  ASSERT_EQ(region.ManualSet(s.photo.image.size(), {{4, 4}, {19, 4}, {19, 19}, {4, 19}}), 0);
  const std::map<std::string, std::function<void()>> calls = {
      {"DravixDestroyHandle", [&] { EXPECT_EQ(DravixDestroyHandle(&s.dravix), 0); }},
      {"DravixExtract", [&] { EXPECT_EQ(s.Extract(), 0); }},
      // One that is refused late: the region is too small for a search of its corners.
      {"DravixExtractPro",
       [&] {
         EXPECT_EQ(DravixExtractPro(&s.dravix, &region, &s.photo, &s.photo, {2, 2}, -1, -1), 204);
       }},
      {"DravixGet",
       [&] {
         DravixResult result{};
         EXPECT_EQ(DravixGet(&s.dravix, &result, 1), 0);
         delete[] static_cast<char*>(result.lum.data);
         delete[] static_cast<char*>(result.resultImage.data);
       }},
      {"DravixSave", [&] { EXPECT_EQ(DravixSave(&s.dravix, s.saved.c_str()), 0); }},
      {"DravixLoad", [&] { EXPECT_EQ(DravixLoad(&s.dravix, s.loaded.c_str()), 0); }},
      {"DravixGetBufferSize",
       [&] {
         std::uint64_t size = 0;
         EXPECT_EQ(DravixGetBufferSize(&s.dravix, &size), 0);
       }},
      {"DravixToBuffer",
       [&] {
         std::uint64_t size = s.buffer.size();
         EXPECT_EQ(DravixToBuffer(&s.dravix, s.buffer.data(), &size), 0);
       }},
      {"DravixFromBuffer",
       [&] {
         EXPECT_EQ(DravixFromBuffer(&s.dravix, s.buffer.data(),
                                    static_cast<std::int64_t>(s.buffer.size())),
                   0);
       }},
      {"DravixExportImage",
       [&] { EXPECT_EQ(DravixExportImage(&s.dravix, s.picture.c_str(), 1), 0); }},
  };
  for (const auto& [name, call] : calls) ExpectFlat(name, Calls(), call);
  // It frees what is there, so that each call needs a result first.
  ExpectFlat("DravixRelease", Calls(), [&] {
    EXPECT_EQ(
        DravixFromBuffer(&s.dravix, s.buffer.data(), static_cast<std::int64_t>(s.buffer.size())),
        0);
    EXPECT_EQ(DravixRelease(&s.dravix), 0);
  });
}

/// Handles live until the process ends. A host that makes them by the thousand pays for each, and
/// for nothing else.
TEST(FlatMemory, AHandleCostsItself) {
  constexpr int kHandles = 100000;
  std::vector<DravixHandle> handles(kHandles);
  const CountedMemory memory;
  for (DravixHandle& handle : handles) ASSERT_EQ(DravixCreateHandle(&handle), 0);
  EXPECT_LE(memory.Live(), static_cast<std::ptrdiff_t>(kHandles * (sizeof(Dravix) + 32)));
  for (const DravixHandle handle : handles) delete handle;
}

/// A whole measurement with a checkerboard takes tens of milliseconds, so that fewer must do.
TEST(FlatMemory, ManyMeasurementsWithACheckerboardLeaveItFlat) {
  const sim::Scene scene;
  const sim::Photograph photograph = sim::Render(scene);
  const Shot board = sim::RenderCheckerboard(scene);
  RegionOI region;
  ASSERT_EQ(region.ManualSet(photograph.shot.image.size(), photograph.truth.cornerPixels), 0);
  Dravix dravix;
  const DravixBlockCounts blocks{photograph.truth.grid.width, photograph.truth.grid.height};
  const auto measure = [&] {
    EXPECT_EQ(DravixExtractPro(&dravix, &region, &photograph.shot, &board, blocks, -1, -1), 0);
    EXPECT_EQ(DravixRelease(&dravix), 0);
  };
  for (int i = 0; i < 20; ++i) measure();
  const CountedMemory memory;
  for (int i = 0; i < 100; ++i) measure();
  EXPECT_LE(memory.Live(), kNoise);
  EXPECT_GE(memory.Live(), -kNoise);
}

}  // namespace
}  // namespace dravix::test
