// Samples of picture files that other programs wrote: the numbers that were stored, unscaled.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "tools/converted_files.h"

using dravix::test::ConvertedFiles;
using dravix::test::IsOneLine;
using dravix::test::kMagick;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::SameBytes;

namespace {

struct Made {
  const char* name;     ///< of the file
  const char* needs;    ///< the program
  const char* command;  ///< after ImageMagick's input, or a whole command line
  bool magick;
};

class SixteenBits : public testing::TestWithParam<Made> {};

TEST_P(SixteenBits, AreTheNumbersThatWereStored) {
  DRAVIX_NEEDS("convert");
  DRAVIX_NEEDS(GetParam().needs);
  const ConvertedFiles made;
  made.Run(std::string(kMagick) + "-compress none -endian LSB plain.tif");
  made.Run(std::string(kMagick) + "plain.pgm");
  made.Run((GetParam().magick ? kMagick : "") + std::string(GetParam().command));
  const Shot shot = made.Converted(GetParam().name);
  EXPECT_TRUE(SameBytes(shot.image, made.samples));
  EXPECT_EQ(shot.type, CIE_Y);
}

INSTANTIATE_TEST_SUITE_P(
    Files, SixteenBits,
    testing::Values(
        Made{"a.pgm", "convert", "a.pgm", true},
        Made{"ascii.pgm", "convert", "-compress none ascii.pgm", true},
        Made{"comment.pgm", "convert", "-set comment 'two words' comment.pgm", true},
        Made{"a.png", "convert", "a.png", true},
        Made{"netpbm.png", "pnmtopng", "pnmtopng plain.pgm >netpbm.png 2>/dev/null", false},
        Made{"little.tif", "convert", "-compress none -endian LSB little.tif", true},
        Made{"big.tif", "convert", "-compress none -endian MSB big.tif", true},
        Made{"lzw.tif", "convert", "-compress LZW lzw.tif", true},
        Made{"deflate.tif", "convert", "-compress Zip -endian MSB deflate.tif", true},
        Made{"packbits.tif", "tiffcp", "tiffcp -c packbits plain.tif packbits.tif", false},
        Made{"netpbm.tif", "pamtotiff", "pamtotiff -truecolor plain.pgm >netpbm.tif", false},
        Made{"strips.tif", "tiffcp", "tiffcp -c none -r 5 plain.tif strips.tif", false},
        Made{"tiles.tif", "tiffcp", "tiffcp -c none -t -w 16 -l 16 plain.tif tiles.tif", false},
        Made{"lzwtiles.tif", "tiffcp", "tiffcp -c lzw -t -w 16 -l 16 plain.tif lzwtiles.tif",
             false},
        Made{"swapped.tif", "tiffcp", "tiffcp -c none -B -r 7 plain.tif swapped.tif", false},
        Made{"wide.tif", "tiffcp", "tiffcp -c none -8 plain.tif wide.tif", false}),
    [](const auto& test) {
      std::string name = test.param.name;
      for (char& c : name) c = c == '.' ? '_' : c;
      return name;
    });

TEST(PictureSamples, TwelveBitGrayMapIsNotScaled) {
  DRAVIX_NEEDS("pamdepth");
  const ConvertedFiles made;
  made.Run(std::string(kMagick) + "plain.pgm && pamdepth 4095 plain.pgm >twelve.pgm");
  made.Run("pnmtoplainpnm twelve.pgm >plain12.pgm");
  const Shot binary = made.Converted("twelve.pgm");
  double most = 0;
  cv::minMaxLoc(binary.image, nullptr, &most);
  EXPECT_LE(most, 4095);
  EXPECT_GT(most, 3000);
  EXPECT_TRUE(SameBytes(made.Converted("plain12.pgm").image, binary.image));
  const auto json =
      RunTool({"convert", made.File("twelve.pgm"), made.File("x.shot"), "--json"}).Json();
  EXPECT_EQ(json["source"]["white_level"], 4095);
  EXPECT_EQ(json["source"]["stretched"], false);
}

TEST(PictureSamples, ThreePlanesOfSixteenBitsAreNotScaled) {
  DRAVIX_NEEDS("tiffcp");
  const ConvertedFiles made;
  made.Run("convert -size 12x24 -depth 16 -endian LSB rgb:in.raw -compress none c.tif");
  made.Run("tiffcp -c lzw c.tif lzw.tif");
  const cv::Mat expected = made.samples.reshape(3, 24);
  for (const char* name : {"c.tif", "lzw.tif"}) {
    const Shot shot = made.Converted(name);
    EXPECT_EQ(shot.type, CAM_RGB);
    EXPECT_TRUE(SameBytes(shot.image, expected)) << name;
    cv::Mat green;
    cv::extractChannel(expected, green, 1);
    EXPECT_TRUE(SameBytes(made.Converted(name, {"--channel", "g"}).image, green)) << name;
  }
}

// Another program's decoder gives the same pixels, so that only its reading is compared.
TEST(PictureSamples, JpegIsDecodedAsByOthers) {
  DRAVIX_NEEDS("convert");
  DRAVIX_NEEDS("jpegtopnm");
  const ConvertedFiles made;
  const std::string color = "convert -size 12x24 -depth 16 rgb:in.raw -blur 2x2 -resize 200% ";
  made.Run(color + "-quality 90 baseline.jpg");
  made.Run(color + "-interlace JPEG -quality 90 progressive.jpg");
  made.Run(color + "-sampling-factor 4:2:0 -quality 75 halved.jpg");
  made.Run(color + "-colorspace Gray -quality 90 gray.jpg");
  for (const std::string name : {"baseline", "progressive", "halved", "gray"}) {
    made.Run("jpegtopnm " + name + ".jpg >" + name + ".pnm 2>/dev/null");
    const Shot shot = made.Converted(name + ".jpg");
    EXPECT_EQ(shot.image.channels(), name == "gray" ? 1 : 3) << name;
    EXPECT_TRUE(SameBytes(shot.image, made.Converted(name + ".pnm").image)) << name;
  }
}

TEST(PictureSamples, PicturesOfInkAreRefused) {
  DRAVIX_NEEDS("convert");
  const ConvertedFiles made;
  made.Run("convert -size 12x24 -depth 16 rgb:in.raw -colorspace CMYK ink.jpg");
  const Outcome outcome = RunTool({"convert", made.File("ink.jpg"), made.File("x.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("has 4 color components"), std::string::npos) << outcome.err;
}

TEST(PictureSamples, FloatingPointIsRefused) {
  DRAVIX_NEEDS("convert");
  const ConvertedFiles made;
  made.Run(std::string(kMagick) +
           "-compress lzw -define quantum:format=floating-point -depth 32 f.tif");
  const Outcome outcome = RunTool({"convert", made.File("f.tif"), made.File("x.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("no unsigned whole numbers"), std::string::npos) << outcome.err;
}

}  // namespace
