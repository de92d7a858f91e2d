/// Dravix: the measuring object behind a handle.
#pragma once

#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "checkerboard/geometry/lit_area_share.h"

class CheckerboardDetector;
class RegionOI;
namespace dravix::extractor {
struct LitColumns;
}
namespace dravix::kernels {
class CubicWarp;
}

/// Whether Extract makes the working image row by row with the library's own kernels, or as a whole
/// with the matrix library. Results are the same to the last bit; tests and benchmarks choose.
enum class ExtractBy { kWhatIsFaster, kRows, kWholeImage };

/// Measures shots and keeps the last result: `lum` holds one luminance per LED, `resultImage` one
/// mark. One object serves one thread at a time. Methods return result codes; a run that fails
/// leaves the previous result, except where CalLum of a checkerboard says otherwise.
class Dravix {
 public:
  cv::Mat resultImage;  ///< CV_8UC1, ledHeight x ledWidth; every element is 2 after a measurement
  cv::Mat_<float> lum;  ///< ledHeight x ledWidth, in the photograph's sample units
  const Shot* shot = nullptr;  ///< the shot of the last successful SetImage; not owned

  /// Side of the Gaussian and of the closing and opening square that find the lit area, in
  /// working-image pixels; odd.
  std::int32_t blurKernelSize = 11;
  float blurSigma = 10.0F;  ///< sigma of that Gaussian, in working-image pixels

  std::int32_t singleAreaSize = -1;       ///< side of a checkerboard block, in LEDs
  std::int32_t lastRowAreaHeight = -1;    ///< height of the bottom blocks, in LEDs
  std::int32_t lastColumnAreaWidth = -1;  ///< width of the right blocks, in LEDs
  std::int32_t reservedBlockValue = -1;   ///< reserved; nothing reads or sets it

  /// Share of the working image's width and of its height that the lit area is mapped to.
  double roiScale = dravix::checkerboard::kLitAreaShare;
  /// Size of the working image relative to the photograph. Above 1, so that the pixels of a tilted
  /// screen's far side are not thrown away.
  double warpScale = 1.3;

  std::int32_t ledWidth = 0;   ///< lit LEDs across
  std::int32_t ledHeight = 0;  ///< lit LEDs down
  std::int32_t rowGroup = -1;  ///< rows that share one entry of rowLedNums
  /// LEDs in each row group from the top; empty when all rows have ledWidth LEDs.
  std::vector<std::int32_t> rowLedNums;

  /// kWhatIsFaster goes by rows wherever the kernels can do it.
  ExtractBy extractBy = ExtractBy::kWhatIsFaster;

  // --- set-up ---

  /// Remembers a shot and takes the lit LED counts from its pattern (0 and 0 without one).
  /// 0; or the code of Shot::Check for a missing shot or an empty image, with nothing changed.
  std::int32_t SetImage(const Shot* shot);
  /// Fits square blocks into the LED counts. lastWidth, lastHeight: LEDs of the last column's and
  /// row's blocks, -1 when they are like the others. Negative counts are divided like others. 0;
  /// 281 when the blocks do not fit (fields may be set then) or a count would divide by zero.
  std::int32_t SetsingleAreaSize(std::int32_t countAcross, std::int32_t countDown,
                                 std::int32_t lastWidth, std::int32_t lastHeight);
  /// Where the lit area's corners go in a working image of that size: the corners of the centered
  /// rectangle of roiScale, as top-left, top-right, bottom-right, bottom-left.
  std::array<cv::Point2f, 4> TargetRectangle(cv::Size workingSize) const;
  /// Makes both result matrices empty; everything else stays.
  void Release();
  /// True when there is no luminance result.
  bool Empty() const;

  // --- pipelines ---

