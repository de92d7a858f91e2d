#include "fuzz/pictures.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <type_traits>

namespace dravix::fuzz {
namespace {

constexpr unsigned kMostChannels = 6;
constexpr unsigned kDepths = 8;  // of the matrix library, 16-bit floats included
constexpr unsigned kThreeDimensions = 0x40;
constexpr unsigned kPartOfWider = 0x80;
constexpr unsigned kZooms = 8;
constexpr int kPointSteps = 8;  // of the stored number for one pixel

/// As many rows as the claim says and the bytes allow.
int RowsThere(int claimed, std::size_t rowBytes, std::size_t there) {
  return rowBytes == 0 ? 0
                       : static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(claimed),
                                                                there / rowBytes));
}

cv::Mat Filled(cv::Size size, int type, Input& input) {
  cv::Mat m(size, type);
  const std::size_t rowBytes = static_cast<std::size_t>(m.cols) * m.elemSize();
  for (int y = 0; y < m.rows; ++y)
    std::memcpy(m.ptr(y), Chars(input.TakeBytes(rowBytes)), rowBytes);
  return m;
}

cv::Mat PartOfWider(const cv::Mat& m) {
  cv::Mat wider(m.rows, m.cols + 1, m.type());
  std::memset(wider.data, 1, wider.total() * wider.elemSize());
  cv::Mat part = wider.colRange(1, wider.cols);
  m.copyTo(part);
  return part;
}

cv::Mat WithThreeDimensions(const cv::Mat& m) {
  const int sizes[] = {1, m.rows, m.cols};
  return m.reshape(m.channels(), 3, sizes);
}

// The fields of each group, for the reader and the writer.
template <class V>
void Visit(Shot::Partition& g, V&& v) {
  v(g.x), v(g.y), v(g.w), v(g.h), v(g.screen_w), v(g.screen_h);
}
template <class V>
void Visit(Shot::LedPanel& g, V&& v) {
  v(g.type), v(g.layout), v(g.subpixel_type), v(g.w), v(g.h), v(g.pixel_pitch);
}
template <class V>
void Visit(Shot::Layer& g, V&& v) {
  v(g.index), v(g.linear_norms), v(g.value);
}
template <class V>
void Visit(Shot::Pattern& g, V&& v) {
  v(g.type), v(g.interval_x), v(g.interval_y), v(g.loc_x), v(g.loc_y);
  v(g.lighted_led_w), v(g.lighted_led_h);
}
template <class V>
void Visit(Shot::Device& g, V&& v) {
  v(g.id), v(g.cam_type), v(g.lens_id), v(g.lens_type);
}
template <class V>
void Visit(Shot::Capture& g, V&& v) {
  v(g.exposure), v(g.gain), v(g.aperture), v(g.microfocus), v(g.filter);
}
template <class V>
void Visit(std::int32_t& color, V&& v) {
  v(color);
}

struct Taker {
  Input& input;
  template <base::PlainNumber T>
  void operator()(T& value) const {
    value = input.Take<T>();
  }
  void operator()(char (&text)[64]) const {
    const base::ByteView bytes = input.TakeBytes(sizeof text);
    std::copy(bytes.begin(), bytes.end(), std::as_writable_bytes(std::span(text)).begin());
  }
};

struct Putter {
  base::ByteWriter& out;
  template <base::PlainNumber T>
  void operator()(T value) const {
    out.Write(value);
  }
  void operator()(const char (&text)[64]) const { out.Append(std::as_bytes(std::span(text))); }
};

/// Calls `visit` with each group and its bit.
template <class AnyShot, class V>
void EachGroup(AnyShot& shot, V&& visit) {
  visit(shot.partition, 0x01U), visit(shot.panel, 0x02U), visit(shot.layer, 0x04U);
  visit(shot.pattern, 0x08U), visit(shot.color, 0x10U), visit(shot.device, 0x20U);
  visit(shot.capture, 0x40U);
}

}  // namespace

cv::Mat TakePicture(Input& input) {
  const unsigned shape = input.Take<std::uint8_t>();
  const int depth = static_cast<int>(shape % kDepths);
  const int channels = 1 + static_cast<int>(input.TakeBelow(kMostChannels));
  const int type = CV_MAKETYPE(depth, channels);
  const std::size_t pixel = CV_ELEM_SIZE(type);
  const int cols = RowsThere(input.Take<std::uint16_t>(), pixel, input.Rest().size());
  const int rows = RowsThere(input.Take<std::uint16_t>(), pixel * static_cast<std::size_t>(cols),
                             input.Rest().size());
  cv::Mat picture = Filled({cols, rows}, type, input);
  if (picture.empty()) return picture;
  if ((shape & kPartOfWider) != 0) return PartOfWider(picture);
  return (shape & kThreeDimensions) != 0 ? WithThreeDimensions(picture) : picture;
}

