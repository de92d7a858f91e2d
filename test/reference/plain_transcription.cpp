#include "reference/plain_transcription.h"

#include <climits>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <utility>

namespace dravix::reference {
namespace {

/// Start and length of the first run of non-zero pixels of a column, from the top.
std::pair<int, int> FirstRun(const cv::Mat& column) {
  int start = 0;
  while (start < column.rows && column.at<uchar>(start, 0) == 0) ++start;
  if (start == column.rows) return {0, 0};
  int end = start;
  while (end < column.rows && column.at<uchar>(end, 0) != 0) ++end;
  return {start, end - start};
}

/// Rows of one column as floats, resized to the column's height in `target`.
void ResizeColumn(const cv::Mat& samples, cv::Mat target) {
  cv::Mat floats;
  samples.convertTo(floats, CV_32F, 1.0, 0.0);
  cv::resize(floats, target, target.size(), 0, 0, cv::INTER_AREA);
}

void ReplaceOuter(cv::Mat& lum, int depth) {
  const int rows = lum.rows;
  const int cols = lum.cols;
  for (int i = 0; i < depth; ++i) lum.row(depth).copyTo(lum.row(i));
  for (int i = 1; i <= depth; ++i) lum.row(rows - 1 - depth).copyTo(lum.row(rows - i));
  for (int i = 0; i < depth; ++i) lum.col(depth).copyTo(lum.col(i));
  for (int i = 1; i <= depth; ++i) lum.col(cols - 1 - depth).copyTo(lum.col(cols - i));
}

cv::Mat ToGray8(const cv::Mat& image, std::optional<int> camType) {
  cv::Mat source;
  if (image.channels() == 3) {
    cv::cvtColor(image, source, cv::COLOR_XYZ2BGR);
  } else {
    source = image;
  }
  const int bits = camType.value_or(0) % 100;
  const auto maxValue = static_cast<std::int32_t>((1U << (static_cast<unsigned>(bits) & 31U)) - 1U);
  cv::Mat gray;
  if (maxValue > 0) {
    const float scale = 255.0F / static_cast<float>(maxValue);
    source.convertTo(gray, CV_8U, static_cast<double>(scale), 0);
  } else {
    cv::normalize(source, gray, 255, 0, cv::NORM_INF, CV_8U);
  }
  if (gray.channels() > 1) cv::cvtColor(gray, gray, cv::COLOR_BGR2GRAY);
  return gray;
}

std::vector<cv::Point> Ordered(const std::vector<cv::Point>& corners) {
  float mean = 0;
  for (const cv::Point& p : corners) mean += static_cast<float>(p.y) / 4.0F;
  std::vector<cv::Point> slots(4);
  std::size_t top = 0;
  std::size_t bottom = 2;
  for (const cv::Point& p : corners) {
    if (static_cast<float>(p.y) < mean) {
      slots.at(top++) = p;
    } else {
      slots.at(bottom++) = p;
    }
  }
  if (slots[0].x > slots[1].x) std::swap(slots[0], slots[1]);
  if (slots[3].x > slots[2].x) std::swap(slots[3], slots[2]);
  return slots;
}

cv::Size WorkingSize(cv::Size photo) {
  return {static_cast<int>(photo.width * 1.3), static_cast<int>(photo.height * 1.3)};
}

}  // namespace

std::optional<cv::Mat> Luminance(const cv::Mat& image, const Area& area, const Panel& panel) {
  cv::Mat working = cv::Mat::zeros(panel.ledHeight, area.rect.width, CV_32FC1);
  for (int c = 0; c < area.rect.width; ++c) {
    const int x = area.rect.x + c;
    const auto [start, length] = FirstRun(area.mask.col(x));
    if (length < 1) return std::nullopt;
    ResizeColumn(image.col(x).rowRange(start, start + length), working.col(c));
  }
  cv::Mat lum = cv::Mat::zeros(panel.ledHeight, panel.ledWidth, CV_32FC1);
  cv::Mat scratch = cv::Mat::zeros(1, panel.ledWidth, CV_32FC1);
  for (int r = 0; r < lum.rows; ++r) {
    cv::Mat row = lum.row(r);
    if (panel.rowLedNums.empty()) {
      cv::resize(working.row(r), row, row.size(), 0, 0, cv::INTER_AREA);
      continue;
    }
    const int n = panel.rowLedNums.at(static_cast<std::size_t>(r / panel.rowGroup));
    cv::Mat measured = scratch.colRange(0, n);
    cv::resize(working.row(r), measured, measured.size(), 0, 0, cv::INTER_AREA);
    cv::resize(measured, row, row.size(), 0, 0, cv::INTER_NEAREST);
  }
  ReplaceOuter(lum, 4);
  return lum;
}

std::optional<cv::Mat> CellLuminance(const cv::Mat& image, const Cells& cells, const Panel& panel) {
  cv::Mat lum = cv::Mat::zeros(panel.ledHeight, panel.ledWidth, CV_32FC1);
  for (int r = 0; r < cells.rows; ++r) {
    for (int c = 0; c < cells.columns; ++c) {
      const cv::Rect rect = cells.rects.at(static_cast<std::size_t>(r * cells.columns + c));
      const int height = r == cells.rows - 1 ? cells.lastHeight : cells.side;
      const int width = c == cells.columns - 1 ? cells.lastWidth : cells.side;
      const bool border = r == 0 || r == cells.rows - 1 || c == 0 || c == cells.columns - 1;
      cv::Mat working = cv::Mat::zeros(height, rect.width, CV_32FC1);
      cv::Mat cell = cv::Mat::zeros(height, width, CV_32FC1);
      for (int x = 0; x < rect.width; ++x) {
        cv::Mat samples = image(rect).col(x);
        if (border) {
          const auto [start, length] = FirstRun(cells.mask(rect).col(x));
          if (length < 1) return std::nullopt;
          samples = samples.rowRange(start, start + length);
        }
        ResizeColumn(samples, working.col(x));
      }
      for (int i = 0; i < height; ++i) {
        cv::Mat row = cell.row(i);
        cv::resize(working.row(i), row, row.size(), 0, 0, cv::INTER_AREA);
      }
      cell.copyTo(lum(cv::Rect(cells.side * c, cells.side * r, width, height)));
    }
  }
  ReplaceOuter(lum, 2);
  return lum;
}

std::optional<Area> Locate(const cv::Mat& image, std::optional<int> camType, int kernel,
                           float sigma) {
  cv::Mat work = ToGray8(image, camType);
  cv::GaussianBlur(work, work, cv::Size(kernel, kernel), static_cast<double>(sigma), 0,
                   cv::BORDER_REFLECT_101);
  cv::threshold(work, work, 0, 255.0, cv::THRESH_BINARY | cv::THRESH_OTSU);
  const cv::Mat element =
      cv::getStructuringElement(cv::MORPH_RECT, cv::Size(kernel, kernel), cv::Point(-1, -1));
  cv::morphologyEx(work, work, cv::MORPH_CLOSE, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                   cv::morphologyDefaultBorderValue());
  cv::morphologyEx(work, work, cv::MORPH_OPEN, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                   cv::morphologyDefaultBorderValue());
  std::vector<std::vector<cv::Point>> contours;
  cv::findContours(work, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  if (contours.empty()) return std::nullopt;
  std::size_t chosen = 0;
  if (contours.size() > 1) {
    float largest = 0;
    for (std::size_t i = 0; i < contours.size(); ++i) {
      const cv::RotatedRect box = cv::minAreaRect(contours[i]);
      const float size = box.size.width * box.size.height;
      if (size > largest) {
        largest = size;
        chosen = i;
      }
    }
  }
  Area area;
  area.mask = cv::Mat::zeros(work.size(), CV_8UC1);
  cv::drawContours(area.mask, contours, static_cast<int>(chosen), cv::Scalar(255, 255, 255, 0), -1,
                   cv::LINE_8, cv::noArray(), INT_MAX, cv::Point(0, 0));
  area.rect = cv::boundingRect(contours[chosen]);
  return area;
}

cv::Mat WorkingFromPhoto(const std::vector<cv::Point>& orderedCorners, cv::Size photo) {
  const cv::Size size = WorkingSize(photo);
  const double x = size.width / 2;
  const double y = size.height / 2;
  const double dx = size.width * 0.85 / 2;
  const double dy = size.height * 0.85 / 2;
  std::vector<cv::Point2f> source;
  for (const cv::Point& p : orderedCorners) source.emplace_back(p);
  const std::vector<cv::Point2f> target{cv::Point2d(x - dx, y - dy), cv::Point2d(x + dx, y - dy),
                                        cv::Point2d(x + dx, y + dy), cv::Point2d(x - dx, y + dy)};
  return cv::getPerspectiveTransform(source, target, cv::DECOMP_LU);
}

cv::Mat Rectified(const cv::Mat& photo, const std::vector<cv::Point>& orderedCorners) {
  cv::Mat working;
  cv::warpPerspective(photo, working, WorkingFromPhoto(orderedCorners, photo.size()),
                      WorkingSize(photo.size()), cv::INTER_CUBIC, cv::BORDER_CONSTANT,
                      cv::Scalar(0));
  return working;
}

std::optional<cv::Mat> Extract(const cv::Mat& photo, const std::vector<cv::Point>& corners,
                               std::optional<int> camType, const Panel& panel) {
  const cv::Mat working = Rectified(photo, Ordered(corners));
  const std::optional<Area> area = Locate(working, camType, 11, 10.0F);
  if (!area) return std::nullopt;
  return Luminance(working, *area, panel);
}

std::vector<std::int32_t> RowLedNums(int top, int bottom, int rowGroup, int ledHeight) {
  const int n =
      static_cast<int>(std::ceil(static_cast<float>(ledHeight) / static_cast<float>(rowGroup)));
  if (n == 1) return {top};
  const float step = static_cast<float>(bottom - top) / static_cast<float>(n - 1);
  std::vector<std::int32_t> table(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const float offset = static_cast<float>(i) * step;
    table[static_cast<std::size_t>(i)] = top + static_cast<int>(static_cast<double>(offset) + 0.5);
  }
  return table;
}

}  // namespace dravix::reference
