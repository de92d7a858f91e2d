/// Every request for memory of every export and of every method of the installed headers is refused
/// in turn.
#include <dravix/bimage.h>
#include <dravix/bio.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iterator>
#include <opencv2/imgproc.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "checkerboard/subject.h"
#include "faults/methods.h"
#include "shot/sample_shot.h"
#include "support/mats.h"
#include "support/record_bytes.h"
#include "support/temp_dir.h"
#include "support/watched_memory.h"

namespace {

namespace fs = std::filesystem;
using dravix::test::BlocksInUse;
using dravix::test::BytesOf;
using dravix::test::CountedMemory;
using dravix::test::FailingMemory;
using dravix::test::Loader;
using dravix::test::Loaders;
using dravix::test::Objects;
using dravix::test::RecordHeader;
using dravix::test::Saver;
using dravix::test::Savers;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

/// With one thread, so that requests come in the same order.
const bool kRequestsAreOrdered = [] {
  // A file system in memory is as good here, and flushing it takes no time.
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 0);
  cv::setNumThreads(1);
  return true;
}();

/// Who is asked.
enum class Side {
  kExport,  ///< lets no exception out
  kMethod,  ///< may throw what its header names
};

struct Call {
  std::string name;
  Side side;
  /// Calls it; true for success.
  std::function<bool(Objects&)> call;
  bool keepsObjects = true;  ///< a failure leaves them as they were
};

/// How one call ended.
struct Ending {
  bool succeeded = false;
  bool wasRefused = false;
  std::string wrong;  ///< what must not be
};

Ending EndingOf(const Call& call, Objects& objects, std::int64_t n) {
  Ending ending;
  const FailingMemory failing(n);
  try {
    ending.succeeded = call.call(objects);
  } catch (const cv::Exception&) {
    if (call.side == Side::kExport) ending.wrong = "an exception left an export";
  } catch (const std::bad_alloc&) {
    if (call.side == Side::kExport) ending.wrong = "an exception left an export";
  } catch (...) {
    ending.wrong = "an exception that no header names";
  }
  ending.wasRefused = failing.Happened();
  return ending;
}

std::ptrdiff_t OpenFiles() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// Refuses each request of the call in turn, of long runs only some.
void RefuseEachRequest(const Call& call) {
  constexpr std::int64_t kAll = 1000;  // of the first requests
  std::string expected;
  for (int i = 0; i < 2; ++i) {  // the second time all that is made once has been made
    Objects objects;
    const Ending ending = EndingOf(call, objects, -1);
    EXPECT_TRUE(ending.succeeded) << call.name;
    expected = BytesOf(objects);
  }
  for (std::int64_t n = 1;; n += n < kAll ? 1 : n / 20) {
    SCOPED_TRACE(call.name + ", request " + std::to_string(n));
    const auto open = OpenFiles();
    const std::int64_t before = BlocksInUse();
    Ending ending;
    {
      Objects objects;
      const std::string old = BytesOf(objects);
      ending = EndingOf(call, objects, n);
      if (ending.succeeded) {
        EXPECT_EQ(BytesOf(objects), expected);
      } else if (call.keepsObjects) {
        EXPECT_EQ(BytesOf(objects), old);
      }
    }
    EXPECT_EQ(ending.wrong, "");
    EXPECT_EQ(BlocksInUse(), before) << "memory is lost";
    EXPECT_EQ(OpenFiles(), open) << "a file stays open";
    if (!ending.wasRefused) break;
    testing::Test::RecordProperty("last", std::to_string(n));
    if (testing::Test::HasFailure()) return;
  }
}

class RefusedMemory : public testing::TestWithParam<Call> {};

TEST_P(RefusedMemory, IsACodeOrAnExceptionAndChangesNothing) { RefuseEachRequest(GetParam()); }

/// gtest's name for a case may hold letters and digits only.
std::string NameOf(const testing::TestParamInfo<Call>& info) {
  std::string name = info.param.name;
  std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
  return name;
}

// --- measuring ---

/// A small screen, rendered once.
const dravix::test::Subject& Screen() {
  static const dravix::test::Subject subject(dravix::test::SmallScene());
  return subject;
}

RegionOI ScreenRegion() {
  RegionOI region;
  region.ManualSet(Screen().board.image.size(), Screen().measured.truth.cornerPixels);
  return region;
}

