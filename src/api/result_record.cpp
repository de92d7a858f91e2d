#include "api/result_record.h"

#include <cstring>
#include <memory>

#include "base/checked.h"

namespace dravix::api {
namespace {

/// Everything but the data pointer; all zero for an empty matrix. Throws cv::Exception for a matrix
/// whose byte count does not fit into 32 bits.
DravixMatrix Described(const cv::Mat& m) {
  if (m.empty()) return {};
  const std::uint64_t size = m.total() * m.elemSize();
  CV_Assert(m.dims == 2 && m.isContinuous() && base::FitsInt32(size));
  return {m.rows, m.cols, m.type(), static_cast<std::int32_t>(size), nullptr};
}

std::unique_ptr<char[]> Block(const cv::Mat& m, const DravixMatrix& described) {
  if (m.empty()) return nullptr;
  const auto size = static_cast<std::size_t>(described.size);
  auto block = std::make_unique<char[]>(size);
  std::memcpy(block.get(), m.data, size);
  return block;
}

}  // namespace

DravixResult Borrowed(cv::Mat& resultImage, cv::Mat& lum) {
  DravixResult result{Described(resultImage), Described(lum)};
  if (!resultImage.empty()) result.resultImage.data = resultImage.data;
  if (!lum.empty()) result.lum.data = lum.data;
  return result;
}

DravixResult Copied(const cv::Mat& resultImage, const cv::Mat& lum) {
  DravixResult result{Described(resultImage), Described(lum)};
  std::unique_ptr<char[]> first = Block(resultImage, result.resultImage);
  std::unique_ptr<char[]> second = Block(lum, result.lum);
  result.resultImage.data = first.release();
  result.lum.data = second.release();
  return result;
}

}  // namespace dravix::api
