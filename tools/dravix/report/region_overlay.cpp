#include "report/region_overlay.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>

#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

// Blue, green, red. Saturated colors stand out from a gray photograph, dark or bright.
const cv::Scalar kOutlineColor(0, 220, 0);
const cv::Scalar kRectangleColor(0, 230, 230);
const cv::Scalar kCornerColor(0, 140, 255);
const cv::Scalar kBackground(30, 30, 30);
const cv::Scalar kFrameColor(90, 90, 90);
const cv::Scalar kInk(220, 220, 220);

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

struct Line {
  std::string text;
  cv::Scalar color;
};

/// Sizes that grow with the photograph, so that letters can be read when the whole picture is
/// fitted to a screen. All are pixels.
struct Strokes {
  double fontScale = 0.45;  ///< 1 is a capital of 21 pixels
  int width = 1;            ///< of letters and lines
  int lineHeight = 0;       ///< from one line of text to the next
  int gap = 0;              ///< between the screen and its labels
};

Strokes StrokesFor(cv::Size photo) {
  // A capital of 1.75 % of the mean side; below a font scale of 0.45 letters cannot be read.
  constexpr double kSideAtScale1 = 1200.0;
  const double side = std::sqrt(static_cast<double>(photo.width) * photo.height);
  Strokes strokes;
  strokes.fontScale = std::max(0.45, side / kSideAtScale1);
  strokes.width = std::max(1, static_cast<int>(std::lround(1.5 * strokes.fontScale)));
  strokes.lineHeight = static_cast<int>(std::lround(36 * strokes.fontScale));
  strokes.gap = strokes.lineHeight;
  return strokes;
}

/// The photograph as a gray picture of three channels. Samples are linear in light, so the dark
/// surroundings get the usual transfer curve to be seen at all.
cv::Mat GrayPicture(const cv::Mat& photo) {
  cv::Mat samples;
  photo.convertTo(samples, CV_32F);
  if (samples.channels() > 1) {
    const int planes = samples.channels();
    cv::transform(samples, samples, cv::Mat(1, planes, CV_32F, cv::Scalar(1.0 / planes)));
  }
  cv::normalize(samples, samples, 1, 0, cv::NORM_INF);
  cv::max(samples, 0, samples);
  constexpr double kTransferCurve = 1 / 2.2;
  cv::pow(samples, kTransferCurve, samples);
  cv::Mat gray;
  samples.convertTo(gray, CV_8U, 255);
  cv::Mat picture;
  cv::cvtColor(gray, picture, cv::COLOR_GRAY2BGR);
  return picture;
}

void DrawOutline(cv::Mat& picture, const RegionOI& region, const Strokes& strokes) {
  std::vector<std::vector<cv::Point>> outlines;
  cv::findContours(region.mask, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE,
                   region.rect.tl());
  cv::drawContours(picture, outlines, -1, kOutlineColor, strokes.width, cv::LINE_8);
}

int CircleRadius(const Strokes& strokes) { return 3 + 3 * strokes.width; }

/// The measured area's sides, and a ring around each corner that leaves the corner itself visible.
void DrawCorners(cv::Mat& picture, const std::vector<cv::Point>& corners, const Strokes& strokes) {
  if (corners.empty()) return;
  cv::polylines(picture, corners, true, kCornerColor, strokes.width, cv::LINE_8);
  for (const cv::Point& corner : corners) {
    cv::circle(picture, corner, CircleRadius(strokes), kCornerColor, strokes.width, cv::LINE_AA);
  }
}

cv::Size SizeOf(const std::vector<Line>& lines, const Strokes& strokes) {
  cv::Size size(0, static_cast<int>(lines.size()) * strokes.lineHeight);
  for (const Line& line : lines) {
    const cv::Size text =
        cv::getTextSize(line.text, kFont, strokes.fontScale, strokes.width, nullptr);
    size.width = std::max(size.width, text.width);
  }
  const int margin = strokes.lineHeight / 2;
  return {size.width + margin, size.height + margin};
}

