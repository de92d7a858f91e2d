// A host outside the tree. It measures a lit rectangle with the installed package and uses classes
// and functions of every public C++ header.
#include <dravix/algolog.h>
#include <dravix/bimage.h>
#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <cstdio>
#include <sstream>
#include <vector>

int main() {
  cv::Mat photo(320, 400, CV_16UC1, cv::Scalar(20));
  photo(cv::Rect(50, 40, 300, 240)).setTo(2000);
  Shot shot;
  if (shot.SetImageSingle(photo, CIE_Y) != 0) return 1;
  if (shot.SetPattern({1, 1, 1, 0, 0, 20, 16}) != 0) return 2;

  RegionOI region;
  if (region.ManualSet(photo.size(), {{50, 40}, {349, 40}, {349, 279}, {50, 279}}) != 0) return 3;
  std::vector<std::int32_t> corners;
  for (const cv::Point& p : RectToCorners(region.rect)) {
    corners.push_back(p.x);
    corners.push_back(p.y);
  }

  DravixHandle handle = nullptr;
  DravixResult result{};
  if (DravixCreateHandle(&handle) != 0) return 4;
  if (DravixExtract(handle, &shot, corners.data(), 4, 0, 0, 0) != 0) return 5;
  if (DravixGet(handle, &result, 0) != 0) return 6;

  std::stringstream record;
  WriteMat(cv::Mat(result.lum.rows, result.lum.cols, result.lum.type, result.lum.data), record);
  cv::Mat again;
  ReadMat(record, again);
  if (!BImage::ReadOrvelRaw("no such file", 1, 1).empty()) return 7;
  AlgoLogInfo("measured by version %d", DRAVIX_VERSION);
  std::printf("dravix measured %d x %d\n", again.rows, again.cols);
  return 0;
}
