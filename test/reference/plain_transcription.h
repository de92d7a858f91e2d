/// The measuring steps written down plainly, with one library call per column and per row. They are
/// slow, and every optimization must give the same bits.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

namespace dravix::reference {

struct Panel {
  int ledWidth = 0;
  int ledHeight = 0;
  int rowGroup = -1;
  std::vector<std::int32_t> rowLedNums;  ///< empty: all rows alike
};

struct Area {
  cv::Mat mask;
  cv::Rect rect;
};

/// One channel of `image` under `area`, or empty when a column of the area holds no mask pixel.
std::optional<cv::Mat> Luminance(const cv::Mat& image, const Area& area, const Panel& panel);

struct Cells {
  cv::Mat mask;
  std::vector<cv::Rect> rects;
  int columns = 0;
  int rows = 0;
  int side = 0;
  int lastWidth = 0;
  int lastHeight = 0;
};

/// Cell by cell, or empty when a column of a border cell holds no mask pixel.
std::optional<cv::Mat> CellLuminance(const cv::Mat& image, const Cells& cells, const Panel& panel);

/// The largest lit area; empty when nothing is lit. `camType` is the camera type code, or empty
/// when the shot has no device.
std::optional<Area> Locate(const cv::Mat& image, std::optional<int> camType, int kernel,
                           float sigma);

/// Photograph to luminances with four corners in any order, in the extractor's default geometry.
std::optional<cv::Mat> Extract(const cv::Mat& photo, const std::vector<cv::Point>& corners,
                               std::optional<int> camType, const Panel& panel);

/// The perspective into the working image of a photograph of that size.
cv::Mat WorkingFromPhoto(const std::vector<cv::Point>& orderedCorners, cv::Size photo);

/// The working image of a photograph whose corners are ordered.
cv::Mat Rectified(const cv::Mat& photo, const std::vector<cv::Point>& orderedCorners);

/// LEDs per row group by linear interpolation.
std::vector<std::int32_t> RowLedNums(int top, int bottom, int rowGroup, int ledHeight);

}  // namespace dravix::reference