/// Writes the lines into `place`, which has their size, on a dark background.
void Write(cv::Mat& picture, const std::vector<Line>& lines, const cv::Rect& place,
           const Strokes& strokes) {
  cv::rectangle(picture, place, kBackground, cv::FILLED);
  const int margin = strokes.lineHeight / 4;
  int y = place.y + margin;
  for (const Line& line : lines) {
    y += strokes.lineHeight;
    cv::putText(picture, line.text, {place.x + margin, y - strokes.lineHeight / 3}, kFont,
                strokes.fontScale, line.color, strokes.width, cv::LINE_AA);
  }
}

struct Label {
  std::vector<Line> lines;
  cv::Rect place;  ///< in photograph pixels; may reach beyond the photograph
  cv::Point from;  ///< where the line to the corner begins: on the label's edge
  cv::Point to;    ///< and where it ends: at the corner's ring
};

std::string PointText(cv::Point point) {
  return std::to_string(point.x) + "," + std::to_string(point.y);
}

/// What the labels say, in the order of OrderCorners.
std::vector<Label> LabelTexts(const RegionOI& region, const std::vector<cv::Point>& corners) {
  static constexpr std::array<const char*, 4> kNames = {"top left", "top right", "bottom right",
                                                        "bottom left"};
  const std::vector<cv::Point> box = RectToCorners(region.rect);
  std::vector<Label> labels(kNames.size());
  for (std::size_t i = 0; i < labels.size(); ++i) {
    std::vector<Line>& lines = labels[i].lines;
    lines.push_back({kNames.at(i), kInk});
    if (!corners.empty()) lines.push_back({"corner " + PointText(corners[i]), kCornerColor});
    lines.push_back({"rectangle " + PointText(box[i]), kRectangleColor});
  }
  return labels;
}

bool IsLeft(std::size_t corner) { return corner == 0 || corner == 3; }
bool IsTop(std::size_t corner) { return corner < 2; }

/// Whether a label may cover this part of the photograph: nothing but dark surroundings is there.
bool IsDark(const cv::Mat& photo, const cv::Rect& place) {
  constexpr double kDark = 80;            // of 255; a screen that shows black is below it too
  constexpr double kBrightShare = 0.005;  // of the pixels, which may be hot ones
  const cv::Rect covered = place & cv::Rect({}, photo.size());
  if (covered.empty()) return true;
  cv::Mat plane;
  cv::extractChannel(photo(covered), plane, 0);
  return cv::countNonZero(plane > kDark) <= kBrightShare * covered.area();
}

/// Places the labels of the upper corners above the region and those of the lower ones below it.
/// The left ones begin at its left edge and the right ones end at its right edge, but never reach
/// beyond its middle: no label covers the region or another label, whatever the region's size.
/// Where the photograph is bright around the region, they go beyond the photograph's edge.
void PlaceLabels(std::vector<Label>& labels, const cv::Mat& photo, const cv::Rect& area,
                 const Strokes& strokes) {
  const int gap = strokes.gap + CircleRadius(strokes);
  const int middle = area.x + area.width / 2;
  bool upperDark = true;
  bool lowerDark = true;
  for (std::size_t i = 0; i < labels.size(); ++i) {
    const cv::Size size = SizeOf(labels[i].lines, strokes);
    const int x = IsLeft(i) ? std::min(area.x, middle - strokes.gap / 2 - size.width)
                            : std::max(area.br().x - size.width, middle + strokes.gap / 2);
    const int y = IsTop(i) ? area.y - gap - size.height : area.br().y + gap;
    labels[i].place = cv::Rect({x, y}, size);
    bool& dark = IsTop(i) ? upperDark : lowerDark;
    dark = dark && IsDark(photo, labels[i].place);
  }
  for (std::size_t i = 0; i < labels.size(); ++i) {
    cv::Rect& place = labels[i].place;
    if (IsTop(i) && !upperDark) place.y = std::min(place.y, -gap - place.height);
    if (!IsTop(i) && !lowerDark) place.y = std::max(place.y, photo.rows + gap);
  }
}

