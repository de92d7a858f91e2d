#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <opencv2/imgproc.hpp>

#include "shot/sample_shot.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::ColorShot;
using dravix::test::FullShot;
using dravix::test::LogCapture;
using dravix::test::Mosaic;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::SameGroups;
using dravix::test::SameShot;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

cv::Mat Plane(const cv::Mat& m, int index) {
  cv::Mat plane;
  cv::extractChannel(m, plane, index);
  return plane;
}

// --- split ---

TEST(Split, GivesEachPlaneItsShotWithTheMetadata) {
  const LogCapture log;
  const Shot color = ColorShot();
  Shot r;
  Shot g;
  Shot b = FullShot();
  EXPECT_EQ(color.Split(&r, &g, &b), DRAVIX_OK);
  int plane = 0;
  for (const Shot* out : {&r, &g, &b}) {
    EXPECT_TRUE(SameBytes(out->image, Plane(color.image, plane)));
    EXPECT_TRUE(SameGroups(*out, color));
    EXPECT_EQ(out->type, CAM_R << plane++);
  }
  EXPECT_EQ(log.Infos().front(), "Shot::Split");
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(Split, FillsOnlyTheOutputsGiven) {
  const Shot color = ColorShot();
  Shot g;
  EXPECT_EQ(color.Split(nullptr, &g, nullptr), DRAVIX_OK);
  EXPECT_EQ(g.type, CAM_G);
  EXPECT_TRUE(SameBytes(g.image, Plane(color.image, 1)));
}

TEST(Split, RemovesGroupsThatTheSourceLacks) {
  Shot color = ColorShot();
  color.capture.reset();
  Shot r = FullShot();
  EXPECT_EQ(color.Split(&r, nullptr, nullptr), DRAVIX_OK);
  EXPECT_FALSE(r.capture);
}

TEST(Split, MayFillTheShotItself) {
  Shot color = ColorShot();
  const cv::Mat expected = Plane(color.image, 2);
  Shot r;
  EXPECT_EQ(color.Split(&r, nullptr, &color), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(color.image, expected));
  EXPECT_EQ(color.type, CAM_B);
  EXPECT_TRUE(SameGroups(color, ColorShot()));
  EXPECT_TRUE(SameBytes(r.image, Plane(ColorShot().image, 0)));
}

TEST(Split, TheSameOutputTwiceHoldsTheFirst) {
  const Shot color = ColorShot();
  Shot out;
  EXPECT_EQ(color.Split(&out, &out, &out), DRAVIX_OK);
  EXPECT_EQ(out.type, CAM_R);
  EXPECT_TRUE(SameBytes(out.image, Plane(color.image, 0)));
  EXPECT_TRUE(SameGroups(out, color));
}

TEST(Split, ChecksOutputsThenPixelsThenType) {
  LogCapture log;
  Shot shot;
  Shot out = FullShot();
  EXPECT_EQ(shot.Split(nullptr, nullptr, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(shot.Split(&out, nullptr, nullptr), DRAVIX_NO_RESULT);
  shot = ColorShot();
  shot.type = CIE_XYZ;
  EXPECT_EQ(shot.Split(&out, nullptr, nullptr), DRAVIX_BAD_IMAGE);
  shot.type = CAM_RGB;
  shot.image = Mosaic();
  EXPECT_EQ(shot.Split(&out, nullptr, nullptr), DRAVIX_BAD_IMAGE);
  const std::string mismatch = "Shot::Split -- Error image.channels() != 3 || type!= CAM_RGB";
  EXPECT_THAT(log.Errors(), ElementsAre("SHOT::Split -- all input was nullptr",
                                        "Shot::Split--Error :: empty", mismatch, mismatch));
  EXPECT_TRUE(SameShot(out, FullShot()));
}

// --- color space ---

const cv::Matx33d kMixed(0.5, 0.25, 0.125, 0.1, 0.7, 0.2, -1.0, 0.5, 2.0);

/// The product in single precision, rounded half to even, saturated.
std::uint16_t Mixed(const cv::Vec3w& pixel, int row) {
  float sum = 0;
  for (int c = 0; c < 3; ++c)
    sum += static_cast<float>(kMixed(row, c)) * static_cast<float>(pixel[c]);
  return cv::saturate_cast<std::uint16_t>(sum);
}

TEST(ConvertColorSpace, MultipliesEveryPixelByTheMatrix) {
  const LogCapture log;
  Shot shot = ColorShot({31, 17});
  const cv::Mat before = shot.image.clone();
  EXPECT_EQ(shot.ConvertColorSpace(CIE_XYZ, cv::Mat(kMixed)), DRAVIX_OK);
  EXPECT_EQ(shot.type, CIE_XYZ);
  ASSERT_EQ(shot.image.type(), CV_16UC3);
  ASSERT_EQ(shot.image.size(), before.size());
  for (int y = 0; y < before.rows; ++y) {
    for (int x = 0; x < before.cols; ++x) {
      for (int row = 0; row < 3; ++row) {
        // A sum that ends near one half may round the other way.
        EXPECT_NEAR(shot.image.at<cv::Vec3w>(y, x)[row], Mixed(before.at<cv::Vec3w>(y, x), row), 1);
      }
    }
  }
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::ConvertColorSpace"));
  EXPECT_TRUE(SameGroups(shot, ColorShot()));
}

TEST(ConvertColorSpace, TheIdentityKeepsEverySample) {
  Shot shot = ColorShot();
  EXPECT_EQ(shot.ConvertColorSpace(CIE_XYZ, cv::Mat::eye(3, 3, CV_32F)), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot.image, ColorShot().image));
}

TEST(ConvertColorSpace, ASinglePlaneComesFromItsRowOfTheMatrix) {
  const std::array planes{CIE_X, CIE_Y, CIE_Z};
  Shot all = ColorShot();
  ASSERT_EQ(all.ConvertColorSpace(CIE_XYZ, cv::Mat(kMixed)), DRAVIX_OK);
  for (int i = 0; i < 3; ++i) {
    const std::uint32_t type = planes[static_cast<std::size_t>(i)];
    Shot shot = ColorShot();
    EXPECT_EQ(shot.ConvertColorSpace(type, cv::Mat(kMixed)), DRAVIX_OK);
    EXPECT_EQ(shot.type, type);
    EXPECT_TRUE(SameBytes(shot.image, Plane(all.image, i)));
  }
}

TEST(ConvertColorSpace, ResultsAreSaturated) {
  Shot shot = ColorShot();
  shot.image = cv::Mat(1, 1, CV_16UC3, cv::Scalar(60000, 100, 0));
  const cv::Mat m = (cv::Mat_<double>(3, 3) << 2, 0, 0, -1, 0, 0, 0, 0.015, 0);
  EXPECT_EQ(shot.ConvertColorSpace(CIE_XYZ, m), DRAVIX_OK);
  EXPECT_EQ(shot.image.at<cv::Vec3w>(0), cv::Vec3w(65535, 0, 2));
}

TEST(ConvertColorSpace, APartOfALargerImageIsConvertedLikeItsCopy) {
  Shot part = ColorShot();
  const cv::Mat whole = part.image;
  part.image = whole(cv::Rect(1, 2, 5, 3));
  Shot copy = ColorShot();
  copy.image = part.image.clone();
  EXPECT_EQ(part.ConvertColorSpace(CIE_XYZ, cv::Mat(kMixed)), DRAVIX_OK);
  EXPECT_EQ(copy.ConvertColorSpace(CIE_XYZ, cv::Mat(kMixed)), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(part.image, copy.image));
  EXPECT_TRUE(SameBytes(whole, ColorShot().image));
}

/// The conversion through the table of pixels: one pixel in each row, transposed, multiplied and
/// transposed back.
cv::Mat ThroughTheTable(const cv::Mat& image, const cv::Mat& matrix) {
  cv::Mat pixels;
  image.clone().reshape(1, image.rows * image.cols).convertTo(pixels, CV_32F);
  cv::Mat single;
  matrix.convertTo(single, CV_32F);
  const cv::Mat columns = pixels.t();
  const cv::Mat product = single * columns;
  cv::Mat samples;
  cv::Mat(product.t()).reshape(3, image.rows).convertTo(samples, CV_16U);
  return samples;
}

TEST(ConvertColorSpace, HasTheBitsOfTheWholeTable) {
  for (const cv::Size size : {cv::Size(1, 1), cv::Size(7, 3), cv::Size(641, 479)}) {
    const cv::Mat large = RandomMat({size.width + 2, size.height + 1}, CV_16UC3, 5, 0, 65536);
    const cv::Mat before = large.clone();
    const cv::Mat part = large(cv::Rect({1, 1}, size));
    const cv::Mat matrix =
        (cv::Mat_<double>(3, 3) << 0.41, 0.36, -0.18, 0.21, 0.72, 0.07, 0.02, 0.12, 1.95);
    const cv::Mat expected = ThroughTheTable(part, matrix);
    std::array<cv::Mat, 3> planes;
    cv::split(expected, planes.data());
    for (const std::uint32_t type : {CIE_XYZ, CIE_X, CIE_Y, CIE_Z}) {
      Shot shot;
      shot.image = part;
      shot.type = CAM_RGB;
      ASSERT_EQ(shot.ConvertColorSpace(type, matrix), DRAVIX_OK);
      EXPECT_TRUE(SameBytes(shot.image, type == CIE_XYZ ? expected : planes.at(type / 2)));
    }
    EXPECT_TRUE(SameBytes(large, before));
  }
}

TEST(ConvertColorSpace, ChecksInItsOrder) {
  LogCapture log;
  const cv::Mat wide = cv::Mat::ones(3, 4, CV_64F);
  Shot shot;
  EXPECT_EQ(shot.ConvertColorSpace(CAM_RGB, wide), DRAVIX_BAD_TYPE);
  EXPECT_EQ(shot.ConvertColorSpace(CIE_Y, wide), DRAVIX_BAD_TYPE);
  shot.type = CAM_RGB;
  shot.image = cv::Mat(2, 2, CV_8UC3);
  EXPECT_EQ(shot.ConvertColorSpace(CIE_Y, wide), DRAVIX_BAD_IMAGE);
  shot.image = cv::Mat(0, 2, CV_16UC3);
  EXPECT_EQ(shot.ConvertColorSpace(CIE_Y, wide), DRAVIX_NO_RESULT);
  shot.image = cv::Mat(2, 2, CV_16UC3);
  EXPECT_EQ(shot.ConvertColorSpace(CIE_Y, wide), DRAVIX_BAD_ARGUMENT);
  EXPECT_THAT(
      log.Errors(),
      ElementsAre(
          "Shot::ConvertColorSpace--Error :: in_cie_type != CIE_Y && in_cie_type != CIE_X && "
          "in_cie_type != CIE_Z && in_cie_type != CIE_XYZ",
          "Shot::ConvertColorSpace--Error :: shot type is not CAM_RGB",
          "Shot::ConvertColorSpace--Error :: data channel must be 3",
          "Shot::ConvertColorSpace--Error :: empty",
          "Shot::ConvertToCIEXYZ--Error :: in_color_trans.size()!=cv::Size(3,3)"));
}

TEST(ConvertColorSpace, RefusesOtherTargetsAndMatrices) {
  Shot shot = ColorShot();
  for (const std::uint32_t type : {0U, 0x03U, 0x05U, 0x06U, 0x08U, 0x10U, 0x70U, 0xffffffffU}) {
    EXPECT_EQ(shot.ConvertColorSpace(type, cv::Mat(kMixed)), DRAVIX_BAD_TYPE) << type;
  }
  const int sizes[] = {3, 3, 3};
  for (const cv::Mat& m :
       {cv::Mat(), cv::Mat(4, 3, CV_64F), cv::Mat(9, 1, CV_64F), cv::Mat(2, 2, CV_32F),
        cv::Mat(3, 3, CV_32FC3), cv::Mat(3, sizes, CV_32F)}) {
    EXPECT_EQ(shot.ConvertColorSpace(CIE_Y, m), DRAVIX_BAD_ARGUMENT);
  }
  EXPECT_TRUE(SameShot(shot, ColorShot()));
}

// --- background ---

TEST(RemoveBackground, SubtractsNotBelowZero) {
  const LogCapture log;
  Shot shot = FullShot();
  Shot background = FullShot();
  shot.image = (cv::Mat_<std::uint16_t>(1, 4) << 10, 5, 65535, 0);
  background.image = (cv::Mat_<std::uint16_t>(1, 4) << 3, 6, 1, 65535);
  EXPECT_EQ(shot.RemoveBackground(background), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot.image, (cv::Mat_<std::uint16_t>(1, 4) << 7, 0, 65534, 0)));
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::Remove"));
}

TEST(RemoveBackground, SignedAndRealSamplesEndAtZeroToo) {
  for (const int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F}) {
    for (const int channels : {1, 3, 5}) {
      const int type = CV_MAKETYPE(depth, channels);
      Shot shot;
      Shot background;
      shot.image = RandomMat({9, 5}, type, 1, 0, 100);
      background.image = RandomMat({9, 5}, type, 2, 0, 100);
      cv::Mat expected;
      cv::max(shot.image, background.image, expected);
      expected = expected - background.image;
      EXPECT_EQ(shot.RemoveBackground(background), DRAVIX_OK);
      EXPECT_TRUE(SameBytes(shot.image, expected)) << type;
    }
  }
}

