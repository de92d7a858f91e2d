/// The two pipelines: an area located by itself, and blocks found with the help of a checkerboard.
#include <dravix/algolog.h>
#include <dravix/region.h>

#include "base/checked.h"
#include "base/one_line.h"
#include "checkerboard/checkerboard.h"
#include "extractor/by_rows.h"
#include "extractor/extractor.h"
#include "extractor/lit_columns.h"
#include "extractor/locate.h"
#include "extractor/rectify.h"
#include "kernels/targets.h"
#include "region/region_state.h"
#include "shot/shot_picture.h"

namespace {

using dravix::extractor::SearchSettings;
using dravix::kernels::CubicWarp;
using dravix::kernels::Gaussian;

/// Every luminance of a run with three corners, which measures nothing. Hosts rely on the value.
constexpr double kUnmeasured = 2048.0;

std::int32_t RefuseCorners() {
  AlgoLogError("Dravix::Extract--Error ::  cornerPoints size error!!.");
  return DRAVIX_BAD_ARGUMENT;
}

/// Whether a result of that size fits the 32-bit byte counts of its descriptor and record.
bool LuminancesFit(std::int32_t width, std::int32_t height) {
  if (width < 1 || height < 1) return true;  // refused, or empty, in a later step
  const auto bytes = dravix::base::CheckedMul(static_cast<std::uint64_t>(width),
                                              static_cast<std::uint64_t>(height), sizeof(float));
  return bytes && dravix::base::FitsInt32(*bytes);
}

/// Runs a pipeline. What the matrix library refuses (an area without size, blocks that leave the
/// matrix, too few LEDs to replace the border) becomes one error line and the code 9.
template <class Run>
std::int32_t RefusalsAsCode(const char* method, Run&& run) {
  try {
    return run();
  } catch (const cv::Exception& e) {
    AlgoLogError("%s--Error :: %s", method, dravix::base::OneLine(e.err).c_str());
    return DRAVIX_BAD_ARGUMENT;
  }
}

std::int32_t RefuseLedCounts(const char* method, std::int32_t width, std::int32_t height) {
  AlgoLogError("%s--Error :: %d x %d LEDs are more than a result can hold", method, width, height);
  return DRAVIX_BAD_ARGUMENT;
}

/// Whether the kernels may make the working image row by row.
bool MayGoByRows(ExtractBy by) {
  return by == ExtractBy::kRows ||
         (by == ExtractBy::kWhatIsFaster && dravix::kernels::VectorsAvailable());
}

/// How the kernels would search for the lit area, or nothing where the matrix library has to: the
/// camera's full scale is unknown, the smoothing is an unusual one, or the processor is too old.
std::optional<SearchSettings> SearchByRows(const Dravix& dravix) {
  if (!MayGoByRows(dravix.extractBy)) return std::nullopt;
  const std::int32_t fullScale = dravix::shot::FullScale(*dravix.shot);
  if (fullScale <= 0) return std::nullopt;
  const auto blur = Gaussian::Of(dravix.blurKernelSize, static_cast<double>(dravix.blurSigma));
  if (!blur) return std::nullopt;
  return SearchSettings{dravix::kernels::EightBitScale(fullScale), *blur, dravix.blurKernelSize};
}

}  // namespace

