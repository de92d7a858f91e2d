#include "faults/methods.h"

#include <dravix/bimage.h>
#include <dravix/bio.h>

#include <opencv2/imgproc.hpp>
#include <sstream>

#include "base/files.h"
#include "extractor/extractor.h"
#include "raw/camera_bytes.h"
#include "shot/sample_shot.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

/// A function, because callers may run before this file's constants are made.
cv::Size SampleSize() { return {9, 7}; }

cv::Mat Samples() { return RandomMat(SampleSize(), CV_16UC1, 3, 0, 65536); }

std::string SavedBytes(const std::function<std::int32_t(char*, std::size_t*)>& toBuffer) {
  std::string bytes(1 << 16, '\0');
  std::size_t size = bytes.size();
  if (toBuffer(bytes.data(), &size) != DRAVIX_OK) return "not saved";
  return bytes.substr(0, size);
}

std::string ShotBytes(const Shot& shot) {
  return SavedBytes([&](char* data, std::size_t* size) { return shot.ToBuffer(data, size); });
}
std::string RegionBytes(const RegionOI& region) {
  return SavedBytes([&](char* data, std::size_t* size) { return region.ToBuffer(data, size); });
}
std::string ResultBytes(DravixHandle handle) {
  return SavedBytes([&](char* data, std::size_t* size) {
    std::uint64_t length = *size;
    const std::int32_t code = DravixToBuffer(handle, data, &length);
    *size = static_cast<std::size_t>(length);
    return code;
  });
}

/// A result whose first luminance is that number.
std::string ResultFile(float first) {
  const cv::Mat marks(SampleSize(), CV_8UC1, cv::Scalar(2));
  cv::Mat lum = RandomMat(SampleSize(), CV_32FC1, 6, 0, 100);
  lum.at<float>(0, 0) = first;
  std::ostringstream out;
  out << "L" << Le(1);
  WriteMat(marks, out);
  WriteMat(lum, out);
  return out.str();
}

std::string RegionFile() {
  RegionOI region;
  region.ManualSet({40, 30}, {{3, 3}, {20, 4}, {21, 18}, {2, 17}});
  return RegionBytes(region);
}

}  // namespace

Objects::Objects() : shot(FullShot()), colorShot(ColorShot()) {
  region.ManualSet({60, 50}, {{5, 5}, {50, 6}, {51, 40}, {4, 41}});
  DravixCreateHandle(&handle);
  const std::string result = ResultFile(1);
  DravixFromBuffer(handle, result.data(), static_cast<std::int64_t>(result.size()));
}

Objects::~Objects() { delete handle; }

std::vector<Saver> Savers() {
  using Name = const std::string&;
  return {
      {"Shot::Save", ".shot",
       [](const Objects& o, Name name) { return o.shot.Save(name) == DRAVIX_OK; }},
      {"Shot::Save of three planes", ".shot",
       [](const Objects& o, Name name) { return o.colorShot.Save(name) == DRAVIX_OK; }},
      {"Shot::ExportColorImage", ".png",
       [](const Objects& o, Name name) { return o.shot.ExportColorImage(name) == DRAVIX_OK; }},
      {"Shot::ExportGrayImage", ".png",
       [](const Objects& o, Name name) { return o.shot.ExportGrayImage(name) == DRAVIX_OK; }},
      {"RegionOI::Save", ".roi",
       [](const Objects& o, Name name) { return o.region.Save(name) == DRAVIX_OK; }},
      {"RegionOI::ExportImage", ".png",
       [](const Objects& o, Name name) {
         Shot photo = o.shot;
         photo.image = RandomMat({60, 50}, CV_16UC1, 4, 0, 65536);
         return o.region.ExportImage(name, photo) == DRAVIX_OK;
       }},
      {"DravixSave", ".lum",
       [](const Objects& o, Name name) { return DravixSave(o.handle, name.c_str()) == DRAVIX_OK; }},
      {"DravixExportImage", ".png",
       [](const Objects& o, Name name) {
         return DravixExportImage(o.handle, name.c_str(), 0) == DRAVIX_OK;
       }},
      {"BIO::SaveMatToBin", ".bin",
       [](const Objects& o, Name name) { return BIO::SaveMatToBin(name, o.shot.image); }},
      {"WriteByName", ".bin",
       [](const Objects& o, Name name) {
         const auto write = [&](Name given) { return BIO::SaveMatToBin(given, o.shot.image); };
         return base::WriteByName(name, write).result == base::WriteResult::kWritten;
       }},
  };
}