TEST(RemoveBackground, ByItselfLeavesNothing) {
  Shot shot = ColorShot();
  EXPECT_EQ(shot.RemoveBackground(shot), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot.image, cv::Mat::zeros(7, 9, CV_16UC3)));
}

TEST(RemoveBackground, EmptyOrUnlikeImagesAreRefused) {
  LogCapture log;
  Shot shot = FullShot();
  Shot empty;
  EXPECT_EQ(shot.RemoveBackground(empty), DRAVIX_NO_RESULT);
  EXPECT_EQ(empty.RemoveBackground(shot), DRAVIX_NO_RESULT);
  EXPECT_THAT(log.Errors(), ElementsAre("SHOT::RemoveBackground -- Error empty data",
                                        "SHOT::RemoveBackground -- Error empty data"));
  for (const cv::Mat& other :
       {Mosaic({12, 11}), Mosaic({10, 12}), cv::Mat(10, 12, CV_16UC3), cv::Mat(10, 12, CV_32FC1)}) {
    log.Clear();
    Shot background;
    background.image = other;
    EXPECT_EQ(shot.RemoveBackground(background), DRAVIX_SHOT_MISMATCH);
    EXPECT_THAT(log.Errors(), ElementsAre("SHOT::RemoveBackground -- Error data mismatch"));
  }
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

TEST(RemoveBackground, HalfPrecisionIsSubtractedToo) {
  Shot shot;
  Shot background;
  cv::Mat_<float>(cv::Matx13f(1.5F, 2, 1000)).convertTo(shot.image, CV_16F);
  cv::Mat_<float>(cv::Matx13f(0.25F, 3, 1)).convertTo(background.image, CV_16F);
  EXPECT_EQ(shot.RemoveBackground(background), DRAVIX_OK);
  EXPECT_EQ(shot.image.type(), CV_16FC1);
  cv::Mat found;
  shot.image.convertTo(found, CV_32F);
  EXPECT_TRUE(SameBytes(found, (cv::Mat_<float>(1, 3) << 1.25F, 0, 999)));
}

// --- rotation ---

TEST(Rotate, PixelsThatCannotBeTurnedThrowAndStay) {
  Shot shot;
  shot.image = cv::Mat(4, 3, CV_8UC(5));
  shot.image.reshape(1) = 7;
  const cv::Mat before = shot.image.clone();
  EXPECT_THROW(shot.Rotate(90), cv::Exception);
  EXPECT_TRUE(SameBytes(shot.image, before));
}

TEST(Rotate, TurnsCounterclockwise) {
  const cv::Mat upright = (cv::Mat_<std::uint16_t>(2, 4) << 1, 2, 3, 4, 5, 6, 7, 8);
  const std::array<std::pair<int, cv::Mat>, 4> turned{{
      {0, upright},
      {90, (cv::Mat_<std::uint16_t>(4, 2) << 4, 8, 3, 7, 2, 6, 1, 5)},
      {180, (cv::Mat_<std::uint16_t>(2, 4) << 8, 7, 6, 5, 4, 3, 2, 1)},
      {270, (cv::Mat_<std::uint16_t>(4, 2) << 5, 1, 6, 2, 7, 3, 8, 4)},
  }};
  for (const auto& [angle, expected] : turned) {
    const LogCapture log;
    Shot shot = FullShot();
    shot.image = upright.clone();
    EXPECT_EQ(shot.Rotate(angle), DRAVIX_OK);
    EXPECT_TRUE(SameBytes(shot.image, expected)) << angle;
    EXPECT_TRUE(SameGroups(shot, FullShot()));
    EXPECT_THAT(log.Infos(), ElementsAre("Shot::Rotate"));
  }
}

TEST(Rotate, FourQuarterTurnsGiveTheImageBack) {
  Shot shot = ColorShot();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(shot.Rotate(90), DRAVIX_OK);
  EXPECT_TRUE(SameShot(shot, ColorShot()));
  EXPECT_EQ(shot.Rotate(90), DRAVIX_OK);
  EXPECT_EQ(shot.Rotate(270), DRAVIX_OK);
  EXPECT_TRUE(SameShot(shot, ColorShot()));
}

TEST(Rotate, OtherAnglesAreRefused) {
  for (const int angle : {45, 1, -90, 360, 450, INT32_MIN}) {
    const LogCapture log;
    Shot shot = FullShot();
    EXPECT_EQ(shot.Rotate(angle), DRAVIX_BAD_ARGUMENT);
    EXPECT_THAT(log.Errors(), ElementsAre("Shot::Rotate--Error :: roll_angle"));
    EXPECT_TRUE(SameShot(shot, FullShot()));
  }
}

TEST(Rotate, AnEmptyImageStaysEmpty) {
  for (const int angle : {0, 90, 180, 270}) {
    Shot shot;
    EXPECT_EQ(shot.Rotate(angle), DRAVIX_OK);
    EXPECT_TRUE(shot.image.empty());
  }
}

TEST(Rotate, LeavesTheShotWhenOpenCvRefusesTheImage) {
  Shot shot;
  shot.image = cv::Mat::zeros(2, 3, CV_16UC(512));  // elements too large to transpose
  const Shot before = shot;
  EXPECT_THROW(shot.Rotate(90), cv::Exception);
  EXPECT_TRUE(SameShot(shot, before));
}

// --- copy ---

TEST(CopyTo, ReplacesEverythingThroughTheSetters) {
  const LogCapture log;
  const Shot shot = FullShot();
  Shot dst = ColorShot();
  shot.CopyTo(dst);
  EXPECT_TRUE(SameShot(dst, shot));
  EXPECT_NE(dst.image.data, shot.image.data);
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::CopyTo", "Shot::SetPartition", "Shot::SetLedPanel",
                                       "Shot::SetLayer", "Shot::SetPattern", "Shot::SetColor",
                                       "Shot::SetDevice", "Shot::SetCapture"));
}

