#include <dravix/lab/color_scale.h>
#include <dravix/lab/copied_border.h>

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "lab/pictures/ticks.h"

namespace dravix::lab {
namespace {

constexpr int kLongestSide = 1024;  // pixels; small matrices are enlarged up to this
// Pixels of what stands around the values, at a zoom of 1.
constexpr int kMargin = 14;
constexpr int kTitleHeight = 34;
constexpr int kFootHeight = 32;
constexpr int kBarWidth = 22;
constexpr int kTickLength = 6;
constexpr int kTickGap = 4;
constexpr int kFewestBarRows = 160;
constexpr int kRowsPerTick = 50;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr double kTitleSize = 0.65;  // of letters; 1 is a capital of 21 pixels
constexpr double kTextSize = 0.55;
const cv::Scalar kPaper(255, 255, 255);
const cv::Scalar kInk(30, 30, 30);
const cv::Vec3b kNotMeasured(150, 150, 150);  // neither scale has a gray

/// Enlarges all that stands around the values in proportion to them, so that it can be read when a
/// picture of thousands of LEDs is fitted to a screen.
class Zoom {
 public:
  explicit Zoom(cv::Size values)
      : factor_(std::max(1.0, std::max(values.width, values.height) / double{kLongestSide})) {}

  [[nodiscard]] double Size(double size) const { return size * factor_; }
  [[nodiscard]] int Pixels(int pixels) const {
    return static_cast<int>(std::lround(pixels * factor_));
  }
  [[nodiscard]] int Thickness() const { return Pixels(1); }

 private:
  double factor_;
};

void Text(cv::Mat& picture, const std::string& text, cv::Point at, double size, const Zoom& zoom) {
  cv::putText(picture, text, at, kFont, zoom.Size(size), kInk, zoom.Thickness(), cv::LINE_AA);
}

int TextWidth(const std::string& text, double size, const Zoom& zoom) {
  return cv::getTextSize(text, kFont, zoom.Size(size), zoom.Thickness(), nullptr).width;
}

/// The 256 colors of a scale, CV_8UC3, one row.
cv::Mat Table(bool diverging) {
  cv::Mat levels(1, 256, CV_8UC1);
  for (int i = 0; i < 256; ++i) levels.at<unsigned char>(0, i) = static_cast<unsigned char>(i);
  cv::Mat table;
  if (!diverging) {
    cv::applyColorMap(levels, table, cv::COLORMAP_VIRIDIS);
    return table;
  }
  // The middle is white, so that places without a difference do not catch the eye.
  const cv::Vec3d cold(172, 102, 33);
  const cv::Vec3d warm(43, 24, 178);
  const cv::Vec3d white(250, 250, 250);
  table.create(1, 256, CV_8UC3);
  for (int i = 0; i < 256; ++i) {
    const double side = (i - 127.5) / 127.5;
    const cv::Vec3d end = side < 0 ? cold : warm;
    const double share = std::pow(std::abs(side), 0.8);
    table.at<cv::Vec3b>(0, i) = cv::Vec3b(white * (1 - share) + end * share);
  }
  return table;
}

int WidestOf(const std::vector<Tick>& ticks, const std::string& unit, const Zoom& zoom) {
  int widest = 0;
  for (const Tick& tick : ticks)
    widest = std::max(widest, TextWidth(tick.text + unit, kTextSize, zoom));
  return widest;
}

/// Draws the scale: a bar of its colors with the low end at the bottom, ticks and numbers.
void DrawScale(cv::Mat& picture, const cv::Rect& bar, const std::vector<Tick>& ticks,
               const FalseColor& how, const Zoom& zoom) {
  const cv::Mat table = Table(how.diverging);
  for (int y = 0; y < bar.height; ++y) {
    const int level = 255 - y * 255 / std::max(bar.height - 1, 1);
    picture.row(bar.y + y).colRange(bar.x, bar.x + bar.width).setTo(table.at<cv::Vec3b>(0, level));
  }
  cv::rectangle(picture, bar, kInk, zoom.Thickness());
  for (const Tick& tick : ticks) {
    const int y = bar.y + static_cast<int>(std::lround((1 - tick.share) * (bar.height - 1)));
    const int end = bar.br().x + zoom.Pixels(kTickLength);
    cv::line(picture, {bar.br().x, y}, {end, y}, kInk, zoom.Thickness());
    const int base = std::clamp(y + zoom.Pixels(6), bar.y + zoom.Pixels(12), bar.br().y);
    Text(picture, tick.text + how.unit, {end + zoom.Pixels(kTickGap), base}, kTextSize, zoom);
  }
}

/// The picture enlarged by a whole factor, so that every LED stays a square.
cv::Mat Enlarged(const cv::Mat& picture) {
  const int longest = std::max(picture.cols, picture.rows);
  const int factor = std::max(1, kLongestSide / std::max(longest, 1));
  cv::Mat large;
  cv::resize(picture, large, {}, factor, factor, cv::INTER_NEAREST);
  return large;
}

/// Marks the outer `width` pixels of the picture as copies: faded towards gray, hatched, with a
/// line along the inner edge. The line lies on the innermost copied pixels, so that even at one
/// pixel per LED no measured LED is hidden.
void MarkCopied(cv::Mat& picture, int width) {
  constexpr int kHatchStep = 8;  // pixels; the hatching of 4 LEDs at one pixel each is still seen
  const cv::Vec3d gray(190, 190, 190);
  const cv::Vec3b ink = cv::Vec3d(kInk[0], kInk[1], kInk[2]);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const int toEdge = std::min({x, y, picture.cols - 1 - x, picture.rows - 1 - y});
      if (toEdge >= width) continue;
      auto& pixel = picture.at<cv::Vec3b>(y, x);
      const bool isLine = toEdge == width - 1 || (x + y) % kHatchStep == 0;
      pixel = isLine ? ink : cv::Vec3b((cv::Vec3d(pixel) + gray) * 0.5);
    }
  }
}

