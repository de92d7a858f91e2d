#include "image/mat_record.h"

#include <algorithm>
#include <array>
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

/// The same memory seen in that depth. The matrix does not own it.
cv::Mat Movable(const cv::Mat& m) {
  return {m.rows, m.cols, CV_MAKETYPE(MovableDepth(m.depth()), m.channels()), m.data, m.step};
}

std::span<std::byte> BytesOf(cv::Mat& plane) {
  return std::as_writable_bytes(std::span(plane.data, plane.total() * plane.elemSize()));
}

void AppendPlane(const cv::Mat& plane, base::ByteWriter& out) {
  const std::size_t rowBytes = static_cast<std::size_t>(plane.cols) * plane.elemSize();
  if (plane.isContinuous()) {
    out.Append(std::as_bytes(std::span(plane.data, plane.total() * plane.elemSize())));
    return;
  }
  for (int y = 0; y < plane.rows; ++y) out.Append(std::as_bytes(std::span(plane.ptr(y), rowBytes)));
}

/// The planes of a record whose input ends within them. Nearly all that it claims may be missing,
/// so that no plane is held beside the matrix as a whole.
void ReadCutPlanes(base::ByteReader& in, cv::Mat& m) {
  constexpr int kPiece = 1 << 18;  // samples
  std::ranges::fill(BytesOf(m), std::byte{0});
  cv::Mat samples = Movable(m).reshape(0, 1);
  for (int channel = 0; channel < m.channels(); ++channel) {
    for (int begin = 0; begin < samples.cols;) {
      const int end = begin + std::min(kPiece, samples.cols - begin);
      cv::Mat piece(1, end - begin, samples.depth());
      if (in.ReadUpTo(BytesOf(piece)) == 0) return;
      cv::Mat target = samples.colRange(begin, end);
      cv::insertChannel(piece, target, channel);
      begin = end;
    }
  }
}

cv::Mat ReadPlanes(const MatHeader& header, std::uint64_t claimed, base::ByteReader& in) {
  const int depth = CV_MAT_DEPTH(header.type);
  cv::Mat m(header.rows, header.cols, CV_MAKETYPE(depth, header.channels));
  if (header.channels == 1) {
    in.ReadUpTo(BytesOf(m));
    return m;
  }
  if (!in.Has(claimed)) {
    ReadCutPlanes(in, m);
    return m;
  }
  std::vector<cv::Mat> planes(static_cast<std::size_t>(header.channels));
  for (cv::Mat& plane : planes) {
    plane.create(header.rows, header.cols, MovableDepth(depth));
    in.ReadUpTo(BytesOf(plane));
  }
  cv::Mat target = Movable(m);
  cv::merge(planes, target);
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
  return ReadPlanes(header, *claimed, in);
}

void WriteMatRecord(const cv::Mat& m, base::ByteWriter& out) {
  if (m.empty()) {
    for (int i = 0; i < 4; ++i) out.Write(std::int32_t{0});
    return;
  }
  CV_Assert(m.dims <= 2);
  for (const int field : {m.rows, m.cols, m.type(), m.channels()}) {
    out.Write(static_cast<std::int32_t>(field));
  }
  // Readers count the samples of a plane in 32 bits, so a larger record ends after its header.
  const auto samples = static_cast<std::int32_t>(static_cast<std::uint32_t>(m.rows) *
                                                 static_cast<std::uint32_t>(m.cols));
  if (samples < 1) return;
  out.Reserve(m.total() * m.elemSize());
  if (m.channels() == 1) return AppendPlane(m, out);
  std::vector<cv::Mat> planes;
  cv::split(Movable(m), planes);
  for (const cv::Mat& plane : planes) AppendPlane(plane, out);
}

}  // namespace dravix::image