TEST(CopyTo, GroupsThatTheSourceLacksAreDiscarded) {
  const LogCapture log;
  Shot dst = FullShot();
  Shot().CopyTo(dst);
  EXPECT_TRUE(SameShot(dst, Shot()));
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::CopyTo"));
}

TEST(CopyTo, TheSettersChecksApply) {
  LogCapture log;
  Shot shot = FullShot();
  shot.partition->w = 0;
  shot.pattern->lighted_led_w = 77;
  Shot dst;
  shot.CopyTo(dst);
  EXPECT_FALSE(dst.partition);
  EXPECT_EQ(dst.pattern->lighted_led_w, 77);  // no partition to compare it with
  EXPECT_THAT(log.Errors(),
              ElementsAre("Shot::SetPartition--Error :: invalid screen wh or partition xywh"));
  log.Clear();
  shot.partition->w = 8;
  shot.CopyTo(dst);
  EXPECT_EQ(dst.pattern->lighted_led_w, 77);
  EXPECT_THAT(
      log.Errors(),
      ElementsAre(
          "Shot::SetPattern or SetPartition --Error :: mismatch pattern and partition info"));
}

TEST(CopyTo, ToItselfChangesNothing) {
  Shot shot = FullShot();
  shot.CopyTo(shot);
  EXPECT_TRUE(SameShot(shot, FullShot()));
}

