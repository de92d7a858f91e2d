// The tool's own reader of plain DNG files and LibRaw must give the same numbers: each is the
// other's witness.
#include "photographs/formats/camera_raw.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "photographs/formats/tiff_picture.h"
#include "tools/other_programs.h"

using dravix::test::kMagick;
using dravix::test::MadeFiles;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::tool::BlackLevel;
using dravix::tool::CameraPicture;
using dravix::tool::TiffPicture;

namespace {

/// The level at every place of a 12 x 12 corner, so that patterns of different size compare.
std::vector<double> LevelsOf(const std::optional<BlackLevel>& black) {
  std::vector<double> levels;
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 12; ++x) {
      const auto at =
          static_cast<std::size_t>(y % black->rows * black->columns + x % black->columns);
      levels.push_back(black->values[at]);
    }
  }
  return levels;
}

void ExpectSameAsLibRaw(const std::string& name, bool black) {
  SCOPED_TRACE(name);
  std::string bytes = Slurp(name);
  const TiffPicture tiff = dravix::tool::TiffPictureOf(name, bytes);
  dravix::tool::RequireWholeTiff(name, tiff);
  ASSERT_TRUE(dravix::tool::IsPlainTiff(tiff));
  cv::Mat own = dravix::tool::UnpackTiff(name, tiff)(ActiveAreaOf(tiff)).clone();
  own.convertTo(own, CV_16U);
  const CameraPicture other = dravix::tool::ReadCameraRaw(name, bytes);
  EXPECT_TRUE(SameBytes(own, other.samples));
  EXPECT_EQ(MosaicOf(tiff), other.mosaic);
  if (black) {
    EXPECT_EQ(LevelsOf(BlackLevelOf(tiff)), LevelsOf(other.black));
  }
}

class CameraRaw : public testing::Test {
 protected:
  void SetUp() override {
    if (dravix::tool::CameraRawDecoder().empty()) GTEST_SKIP() << "built without LibRaw";
  }
  /// A DNG of random samples with a mosaic, black levels and dark borders, by libtiff's tools.
  /// LibRaw takes no picture of fewer than 22 rows.
  void MakeDng(const std::string& compression) {
    made_.Run(std::string(kMagick) + "-compress none plain.tif");
    made_.Run("tiffcp -c " + compression + " plain.tif x.dng");
    for (const char* tag :
         {"50706 1 4 0 0", "50708 'Camera X'", "262 32803", "33421 2 2", "33422 4 1 0 2 1",
          "50713 2 2", "50714 4 100 200 300 400", "50717 1 4095", "50829 2 2 24 34"}) {
      made_.Run(std::string("tiffset -s ") + tag + " x.dng");
    }
  }
  MadeFiles made_;
};

TEST_F(CameraRaw, SampleOfFourteenPackedBitsIsReadAlike) {
  const std::filesystem::path sample =
      std::filesystem::path(DRAVIX_SAMPLES_DIR) / "packed14_colorchart.dng";
  if (!std::filesystem::exists(sample)) GTEST_SKIP() << "no " << sample;
  ExpectSameAsLibRaw(sample.string(), true);
}

TEST_F(CameraRaw, SampleOfAnEmulatorIsReadAlike) {
  const std::filesystem::path sample =
      std::filesystem::path(DRAVIX_SAMPLES_DIR) / "emubayer_test.dng";
  if (!std::filesystem::exists(sample)) GTEST_SKIP() << "no " << sample;
  ExpectSameAsLibRaw(sample.string(), false);
}

TEST_F(CameraRaw, MadeDngIsReadAlike) {
  DRAVIX_NEEDS("convert");
  DRAVIX_NEEDS("tiffset");
  MakeDng("none");
  ExpectSameAsLibRaw(made_.File("x.dng"), true);
}

TEST_F(CameraRaw, CutDngIsRefused) {
  DRAVIX_NEEDS("convert");
  DRAVIX_NEEDS("tiffset");
  MakeDng("none");
  std::string bytes = Slurp(made_.File("x.dng"));
  // libtiff writes the directory behind the samples; a hole in their place is a cut, too.
  bytes.resize(bytes.size() / 3);
  EXPECT_ANY_THROW(static_cast<void>(dravix::tool::ReadCameraRaw("x.dng", bytes)));
}

}  // namespace
