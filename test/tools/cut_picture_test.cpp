// Picture files that end too early, or claim more than they hold.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/sanitized.h"
#include "tools/other_programs.h"

using dravix::test::IsOneLine;
using dravix::test::kMagick;
using dravix::test::MadeFiles;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::Spill;

namespace {

struct CutPicture {
  const char* name;
  const char* command;
};

class CutPictures : public testing::TestWithParam<CutPicture> {};

// Wherever a file is cut, the message says that bytes are missing. Only the last byte of a JPEG's
// end mark, or padding behind the samples, may be lacked by a decoder without loss.
TEST_P(CutPictures, AreRefusedWithWhatIsMissing) {
  DRAVIX_NEEDS("convert");
  DRAVIX_NEEDS("tiffcp");
  const MadeFiles made;
  made.Run(std::string(kMagick) + "-compress none plain.tif");
  made.Run(GetParam().command);
  const std::string whole = Slurp(made.File(GetParam().name));
  ASSERT_GT(whole.size(), 200U);
  ASSERT_EQ(RunTool({"convert", made.File(GetParam().name), made.File("x.shot")}).exit, 0);
  std::filesystem::remove(made.File("x.shot"));
  for (const std::size_t size :
       {whole.size() - 2, whole.size() - 20, whole.size() * 9 / 10, whole.size() / 2,
        whole.size() / 10, std::size_t{40}, std::size_t{12}}) {
    const std::string cut = made.File(std::string("cut.") + GetParam().name);
    Spill(cut, std::string_view(whole).substr(0, size));
    const Outcome outcome = RunTool({"convert", cut, made.File("x.shot")});
    EXPECT_EQ(outcome.exit, 3) << size << " of " << whole.size();
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    const bool named = outcome.err.find("cut short") != std::string::npos;
    EXPECT_TRUE(named || size < 41) << size << " of " << whole.size() << ": " << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(made.File("x.shot")));
  }
}

const std::string kColor = "convert -size 12x24 -depth 16 rgb:in.raw -blur 2x2 -resize 400% ";
const std::string kBaseline = kColor + "a.jpg";
const std::string kProgressive = kColor + "-interlace JPEG p.jpg";
const std::string kGray = kColor + "-colorspace Gray g.jpg";

INSTANTIATE_TEST_SUITE_P(
    Files, CutPictures,
    testing::Values(CutPicture{"a.jpg", kBaseline.c_str()},
                    CutPicture{"p.jpg", kProgressive.c_str()}, CutPicture{"g.jpg", kGray.c_str()},
                    CutPicture{"a.png", "convert plain.tif a.png"},
                    CutPicture{"a.pgm", "convert plain.tif a.pgm"},
                    CutPicture{"strips.tif", "tiffcp -c none -r 5 plain.tif strips.tif"},
                    CutPicture{"lzw.tif", "tiffcp -c lzw plain.tif lzw.tif"},
                    CutPicture{"tiles.tif", "tiffcp -c lzw -t -w 16 -l 16 plain.tif tiles.tif"}),
    [](const auto& test) {
      std::string name = test.param.name;
      for (char& c : name) c = c == '.' ? '_' : c;
      return name;
    });

TEST(CutPicture, JpegSaysHowManyRowsAreThere) {
  DRAVIX_NEEDS("convert");
  const MadeFiles made;
  made.Run(kBaseline);
  const std::string whole = Slurp(made.File("a.jpg"));
  Spill(made.File("half.jpg"), std::string_view(whole).substr(0, whole.size() * 7 / 10));
  const Outcome outcome = RunTool({"convert", made.File("half.jpg"), made.File("x.shot")});
  EXPECT_NE(outcome.err.find("complete rows, expected 96 rows"), std::string::npos) << outcome.err;
}

