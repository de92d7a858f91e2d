// What shows by the first bytes of files must agree with what reading all of them shows.
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <optional>
#include <string>
#include <vector>

#include "files/partial_file.h"
#include "photographs/photograph.h"
#include "photographs/picture_size.h"
#include "support/mats.h"
#include "support/temp_dir.h"
#include "terminal/failure.h"
#include "tools/camera_bytes.h"

namespace dravix::tool {
namespace {

using test::RandomMat;

const cv::Size kSize(48, 32);

cv::Mat Samples(int type) {
  return RandomMat(kSize, type, 5, 0, CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536);
}

/// An uncompressed TIFF whose directory stands behind the samples, as most programs write it. The
/// fields follow the common ones, so that their tags must be larger than those.
std::string Tiff(const cv::Mat& samples, std::uint32_t photometric,
                 const std::vector<std::string>& more) {
  using test::Entry;
  using test::Little;
  constexpr std::uint32_t kData = 8;
  const std::string data(reinterpret_cast<const char*>(samples.data),
                         samples.total() * samples.elemSize());
  const auto width = static_cast<std::uint32_t>(samples.cols);
  const auto height = static_cast<std::uint32_t>(samples.rows);
  std::vector<std::string> fields = {
      Entry(256, 4, 1, width),
      Entry(257, 4, 1, height),
      Entry(258, 3, 1, static_cast<std::uint32_t>(samples.elemSize1()) * 8),
      Entry(259, 3, 1, 1),
      Entry(262, 3, 1, photometric),
      Entry(273, 4, 1, kData),
      Entry(277, 3, 1, static_cast<std::uint32_t>(samples.channels())),
      Entry(278, 4, 1, height),
      Entry(279, 4, 1, static_cast<std::uint32_t>(data.size()))};
  fields.insert(fields.end(), more.begin(), more.end());
  std::string bytes = std::string("II*\0", 4) +
                      Little(kData + static_cast<std::uint32_t>(data.size()), 4) + data +
                      Little(static_cast<std::uint32_t>(fields.size()), 2);
  for (const std::string& field : fields) bytes += field;
  return bytes + Little(0, 4);
}

/// Photographs of all kinds, with few pixels.
class Files {
 public:
  Files() {
    AddShot("gray.shot", CV_16UC1, CIE_Y);
    AddShot("red.shot", CV_16UC1, CAM_R);
    AddShot("mosaic.shot", CV_16UC1, CAM_RGB);
    AddShot("colors.shot", CV_16UC3, CAM_RGB);
    AddShot("xyz.shot", CV_16UC3, CIE_XYZ);
    AddPicture("gray.jpg", CV_8UC1);
    AddPicture("colors.jpg", CV_8UC3);
    AddPicture("gray8.png", CV_8UC1);
    AddPicture("gray16.png", CV_16UC1);
    AddPicture("colors8.png", CV_8UC3);
    AddPicture("colors16.png", CV_16UC3);
    AddPicture("alpha.png", CV_8UC4);
    AddPicture("gray8.pgm", CV_8UC1);
    AddPicture("gray16.pgm", CV_16UC1);
    test::Spill(File("dump.raw"), test::Samples(Samples(CV_16UC1)));
    names_.push_back("dump.raw");
    const std::string isDng = test::Entry(50706, 1, 4, 0x00000401);
    const std::string repeat = test::Entry(33421, 3, 2, 0x00020002);
    const std::string rggb = test::Entry(33422, 1, 4, 0x02010100);
    const std::string other = test::Entry(33422, 1, 4, 0x02010101);
    const std::string black = test::Entry(50714, 4, 1, 64);
    AddTiff("gray8.tif", CV_8UC1, 1, {});
    AddTiff("gray16.tif", CV_16UC1, 1, {});
    AddTiff("colors8.tif", CV_8UC3, 2, {});
    AddTiff("colors16.tif", CV_16UC3, 2, {});
    AddTiff("mosaic.dng", CV_16UC1, 32803, {repeat, rggb, isDng, black});
    AddTiff("other.dng", CV_16UC1, 32803, {repeat, other, isDng});
    AddTiff("mosaic8.dng", CV_8UC1, 32803, {repeat, rggb, isDng});
    AddTiff("gray.dng", CV_16UC1, 1, {isDng});
    AddTiff("linear.dng", CV_16UC3, 34892, {isDng});
    AddTiff("hosts.dng", CV_16UC1, 1, {});
  }
  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  [[nodiscard]] const std::vector<std::string>& Names() const { return names_; }