std::int32_t Dravix::Extract(const Shot* newShot, const std::vector<cv::Point>& cornerPoints,
                             std::int32_t topLedNum, std::int32_t bottomLedNum,
                             std::int32_t newRowGroup) {
  constexpr const char* kMethod = "Dravix::Extract";
  AlgoLogInfo("Dravix::Extract");
  if (const std::int32_t code = SetImage(newShot); code != DRAVIX_OK) return code;
  if (!LuminancesFit(ledWidth, ledHeight)) return RefuseLedCounts(kMethod, ledWidth, ledHeight);
  if (topLedNum > 0 && bottomLedNum > 0) {
    const std::int32_t code = GetRowLedNums(topLedNum, bottomLedNum, newRowGroup);
    if (code != DRAVIX_OK) return code;
  }
  if (cornerPoints.size() != 3 && cornerPoints.size() != 4) return RefuseCorners();
  return RefusalsAsCode(kMethod, [&] {
    if (cornerPoints.size() == 3) {
      lum = cv::Mat_<float>(cv::Mat(ledHeight, ledWidth, CV_32FC1, cv::Scalar(kUnmeasured)));
      return std::int32_t{DRAVIX_OK};
    }
    const std::vector<cv::Point> ordered = OrderCorners(cornerPoints);
    if (ordered.empty()) return RefuseCorners();
    if (dravix::extractor::AnyThreeOnALine(ordered)) {
      AlgoLogError("%s--Error :: three of the corners lie on one line", kMethod);
      return std::int32_t{DRAVIX_BAD_ARGUMENT};
    }
    const cv::Size size = dravix::extractor::WorkingSize(shot->image.size(), warpScale);
    const cv::Mat workingFromPhoto =
        dravix::extractor::WorkingFromPhoto(ordered, TargetRectangle(size));
    const std::optional<SearchSettings> search = SearchByRows(*this);
    const std::optional<CubicWarp> rows = extractBy == ExtractBy::kWholeImage
                                              ? std::nullopt
                                              : CubicWarp::Of(shot->image, workingFromPhoto, size);
    // Where LED rows outnumber rows of pixels, a value for each LED row and column of pixels, which
    // that way makes, could take far more memory than the photograph and the result.
    if (rows && search && ledHeight <= size.height) {
      // Without an area CalLum gets an empty one, and says that it cannot measure it.
      const auto area = dravix::extractor::Locate(*rows, *search);
      return area ? MeasureByRows(*rows, *area) : CalLum(cv::Mat(), cv::Mat(), cv::Rect());
    }
    const cv::Mat working =
        rows ? dravix::extractor::WholeWorkingImage(*rows)
             : dravix::extractor::WarpToWorkingImage(shot->image, workingFromPhoto, size);
    const std::int32_t fullScale = dravix::shot::FullScale(*shot);
    const dravix::extractor::Melting melting{blurKernelSize, blurSigma};
    // Without a square to clean with, the matrix library says what is wrong.
    if (extractBy == ExtractBy::kWholeImage || blurKernelSize < 1) {
      const auto area = dravix::extractor::LocateLitArea(working, fullScale, melting);
      return area ? CalLum(working, area->mask, area->rect) : CalLum({}, {}, {});
    }
    const auto area = dravix::extractor::LocateLitColumns(working, fullScale, melting);
    return area ? MeasureColumns(working, *area) : CalLum({}, {}, {});
  });
}

std::int32_t Dravix::ExtractPro(const Shot* newShot, const Shot* checkerboardShot,
                                DravixBlockCounts blockCounts, const RegionOI& region,
                                std::int32_t lastWidth, std::int32_t lastHeight) {
  AlgoLogInfo("Dravix::Extract");  // hosts know both pipelines by this text
  constexpr const char* kMethod = "Dravix::ExtractPro";
  CheckerboardDetector detector;
  if (const std::int32_t code = SetImage(newShot); code != DRAVIX_OK) return code;
  if (const std::int32_t code =
          SetsingleAreaSize(blockCounts.across, blockCounts.down, lastWidth, lastHeight);
      code != DRAVIX_OK) {
    return code;
  }
  if (dravix::region::IsEmpty(region)) {
    AlgoLogError("Dravix::Extract--Error ::  roi empty !!.");
    return DRAVIX_NULL_ARGUMENT;
  }
  if (!LuminancesFit(ledWidth, ledHeight)) return RefuseLedCounts(kMethod, ledWidth, ledHeight);
  return RefusalsAsCode(kMethod, [&] {
    std::vector<cv::Point> corners;
    std::int32_t code = region.GetPrecision4Corner(corners);
    if (code != DRAVIX_OK) return code;
    const cv::Size size = dravix::extractor::WorkingSize(shot->image.size(), warpScale);
    const cv::Mat workingFromPhoto =
        dravix::extractor::WorkingFromPhoto(corners, TargetRectangle(size));
    const std::optional<CubicWarp> rows =
        MayGoByRows(extractBy) ? CubicWarp::Of(shot->image, workingFromPhoto, size) : std::nullopt;
    // Made before the detection, so that a photograph that cannot be warped is refused first.
    const cv::Mat working =
        rows ? cv::Mat()
             : dravix::extractor::WarpToWorkingImage(shot->image, workingFromPhoto, size);
    code = detector.SetImage(checkerboardShot, shot);
    if (code != DRAVIX_OK) return code;
    detector.byRows = MayGoByRows(extractBy);
    detector.keepsRectified = false;
    detector.areaScale = roiScale;  // the detector sizes its blocks by what TargetRectangle covers
    code =
        detector.SetParam(cv::Size(blockCounts.across, blockCounts.down), size, workingFromPhoto);
    if (code != DRAVIX_OK) return code;
    code = detector.checkborderPrision();
    if (code != DRAVIX_OK) return code;
    return rows ? MeasureByRows(*rows, detector) : CalLum(working, detector);
  });
}
