#include "photographs/picture_stand_in.h"

#include <climits>
#include <cstdint>
#include <string_view>

#include "files/file_kind.h"
#include "files/files.h"
#include "files/partial_file.h"
#include "photographs/formats/gray_map.h"
#include "photographs/formats/picture_head.h"
#include "photographs/formats/tiff_picture.h"

namespace dravix::tool {
namespace {

constexpr int kBitsOfSensors = 16;

/// Empty where decoders do not give the samples as the head has them.
std::optional<PictureStandIn> StandInBy(const PictureHead& head) {
  const bool plain = (head.channels == 1 || head.channels == 3) &&
                     (head.bits == CHAR_BIT || head.bits == kBitsOfSensors) &&
                     head.width <= INT32_MAX && head.height <= INT32_MAX;
  if (!plain) return std::nullopt;
  PictureStandIn standIn;
  standIn.size = {static_cast<int>(head.width), static_cast<int>(head.height)};
  const int depth = head.bits == kBitsOfSensors ? CV_16U : CV_8U;
  standIn.picture.samples = FewSamples(CV_MAKETYPE(depth, head.channels));
  standIn.picture.bits = head.bits;
  standIn.picture.sensor = standIn.picture.samples.type() == CV_16UC1;
  return standIn;
}

std::optional<PictureStandIn> StandInForGrayMap(std::string_view first) {
  const bool isGray = first.starts_with("P5") || first.starts_with("P2");
  const auto map = isGray ? MapHeaderIn(first) : std::nullopt;
  if (!map || map->width < 1 || map->height < 1) return std::nullopt;
  constexpr std::uint32_t kMostOfBytes = 255;
  return StandInBy(
      {map->width, map->height, 1, map->maximum > kMostOfBytes ? kBitsOfSensors : CHAR_BIT});
}

std::optional<PictureStandIn> StandInForTiff(const std::string& name) {
  PartialFile file(name);
  const TiffBytes::Fetch fetch = [&file](std::uint64_t at, std::uint64_t count) {
    file.Fetch(at, count);
  };
  const TiffPicture tiff = TiffPictureOf(name, file.Bytes(), &fetch);
  // A .dng that does not call itself one has a layout of its own.
  const bool isHosts = ExtensionOf(name) == ".dng" && !tiff.isDng;
  if (isHosts || !IsPlainTiff(tiff)) return std::nullopt;
  PictureStandIn standIn;
  standIn.size = ActiveAreaOf(tiff).size();
  const int depth = tiff.isDng || tiff.bits > CHAR_BIT ? CV_16U : CV_8U;
  standIn.picture.samples = FewSamples(CV_MAKETYPE(depth, static_cast<int>(tiff.samples)));
  standIn.picture.bits = static_cast<int>(tiff.bits);
  standIn.picture.sensor = tiff.isDng || standIn.picture.samples.type() == CV_16UC1;
  standIn.picture.mosaic = MosaicOf(tiff);
  standIn.picture.black = BlackLevelOf(tiff);
  return standIn;
}

}  // namespace

cv::Mat FewSamples(int type) {
  constexpr int kSide = 16;  // even, and more than a demosaicing filter reaches
  return cv::Mat::zeros(kSide, kSide, type);
}

std::optional<PictureStandIn> StandInForDump(cv::Size size) {
  return StandInBy({static_cast<std::uint64_t>(size.width), static_cast<std::uint64_t>(size.height),
                    1, kBitsOfSensors});
}

std::optional<PictureStandIn> StandInForPicture(const std::string& name) {
  const FileKind kind = KindOf(name);
  if (kind == FileKind::kTiff) return StandInForTiff(name);
  if (kind != FileKind::kPgm && kind != FileKind::kPicture) return std::nullopt;
  const std::string first = ReadHead(name, kBeforeFrame).first;
  if (kind == FileKind::kPgm) return StandInForGrayMap(first);
  if (const auto png = HeadOfPng(first)) return StandInBy(*png);
  const auto jpeg = HeadOfJpeg(first);
  return jpeg ? StandInBy(*jpeg) : std::nullopt;
}

}  // namespace dravix::tool
