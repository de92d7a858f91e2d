#include <dravix/region.h>
#include <dravix/shot.h>

#include <cstdint>
#include <limits>

#include "base/envelope.h"
#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/seeds/seeds.h"
#include "image/mat_record.h"

namespace dravix::fuzz {
namespace {

/// A matrix with a different value in every sample.
cv::Mat Ramp(cv::Size size, int type) {
  cv::Mat m(size, type);
  cv::Mat samples = m.reshape(1);
  for (int y = 0; y < samples.rows; ++y) {
    for (int x = 0; x < samples.cols; ++x) {
      cv::Mat(1, 1, CV_32FC1, cv::Scalar(x + 7 * y)).convertTo(samples.col(x).row(y), m.depth());
    }
  }
  return m;
}

base::Bytes RecordOf(const cv::Mat& m) {
  base::ByteWriter out;
  image::WriteMatRecord(m, out);
  return std::move(out).Data();
}

base::Bytes ClaimOf(std::int32_t rows, std::int32_t cols, std::int32_t type,
                    std::int32_t channels) {
  base::ByteWriter out;
  for (const std::int32_t field : {rows, cols, type, channels}) out.Write(field);
  out.Write(std::uint64_t{0x0807060504030201});
  return std::move(out).Data();
}

/// Adds the record to every target whose input is a record behind `front`.
void AddRecord(Seeds& seeds, const std::string& name, const base::Bytes& record) {
  seeds.Add("matrix_record", name, record);
  base::ByteWriter file;
  file.Write(base::kLittleEndianMark);
  file.Append(record);
  seeds.Add("bin_file", name, file.Data());
}

void AddMatrices(Seeds& seeds) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  for (int depth = 0; depth < 8; ++depth) {
    for (const int channels : {1, 3, 5}) {
      const int type = CV_MAKETYPE(depth, channels);
      const cv::Mat m = depth == CV_16F ? cv::Mat::zeros(3, 4, type) : Ramp({4, 3}, type);
      AddRecord(seeds, "type-" + std::to_string(type), RecordOf(m));
    }
  }
  AddRecord(seeds, "empty", RecordOf(cv::Mat()));
  AddRecord(seeds, "two-gib", ClaimOf(1 << 16, 1 << 15, CV_8UC1, 1));
  AddRecord(seeds, "overflow", ClaimOf(kMost, kMost, CV_64FC1, 1));
  AddRecord(seeds, "negative", ClaimOf(-1, 5, CV_8UC1, 1));
  AddRecord(seeds, "short-by-little", ClaimOf(64, 64, CV_16UC1, 1));
  AddRecord(seeds, "short-by-much", ClaimOf(1 << 14, 1 << 14, CV_8UC1, 1));
  AddRecord(seeds, "no-channel", ClaimOf(2, 2, CV_8UC1, 0));
  AddRecord(seeds, "many-channels", ClaimOf(1, 1, CV_8UC1, 512));
  AddRecord(seeds, "too-many-channels", ClaimOf(1, 1, CV_8UC1, 513));
  AddRecord(seeds, "other-type", ClaimOf(1, 1, -1, 3));
  seeds.AddWithFaults("matrix_record", "ramp", RecordOf(Ramp({5, 4}, CV_16UC1)));
  seeds.Add("bin_file", "no-mark", "B");
  seeds.Add("bin_file", "nothing", "");
}

template <class Size, class Stored>
std::string BytesOf(const Stored& stored) {
  std::string bytes(1 << 16, '\0');
  Size size = bytes.size();
  stored.ToBuffer(bytes.data(), &size);
  return bytes.substr(0, static_cast<std::size_t>(size));
}

void AddStored(Seeds& seeds, const char* target, const std::string& name,
               const std::string& bytes) {
  seeds.AddWithFaults(target, name, base::ViewOf(bytes));
  seeds.Add("stored_content", std::string(target) + "-" + name, bytes);
}

Shot FullShot() {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = Ramp({6, 5}, CV_16UC1);
  shot.SetPartition({1, 2, 6, 6, 12, 10});
  shot.SetLedPanel({1, 2, 3, 16, 8, 1.5F});
  shot.SetLayer({1, 0.5F, 128});
  shot.SetPattern({1, 1, 1, 0, 0, 6, 6});
  shot.SetColor(2);
  shot.SetDevice({"camera", 120016, "lens", 35});
  shot.SetCapture({1, 2, 3, 4, 5});
  return shot;
}

void AddShots(Seeds& seeds) {
  Shot shot = FullShot();
  const std::string full = BytesOf<std::size_t>(shot);
  AddStored(seeds, "shot_file", "full", full);
  // The same with an unknown tag, with 8-bit samples, and with groups that come twice.
  std::string other = full;
  other.insert(other.size() - 4, "\x80\0\0\0", 4);
  seeds.Add("shot_file", "unknown-tag", other);
  other = full;
  other.insert(other.size() - 4, full.substr(full.size() - 12, 8));
  seeds.Add("shot_file", "color-twice", other);
  std::fill(std::begin(shot.device->id), std::end(shot.device->id), 'x');
  shot.device->lens_id[0] = '\n';
  AddStored(seeds, "shot_file", "texts", BytesOf<std::size_t>(shot));
  shot.image = Ramp({3, 3}, CV_16UC3);
  shot.type = CAM_RGB;
  AddStored(seeds, "shot_file", "colors", BytesOf<std::size_t>(shot));
  AddStored(seeds, "shot_file", "empty", BytesOf<std::size_t>(Shot()));

  base::ByteWriter eightBit;
  base::WriteHeader(eightBit);
  eightBit.Write(std::uint32_t{CAM_G});
  image::WriteMatRecord(Ramp({4, 4}, CV_8UC1), eightBit);
  seeds.Add("shot_file", "eight-bit", eightBit.Data());
  seeds.Add("stored_content", "eight-bit", eightBit.Data());
}

void AddRegions(Seeds& seeds) {
  RegionOI region;
  AddStored(seeds, "region_file", "empty", BytesOf<std::size_t>(region));
  region.ManualSet({40, 30}, {{5, 6}, {20, 4}, {22, 18}, {3, 20}});
  AddStored(seeds, "region_file", "quad", BytesOf<std::size_t>(region));
  region.frameWidth = std::numeric_limits<std::int32_t>::max();
  region.rect.x = -5;
  AddStored(seeds, "region_file", "outside", BytesOf<std::size_t>(region));
}

void AddResults(Seeds& seeds) {
  Dravix dravix;
  AddStored(seeds, "result_file", "empty", BytesOf<std::uint64_t>(dravix));
  dravix.resultImage = cv::Mat(5, 6, CV_8UC1, cv::Scalar(2));
  dravix.lum = Ramp({6, 5}, CV_32FC1);
  AddStored(seeds, "result_file", "measured", BytesOf<std::uint64_t>(dravix));
  static_cast<cv::Mat&>(dravix.lum) = Ramp({3, 3}, CV_16UC3);
  AddStored(seeds, "result_file", "other-type", BytesOf<std::uint64_t>(dravix));
}

}  // namespace

void AddRecordSeeds(Seeds& seeds) {
  AddMatrices(seeds);
  AddShots(seeds);
  AddRegions(seeds);
  AddResults(seeds);
}

}  // namespace dravix::fuzz
