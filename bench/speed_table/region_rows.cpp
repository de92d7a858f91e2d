// The searches for a region and its corners against one call of the matrix library for each step.
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <functional>

#include "reference/plain_region.h"
#include "speed_table/measure.h"
#include "speed_table/rows.h"

namespace dravix::bench {
namespace {

constexpr const char* kLeds = "480 x 270 LEDs";

reference::RegionSettings SettingsOf(const RegionOI& region) {
  return {region.blurKernelSize, region.blurSigma, region.cornerQualityLevel,
          region.cornerRefineWindow};
}

using Search = std::function<std::int32_t(RegionOI&)>;
using PlainSearch = std::function<std::optional<reference::FoundRegion>()>;

void SearchRow(const Options& options, const Case& what, const Shot& shot, const PlainSearch& plain,
               const Search& search, double aim, Table& table) {
  std::optional<reference::FoundRegion> expected;
  RegionOI region;
  region.SetShot(&shot);
  std::int32_t code = DRAVIX_OK;
  const std::vector<double> times =
      ShortestInTurns(options.Turns(), {[&] { expected = plain(); },
                                        [&] {
                                          region.mask.release();  // both make their mask anew
                                          code = search(region);
                                        }});
  table.Compared(what, code == DRAVIX_OK && expected && region.rect == expected->rect &&
                           SameBits(region.mask, expected->mask));
  table.Faster(what, times[0], times[1], aim);
}

void CornerRow(const Options& options, double megapixels, const Shot& shot, Table& table) {
  constexpr double kAim = 15;
  RegionOI region;
  region.SetShot(&shot);
  region.ComputeBlur();
  std::vector<cv::Point> expected;
  std::vector<cv::Point> found;
  const std::vector<double> times =
      ShortestInTurns(options.Turns(), {[&] {
                                          expected = OrderCorners(reference::Corners(
                                              {region.frameWidth, region.frameHeight},
                                              {region.rect, region.mask}, SettingsOf(region)));
                                        },
                                        [&] { region.GetPrecision4Corner(found); }});
  const Case what{"`GetPrecision4Corner`", megapixels, kLeds};
  table.Compared(what, !found.empty() && found == expected);
  table.Faster(what, times[0], times[1], kAim);
}

}  // namespace

void RegionRows(const Options& options, Table& table) {
  constexpr double kAutoSetAim = 1;
  constexpr double kComputeBlurAim = 3;
  const double megapixels = options.Megapixels(20);
  const sim::Photograph photo = sim::Render(SceneOf(megapixels, {480, 270}));
  const Shot& shot = photo.shot;
  const int camType = shot.device->cam_type;
  const reference::RegionSettings settings = SettingsOf(RegionOI());
  CornerRow(options, megapixels, shot, table);
  SearchRow(
      options, {"`AutoSet`", megapixels, kLeds}, shot,
      [&] { return reference::AutoSet(shot.image, camType, settings); },
      [](RegionOI& region) { return region.AutoSet(); }, kAutoSetAim, table);
  SearchRow(
      options, {"`ComputeBlur`", megapixels, kLeds}, shot,
      [&] { return reference::ComputeBlur(shot.image, camType, settings); },
      [](RegionOI& region) { return region.ComputeBlur(); }, kComputeBlurAim, table);
}

}  // namespace dravix::bench