// --- description ---

TEST(Info, OfABareShotDescribesTheImage) {
  const LogCapture log;
  Shot().Info();
  EXPECT_THAT(log.Infos(), ElementsAre("Shot::Info"));
  EXPECT_THAT(log.Debugs(),
              ElementsAre("    type                   = 0x0", "    image.type(cv)         = 0",
                          "    image.depth(cv)        = 0", "    image.channels(cv)     = 1",
                          "    image.wh(cv)           = [0 0]"));
}

TEST(Info, DescribesEveryGroupInItsOrder) {
  const LogCapture log;
  Shot shot = ColorShot();
  shot.layer->linear_norms = 0.1F;
  shot.Info();
  EXPECT_THAT(
      log.Debugs(),
      ElementsAre("    part.xywh              = [1 2 8 6]", "    part.screen_wh         = [16 9]",
                  "    panel.wh               = [14 15]", "    panel.type             = 11",
                  "    panel.layout           = 12", "    panel.subpixel_type    = 13",
                  "    panel.pixel_pitch      = 1.500000", "    layer.index            = 21",
                  "    layer.value            = 23", "    layer.linear_norms     = 0.100000",
                  "    pattern.type           = 31", "    pattern.interval       = [3 2]",
                  "    pattern.loc            = [1 0]", "    pattern.lighted_led_wh = [3 3]",
                  "    color                  = 4", "    device.id              = camera",
                  "    device.cam_type        = 120016", "    device.lens_id         = lens",
                  "    device.lens_type       = 44", "    capture.exposure       = 51",
                  "    capture.gain           = 52", "    capture.aperture       = 53",
                  "    capture.microfocus     = 54", "    capture.filter         = 55",
                  "    type                   = 0x70", "    image.type(cv)         = 18",
                  "    image.depth(cv)        = 2", "    image.channels(cv)     = 3",
                  "    image.wh(cv)           = [9 7]"));
}

TEST(Info, TextsWithoutAZeroEndWithTheirField) {
  const LogCapture log;
  Shot shot;
  shot.device = Shot::Device{};
  std::fill(std::begin(shot.device->id), std::end(shot.device->id), 'x');
  std::fill(std::begin(shot.device->lens_id), std::end(shot.device->lens_id), '%');
  shot.Info();
  EXPECT_EQ(log.Debugs()[0], "    device.id              = " + std::string(64, 'x'));
  EXPECT_EQ(log.Debugs()[2], "    device.lens_id         = " + std::string(64, '%'));
}

}  // namespace
