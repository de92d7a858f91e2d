#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>

#include "checkerboard/checkerboard.h"
#include "checkerboard/pictures/rectified.h"
#include "image/picture_file.h"

namespace {

// Colors as blue, green, red.
const cv::Scalar kCell(0, 220, 0);        // a block as it will be measured
const cv::Scalar kMatched(255, 160, 0);   // the rectangle that it was found by
const cv::Scalar kInferred(0, 220, 255);  // one that was taken from its neighbors
const cv::Scalar kRejected(60, 60, 255);  // a contour that was no block
const cv::Scalar kArea(255, 0, 255);      // the outline of the lit area
const cv::Scalar kShadow(0, 0, 0);
/// Pictures whose shorter side has fewer pixels are enlarged to about this, so that the text fits.
constexpr double kReadable = 900;
constexpr int kMostEnlarged = 4;

/// The picture under the marks, and how much it was enlarged.
struct Canvas {
  cv::Mat picture;
  int scale = 1;

  cv::Rect At(const cv::Rect& r) const {
    return {r.x * scale, r.y * scale, r.width * scale, r.height * scale};
  }
};

/// The rectified checkerboard or, before a detection has made it, the shot as it is.
Canvas CanvasOf(const CheckerboardDetector& d) {
  cv::Mat gray = d.rectified;
  if (gray.empty()) gray = dravix::checkerboard::EightBits(d.checkerboardShot->image);
  Canvas canvas;
  const int shorter = std::max(1, std::min(gray.cols, gray.rows));
  canvas.scale = std::clamp(static_cast<int>(kReadable / shorter), 1, kMostEnlarged);
  cv::resize(gray, gray, {}, canvas.scale, canvas.scale, cv::INTER_NEAREST);
  cv::cvtColor(gray, canvas.picture, cv::COLOR_GRAY2BGR);
  return canvas;
}

/// Text with a dark rim, so that it can be read on lit and dark blocks.
void Write(const std::string& text, cv::Point at, double size, const cv::Scalar& color,
           cv::Mat& picture) {
  cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, size, kShadow, 3, cv::LINE_AA);
  cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, size, color, 1, cv::LINE_AA);
}

/// The font scale at which the text fits into `width` pixels, as far as it is neither illegible nor
/// clumsy.
double TextSize(const std::string& text, int width) {
  int baseline = 0;
  const cv::Size one = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, 1.0, 1, &baseline);
  return std::clamp(0.8 * width / std::max(1, one.width), 0.35, 0.8);
}

void DrawArea(const CheckerboardDetector& d, Canvas& canvas) {
  if (d.mask.empty() || d.rectified.size() != d.mask.size()) return;  // nothing detected yet
  cv::Mat mask;
  cv::resize(d.mask, mask, {}, canvas.scale, canvas.scale, cv::INTER_NEAREST);
  cv::Mat inner;
  cv::erode(mask, inner, cv::getStructuringElement(cv::MORPH_RECT, {3, 3}));
  canvas.picture.setTo(kArea, mask != inner);
}

void DrawContours(const CheckerboardDetector& d, Canvas& canvas) {
  for (const CheckerboardDetector::Rejected& r : d.rejected) {
    const cv::Rect box = canvas.At(r.rect);
    cv::rectangle(canvas.picture, box, kRejected, 1);
    Write(r.reason, {box.x + 2, box.y + box.height - 4}, 0.4, kRejected, canvas.picture);
  }
  // After a failure nothing was inferred, and all rectangles are those of contours.
  for (std::size_t i = 0; i < d.contourRectangles.size(); ++i) {
    const bool inferred = d.inferredFrom > 0 && i >= d.inferredFrom;
    cv::rectangle(canvas.picture, canvas.At(d.contourRectangles[i]),
                  inferred ? kInferred : kMatched, 1);
  }
}

void DrawCells(const CheckerboardDetector& d, Canvas& canvas) {
  for (std::size_t i = 0; i < d.cells.size(); ++i) {
    if (d.cells[i].empty()) continue;
    const cv::Rect box = canvas.At(d.cells[i]);
    cv::rectangle(canvas.picture, box, kCell, 1);
    const std::string number = std::to_string(i);
    const double size = TextSize(number, box.width);
    int baseline = 0;
    const cv::Size text = cv::getTextSize(number, cv::FONT_HERSHEY_SIMPLEX, size, 1, &baseline);
    Write(number, {box.x + (box.width - text.width) / 2, box.y + (box.height + text.height) / 2},
          size, kCell, canvas.picture);
  }
}

/// What the colors mean and how far the detection came.
void DrawLegend(const CheckerboardDetector& d, Canvas& canvas) {
  const auto found =
      std::count_if(d.cells.begin(), d.cells.end(), [](const cv::Rect& r) { return !r.empty(); });
  const std::size_t contours = d.inferredFrom > 0 ? d.inferredFrom : d.contourRectangles.size();
  const struct {
    std::string text;
    cv::Scalar color;
  } lines[] = {
      {"cells " + std::to_string(found) + " of " + std::to_string(d.gridColumns) + " x " +
           std::to_string(d.gridRows),
       kCell},
      {"contours " + std::to_string(contours), kMatched},
      {"inferred " + std::to_string(d.contourRectangles.size() - contours), kInferred},
      {"rejected " + std::to_string(d.rejected.size()), kRejected},
      {"LED area", kArea},
  };
  int x = 8;
  for (const auto& line : lines) {
    Write(line.text, {x, 20}, 0.5, line.color, canvas.picture);
    int baseline = 0;
    x += cv::getTextSize(line.text, cv::FONT_HERSHEY_SIMPLEX, 0.5, 1, &baseline).width + 16;
  }
}

}  // namespace

std::int32_t CheckerboardDetector::ExportCheckerboardResult(const std::string& fullname) const {
  AlgoLogInfo("CheckerboardDetector::ExportCheckerboardResult");
  if (checkerboardShot == nullptr || checkerboardShot->image.empty()) {
    AlgoLogError("CheckerboardDetector::ExportCheckerboardResult--Error :: checkboard_shot empty.");
    return DRAVIX_NULL_ARGUMENT;
  }
  Canvas canvas = CanvasOf(*this);
  DrawArea(*this, canvas);
  DrawContours(*this, canvas);
  DrawCells(*this, canvas);
  DrawLegend(*this, canvas);
  return dravix::image::WritePicture(fullname, canvas.picture) ? DRAVIX_OK : DRAVIX_CANNOT_WRITE;
}