std::vector<std::int32_t> ScreenCorners() {
  std::vector<std::int32_t> corners;
  for (const cv::Point& p : Screen().measured.truth.cornerPixels) {
    corners.insert(corners.end(), {p.x, p.y});
  }
  return corners;
}

bool Extracts(Objects& o) {
  static const std::vector<std::int32_t> corners = ScreenCorners();
  return DravixExtract(o.handle, &Screen().measured.shot, corners.data(), 4, 0, 0, 0) == DRAVIX_OK;
}

bool ExtractsByBlocks(Objects& o) {
  static const RegionOI region = ScreenRegion();
  const dravix::sim::Scene scene = dravix::test::SmallScene();
  const cv::Size grid = Screen().measured.truth.grid;
  const cv::Size last = dravix::sim::LastBlockOf(scene);
  return DravixExtractPro(o.handle, &region, &Screen().measured.shot, &Screen().board,
                          {grid.width, grid.height}, last.width, last.height) == DRAVIX_OK;
}

bool Gets(Objects& o) {
  DravixResult result{};
  if (DravixGet(o.handle, &result, 1) != DRAVIX_OK) return false;
  delete[] static_cast<char*>(result.resultImage.data);
  delete[] static_cast<char*>(result.lum.data);
  return true;
}

std::vector<Call> Exports() {
  static std::string buffer(1 << 16, '\0');
  static const std::string stored = [] {
    for (const Loader& loader : Loaders()) {
      if (loader.name == "DravixLoad") return loader.bytes;
    }
    return std::string();
  }();
  return {
      {"DravixCreateHandle", Side::kExport,
       [](Objects&) {
         DravixHandle handle = nullptr;
         const std::int32_t code = DravixCreateHandle(&handle);
         delete handle;
         return code == DRAVIX_OK;
       }},
      {"DravixExtract", Side::kExport, Extracts},
      {"DravixExtractPro", Side::kExport, ExtractsByBlocks, false},
      {"DravixGet", Side::kExport, Gets},
      {"DravixRelease", Side::kExport,
       [](Objects& o) { return DravixRelease(o.handle) == DRAVIX_OK; }},
      {"DravixGetBufferSize", Side::kExport,
       [](Objects& o) {
         std::uint64_t size = 0;
         return DravixGetBufferSize(o.handle, &size) == DRAVIX_OK;
       }},
      {"DravixToBuffer", Side::kExport,
       [](Objects& o) {
         std::uint64_t size = buffer.size();
         return DravixToBuffer(o.handle, buffer.data(), &size) == DRAVIX_OK;
       }},
      {"DravixFromBuffer", Side::kExport,
       [](Objects& o) {
         return DravixFromBuffer(o.handle, stored.data(),
                                 static_cast<std::int64_t>(stored.size())) == DRAVIX_OK;
       }},
  };
}
INSTANTIATE_TEST_SUITE_P(Exports, RefusedMemory, testing::ValuesIn(Exports()), NameOf);