/// What the marks in the picture mean; "" without any.
std::string MarksText(const cv::Mat& values, int copied) {
  std::string text;
  if (copied > 0) text = "hatched: " + CopiedBorderText(copied) + ", not measured";
  if (cv::checkRange(values)) return text;
  return text + (text.empty() ? "" : "; ") + "gray: not measured";
}

/// The pictures one after another from the top left, in the direction of `step`: (1, 0) or (0, 1).
cv::Mat InALine(const std::vector<cv::Mat>& pictures, cv::Point step) {
  cv::Point end;
  cv::Size size;
  for (const cv::Mat& picture : pictures) {
    size.width = std::max(size.width, end.x + picture.cols);
    size.height = std::max(size.height, end.y + picture.rows);
    end += cv::Point(step.x * picture.cols, step.y * picture.rows);
  }
  cv::Mat all(size, CV_8UC3, kPaper);
  cv::Point at;
  for (const cv::Mat& picture : pictures) {
    picture.copyTo(all(cv::Rect(at, picture.size())));
    at += cv::Point(step.x * picture.cols, step.y * picture.rows);
  }
  return all;
}

}  // namespace

FalseColor ScaleOf(const cv::Mat& values, const std::string& title) {
  std::vector<float> sorted;
  sorted.reserve(values.total());
  for (int y = 0; y < values.rows; ++y) {
    std::copy_if(values.ptr<float>(y), values.ptr<float>(y) + values.cols,
                 std::back_inserter(sorted), [](float v) { return std::isfinite(v); });
  }
  FalseColor how;
  how.title = title;
  if (sorted.empty()) return how;
  std::sort(sorted.begin(), sorted.end());
  const std::size_t outermost = sorted.size() / 1000;
  how.low = sorted[outermost];
  how.high = sorted[sorted.size() - 1 - outermost];
  if (!(how.high > how.low)) {
    // All values are equal. Some room on both sides gives the scale two different ends.
    const double room = std::max(std::abs(how.high) * 0.01, 1e-6);
    how.low -= room;
    how.high += room;
  }
  return how;
}

