/// Dravix: the measuring object behind one handle.
#pragma once

#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

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

/// Measures shots and keeps the last result: `lum`, one luminance per LED, and `resultImage` beside
/// it. One object serves one thread at a time. Methods return result codes; a failed run leaves the
/// previous result, save where CalLum of a checkerboard says otherwise.
class Dravix {
 public:
  cv::Mat resultImage;  ///< CV_8UC1, ledHeight x ledWidth; every element 2 after a measurement
  cv::Mat_<float> lum;  ///< ledHeight x ledWidth, in the photograph's sample units
  const Shot* shot = nullptr;  ///< of the last successful SetImage; not owned
  std::int32_t blurKernelSize =
      11;                   ///< side of the smoothing and of the closing square, pixels; odd
  float blurSigma = 10.0F;  ///< of that smoothing, pixels
  std::int32_t singleAreaSize = -1;       ///< side of a checkerboard block, LEDs
  std::int32_t lastRowAreaHeight = -1;    ///< of the bottom blocks, LEDs
  std::int32_t lastColumnAreaWidth = -1;  ///< of the right blocks, LEDs
  std::int32_t reservedBlockValue = -1;   ///< kept for hosts' layouts of old; nothing reads it
  double roiScale = 0.85;  ///< part of the working image's width and height that the LED area takes
  double warpScale = 1.3;  ///< working image's size by the photograph's
  std::int32_t ledWidth = 0;             ///< lit LEDs across
  std::int32_t ledHeight = 0;            ///< lit LEDs down
  std::int32_t rowGroup = -1;            ///< rows that one entry of rowLedNums stands for
  std::vector<std::int32_t> rowLedNums;  ///< LEDs per row group from the top; empty: all rows alike
  ExtractBy extractBy = ExtractBy::kWhatIsFaster;  ///< kRows where the kernels can do it

  // --- set-up ---

  /// Remembers a shot and takes the lit LED counts from its pattern (0 and 0 without one).
  /// 0; or the code of Shot::Check for a missing shot or an empty image, with nothing changed.
  std::int32_t SetImage(const Shot* shot);
  /// Fits square blocks into the LED counts. lastWidth, lastHeight: LEDs of the last column's and
  /// row's blocks, -1 when like the others. 0; 281 when they do not fit (fields may be set then).
  std::int32_t SetsingleAreaSize(std::int32_t countAcross, std::int32_t countDown,
                                 std::int32_t lastWidth, std::int32_t lastHeight);
  /// Where the LED area's corners go in a working image of that size: the centred rectangle of
  /// roiScale, as top-left, top-right, bottom-right, bottom-left.
  std::array<cv::Point2f, 4> TargetRectangle(cv::Size workingSize) const;
  /// Makes both result matrices empty; everything else stays.
  void Release();
  /// True when there is no luminance result.
  bool Empty() const;

  // --- pipelines ---

  /// Measures a shot whose screen corners are known, in photograph pixels and any order. Three
  /// corners measure nothing: every luminance becomes 2048. 0; 9; or the code of the shot's check.
  std::int32_t Extract(const Shot* shot, const std::vector<cv::Point>& cornerPoints,
                       std::int32_t topLedNum, std::int32_t bottomLedNum, std::int32_t rowGroup);
  /// Measures block by block with the help of a checkerboard of the same pose.
  /// 0; 281; 1 empty region; 204; 200; 300; 9; or the code of the shot's check.
  std::int32_t ExtractPro(const Shot* shot, const Shot* checkerboardShot,
                          DravixBlockCounts blockCounts, const RegionOI& region,
                          std::int32_t lastWidth, std::int32_t lastHeight);

  // --- steps ---

  /// Finds the largest lit area of a rectified image (any depth, 1 or 3 channels): its mask
  /// (CV_8UC1, 255 inside) and bounding rectangle. Where there is none, both stay as given; one
  /// error line.
  void AutoBlurLocate(const cv::Mat& image, cv::Mat& mask, cv::Rect& rect) const;
  /// Fills rowLedNums by linear interpolation from the top to the bottom row.
  /// 0; 9 when a count exceeds ledWidth or rowGroup is below 1, with nothing changed.
  std::int32_t GetRowLedNums(std::int32_t topLedNum, std::int32_t bottomLedNum,
                             std::int32_t rowGroup);
  /// Measures the area under `mask` between rect's left and right: `lum` and `resultImage`.
  /// `image`: one channel, any depth; `mask`: CV_8UC1 of its size. 0; 9 when a column holds no mask
  /// pixel. Throws cv::Exception for an empty area and for LED counts too small for the edges; on
  /// any failure both matrices are as before.
  std::int32_t CalLum(const cv::Mat& image, const cv::Mat& mask, const cv::Rect& rect);
  /// Measures cell by cell. 0; 9 when a column of a border cell holds no mask pixel. Throws as
  /// above. On failure `lum` is partly written.
  std::int32_t CalLum(const cv::Mat& image, const CheckerboardDetector& detector);

  /// The same for a working image that is made row by row.
  std::int32_t MeasureByRows(const dravix::kernels::CubicWarp& rows,
                             const dravix::extractor::LitColumns& area);

  // --- result file, buffer and picture ---

  std::int32_t Save(const std::string& fullname) const;  ///< 0; 8 extension; 4 not written
  std::int32_t Load(const std::string& fullname);        ///< 0; 8; 2 not opened; 10 mark; 3 version
  std::int32_t GetBufferSize(std::uint64_t* size) const;            ///< 0; 1 null; 5 no result
  std::int32_t ToBuffer(char* buffer, std::uint64_t* size) const;   ///< 0; 1 null; 13 too small
  std::int32_t FromBuffer(const char* bytes, std::int64_t length);  ///< 0; 1 null; 10; 3
  /// Writes the luminances as an 8-bit picture, in the shot's colour or grey. 0; 5 no result; 4.
  std::int32_t ExportImage(const std::string& fullname, bool colored) const;

 private:
  /// Makes both result matrices from the area's columns, each resampled to ledHeight values.
  void Keep(const cv::Mat& columns);
};