std::vector<Loader> Loaders() {
  using Name = const std::string&;
  const auto cameraFile = [](const auto& read) {
    return [read](Objects& o, Name name) {
      const cv::Mat m = read(name);
      if (!m.empty()) o.colorShot.image = m;
      return !m.empty();
    };
  };
  Objects other;
  other.shot.type = CIE_X;
  other.shot.image = Samples();
  std::ostringstream bin;
  bin << "L";
  WriteMat(Samples(), bin);
  const std::string dump = LowFirst(Samples());
  const std::string dng = DngOf(SampleSize(), dump, true).Bytes();
  const std::string directDng = DngOf(SampleSize(), dump, false).Bytes();
  return {
      {"Shot::Load", ".shot", ShotBytes(other.shot),
       [](Objects& o, Name name) { return o.shot.Load(name) == DRAVIX_OK; }},
      {"RegionOI::Load", ".roi", RegionFile(),
       [](Objects& o, Name name) { return o.region.Load(name) == DRAVIX_OK; }},
      {"DravixLoad", ".lum", ResultFile(7),
       [](Objects& o, Name name) { return DravixLoad(o.handle, name.c_str()) == DRAVIX_OK; }},
      {"BIO::LoadBinToMat", ".bin", bin.str(),
       [](Objects& o, Name name) { return BIO::LoadBinToMat(name, o.colorShot.image); }},
      {"BIO::LoadTxtToMat", ".txt", "1 2 3\n4 5 6\n",
       [](Objects& o, Name name) {
         return BIO::LoadTxtToMat(name, {3, 2}, o.colorShot.image);
       }},
      {"BIO::ReadFullNameListTxt", ".txt", "a\nb\n",
       [](Objects& o, Name name) {
         std::vector<std::string> names;
         if (!BIO::ReadFullNameListTxt(name, names)) return false;
         o.shot.color = static_cast<std::int32_t>(names.size());
         return true;
       }},
      {"BImage::ReadOrvelRaw", ".raw", dump, cameraFile([](Name name) {
         return BImage::ReadOrvelRaw(name, SampleSize().height, SampleSize().width);
       })},
      {"BImage::ReadRggbDng", ".dng", dng, cameraFile(BImage::ReadRggbDng)},
      {"BImage::ReadDngToup", ".dng", directDng, cameraFile(BImage::ReadDngToup)},
      {"BImage::ReadPgm16", ".pgm", "P5\n9 7\n65535\n" + HighFirst(Samples()),
       [](Objects& o, Name name) { return BImage::ReadPgm16(name, o.colorShot.image); }},
      {"Shot::CreateFromRaw", ".raw", dump,
       [](Objects& o, Name name) {
         return o.shot.CreateFromRaw(name, CIE_Y, SampleSize().width, SampleSize().height, 0) ==
                DRAVIX_OK;
       }},
      {"Shot::CreateFromRaw with a mosaic", ".raw", dump,
       [](Objects& o, Name name) {
         return o.shot.CreateFromRaw(name, CAM_RGB, SampleSize().width, SampleSize().height,
                                     cv::COLOR_BayerRG2BGR) == DRAVIX_OK;
       }},
      {"Shot::ReadDng", ".dng", dng,
       [](Objects& o, Name name) { return o.shot.ReadDng(name, CIE_Y, 0) == DRAVIX_OK; }},
      {"Shot::ReadDngToupTek", ".dng", directDng,
       [](Objects& o, Name name) { return o.shot.ReadDngToupTek(name, CIE_Y) == DRAVIX_OK; }},
  };
}

std::string BytesOf(const Objects& objects) {
  return ShotBytes(objects.shot) + ShotBytes(objects.colorShot) + RegionBytes(objects.region) +
         ResultBytes(objects.handle);
}

}  // namespace dravix::test