cv::Mat FalseColors(const cv::Mat& values, const FalseColor& how) {
  cv::Mat levels;
  const double scale = 255 / (how.high - how.low);
  values.convertTo(levels, CV_8U, scale, -how.low * scale);
  const cv::Mat table = Table(how.diverging);
  cv::Mat colors(values.size(), CV_8UC3);
  for (int y = 0; y < values.rows; ++y) {
    for (int x = 0; x < values.cols; ++x) {
      colors.at<cv::Vec3b>(y, x) = !std::isfinite(values.at<float>(y, x))
                                       ? kNotMeasured
                                       : table.at<cv::Vec3b>(0, levels.at<unsigned char>(y, x));
    }
  }
  return colors;
}

cv::Mat FalseColorPicture(const cv::Mat& values, const FalseColor& how) {
  cv::Mat colors = Enlarged(FalseColors(values, how));
  if (how.copied > 0) MarkCopied(colors, how.copied * colors.cols / values.cols);
  const std::string foot = MarksText(values, how.copied);

  const Zoom zoom(colors.size());
  const int margin = zoom.Pixels(kMargin);
  const int top = zoom.Pixels(kTitleHeight);
  const int barHeight = std::max(colors.rows, zoom.Pixels(kFewestBarRows));
  const int shownRows = static_cast<int>(barHeight / zoom.Size(1));
  const std::vector<Tick> ticks =
      TicksOf(how.low, how.high, std::clamp(shownRows / kRowsPerTick, 3, 10));
  const int scaleWidth =
      zoom.Pixels(kBarWidth + kTickLength + kTickGap) + WidestOf(ticks, how.unit, zoom);
  const int textWidth =
      std::max(TextWidth(how.title, kTitleSize, zoom), TextWidth(foot, kTextSize, zoom));
  const cv::Size size(2 * margin + std::max(colors.cols + margin + scaleWidth, textWidth),
                      top + barHeight + zoom.Pixels(foot.empty() ? kMargin : kFootHeight));
  cv::Mat picture(size, CV_8UC3, kPaper);

  const cv::Rect place(margin, top, colors.cols, colors.rows);
  colors.copyTo(picture(place));
  const cv::Rect frame(place.x - 1, place.y - 1, place.width + 2, place.height + 2);
  cv::rectangle(picture, frame, kInk, 1);
  Text(picture, how.title, {margin, top - zoom.Pixels(11)}, kTitleSize, zoom);
  Text(picture, foot, {margin, size.height - zoom.Pixels(11)}, kTextSize, zoom);
  DrawScale(picture, {place.br().x + margin, top, zoom.Pixels(kBarWidth), barHeight}, ticks, how,
            zoom);
  return picture;
}

cv::Mat SideBySide(const std::vector<cv::Mat>& pictures) { return InALine(pictures, {1, 0}); }

cv::Mat OneAboveTheOther(const std::vector<cv::Mat>& pictures) { return InALine(pictures, {0, 1}); }

cv::Mat Titled(const cv::Mat& picture, const std::string& title) {
  const Zoom zoom(picture.size());
  const int margin = zoom.Pixels(kMargin);
  const int top = zoom.Pixels(kTitleHeight);
  const int width = std::max(picture.cols, TextWidth(title, kTitleSize, zoom));
  cv::Mat titled(picture.rows + top + margin, width + 2 * margin, CV_8UC3, kPaper);
  picture.copyTo(titled(cv::Rect(margin, top, picture.cols, picture.rows)));
  Text(titled, title, {margin, top - zoom.Pixels(11)}, kTitleSize, zoom);
  return titled;
}

}  // namespace dravix::lab
