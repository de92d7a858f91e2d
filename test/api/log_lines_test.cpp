/// No name and no text out of a file makes more than one line of the log, or steers a terminal that
/// shows it.
#include <dravix/bimage.h>
#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/temp_dir.h"

using dravix::test::LogCapture;
using dravix::test::LogLine;
using dravix::test::TempDir;

namespace {

const std::string kEvil = "x\n[error] forged\r\t\x1b[2J\x7f\xC2\x85";
const std::string kWritten = "x\\n[error] forged\\r\\t\\x1b[2J\\x7f\\xc2\\x85";

bool IsOneLine(const std::string& text) {
  return text.find("\xC2\x85") == std::string::npos &&
         std::none_of(text.begin(), text.end(),
                      [](unsigned char c) { return c < ' ' || c == 0x7F; });
}

DravixHandle MeasuredHandle() {
  DravixHandle handle = nullptr;
  EXPECT_EQ(DravixCreateHandle(&handle), 0);
  Shot shot;
  shot.SetImageSingle(cv::Mat(64, 64, CV_16UC1, cv::Scalar(900)), CIE_Y);
  shot.pattern = Shot::Pattern{0, 1, 1, 0, 0, 8, 8};
  const std::int32_t corners[] = {8, 8, 56, 8, 56, 56};
  EXPECT_EQ(DravixExtract(handle, &shot, corners, 3, 0, 0, 0), 0);
  return handle;
}

RegionOI SmallRegion() {
  RegionOI region;
  EXPECT_EQ(region.ManualSet({64, 64}, {{8, 8}, {56, 8}, {56, 56}, {8, 56}}), 0);
  return region;
}

Shot SmallShot() {
  Shot shot;
  shot.SetImageSingle(cv::Mat(8, 8, CV_16UC1, cv::Scalar(900)), CIE_Y);
  return shot;
}

/// Every function and method that takes the name of a file, with the extension it wants.
using Call = std::function<void(const std::string& base)>;
std::map<std::string, Call> Calls() {
  static Shot shot = SmallShot();
  static RegionOI region = SmallRegion();
  static DravixHandle handle = MeasuredHandle();
  static cv::Mat mat = cv::Mat::ones(2, 2, CV_8UC1);
  static std::vector<std::string> names;
  return {
      {"DravixSave", [](auto& n) { DravixSave(handle, (n + ".lum").c_str()); }},
      {"DravixLoad", [](auto& n) { DravixLoad(handle, (n + ".lum").c_str()); }},
      {"DravixExportImage", [](auto& n) { DravixExportImage(handle, (n + ".png").c_str(), 0); }},
      {"DravixExportImage of an unknown format",
       [](auto& n) { DravixExportImage(handle, n.c_str(), 0); }},
      {"Shot::Save", [](auto& n) { shot.Save(n + ".shot"); }},
      {"Shot::Load", [](auto& n) { shot.Load(n + ".shot"); }},
      {"Shot::ExportColorImage", [](auto& n) { shot.ExportColorImage(n + ".png"); }},
      {"Shot::ExportGrayImage", [](auto& n) { shot.ExportGrayImage(n + ".png"); }},
      {"Shot::CreateFromRaw", [](auto& n) { shot.CreateFromRaw(n, CIE_Y, 4, 4, 0); }},
      {"Shot::CreateFromRaw of a camera", [](auto& n) { shot.CreateFromRaw(n, 120016, CIE_Y); }},
      {"Shot::ReadDng", [](auto& n) { shot.ReadDng(n, CAM_R, 0); }},
      {"Shot::ReadDngToupTek", [](auto& n) { shot.ReadDngToupTek(n, CAM_R); }},
      {"RegionOI::Save", [](auto& n) { region.Save(n + ".roi"); }},
      {"RegionOI::Load", [](auto& n) { region.Load(n + ".roi"); }},
      {"RegionOI::ExportImage", [](auto& n) { region.ExportImage(n + ".png", shot); }},
      {"BIO::SaveMatToBin", [](auto& n) { BIO::SaveMatToBin(n, mat); }},
      {"BIO::LoadBinToMat", [](auto& n) { BIO::LoadBinToMat(n, mat); }},
      {"BIO::LoadTxtToMat",
       [](auto& n) {
         BIO::LoadTxtToMat(n, {2, 2}, mat);
       }},
      {"BIO::ReadFullNameListTxt", [](auto& n) { BIO::ReadFullNameListTxt(n, names); }},
      {"BImage::ReadOrvelRaw", [](auto& n) { BImage::ReadOrvelRaw(n, 4, 4); }},
      {"BImage::ReadRggbDng", [](auto& n) { BImage::ReadRggbDng(n); }},
      {"BImage::ReadDngToup", [](auto& n) { BImage::ReadDngToup(n); }},
      {"BImage::ReadPgm16", [](auto& n) { BImage::ReadPgm16(n, mat); }},
  };
}

TEST(LogLines, NamesMakeNoLinesOfTheirOwn) {
  const TempDir folder;
  int written = 0;
  for (const auto& [name, call] : Calls()) {
    const LogCapture log;
    testing::internal::CaptureStdout();
    call(folder.File("no such folder/") + kEvil);
    const std::string printed = testing::internal::GetCapturedStdout();
    for (const LogLine& line : log.Lines()) {
      EXPECT_TRUE(IsOneLine(line.text)) << name << ": " << line.text;
      if (line.text.find(kWritten) != std::string::npos) ++written;
    }
    EXPECT_EQ(printed.find("\x1b"), std::string::npos) << name << ": " << printed;
    EXPECT_LE(std::count(printed.begin(), printed.end(), '\n'), 1) << name << ": " << printed;
  }
  EXPECT_GE(written, 15) << "the names are still there to be read";
}

TEST(LogLines, OrdinaryNamesKeepTheirBytes) {
  const TempDir folder;
  const std::string name = folder.File("none/gr\xC3\xBC\xC3\x9F \\ photo") + ".shot";
  const LogCapture log;
  Shot shot;
  EXPECT_EQ(shot.Load(name), 2);
  EXPECT_EQ(log.Errors(),
            std::vector<std::string>{"Shot::Load -- Failed to Open file.fullname = " + name});
}

TEST(LogLines, TextsOfTheDeviceMakeNoLinesOfTheirOwn) {
  Shot shot;
  Shot::Device device;
  std::strncpy(device.id, kEvil.c_str(), sizeof device.id - 1);
  std::memset(device.lens_id, '\n', sizeof device.lens_id);  // and no zero at its end
  shot.device = device;
  const LogCapture log;
  shot.Info();
  bool shown = false;
  for (const LogLine& line : log.Lines()) {
    EXPECT_TRUE(IsOneLine(line.text)) << line.text;
    shown = shown || line.text == "    device.id              = " + kWritten;
  }
  EXPECT_TRUE(shown);
}

}  // namespace
