/// The rows of a smoothed picture, made from those of a picture that is never stored.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <utility>
#include <vector>

namespace dravix::kernels {

/// Makes smoothed rows, one after the other. Only as many rows of the picture are kept as the
/// smoothing reaches; beyond the first and the last row they are reflected. `Blur` is Gaussian or
/// WideGaussian, and make(y, samples) writes row y of the picture and less than 64 samples more, as
/// CubicWarp does.
template <class Blur, class Make>
class SmoothedRows {
 public:
  /// The first row asked for will be `first`. `blur` must outlive this.
  SmoothedRows(const Blur& blur, cv::Size size, int first, Make make)
      : blur_(blur),
        make_(std::move(make)),
        size_(size),
        next_(std::max(0, first - blur.Radius())),
        stride_((static_cast<std::size_t>(size.width) / kRoom + 2) * kRoom),
        ring_(stride_ * static_cast<std::size_t>(Side())),
        sums_(stride_ + 2 * kRoom),
        window_(static_cast<std::size_t>(Side())) {}

  /// Writes row y, and up to Blur::kPadding values more; rows come in ascending order.
  void Row(int y, typename Blur::Value* smoothed) {
    const int radius = blur_.Radius();
    for (; next_ <= std::min(y + radius, size_.height - 1); ++next_) make_(next_, Kept(next_));
    int row = y - radius;
    for (const std::uint16_t*& kept : window_) {
      kept = Kept(cv::borderInterpolate(row++, size_.height, cv::BORDER_REFLECT_101));
    }
    auto* sums = sums_.data() + kRoom;
    blur_.Down(window_, size_.width, sums);
    blur_.Across(sums, size_.width, smoothed);
  }

 private:
  /// Room behind a row, and before a row of sums for its reflection. All rows are as well aligned
  /// as the first one.
  static constexpr std::size_t kRoom = 64;
  static_assert(kRoom >= Blur::kPadding);

  [[nodiscard]] int Side() const { return 2 * blur_.Radius() + 1; }
  [[nodiscard]] std::uint16_t* Kept(int y) {
    return ring_.data() + static_cast<std::size_t>(y % Side()) * stride_;
  }

  const Blur& blur_;
  Make make_;
  cv::Size size_;
  int next_;  ///< row of the picture to be made
  std::size_t stride_;
  std::vector<std::uint16_t> ring_;
  std::vector<typename Blur::Sum> sums_;
  std::vector<const std::uint16_t*> window_;
};

}  // namespace dravix::kernels