// An end mark behind half of the data does not make it a whole picture.
TEST(CutPicture, JpegWithAnEndMarkPutBehindTheCutIsRefused) {
  DRAVIX_NEEDS("convert");
  const MadeFiles made;
  made.Run(kBaseline);
  const std::string whole = Slurp(made.File("a.jpg"));
  Spill(made.File("half.jpg"), whole.substr(0, whole.size() * 7 / 10) + "\xff\xd9");
  const Outcome outcome = RunTool({"convert", made.File("half.jpg"), made.File("x.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("cut short"), std::string::npos) << outcome.err;
}

TEST(CutPicture, InfoSaysSoToo) {
  DRAVIX_NEEDS("convert");
  const MadeFiles made;
  made.Run(kBaseline);
  const std::string whole = Slurp(made.File("a.jpg"));
  Spill(made.File("half.jpg"), std::string_view(whole).substr(0, whole.size() / 2));
  const Outcome outcome = RunTool({"info", made.File("half.jpg")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

#ifndef _WIN32
std::string Big(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFFU);
  return bytes;
}

std::string WideTiff(std::uint32_t side, std::uint32_t compression) {
  using dravix::test::Entry;
  using dravix::test::Little;
  return std::string("II*\0", 4) + Little(8, 4) + Little(9, 2) + Entry(256, 4, 1, side) +
         Entry(257, 4, 1, side) + Entry(258, 3, 1, 16) + Entry(259, 3, 1, compression) +
         Entry(262, 3, 1, 1) + Entry(273, 4, 1, 8) + Entry(277, 3, 1, 1) + Entry(278, 4, 1, side) +
         Entry(279, 4, 1, 100) + Little(0, 4) + std::string(200, '\0');
}

struct Bomb {
  const char* name;
  std::string bytes;
};

class Bombs : public testing::TestWithParam<Bomb> {};

// Some hundred bytes that claim a picture of gigabytes are refused with little time and memory.
TEST_P(Bombs, AreRefusedAtTheirClaim) {
  const dravix::test::TempDir folder;
  Spill(folder.File(GetParam().name), GetParam().bytes);
  // Address sanitizers reserve terabytes of addresses.
  const std::string limit = DRAVIX_TEST_SANITIZED ? "" : "ulimit -v 2000000 2>/dev/null; ";
  for (const std::string command : {"convert", "measure"}) {
    std::vector<std::string> words = {command, folder.File(GetParam().name)};
    if (command == "convert") words.push_back(folder.File("x.shot"));
    if (command == "measure") words.insert(words.end(), {"--truth", "none.json"});
    const Outcome outcome = dravix::test::RunToolAfter(limit + "timeout 20 ", words);
    EXPECT_EQ(outcome.exit, 3) << outcome.err;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, Bombs,
    testing::Values(
        Bomb{"a.png", "\x89PNG\r\n\x1a\n" + Big(13) + "IHDR" + Big(15000) + Big(15000) +
                          std::string("\x10\x06\0\0\0", 5) + Big(0) + Big(10) + "IDAT" +
                          std::string(14, 'x') + Big(0) + "IEND" + Big(0)},
        Bomb{"wide.png", "\x89PNG\r\n\x1a\n" + Big(13) + "IHDR" + Big(150000) + Big(15000) +
                             std::string("\x08\0\0\0\0", 5) + Big(0) + Big(0) + "IEND" + Big(0)},
        Bomb{"a.pgm", "P5 15000 15000 65535\n" + std::string(300, 'x')},
        Bomb{"text.pgm", "P2 15000 15000 65535\n1 2 3"},
        Bomb{"a.ppm", "P6 15000 15000 65535\n" + std::string(300, 'x')},
        Bomb{"plain.tif", WideTiff(15000, 1)}, Bomb{"wide.tif", WideTiff(1000000, 1)},
        Bomb{"deflate.tif", WideTiff(15000, 8)}, Bomb{"packbits.tif", WideTiff(15000, 32773)},
        Bomb{"lzma.tif", WideTiff(15000, 34925)},
        Bomb{"a.bmp", "BM" + std::string(12, '\0') + std::string("\x28\0\0\0", 4) +
                          std::string("\x98\x3a\0\0\x98\x3a\0\0", 8) + std::string(60, '\0')},
        Bomb{"a.jpg", std::string("\xff\xd8\xff\xc0\0\x0b\x08\x3a\x98\x3a\x98\x01\x01\x11\0", 15) +
                          std::string("\xff\xda\0\x08\x01\x01\0\0\x3f\0", 10) + "xxxx"},
        Bomb{"a.nef", "II*" + std::string(300, '\0')},
        Bomb{"a.raf", "FUJIFILMCCD-RAW " + std::string(300, '\1')}),
    [](const auto& test) {
      std::string name = test.param.name;
      for (char& c : name) c = c == '.' ? '_' : c;
      return name;
    });
#endif

}  // namespace