  /// Measures a shot whose screen corners are known, in photograph pixels and any order. With three
  /// corners nothing is measured: every luminance becomes 2048. 0; 9; or the code of the shot's
  /// check.
  std::int32_t Extract(const Shot* shot, const std::vector<cv::Point>& cornerPoints,
                       std::int32_t topLedNum, std::int32_t bottomLedNum, std::int32_t rowGroup);
  /// Measures block by block with the help of a checkerboard photographed from the same pose.
  /// 0; 281 the blocks do not fit; 1 an empty region or no checkerboard; 204 the region has no four
  /// corners; 200 no lit area; 300 no such grid; 9; or the code of the shot's check.
  std::int32_t ExtractPro(const Shot* shot, const Shot* checkerboardShot,
                          DravixBlockCounts blockCounts, const RegionOI& region,
                          std::int32_t lastWidth, std::int32_t lastHeight);

  // --- steps ---

  /// Finds the largest lit area of a working image (any depth, 1 or 3 channels): its mask (CV_8UC1,
  /// 255 inside) and its bounding rectangle. Where there is none, both stay as given and one error
  /// line is logged.
  void AutoBlurLocate(const cv::Mat& image, cv::Mat& mask, cv::Rect& rect) const;
  /// Fills rowLedNums by linear interpolation from the top to the bottom row.
  /// 0; 9 when a count exceeds ledWidth or rowGroup is below 1; nothing changes then.
  std::int32_t GetRowLedNums(std::int32_t topLedNum, std::int32_t bottomLedNum,
                             std::int32_t rowGroup);
  /// Measures the area under `mask` between rect's left and right: `lum` and `resultImage`.
  /// `image`: one channel, any depth; `mask`: CV_8UC1 of its size. 0; 9 when a column holds no mask
  /// pixel: columns are looked at from the left, so such a column is answered with 9 also where the
  /// rectangle leaves the mask further right. Throws cv::Exception for an empty area, for a
  /// rectangle that leaves the mask and for LED counts too small for the border LEDs; on any
  /// failure both matrices are as before.
  std::int32_t CalLum(const cv::Mat& image, const cv::Mat& mask, const cv::Rect& rect);
  /// Measures cell by cell. 0; 9 when a column of a border cell holds no mask pixel. Throws
  /// cv::Exception for a cell that leaves the image and for blocks that leave `lum`. On failure
  /// `lum` is partly written.
  std::int32_t CalLum(const cv::Mat& image, const CheckerboardDetector& detector);

  /// The same for an area that is known by its columns.
  std::int32_t MeasureColumns(const cv::Mat& image, const dravix::extractor::LitColumns& area);
  /// Both for a working image that is made row by row.
  std::int32_t MeasureByRows(const dravix::kernels::CubicWarp& rows,
                             const dravix::extractor::LitColumns& area);
  std::int32_t MeasureByRows(const dravix::kernels::CubicWarp& rows,
                             const CheckerboardDetector& detector);

  // --- result file, buffer and picture ---

  /// Writes both matrices to a file ending in ".lum". 0; 8 wrong extension; 4 not written.
  std::int32_t Save(const std::string& fullname) const;
  /// Reads what Save wrote. 0; 8 wrong extension; 2 cannot be opened; 10 wrong mark; 3 wrong
  /// version.
  std::int32_t Load(const std::string& fullname);
  /// Stores the bytes that ToBuffer would write. 0; 1 null; 5 no result.
  std::int32_t GetBufferSize(std::uint64_t* size) const;
  /// Writes the file's bytes into `buffer`; *size is its capacity before and the length after.
  /// 0; 1 null; 13 too small, nothing changed.
  std::int32_t ToBuffer(char* buffer, std::uint64_t* size) const;
  /// Reads the file's bytes from a buffer. 0; 1 null; 10 wrong mark; 3 wrong version.
  std::int32_t FromBuffer(const char* bytes, std::int64_t length);
  /// Writes the luminances as an 8-bit picture, in the shot's color or gray. 0; 5 no result; 4
  /// not written.
  std::int32_t ExportImage(const std::string& fullname, bool colored) const;

 private:
  /// Measures LED rows, `first` and those below it, into `measured` (CV_32FC1, one element per LED)
  /// from the values of the area's columns in these rows.
  void MeasureRows(const cv::Mat& columns, int first, const cv::Mat& measured) const;
  /// Makes both result matrices from what was measured, whose border it replaces.
  void Keep(cv::Mat& measured);
};
