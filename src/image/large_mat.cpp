#include "image/large_mat.h"

#include <memory>

#include "base/large_buffer.h"

namespace dravix::image {
namespace {

/// Hands out base::LargeBuffer; a matrix' own count of references decides when it is given back.
class LargeAllocator final : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag /*flags*/, cv::UMatUsageFlags /*usage*/) const override {
    CV_Assert(data == nullptr);
    std::size_t bytes = CV_ELEM_SIZE(type);
    for (int i = dims - 1; i >= 0; --i) {
      if (step != nullptr) step[i] = bytes;
      bytes *= static_cast<std::size_t>(sizes[i]);
    }
    auto buffer = std::make_unique<base::LargeBuffer>(bytes);
    auto matrix = std::make_unique<cv::UMatData>(this);
    matrix->data = matrix->origdata = buffer->Data();
    matrix->size = bytes;
    matrix->handle = buffer.release();
    return matrix.release();
  }
  bool allocate(cv::UMatData* matrix, cv::AccessFlag /*flags*/,
                cv::UMatUsageFlags /*usage*/) const override {
    return matrix != nullptr;
  }
  void deallocate(cv::UMatData* matrix) const override {
    if (matrix == nullptr) return;
    delete static_cast<base::LargeBuffer*>(matrix->handle);
    matrix->handle = nullptr;
    delete matrix;
  }
};

const LargeAllocator* Allocator() {
  static const auto* const allocator =
      new LargeAllocator;  // for ever: matrices may outlive statics
  return allocator;
}

}  // namespace

cv::Mat LargeZeros(cv::Size size, int type) {
  cv::Mat matrix;
  matrix.allocator = const_cast<LargeAllocator*>(Allocator());  // the library asks for no more
  matrix.create(size, type);
  matrix.allocator = nullptr;  // what the matrix may hold later is nothing of ours
  return matrix;
}

}  // namespace dravix::image
