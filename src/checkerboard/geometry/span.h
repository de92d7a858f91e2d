/// Rectangles read along one axis, so that one rule serves left and right as well as top and
/// bottom.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::checkerboard {

enum class Axis { kX, kY };
/// Which end of something on an axis: left or top is the first, right or bottom the last.
enum class End { kFirst, kLast };

[[nodiscard]] constexpr Axis Other(Axis axis) { return axis == Axis::kX ? Axis::kY : Axis::kX; }

/// The component of a size along an axis.
template <class T>
[[nodiscard]] T Along(const cv::Size_<T>& size, Axis axis) {
  return axis == Axis::kX ? size.width : size.height;
}

/// Where something begins and ends on one axis, in pixels; `end` is one past its last pixel.
struct Span {
  int begin = 0;
  int end = 0;

  [[nodiscard]] int Length() const { return end - begin; }
  [[nodiscard]] double Middle() const { return 0.5 * (begin + end); }
};

[[nodiscard]] inline Span SpanOf(const cv::Rect& r, Axis axis) {
  return axis == Axis::kX ? Span{r.x, r.x + r.width} : Span{r.y, r.y + r.height};
}

/// The rectangle that covers `along` on the axis and `across` on the other one.
[[nodiscard]] inline cv::Rect RectOf(Axis axis, Span along, Span across) {
  const Span& x = axis == Axis::kX ? along : across;
  const Span& y = axis == Axis::kX ? across : along;
  return {x.begin, y.begin, x.Length(), y.Length()};
}

/// Gives `r` a new span on one axis and leaves the other.
inline void SetSpan(cv::Rect& r, Axis axis, Span span) {
  r = RectOf(axis, span, SpanOf(r, Other(axis)));
}

}  // namespace dravix::checkerboard
