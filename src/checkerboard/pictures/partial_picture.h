/// A picture of which only a part is stored.
#pragma once

#include <opencv2/core.hpp>
#include <utility>

namespace dravix::checkerboard {

/// A picture in the working image, or a part of one: nobody looks at the rest, and memory that is
/// touched for the first time is dear. Coordinates are those of the whole picture.
class PartialPicture {
 public:
  PartialPicture() = default;
  /// A picture that is stored as a whole is one, too.
  PartialPicture(const cv::Mat& picture) : PartialPicture(picture, {}, picture.size()) {}
  /// `samples` begin at `origin` of a picture of `size`.
  PartialPicture(cv::Mat samples, cv::Point origin, cv::Size size)
      : samples_(std::move(samples)), origin_(origin), size_(size) {}

  [[nodiscard]] cv::Size Size() const { return size_; }
  [[nodiscard]] int Type() const { return samples_.type(); }
  /// What is stored.
  [[nodiscard]] cv::Rect Stored() const { return {origin_, samples_.size()}; }
  /// A part of what is stored; nothing is copied. Throws cv::Exception for any other.
  [[nodiscard]] cv::Mat operator()(const cv::Rect& part) const { return samples_(part - origin_); }
  /// The whole picture, which is stored.
  [[nodiscard]] cv::Mat Whole() const { return (*this)(cv::Rect({}, size_)); }

 private:
  cv::Mat samples_;
  cv::Point origin_;
  cv::Size size_;
};

}  // namespace dravix::checkerboard
