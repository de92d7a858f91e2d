/// Halves a photograph's gray picture without making all of it: a strip of rows is converted and
/// halved while it lies in the cache, then the next one takes its place. Memory that is touched for
/// the first time costs more than the arithmetic, and so only the small picture is new.
///
/// The matrix library halves in whole numbers, each small row from five rows of the large picture.
/// A strip brings those along, so that its rows are the rows of the whole picture; the small rows
/// at its edges, which see too little, are dropped.
#include "region/half_size.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "image/picture.h"
#include "shot/shot_picture.h"

namespace dravix::region {
namespace {

/// Rows of the small picture that are made at a time. The strip of a 60-megapixel photograph then
/// has 1.5 MB of samples and 0.7 MB of gray values, which the second-level cache holds in part;
/// with fewer rows the four that each strip makes twice begin to count.
constexpr int kStripRows = 32;

/// Whether each row can be converted without knowing the others: the scale is known, and no
/// channels change their places.
bool RowsStandAlone(const Shot& shot) {
  return shot.image.dims == 2 && shot.image.channels() == 1 && shot::FullScale(shot) > 0;
}

/// Small rows `begin` to `end` - 1 of a photograph.
void HalveRows(const cv::Mat& photo, std::int32_t fullScale, const cv::Range& rows,
               cv::Mat& small) {
  const int above = std::min(rows.start, 1);
  const cv::Range strip(2 * (rows.start - above), std::min(2 * rows.end + 2, photo.rows));
  const cv::Mat gray = image::ToImage(photo.rowRange(strip), fullScale, 1);
  cv::Mat halved;
  cv::pyrDown(gray, halved, cv::Size(small.cols, gray.rows / 2));
  halved.rowRange(above, above + rows.size()).copyTo(small.rowRange(rows));
}

}  // namespace

cv::Mat HalfSizeGray(const Shot& shot) {
  const cv::Size half(shot.image.cols / 2, shot.image.rows / 2);
  if (!RowsStandAlone(shot) || half.empty() || half.height <= kStripRows) {
    cv::Mat small;
    cv::pyrDown(shot::ToGrayPicture(shot), small, half);
    return small;
  }
  cv::Mat small(half, CV_8UC1);
  const std::int32_t fullScale = shot::FullScale(shot);
  for (int y = 0; y < half.height; y += kStripRows) {
    HalveRows(shot.image, fullScale, {y, std::min(y + kStripRows, half.height)}, small);
  }
  return small;
}

}  // namespace dravix::region
