/// The checkerboard detector once more, with one call of the matrix library for each step and whole
/// pictures of bytes between them. It is slow and takes a dozen photographs of memory; the library
/// must give the same bits. What only handles lists of rectangles (the grid, the places of edges
/// and cells) is the library's own.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/cell_search.h"
#include "checkerboard/checkerboard.h"
#include "checkerboard/geometry/sides.h"
#include "checkerboard/pictures/binarize.h"
#include "checkerboard/pictures/rectified.h"

namespace dravix::reference {

/// The checkerboard and the measured photograph in the working image, smoothed.
struct PlainPictures {
  cv::Mat board;
  cv::Mat measured;
};
PlainPictures WarpForDetection(const cv::Mat& board, const cv::Mat& measured,
                               const checkerboard::RectifyParams& params);

/// A picture in 8 bits by its largest sample.
cv::Mat EightBits(const cv::Mat& picture);

/// The lit part of a picture by one threshold, closed and opened: CV_8UC1, the expected area in
/// `lit`, which becomes the whole picture with that threshold.
cv::Mat LitParts(const cv::Mat& picture, const checkerboard::RectifyParams& params, cv::Mat& lit);

struct PlainArea {
  cv::Mat mask;  ///< CV_8UC1 of the picture's size; empty when nothing is lit
  cv::Rect box;
  checkerboard::Sides excess;
};
PlainArea LedArea(const cv::Mat& measured, const checkerboard::RectifyParams& params);

/// The quotient of both pictures inside the mask, CV_8UC1.
cv::Mat Quotient(const PlainPictures& pictures, const cv::Mat& mask);

/// CV_8UC1, 255 where a block is lit.
cv::Mat Binarized(checkerboard::Binarization way, const PlainPictures& pictures,
                  const cv::Mat& quotient, const checkerboard::RectifyParams& params);

/// The three searches for blocks in a black-and-white picture.
std::vector<checkerboard::FoundBlocks> Searches(const cv::Mat& lit, const cv::Mat& mask,
                                                const checkerboard::SearchParams& params);

/// Runs what CheckerboardDetector::checkborderPrision runs, on a detector that is set up, and
/// leaves there what that leaves. Returns its code; logs nothing.
std::int32_t Detect(CheckerboardDetector& detector);

}  // namespace dravix::reference
