#include <dravix/lab/color_scale.h>
#include <dravix/lab/copied_border.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>

namespace dravix::lab {
namespace {

constexpr int kLongestSide = 1024;  // pixels; small matrices are enlarged up to this
constexpr int kMargin = 14;
constexpr int kTitleHeight = 34;
constexpr int kFootHeight = 26;
constexpr int kBarWidth = 22;
constexpr int kTickLength = 6;
constexpr int kTextWidth = 76;
constexpr int kFewestBarRows = 120;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr double kTitleSize = 0.55;  // of letters; 1 is a capital of 21 pixels
constexpr double kTextSize = 0.45;
const cv::Scalar kPaper(255, 255, 255);
const cv::Scalar kInk(30, 30, 30);

/// `zoom` enlarges all that stands around the values, so that it can be read when a picture of
/// thousands of LEDs is fitted to a screen.
int ZoomFor(cv::Size values) {
  return std::max(1, (std::max(values.width, values.height) + kLongestSide / 2) / kLongestSide);
}

void Text(cv::Mat& picture, const std::string& text, cv::Point at, double size, int zoom = 1) {
  cv::putText(picture, text, at, kFont, size * zoom, kInk, zoom, cv::LINE_AA);
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

/// The smallest step of 1, 2 or 5 times a power of ten that gives at most about `count` ticks.
double NiceStep(double range, int count) {
  const double rough = range / std::max(count, 1);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough) return factor * power;
  }
  return 10 * power;
}

std::string TickText(double value, double step) {
  const int decimals = std::clamp(static_cast<int>(-std::floor(std::log10(step))), 0, 9);
  std::array<char, 64> text{};
  // What rounding left of a tick at 0 would be printed as "-0.00".
  std::snprintf(text.data(), text.size(), "%.*f", decimals,
                std::abs(value) < step / 1000 ? 0.0 : value);
  return text.data();
}

/// Draws the scale: a bar of its colors with the low end at the bottom, ticks and numbers.
void DrawScale(cv::Mat& picture, const cv::Rect& bar, const FalseColor& how, int zoom) {
  const cv::Mat table = Table(how.diverging);
  for (int y = 0; y < bar.height; ++y) {
    const int level = 255 - y * 255 / std::max(bar.height - 1, 1);
    picture.row(bar.y + y).colRange(bar.x, bar.x + bar.width).setTo(table.at<cv::Vec3b>(0, level));
  }
  cv::rectangle(picture, bar, kInk, zoom);
  const double range = how.high - how.low;
  const double step = NiceStep(range, std::clamp(bar.height / (50 * zoom), 3, 10));
  for (double value = std::ceil(how.low / step) * step; value <= how.high + step * 1e-6;
       value += step) {
    const double share = (value - how.low) / range;
    const int y = bar.y + static_cast<int>(std::lround((1 - share) * (bar.height - 1)));
    const int tick = bar.x + bar.width + kTickLength * zoom;
    cv::line(picture, {bar.x + bar.width, y}, {tick, y}, kInk, zoom);
    const int base = std::clamp(y + 5 * zoom, bar.y + 10 * zoom, bar.y + bar.height);
    Text(picture, TickText(value, step) + how.unit, {tick + 4 * zoom, base}, kTextSize, zoom);
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

std::string CopiedText(int copied) {
  return "hatched: " + CopiedBorderText(copied) + ", not measured";
}

int TextWidth(const std::string& text, double size) {
  return cv::getTextSize(text, kFont, size, 1, nullptr).width;
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
      colors.at<cv::Vec3b>(y, x) = table.at<cv::Vec3b>(0, levels.at<unsigned char>(y, x));
    }
  }
  return colors;
}

cv::Mat FalseColorPicture(const cv::Mat& values, const FalseColor& how) {
  cv::Mat colors = Enlarged(FalseColors(values, how));
  if (how.copied > 0) MarkCopied(colors, how.copied * colors.cols / values.cols);
  const std::string foot = how.copied > 0 ? CopiedText(how.copied) : "";

  const int zoom = ZoomFor(colors.size());
  const int margin = kMargin * zoom;
  const int barHeight = std::max(colors.rows, kFewestBarRows * zoom);
  const int scaleWidth = (kBarWidth + kTickLength + kTextWidth) * zoom;
  const int textWidth = std::max(TextWidth(how.title, kTitleSize), TextWidth(foot, kTextSize));
  const cv::Size size(
      std::max(2 * margin + colors.cols + scaleWidth, 2 * margin + textWidth * zoom),
      (kTitleHeight + (foot.empty() ? kMargin : kFootHeight)) * zoom + barHeight);
  cv::Mat picture(size, CV_8UC3, kPaper);

  const cv::Rect place(margin, kTitleHeight * zoom, colors.cols, colors.rows);
  colors.copyTo(picture(place));
  const cv::Rect frame(place.x - 1, place.y - 1, place.width + 2, place.height + 2);
  cv::rectangle(picture, frame, kInk, 1);
  Text(picture, how.title, {margin, (kTitleHeight - 12) * zoom}, kTitleSize, zoom);
  Text(picture, foot, {margin, size.height - 9 * zoom}, kTextSize, zoom);
  DrawScale(picture, {place.br().x + margin, place.y, kBarWidth * zoom, barHeight}, how, zoom);
  return picture;
}

cv::Mat SideBySide(const std::vector<cv::Mat>& pictures) { return InALine(pictures, {1, 0}); }

cv::Mat OneAboveTheOther(const std::vector<cv::Mat>& pictures) { return InALine(pictures, {0, 1}); }

cv::Mat Titled(const cv::Mat& picture, const std::string& title) {
  cv::Mat titled(picture.rows + kTitleHeight + kMargin, picture.cols + 2 * kMargin, CV_8UC3,
                 kPaper);
  picture.copyTo(titled(cv::Rect(kMargin, kTitleHeight, picture.cols, picture.rows)));
  Text(titled, title, {kMargin, kTitleHeight - 12}, kTitleSize);
  return titled;
}

}  // namespace dravix::lab
