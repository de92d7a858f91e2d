#include "photographs/formats/tiff_picture.h"

#include <algorithm>

#include "terminal/failure.h"

namespace dravix::tool {
namespace {

enum PictureTag : std::uint32_t {
  kSubfileType = 254,
  kWidth = 256,
  kHeight = 257,
  kBits = 258,
  kCompression = 259,
  kPhotometric = 262,
  kSamples = 277,
  kSubDirectories = 330,
  kCfaRepeat = 33421,
  kCfaPattern = 33422,
  kDngVersion = 50706,
  kBlackRepeat = 50713,
  kBlackLevel = 50714,
  kWhiteLevel = 50717,
  kActiveArea = 50829,
};

constexpr std::uint64_t kColorFilterArray = 32803;
constexpr std::uint64_t kLinearRaw = 34892;
constexpr std::size_t kMostDirectories = 16;  // cameras write up to five

bool IsSensorPicture(const TiffDirectory& directory) {
  const std::uint64_t photometric = directory.Whole(kPhotometric, 0);
  return directory.Whole(kSubfileType, 0) == 0 &&
         (photometric == kColorFilterArray || photometric == kLinearRaw);
}

/// The first directory and those that it names: its own pictures, then the next ones in the file.
std::vector<TiffDirectory> DirectoriesFrom(const TiffDirectory& first) {
  std::vector<TiffDirectory> all = {first};
  for (const std::uint64_t at : first.Wholes(kSubDirectories, kMostDirectories)) {
    if (const auto sub = TiffDirectory::At(first.Bytes(), at)) all.push_back(*sub);
  }
  std::uint64_t at = first.Next();
  while (all.size() < 2 * kMostDirectories) {
    const auto next = TiffDirectory::At(first.Bytes(), at);
    if (!next) break;
    all.push_back(*next);
    at = next->Next();
  }
  return all;
}

TiffDirectory MainOf(const TiffDirectory& first, bool isDng) {
  if (!isDng) return first;
  const std::vector<TiffDirectory> all = DirectoriesFrom(first);
  const auto found = std::find_if(all.begin(), all.end(), IsSensorPicture);
  return found == all.end() ? first : *found;
}

Failure NoDirectory(const std::string& name, std::string_view bytes) {
  const auto tiff = TiffBytes::Of(bytes);
  if (tiff) {
    const std::uint64_t at = tiff->FirstDirectory();
    if (at >= bytes.size()) {
      return CutShort(name, bytes.size(), "expected its directory at byte " + std::to_string(at));
    }
    const std::uint64_t end = TiffDirectory::EndOf(*tiff, at);
    if (end > bytes.size()) {
      return CutShort(name, bytes.size(),
                      "expected " + std::to_string(end) + ", where its directory ends");
    }
  }
  return InputFailure(name, "is no DNG or TIFF with a readable directory");
}

}  // namespace

TiffPicture TiffPictureOf(const std::string& name, std::string_view bytes,
                          const TiffBytes::Fetch* fetch) {
  const auto tiff = TiffBytes::Of(bytes, fetch);
  const auto first = tiff ? TiffDirectory::At(*tiff, tiff->FirstDirectory()) : std::nullopt;
  if (!first) throw NoDirectory(name, bytes);
  const bool isDng = first->Has(kDngVersion);
  TiffPicture picture{*first, MainOf(*first, isDng)};
  picture.isDng = isDng;
  const TiffDirectory& main = picture.main;
  picture.width = main.Whole(kWidth, 0);
  picture.height = main.Whole(kHeight, 0);
  picture.samples = main.Whole(kSamples, 1);
  picture.compression = main.Whole(kCompression, 1);
  picture.photometric = main.Whole(kPhotometric, 1);
  const std::vector<std::uint64_t> bits = main.Wholes(kBits);
  // A picture whose samples differ in width has none that could be named.
  const bool alike =
      std::all_of(bits.begin(), bits.end(), [&](std::uint64_t b) { return b == bits.front(); });
  picture.bits = bits.empty() ? 1 : alike ? bits.front() : 0;
  return picture;
}

std::string MosaicOf(const TiffPicture& picture) {
  const bool tagged = picture.main.Has(kCfaPattern);
  if (picture.samples != 1 || (!tagged && picture.photometric != kColorFilterArray)) return {};
  const std::string_view colors = picture.main.Raw(kCfaPattern);
  const std::vector<std::uint64_t> repeat = picture.main.Wholes(kCfaRepeat);
  const bool twoByTwo = repeat.empty() || (repeat.size() == 2 && repeat[0] == 2 && repeat[1] == 2);
  if (!twoByTwo || colors.size() != 4) return "other";
  std::string letters;
  for (const char color : colors) {
    letters += color == 0 ? 'r' : color == 1 ? 'g' : color == 2 ? 'b' : '?';
  }
  return IsBayer(letters) ? letters : "other";
}

std::optional<BlackLevel> BlackLevelOf(const TiffPicture& picture) {
  constexpr std::uint64_t kMostLevels = 4096;
  BlackLevel black;
  black.values = picture.main.Numbers(kBlackLevel, kMostLevels);
  if (black.values.empty()) return std::nullopt;
  const std::vector<std::uint64_t> repeat = picture.main.Wholes(kBlackRepeat);
  if (repeat.size() == 2 && repeat[0] >= 1 && repeat[1] >= 1 && repeat[0] <= kMostLevels &&
      repeat[1] <= kMostLevels) {
    black.rows = static_cast<int>(repeat[0]);
    black.columns = static_cast<int>(repeat[1]);
  }
  black.planes = picture.samples == 3 ? 3 : 1;
  const auto expected = static_cast<std::size_t>(black.rows) *
                        static_cast<std::size_t>(black.columns) *
                        static_cast<std::size_t>(black.planes);
  if (black.values.size() == 1) black.values.resize(expected, black.values.front());
  return black.values.size() == expected ? std::optional<BlackLevel>(black) : std::nullopt;
}

std::optional<double> WhiteLevelOf(const TiffPicture& picture) {
  const auto white = picture.main.Number(kWhiteLevel);
  return white && *white > 0 ? white : std::nullopt;
}

cv::Rect ActiveAreaOf(const TiffPicture& picture) {
  const cv::Rect whole(0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height));
  const std::vector<std::uint64_t> area = picture.main.Wholes(kActiveArea);
  if (!picture.isDng || area.size() != 4) return whole;
  const std::uint64_t top = area[0];
  const std::uint64_t left = area[1];
  const std::uint64_t bottom = area[2];
  const std::uint64_t right = area[3];
  if (top >= bottom || left >= right || bottom > picture.height || right > picture.width) {
    return whole;
  }
  return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
          static_cast<int>(bottom - top)};
}

}  // namespace dravix::tool