cv::Mat TakeLargePicture(Input& input) {
  const unsigned shape = input.Take<std::uint8_t>();
  const int zoom = 1 + static_cast<int>(shape % kZooms);
  const int depth = (shape & kThreeDimensions) != 0 ? CV_8U : CV_16U;
  const auto gain = static_cast<double>(1 + input.Take<std::uint8_t>());
  const int cols = RowsThere(input.Take<std::uint16_t>(), 1, input.Rest().size());
  const int rows =
      RowsThere(input.Take<std::uint16_t>(), static_cast<std::size_t>(cols), input.Rest().size());
  const cv::Mat small = Filled({cols, rows}, CV_8UC1, input);
  if (small.empty()) return {};
  cv::Mat samples;
  small.convertTo(samples, depth, depth == CV_8U ? 1.0 : gain);
  cv::Mat large;
  cv::resize(samples, large, samples.size() * zoom, 0, 0, cv::INTER_LINEAR);
  return (shape & kPartOfWider) != 0 ? PartOfWider(large) : large;
}

void TakeGroups(Input& input, Shot& shot) {
  const unsigned present = input.Take<std::uint8_t>();
  EachGroup(shot, [&](auto& group, unsigned bit) {
    if ((present & bit) == 0) return;
    group = std::decay_t<decltype(*group)>{};
    Visit(*group, Taker{input});
  });
}

namespace {

Shot WithoutPicture(Input& input) {
  Shot shot;
  shot.type = input.Take<std::uint8_t>();
  TakeGroups(input, shot);
  return shot;
}

}  // namespace

Shot TakeShot(Input& input) {
  Shot shot = WithoutPicture(input);
  shot.image = TakePicture(input);
  return shot;
}

Shot TakeLargeShot(Input& input) {
  Shot shot = WithoutPicture(input);
  shot.image = TakeLargePicture(input);
  return shot;
}

namespace {

int TakeCoordinate(Input& input) {
  constexpr int kFar = 30720;
  constexpr int kFarStep = 512;  // times the square of what is left, which has eleven bits
  const int number = input.Take<std::int16_t>();
  if (number < kFar) return number / kPointSteps;
  return (number - kFar) * (number - kFar) * kFarStep;
}

}  // namespace

cv::Point TakePoint(Input& input) {
  const int x = TakeCoordinate(input);
  return {x, TakeCoordinate(input)};
}

std::vector<cv::Point> TakePoints(Input& input) {
  std::vector<cv::Point> points(input.TakeBelow(8));
  for (cv::Point& point : points) point = TakePoint(input);
  return points;
}

void PutPicture(const cv::Mat& picture, base::ByteWriter& out) {
  out.Write(static_cast<std::uint8_t>(picture.depth()));
  out.Write(static_cast<std::uint8_t>(picture.channels() - 1));
  out.Write(static_cast<std::uint16_t>(picture.cols));
  out.Write(static_cast<std::uint16_t>(picture.rows));
  const std::size_t rowBytes = static_cast<std::size_t>(picture.cols) * picture.elemSize();
  for (int y = 0; y < picture.rows; ++y)
    out.Append(std::as_bytes(std::span(picture.ptr(y), rowBytes)));
}

void PutLargePicture(const cv::Mat& picture, int zoom, base::ByteWriter& out) {
  double most = 0;
  cv::minMaxLoc(picture, nullptr, &most);
  const double gain = std::clamp(std::ceil(most / 255.0), 1.0, 256.0);
  cv::Mat small;
  cv::resize(picture, small, picture.size() / zoom, 0, 0, cv::INTER_AREA);
  small.convertTo(small, CV_8U, 1.0 / gain);
  out.Write(static_cast<std::uint8_t>(zoom - 1));
  out.Write(static_cast<std::uint8_t>(gain - 1.0));
  out.Write(static_cast<std::uint16_t>(small.cols));
  out.Write(static_cast<std::uint16_t>(small.rows));
  for (int y = 0; y < small.rows; ++y) {
    out.Append(std::as_bytes(std::span(small.ptr(y), static_cast<std::size_t>(small.cols))));
  }
}

void PutGroups(const Shot& shot, base::ByteWriter& out) {
  Shot groups = shot;
  unsigned present = 0;
  EachGroup(groups, [&](auto& group, unsigned bit) { present |= group ? bit : 0; });
  out.Write(static_cast<std::uint8_t>(present));
  EachGroup(groups, [&](auto& group, unsigned) {
    if (group) Visit(*group, Putter{out});
  });
}

void PutPoints(const std::vector<cv::Point>& points, base::ByteWriter& out) {
  out.Write(static_cast<std::uint8_t>(points.size()));
  for (const cv::Point& point : points) {
    out.Write(static_cast<std::int16_t>(point.x * kPointSteps));
    out.Write(static_cast<std::int16_t>(point.y * kPointSteps));
  }
}

void PutPiece(base::ByteView bytes, base::ByteWriter& out) {
  out.Write(static_cast<std::uint16_t>(bytes.size()));
  out.Append(bytes);
}

}  // namespace dravix::fuzz
