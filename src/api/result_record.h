/// A result's matrices as the records that a host reads.
#pragma once

#include <dravix/dravix.h>

#include <opencv2/core.hpp>

namespace dravix::api {

/// Describes both matrices, with pointers to their own elements.
[[nodiscard]] DravixResult Borrowed(cv::Mat& resultImage, cv::Mat& lum);

/// Describes copies of both matrices, each in a block of its own, from operator new[] of char, that
/// the host frees.
[[nodiscard]] DravixResult Copied(const cv::Mat& resultImage, const cv::Mat& lum);

}  // namespace dravix::api