std::vector<Call> ShotMethods() {
  const auto method = [](const char* name, const std::function<bool(Objects&)>& call) {
    return Call{name, Side::kMethod, call};
  };
  return {
      method("Shot::Shot", [](Objects& o) { return Shot(o.shot).type == o.shot.type; }),
      method("Shot::operator=",
             [](Objects& o) {
               o.shot = o.colorShot;
               return true;
             }),
      method("Shot::SetImageSingle",
             [](Objects& o) {
               return o.shot.SetImageSingle(cv::Mat::zeros(20, 30, CV_16UC1), CIE_Y) == DRAVIX_OK;
             }),
      method("Shot::SetImageColor",
             [](Objects& o) {
               const cv::Mat raw = o.shot.image.clone();
               return o.shot.SetImageColor(raw, cv::COLOR_BayerRG2BGR, CAM_RGB) == DRAVIX_OK;
             }),
      method("Shot::SetPointLocatorMeta",
             [](Objects& o) {
               const int screen[] = {8, 6};
               const int interval[] = {2, 2};
               return o.shot.SetPointLocatorMeta(120016, screen, interval, 1, 2) == DRAVIX_OK;
             }),
      method("Shot::Check",
             [](Objects& o) {
               return Shot::Check(CHECK_IMAGE | CHECK_SAME_SIZE, &o.shot, &o.shot) == DRAVIX_OK;
             }),
      method("Shot::FromBuffer",
             [](Objects& o) {
               static const std::string bytes = Loaders().front().bytes;
               return o.shot.FromBuffer(bytes.data(), bytes.size()) == DRAVIX_OK;
             }),
      method("Shot::ToBuffer",
             [](Objects& o) {
               std::size_t size = 0;
               if (o.colorShot.GetBufferSize(&size) != DRAVIX_OK) return false;
               std::vector<char> buffer(size);
               return o.colorShot.ToBuffer(buffer.data(), &size) == DRAVIX_OK;
             }),
      method("Shot::Split",
             [](Objects& o) {
               Shot r, g, b;
               return o.colorShot.Split(&r, &g, &b) == DRAVIX_OK;
             }),
      method("Shot::ConvertColorSpace",
             [](Objects& o) {
               const cv::Mat matrix = cv::Mat::eye(3, 3, CV_64FC1);
               return o.colorShot.ConvertColorSpace(CIE_XYZ, matrix) == DRAVIX_OK;
             }),
      method("Shot::RemoveBackground",
             [](Objects& o) { return o.shot.RemoveBackground(Shot(o.shot)) == DRAVIX_OK; }),
      method("Shot::Rotate", [](Objects& o) { return o.shot.Rotate(90) == DRAVIX_OK; }),
      method("Shot::CopyTo",
             [](Objects& o) {
               o.colorShot.CopyTo(o.shot);
               return true;
             }),
      method("Shot::Info",
             [](Objects& o) {
               o.shot.Info();
               return true;
             }),
  };
}
INSTANTIATE_TEST_SUITE_P(Shot, RefusedMemory, testing::ValuesIn(ShotMethods()), NameOf);

std::vector<Call> RegionMethods() {
  const auto method = [](const char* name, const std::function<bool(Objects&)>& call) {
    return Call{name, Side::kMethod, call};
  };
  return {
      method("RegionOI::SetShot",
             [](Objects& o) { return o.region.SetShot(&Screen().measured.shot) == DRAVIX_OK; }),
      method("RegionOI::AutoSet",
             [](Objects& o) {
               o.region.shot = &Screen().measured.shot;
               return o.region.AutoSet() == DRAVIX_OK;
             }),
      method("RegionOI::ComputeBlur",
             [](Objects& o) {
               o.region.shot = &Screen().measured.shot;
               return o.region.ComputeBlur() == DRAVIX_OK;
             }),
      method(
          "RegionOI::ManualSet",
          [](Objects& o) {
            return o.region.ManualSet({50, 40}, {{2, 2}, {40, 3}, {41, 30}, {3, 31}}) == DRAVIX_OK;
          }),
      method("RegionOI::GetPrecision4Corner",
             [](Objects&) {
               std::vector<cv::Point> corners;
               return ScreenRegion().GetPrecision4Corner(corners) == DRAVIX_OK;
             }),
      method("RegionOI::PerspectiveSet",
             [](Objects& o) {
               return o.region.PerspectiveSet({{2, 2}, {40, 3}, {41, 30}, {3, 31}}) == DRAVIX_OK;
             }),
      method("RegionOI::WarpPerspective",
             [](Objects& o) {
               RegionOI region;
               return region.PerspectiveSet({{2, 2}, {8, 3}, {8, 6}, {2, 6}}) == DRAVIX_OK &&
                      region.WarpPerspective(&o.shot) == DRAVIX_OK;
             }),
      method("RegionOI::Rotate", [](Objects& o) { return o.region.Rotate(90) == DRAVIX_OK; }),
      method("RegionOI::ToBuffer",
             [](Objects& o) {
               std::size_t size = 0;
               if (o.region.GetBufferSize(&size) != DRAVIX_OK) return false;
               std::vector<char> buffer(size);
               return o.region.ToBuffer(buffer.data(), &size) == DRAVIX_OK;
             }),
      method("RegionOI::FromBuffer",
             [](Objects& o) {
               static const std::string bytes = Loaders()[1].bytes;
               return o.region.FromBuffer(bytes.data(), bytes.size()) == DRAVIX_OK;
             }),
      method("OrderCorners",
             [](Objects&) {
               return OrderCorners({{2, 2}, {40, 3}, {41, 30}, {3, 31}}).size() == 4 &&
                      RectToCorners(cv::Rect(1, 2, 3, 4)).size() == 4 &&
                      RectToCorners(cv::RotatedRect({5, 5}, {3, 4}, 30)).size() == 4;
             }),
      method("WriteMat and ReadMat",
             [](Objects& o) {
               std::stringstream stream;
               stream.exceptions(std::ios::badbit);
               WriteMat(o.colorShot.image, stream);
               cv::Mat m;
               ReadMat(stream, m);
               return m.size() == o.colorShot.image.size();
             }),
  };
}
INSTANTIATE_TEST_SUITE_P(Region, RefusedMemory, testing::ValuesIn(RegionMethods()), NameOf);

