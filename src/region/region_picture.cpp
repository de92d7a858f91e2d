#include "region/region_picture.h"

#include <dravix/algolog.h>
#include <dravix/dravix.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>

#include "image/lit_area.h"
#include "image/picture.h"
#include "image/picture_file.h"
#include "region/region_state.h"
#include "region/rounding.h"
#include "shot/shot_picture.h"

namespace dravix::region {
namespace {

// Saturated, so that they stand out on grey, black and white alike.
const cv::Scalar kOutlineColor(0, 255, 0);
const cv::Scalar kPinColor(0, 200, 0);
const cv::Scalar kBoxColor(255, 0, 255);
const cv::Scalar kCircleColor(0, 0, 255);
const cv::Scalar kLabelColor(0, 255, 255);
const cv::Scalar kLabelEdgeColor(0, 0, 0);

constexpr int kCircleRadius = 3;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

/// Sizes of what must be readable when the whole picture is fitted to a screen.
struct Strokes {
  double fontScale;  ///< 1 is a capital of 21 pixels
  int width;         ///< of letters and brackets, pixels
  int gap;           ///< between a corner and its label, pixels
};

Strokes StrokesFor(cv::Size picture) {
  // A capital of 1.75 % of the picture's mean side; never below 9 pixels, where the font ends.
  constexpr double kSideAtScale1 = 1200.0;
  constexpr double kSmallest = 0.45;
  const double side = std::sqrt(static_cast<double>(picture.width) * picture.height);
  const double scale = std::max(kSmallest, side / kSideAtScale1);
  const int width = std::max(1, static_cast<int>(std::lround(2 * scale)));
  return {scale, width, 2 * kCircleRadius + 3 * width};
}

cv::Mat BasePicture(const Shot& shot) {
  // The colour that the screen showed would hide the overlay of the same colour: one plane is grey.
  return shot.image.channels() == 1 ? image::ToImage(shot.image, shot::FullScale(shot), 3)
                                    : shot::ToColorPicture(shot);
}

bool Overlap(const cv::Rect& rect, cv::Size picture) {
  return rect.x < picture.width && rect.y < picture.height &&
         std::int64_t{rect.x} + rect.width > 0 && std::int64_t{rect.y} + rect.height > 0;
}

/// Pixels that may be drawn at without leaving the range of OpenCV's arithmetic.
bool IsNear(const cv::Point& point, cv::Size picture) {
  return point.x >= -kCircleRadius && point.y >= -kCircleRadius &&
         point.x <= picture.width + kCircleRadius && point.y <= picture.height + kCircleRadius;
}

/// Strokes that stand on the outline like pins, from outside and with a gap that leaves the edge of
/// the LED area to be seen: a line of one pixel is lost when 30 megapixels are fitted to a screen.
void DrawPins(cv::Mat& picture, const image::Contour& outline, const Strokes& strokes) {
  constexpr std::size_t kPins = 48;
  if (outline.size() < kPins) return;
  const double outward = cv::contourArea(outline, true) > 0 ? -1.0 : 1.0;
  const std::size_t reach = outline.size() / kPins / 3;  // of the chord that gives the direction
  for (std::size_t pin = 0; pin < kPins; ++pin) {
    const std::size_t i = pin * outline.size() / kPins;
    const cv::Point2d at = outline[i];
    const cv::Point2d chord = outline[(i + reach) % outline.size()] -
                              outline[(i + outline.size() - reach) % outline.size()];
    const double length = cv::norm(chord);
    if (length < 1) continue;
    const cv::Point2d normal = outward / length * cv::Point2d(-chord.y, chord.x);
    const double from = kCircleRadius + strokes.width;
    cv::line(picture, at + from * normal, at + (from + 2 * strokes.gap) * normal, kPinColor,
             strokes.width, cv::LINE_8);
  }
}

void DrawOutlines(cv::Mat& picture, const RegionOI& region, const Strokes& strokes) {
  const cv::Rect area(region.rect.tl(), region.mask.size());
  if (!Overlap(area, picture.size())) return;
  image::Contours outlines = image::OuterContours(region.mask);
  if (outlines.empty()) return;
  for (image::Contour& outline : outlines) {
    for (cv::Point& point : outline) point += area.tl();
  }
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  DrawPins(picture, outlines[largest], strokes);
  cv::drawContours(picture, outlines, -1, kOutlineColor, 1, cv::LINE_8);
  const image::Contour box = RectToCorners(cv::minAreaRect(outlines[largest]));
  cv::polylines(picture, box, true, kBoxColor, 1, cv::LINE_8);
}

/// Text with a dark edge, moved so that all of it is inside the picture where it fits.
void DrawLabel(cv::Mat& picture, const std::string& text, cv::Point origin,
               const Strokes& strokes) {
  const int edge = strokes.width + 2 * std::max(1, strokes.width / 2);
  int below = 0;
  const cv::Size size = cv::getTextSize(text, kFont, strokes.fontScale, edge, &below);
  const int lowest = picture.rows - below - edge;
  origin.x = std::max(edge, std::min(origin.x, picture.cols - size.width - edge));
  origin.y = std::max(size.height + edge, std::min(origin.y, lowest));
  cv::putText(picture, text, origin, kFont, strokes.fontScale, kLabelEdgeColor, edge, cv::LINE_AA);
  cv::putText(picture, text, origin, kFont, strokes.fontScale, kLabelColor, strokes.width,
              cv::LINE_AA);
}

/// One of the rectangle's corners: its name and the directions that lead out of the rectangle.
struct Corner {
  const char* name;
  int outX;
  int outY;
};

constexpr std::array<Corner, 4> kCorners = {
    {{"TL", -1, -1}, {"TR", 1, -1}, {"BR", 1, 1}, {"BL", -1, 1}}};

/// Two thick strokes beside the corner, outside the rectangle, so that no outline is hidden.
void DrawBracket(cv::Mat& picture, const cv::Point& at, const Corner& corner,
                 const Strokes& strokes) {
  const int away = kCircleRadius + 2 + strokes.width;
  const int length = 6 * strokes.gap;
  const cv::Point knee(at.x + corner.outX * away, at.y + corner.outY * away);
  cv::line(picture, knee, {knee.x - corner.outX * length, knee.y}, kLabelColor, strokes.width);
  cv::line(picture, knee, {knee.x, knee.y - corner.outY * length}, kLabelColor, strokes.width);
}

/// Where a label begins so that it stands above or below its corner and within the rectangle's
/// width.
cv::Point LabelOrigin(const cv::Point& at, const Corner& corner, cv::Size text,
                      const Strokes& strokes) {
  const std::int64_t away = std::int64_t{2} * strokes.gap;
  const std::int64_t x = corner.outX < 0 ? std::int64_t{at.x} : std::int64_t{at.x} - text.width;
  const std::int64_t y = corner.outY < 0 ? at.y - away : at.y + away + text.height;
  return {ClampToInt32(x), ClampToInt32(y)};
}

void DrawCorners(cv::Mat& picture, const cv::Rect& rect, const Strokes& strokes) {
  const std::vector<cv::Point> places = RectToCorners(rect);
  for (std::size_t i = 0; i < kCorners.size(); ++i) {
    const Corner& corner = kCorners[i];
    const cv::Point at = places[i];
    if (IsNear(at, picture.size())) {
      DrawBracket(picture, at, corner, strokes);
      cv::circle(picture, at, kCircleRadius, kCircleColor, 1, cv::LINE_8);
    }
    const std::string text =
        std::string(corner.name) + " (" + std::to_string(at.x) + ", " + std::to_string(at.y) + ")";
    const cv::Size size = cv::getTextSize(text, kFont, strokes.fontScale, strokes.width, nullptr);
    DrawLabel(picture, text, LabelOrigin(at, corner, size, strokes), strokes);
  }
}

std::string SizeText(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

/// Sizes in the middle of the rectangle: a frame of another size than the picture is the usual
/// reason for a region that lies wrong.
void DrawSizes(cv::Mat& picture, const RegionOI& region, const Strokes& strokes) {
  const cv::Rect& rect = region.rect;
  const std::array<std::string, 2> lines = {
      SizeText(rect.width, rect.height),
      "of frame " + SizeText(region.frameWidth, region.frameHeight)};
  std::int64_t y = std::int64_t{rect.y} + rect.height / 2;
  for (const std::string& line : lines) {
    const cv::Size size = cv::getTextSize(line, kFont, strokes.fontScale, strokes.width, nullptr);
    const std::int64_t x = std::int64_t{rect.x} + rect.width / 2 - size.width / 2;
    DrawLabel(picture, line, {ClampToInt32(x), ClampToInt32(y)}, strokes);
    y += 2 * std::int64_t{size.height};
  }
}

}  // namespace

cv::Mat CheckPicture(const RegionOI& region, const Shot& shot) {
  if (shot.image.empty()) return {};
  cv::Mat picture = BasePicture(shot);
  const Strokes strokes = StrokesFor(picture.size());
  DrawOutlines(picture, region, strokes);
  DrawCorners(picture, region.rect, strokes);
  DrawSizes(picture, region, strokes);
  return picture;
}

}  // namespace dravix::region

std::int32_t RegionOI::ExportImage(const std::string& fullname, const Shot& photo) const {
  AlgoLogInfo("RegionOI::ExportImage");
  if (dravix::region::IsEmpty(*this)) {
    AlgoLogError("RegionOI::ExportImage--Error :: empty RegionOI");
    return DRAVIX_NO_RESULT;
  }
  const auto make = [&] { return dravix::region::CheckPicture(*this, photo); };
  if (!dravix::image::WritePicture(fullname, make)) {
    AlgoLogError("RegionOI::ExportImage--Error :: imwrite");
    return DRAVIX_CANNOT_WRITE;
  }
  return DRAVIX_OK;
}