/// The lines from the labels to the corners, or to the rectangle's where there are no corners.
void PlaceLeaders(std::vector<Label>& labels, const std::vector<cv::Point>& corners,
                  const Strokes& strokes) {
  const int ring = CircleRadius(strokes) + strokes.width;
  for (std::size_t i = 0; i < labels.size(); ++i) {
    const cv::Rect& place = labels[i].place;
    const int x = std::clamp(corners[i].x, place.x, place.br().x - 1);
    labels[i].from = {x, IsTop(i) ? place.br().y : place.y};
    labels[i].to = {corners[i].x, corners[i].y + (IsTop(i) ? -ring : ring)};
  }
}

std::vector<Label> LabelsFor(const RegionOI& region, const std::vector<cv::Point>& corners,
                             const cv::Mat& photo, const Strokes& strokes) {
  cv::Rect area = region.rect;
  if (!corners.empty()) area |= cv::boundingRect(corners);
  std::vector<Label> labels = LabelTexts(region, corners);
  PlaceLabels(labels, photo, area, strokes);
  PlaceLeaders(labels, corners.empty() ? RectToCorners(region.rect) : corners, strokes);
  return labels;
}

std::vector<Line> LegendFor(const RegionOI& region, const std::vector<cv::Point>& corners) {
  std::vector<Line> lines = {{"outline of the region", kOutlineColor},
                             {"its rectangle, " + SizeText(region.rect.size()) + " pixels at " +
                                  PointText(region.rect.tl()),
                              kRectangleColor}};
  lines.push_back({corners.empty() ? "no four corners found: a measurement would fail"
                                   : "the four corners that a measurement uses",
                   kCornerColor});
  lines.push_back(
      {"photograph of " + SizeText({region.frameWidth, region.frameHeight}) + " pixels", kInk});
  return lines;
}

}  // namespace

cv::Mat RegionOverlay(const Shot& photo, const RegionOI& region,
                      const std::vector<cv::Point>& corners) {
  cv::Mat drawn = GrayPicture(photo.image);
  const cv::Rect frame({}, drawn.size());
  const Strokes strokes = StrokesFor(frame.size());
  const std::vector<Label> labels = LabelsFor(region, corners, drawn, strokes);
  cv::rectangle(drawn, region.rect, kRectangleColor, strokes.width);
  DrawOutline(drawn, region, strokes);
  DrawCorners(drawn, corners, strokes);

  cv::Rect shown = frame;
  const cv::Point room(strokes.lineHeight / 4, strokes.lineHeight / 4);
  for (const Label& label : labels) {
    shown |= cv::Rect(label.place.tl() - room, label.place.br() + room);
  }
  const std::vector<Line> legend = LegendFor(region, corners);
  const cv::Size legendSize = SizeOf(legend, strokes);
  const cv::Size size(std::max(shown.width, legendSize.width), shown.height + legendSize.height);
  cv::Mat picture(size, CV_8UC3, kBackground);
  const cv::Point pictureFromPhoto = -shown.tl();
  drawn.copyTo(picture(frame + pictureFromPhoto));
  // The background is as dark as many a photograph, so a line shows where the photograph ends.
  const cv::Rect around(pictureFromPhoto - cv::Point(1, 1), frame.size() + cv::Size(2, 2));
  cv::rectangle(picture, around, kFrameColor, 1);
  for (const Label& label : labels) {
    cv::line(picture, label.from + pictureFromPhoto, label.to + pictureFromPhoto, kInk,
             strokes.width, cv::LINE_AA);
    Write(picture, label.lines, label.place + pictureFromPhoto, strokes);
  }
  Write(picture, legend, {{0, shown.height}, legendSize}, strokes);
  return picture;
}

}  // namespace dravix::tool