// --- files ---

std::vector<Call> LoadCalls() {
  static const TempDir dir;
  std::vector<Call> calls;
  for (const Loader& loader : Loaders()) {
    const std::string name = dir.File(std::to_string(calls.size()) + loader.extension);
    Spill(name, loader.bytes);
    const bool isExport = loader.name.starts_with("Dravix");
    calls.push_back({loader.name, isExport ? Side::kExport : Side::kMethod,
                     [loader, name](Objects& o) { return loader.load(o, name); }});
  }
  return calls;
}
INSTANTIATE_TEST_SUITE_P(Loading, RefusedMemory, testing::ValuesIn(LoadCalls()), NameOf);

TEST(RefusedMemoryWhileSaving, LeavesTheOldFileOrTheNewOne) {
  for (const Saver& saver : Savers()) {
    const TempDir dir;
    const std::string name = dir.File("a" + saver.extension);
    const Objects objects;
    ASSERT_TRUE(saver.save(objects, name)) << saver.name;
    const std::string saved = Slurp(name);
    const Call call{saver.name, saver.name.starts_with("Dravix") ? Side::kExport : Side::kMethod,
                    [&](Objects& o) { return saver.save(o, name); }};
    for (std::int64_t n = 1;; n += n < 100 ? 1 : n / 10) {
      SCOPED_TRACE(saver.name + ", request " + std::to_string(n));
      Spill(name, "old");
      Objects copy;
      const auto open = OpenFiles();
      const Ending ending = EndingOf(call, copy, n);
      EXPECT_EQ(OpenFiles(), open);
      EXPECT_EQ(ending.wrong, "");
      EXPECT_EQ(Slurp(name), ending.succeeded ? saved : "old");
      EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()), 1);
      if (!ending.wasRefused || HasFailure()) break;
    }
  }
}

// --- what claims cost ---

/// A record that claims that many channels of so many bytes, and holds next to nothing.
std::string Claim(int rows, int cols, int type, int channels) {
  return RecordHeader{rows, cols, type, channels}.Bytes() + "abc";
}

TEST(Claims, CostNoMoreThan64MiB) {
  constexpr std::int64_t kMost = (std::int64_t{64} << 20) + (1 << 20);
  for (const std::string& record :
       {Claim(1 << 13, 1 << 13, CV_8UC1, 1), Claim(1 << 12, 1 << 12, CV_8UC4, 4),
        Claim(1 << 9, 1 << 8, CV_8UC1, 512), Claim(1, (1 << 26) / 3, CV_8UC3, 3),
        Claim((1 << 25) / 3, 1, CV_16UC3, 3)}) {
    const std::string head = std::string("L\1\0\0\0", 5);
    const std::string shot = head + std::string(4, '\0') + record;
    const std::string region = head + std::string(24, '\0') + record;
    const std::string result = head + record;
    const CountedMemory memory;
    EXPECT_EQ(Shot().FromBuffer(shot.data(), shot.size()), DRAVIX_OK);
    EXPECT_EQ(RegionOI().FromBuffer(region.data(), region.size()), DRAVIX_OK);
    Dravix dravix;
    EXPECT_EQ(dravix.FromBuffer(result.data(), static_cast<std::int64_t>(result.size())),
              DRAVIX_OK);
    EXPECT_FALSE(dravix.resultImage.empty());
    EXPECT_LE(memory.Peak(), kMost);
  }
}

}  // namespace
