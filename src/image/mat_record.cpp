#include "image/mat_record.h"

#include <algorithm>
#include <span>
#include <vector>

#include "base/checked.h"

namespace dravix::image {
namespace {

/// A record may claim this much more than its input holds. That is enough for a photograph whose
/// file lost its end, and too little to hurt when the claim is nonsense.
constexpr std::uint64_t kMostMissing = std::uint64_t{64} << 20;

/// A depth with samples of the same width that OpenCV can split and merge. It moves 16-bit integers
/// but refuses 16-bit floats.
int MovableDepth(int depth) { return depth == CV_16F ? CV_16U : depth; }

/// The same memory seen in another depth of the same width. The matrix does not own it.
cv::Mat Seen(const cv::Mat& m, int depth) {
  return {m.rows, m.cols, CV_MAKETYPE(depth, m.channels()), m.data, m.step};
}
cv::Mat Movable(const cv::Mat& m) { return Seen(m, MovableDepth(m.depth())); }

std::span<std::byte> BytesOf(cv::Mat& plane) {
  return std::as_writable_bytes(std::span(plane.data, plane.total() * plane.elemSize()));
}

/// Appends the rows of a matrix of one channel.
void AppendRows(const cv::Mat& plane, base::ByteSink& out) {
  if (plane.isContinuous()) {
    out.Append(std::as_bytes(std::span(plane.data, plane.total() * plane.elemSize())));
    return;
  }
  const std::size_t rowBytes = static_cast<std::size_t>(plane.cols) * plane.elemSize();
  for (int y = 0; y < plane.rows; ++y) out.Append(std::as_bytes(std::span(plane.ptr(y), rowBytes)));
}

/// How many bytes are worked on at a time: few enough to stay in the processor's cache.
constexpr std::size_t kCached = std::size_t{1} << 18;

int RowsAtATime(const cv::Mat& m) {
  const std::size_t rowBytes = static_cast<std::size_t>(m.cols) * m.elemSize();
  return static_cast<int>(std::max<std::size_t>(kCached / rowBytes, 1));
}

/// Appends one channel of `m` in that depth.
void AppendChannel(const cv::Mat& m, int channel, int depth, base::ByteSink& out) {
  const int step = RowsAtATime(m);
  cv::Mat plane;
  cv::Mat converted;
  for (int y = 0; y < m.rows; y += std::min(step, m.rows - y)) {
    const cv::Mat rows = m.rowRange(y, y + std::min(step, m.rows - y));
    if (m.channels() == 1) {
      plane = rows;
    } else {
      cv::extractChannel(Movable(rows), plane, channel);
    }
    if (depth == m.depth()) {
      AppendRows(plane, out);
    } else {
      Seen(plane, m.depth()).convertTo(converted, depth);
      AppendRows(converted, out);
    }
  }
}

/// Reads one channel of a continuous matrix, as far as the input goes. False when it has come to
/// its end.
bool ReadChannel(cv::Mat& m, int channel, base::ByteReader& in) {
  const std::size_t total = m.total();
  const std::size_t step = std::clamp<std::size_t>(kCached / m.elemSize(), 1, total);
  cv::Mat samples(1, static_cast<int>(step), m.depth());
  for (std::size_t at = 0; at < total; at += step) {
    const auto count = static_cast<int>(std::min(step, total - at));
    cv::Mat part = samples.colRange(0, count);
    const std::span<std::byte> bytes = BytesOf(part);
    const std::size_t there = in.ReadUpTo(bytes);
    cv::Mat pixels(1, count, m.type(), m.data + at * m.elemSize());
    if (there > 0) cv::insertChannel(part, pixels, channel);
    if (there < bytes.size()) return false;
  }
  return true;
}

cv::Mat ReadPlanes(const MatHeader& header, base::ByteReader& in) {
  const int depth = CV_MAT_DEPTH(header.type);
  cv::Mat m(header.rows, header.cols, CV_MAKETYPE(depth, header.channels));
  if (header.channels == 1) {
    in.ReadUpTo(BytesOf(m));
    return m;
  }
  // Samples that the input lacks are zero, and are not gone through one by one.
  if (!in.Has(header.AllPlanesBytes().value_or(0))) std::ranges::fill(BytesOf(m), std::byte{0});
  cv::Mat target = Movable(m);
  int channel = 0;
  while (channel < header.channels && ReadChannel(target, channel, in)) ++channel;
  return m;
}

}  // namespace

std::optional<std::uint64_t> MatHeader::PlaneBytes() const {
  if (IsEmpty()) return 0;
  const std::optional<std::uint64_t> bytes = base::CheckedMul(
      static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(cols), CV_ELEM_SIZE1(type));
  return bytes && base::FitsInt32(*bytes) ? bytes : std::nullopt;
}

std::optional<std::uint64_t> MatHeader::AllPlanesBytes() const {
  if (IsEmpty()) return 0;
  if (channels < 1 || channels > CV_CN_MAX) {
    throw cv::Exception(cv::Error::BadNumChannels,
                        "a matrix record with an impossible channel count",
                        static_cast<const char*>(__func__), __FILE__, __LINE__);
  }
  const std::optional<std::uint64_t> plane = PlaneBytes();
  if (!plane) return std::nullopt;
  return *plane * static_cast<std::uint64_t>(channels);
}

MatHeader ReadMatHeader(base::ByteReader& in) {
  MatHeader header;
  if (!in.Has(MatHeader::kBytes)) {
    in.SkipRest();
    return header;
  }
  for (std::int32_t* field : {&header.rows, &header.cols, &header.type, &header.channels}) {
    *field = in.ReadOr<std::int32_t>(0);
  }
  return header;
}

cv::Mat ReadMatRecord(base::ByteReader& in) {
  const MatHeader header = ReadMatHeader(in);
  if (header.IsEmpty()) return {};
  const std::optional<std::uint64_t> claimed = header.AllPlanesBytes();
  if (!claimed || (*claimed > kMostMissing && !in.Has(*claimed - kMostMissing))) {
    in.SkipRest();
    return {};
  }
  return ReadPlanes(header, in);
}

void WriteMatRecord(const cv::Mat& m, base::ByteSink& out) { WriteMatRecordAs(m.depth(), m, out); }

void WriteMatRecordAs(int depth, const cv::Mat& m, base::ByteSink& out) {
  if (m.empty()) {
    for (int i = 0; i < 4; ++i) out.Write(std::int32_t{0});
    return;
  }
  CV_Assert(m.dims <= 2);
  for (const int field : {m.rows, m.cols, CV_MAKETYPE(depth, m.channels()), m.channels()}) {
    out.Write(static_cast<std::int32_t>(field));
  }
  // Readers count the samples of a plane in 32 bits, so a larger record ends after its header.
  const auto samples = static_cast<std::int32_t>(static_cast<std::uint32_t>(m.rows) *
                                                 static_cast<std::uint32_t>(m.cols));
  if (samples < 1) return;
  if (out.Pass(m.total() * static_cast<std::size_t>(m.channels()) * CV_ELEM_SIZE1(depth))) return;
  if (m.channels() == 1 && depth == m.depth()) return AppendRows(m, out);
  for (int channel = 0; channel < m.channels(); ++channel) AppendChannel(m, channel, depth, out);
}

}  // namespace dravix::image