 private:
  void AddShot(const std::string& name, int pixels, std::uint32_t type) {
    Shot shot;
    shot.type = type;
    shot.image = Samples(pixels);
    static_cast<void>(shot.SetPartition({0, 0, 20, 10, 40, 30}));
    EXPECT_EQ(shot.Save(File(name)), 0) << name;
    names_.push_back(name);
  }
  void AddPicture(const std::string& name, int pixels) {
    EXPECT_TRUE(cv::imwrite(File(name), Samples(pixels))) << name;
    names_.push_back(name);
  }
  void AddTiff(const std::string& name, int pixels, std::uint32_t photometric,
               const std::vector<std::string>& fields) {
    test::Spill(File(name), Tiff(Samples(pixels), photometric, fields));
    names_.push_back(name);
  }

  test::TempDir folder_;
  std::vector<std::string> names_;
};

/// Every combination of what may be chosen, right and wrong.
std::vector<PhotographOptions> Choices() {
  std::vector<PhotographOptions> all;
  for (const char* channel : {"", "r", "b", "gray", "x"}) {
    for (const char* type : {"", "CIE_Y", "CAM_G", "CAM_RGB", "CIE_XYZ", "none"}) {
      for (const char* mosaic : {"", "rggb", "none"}) {
        for (const char* linearize : {"", "srgb"}) {
          for (const char* black : {"keep", "subtract", "16", "none"}) {
            PhotographOptions options;
            options.channel = channel;
            options.type = type;
            options.mosaic = mosaic;
            options.linearize = linearize;
            options.blackLevel = black;
            all.push_back(options);
          }
        }
      }
    }
  }
  PhotographOptions turned;
  turned.flip = true;
  PhotographOptions camera;
  camera.camType = 320012;
  PhotographOptions dump;
  dump.rawSize = "48x32";
  PhotographOptions dumpOfAColor = dump;
  dumpOfAColor.channel = "g";
  PhotographOptions layout;
  layout.dngLayout = "none";
  all.insert(all.end(), {turned, camera, dump, dumpOfAColor, layout});
  return all;
}

std::string TextOf(const PhotographOptions& o) {
  return "channel " + o.channel + ", type " + o.type + ", mosaic " + o.mosaic + ", linearize " +
         o.linearize + ", black level " + o.blackLevel + ", raw size " + o.rawSize;
}

/// What opening comes to: a shot, or an exit code.
template <class Opened>
struct Outcome {
  std::optional<Opened> opened;
  std::optional<ExitCode> exit;
};

template <class Open>
auto Try(Open&& open) -> Outcome<decltype(open())> {
  try {
    return {open(), std::nullopt};
  } catch (const Failure& failure) {
    return {std::nullopt, failure.Exit()};
  }
}

TEST(StandIn, IsRefusedWhereThePhotographIs) {
  const Files files;
  int known = 0;
  for (const std::string& name : files.Names()) {
    const std::string file = files.File(name);
    for (const PhotographOptions& options : Choices()) {
      SCOPED_TRACE(name + ": " + TextOf(options));
      const auto whole = Try([&] { return OpenPhotograph(file, options); });
      const auto standIn = Try([&] { return StandInFor(file, options); });
      if (!standIn.opened || !*standIn.opened) continue;
      ASSERT_NE(whole.exit, ExitCode::kUsage);
      if (!whole.opened) continue;
      ++known;
      const PhotographStandIn& small = **standIn.opened;
      const Shot& shot = whole.opened->shot;
      ASSERT_EQ(small.shot.image.type(), shot.image.type());
      ASSERT_EQ(small.shot.type, shot.type);
      ASSERT_EQ(small.shot.partition.has_value(), shot.partition.has_value());
      ASSERT_EQ(small.size, shot.image.size());
    }
  }
  // Else the test would say nothing.
  EXPECT_GT(known, 500);
}

TEST(StandIn, IsKnownForCommonFilesAndChoices) {
  const Files files;
  PhotographOptions green;
  green.channel = "g";
  for (const char* name :
       {"colors.shot", "colors.jpg", "gray.jpg", "colors8.png", "colors16.png", "alpha.png",
        "mosaic.dng", "mosaic8.dng", "linear.dng", "colors16.tif"}) {
    EXPECT_TRUE(StandInFor(files.File(name), green)) << name;
  }
  for (const char* name : {"gray.shot", "xyz.shot", "gray16.png", "gray8.pgm", "gray16.pgm",
                           "gray16.tif", "gray.dng"}) {
    EXPECT_TRUE(StandInFor(files.File(name), {})) << name;
  }
}

TEST(StandIn, IsEmptyWhereTheFirstBytesDoNotSayEnough) {
  const Files files;
  ASSERT_TRUE(cv::imwrite(files.File("lzw.tif"), Samples(CV_16UC1)));
  EXPECT_FALSE(StandInFor(files.File("lzw.tif"), {}));
  EXPECT_FALSE(StandInFor(files.File("hosts.dng"), {}));
  PhotographOptions camera;
  camera.camType = 320012;
  EXPECT_FALSE(StandInFor(files.File("dump.raw"), {}));
  EXPECT_FALSE(StandInFor(files.File("dump.raw"), camera));
  PhotographOptions dump;
  dump.rawSize = "48x32";
  EXPECT_TRUE(StandInFor(files.File("dump.raw"), dump));
  // A palette, and gray with transparency.
  std::string png = test::Slurp(files.File("gray8.png"));
  for (const char type : {'\3', '\4'}) {
    png[25] = type;
    test::Spill(files.File("other.png"), png);
    EXPECT_FALSE(StandInFor(files.File("other.png"), {}));
  }
  EXPECT_THROW((void)StandInFor(files.File("missing.jpg"), {}), Failure);
}

TEST(StandIn, NeedsNoPixels) {
  const Files files;
  for (const char* name : {"colors.jpg", "colors16.png", "gray16.pgm"}) {
    const std::string cut = files.File(std::string("cut.") + name);
    test::Spill(cut, test::Slurp(files.File(name)).substr(0, 640));
    const auto standIn = StandInFor(cut, {});
    ASSERT_TRUE(standIn) << name;
    EXPECT_EQ(standIn->size, kSize) << name;
    EXPECT_THROW((void)OpenPhotograph(cut, {}), Failure) << name;
    EXPECT_EQ(SamplesIn(cut), SamplesIn(files.File(name))) << name;
  }
}

TEST(StandIn, ReadsNoPixelsOfAShot) {
  const Files files;
  std::string head = test::Slurp(files.File("gray.shot")).substr(0, 25);
  // 2,097,152 x 1,048,576 pixels, 4 TiB: more than could be read.
  const std::string rows("\0\0\x10\0", 4);
  const std::string columns("\0\0\x20\0", 4);
  head.replace(9, 8, rows + columns);
  const std::string file = files.File("large.shot");
  if (!test::SpillWithHoles(file, head)) GTEST_SKIP() << "files cannot be that large here";
  const auto standIn = StandInFor(file, {});
  ASSERT_TRUE(standIn);
  EXPECT_EQ(standIn->size, cv::Size(1 << 21, 1 << 20));
}

TEST(PartialFile, ReadsOnlyWhatIsFetched) {
  const test::TempDir folder;
  std::string bytes(20000, 'x');
  bytes[19999] = 'y';
  test::Spill(folder.File("f"), bytes);
  PartialFile file(folder.File("f"));
  ASSERT_EQ(file.Bytes().size(), 20000U);
  file.Fetch(19990, 1000);
  EXPECT_EQ(file.Bytes().substr(19990), "xxxxxxxxxy");
  EXPECT_EQ(file.Bytes()[0], '\0');
  file.Fetch(4000, 200);
  EXPECT_EQ(file.Bytes().substr(4000, 200), std::string(200, 'x'));
  EXPECT_EQ(file.Bytes()[10000], '\0');
  file.Fetch(UINT64_MAX, UINT64_MAX);
  file.Fetch(0, UINT64_MAX);
  EXPECT_EQ(file.Bytes(), bytes);
}

TEST(PartialFile, MayBeEmptyButMustBeThere) {
  const test::TempDir folder;
  test::Spill(folder.File("f"), "");
  PartialFile file(folder.File("f"));
  file.Fetch(0, 10);
  EXPECT_TRUE(file.Bytes().empty());
  EXPECT_THROW(PartialFile(folder.File("none")), Failure);
}

}  // namespace
}  // namespace dravix::tool
