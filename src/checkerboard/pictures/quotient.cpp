// The input is both photographs in the working image and the mask of the lit area. A row of the
// quotient is two rows of samples divided in single precision, as the matrix library does it, and 0
// where the mask is black. The output is the quotient itself, or what of it is above Otsu's level:
// then its rows are made twice, once for the histogram and once for the bits, and nothing of 8 bits
// is stored.
#include "checkerboard/pictures/quotient.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "kernels/bits/bit_parts.h"
#include "kernels/bits/histogram.h"
#include "kernels/bits/padded_rows.h"
#include "kernels/parts.h"
#include "kernels/quotient.h"

namespace dravix::checkerboard {
namespace {

/// Mean of the quotient inside the mask, in gray levels. Half of the blocks are lit, so that these
/// come near 160: LEDs that are half again as bright still stay below 255, and steps of one gray
/// level are fine enough for a threshold.
constexpr double kMeanQuotient = 80;

/// The mean inside the mask. Every fourth row is enough for one over all LEDs.
double MeanInside(const cv::Mat& picture, const kernels::BitPicture& mask) {
  constexpr int kEvery = 4;
  kernels::PaddedRows rows(picture);
  std::uint64_t sum = 0;
  int count = 0;
  for (int y = 0; y < picture.rows; y += kEvery) {
    sum += kernels::SumOfWhite(rows.At(y), mask.Row(y), rows.Words());
    count += kernels::WhitePixels(mask, {0, y, picture.cols, 1});
  }
  // By the reciprocal, as the matrix library does it.
  return count > 0 ? static_cast<double>(sum) * (1.0 / count) : 0.0;
}

}  // namespace

Quotient::Quotient(const Rectified& pictures, const kernels::BitPicture& mask)
    : board_(pictures.board.Whole()), measured_(pictures.measured.Whole()), mask_(mask) {
  CV_Assert(board_.size() == mask.Size() && measured_.size() == mask.Size());
  const double board = MeanInside(board_, mask);
  const double measured = MeanInside(measured_, mask);
  scale_ = static_cast<float>(board > 0 ? kMeanQuotient * measured / board : 0.0);
}

/// Calls work(y, quotients) for some rows. The quotients go on with zeros to the end of a word.
template <class Work>
void Quotient::ForEachRow(int begin, int end, Work&& work) const {
  kernels::PaddedRows board(board_);
  kernels::PaddedRows measured(measured_);
  std::vector<std::uint8_t> quotients(board.PaddedCount());
  for (int y = begin; y < end; ++y) {
    kernels::Quotients(board.At(y), measured.At(y), quotients.size(), scale_, quotients.data());
    kernels::ClearBlack(mask_.Row(y), board.Words(), quotients.data());
    work(y, quotients.data());
  }
}

cv::Mat Quotient::Picture() const {
  cv::Mat picture(mask_.Size(), CV_8UC1);
  kernels::ForEachPartOfRows(picture.rows, [&](int begin, int end) {
    ForEachRow(begin, end, [&](int y, const std::uint8_t* quotients) {
      std::copy_n(quotients, picture.cols, picture.ptr<std::uint8_t>(y));
    });
  });
  return picture;
}

int Quotient::OtsuLevel() const {
  const cv::Size size = mask_.Size();
  std::mutex mutex;
  kernels::Histogram counts{};
  kernels::ForEachPartOfRows(size.height, [&](int begin, int end) {
    kernels::ValueCounter counter;
    ForEachRow(begin, end, [&](int, const std::uint8_t* quotients) {
      counter.Add(quotients, static_cast<std::size_t>(size.width));
    });
    const kernels::Histogram found = counter.Counts();
    const std::lock_guard<std::mutex> lock(mutex);
    std::transform(found.begin(), found.end(), counts.begin(), counts.begin(), std::plus<>());
  });
  return kernels::OtsuLevel(counts);
}

kernels::BitPicture Quotient::AboveOtsu() const {
  kernels::BitPicture lit(mask_.Size());
  const int level = OtsuLevel();
  kernels::ForEachPartOfRows(mask_.Size().height, [&](int begin, int end) {
    ForEachRow(begin, end,
               [&](int y, const std::uint8_t* quotients) { lit.SetRowAbove(y, quotients, level); });
  });
  return lit;
}

}  // namespace dravix::checkerboard
