/// A matrix of luminances in formats that other programs read. All of them keep the exact values.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

/// The most bytes that a .npy file is read for: the largest screens have 36 million LEDs, of at
/// most 8 bytes each, and the header has less than 64 KiB.
inline constexpr std::uintmax_t kMostOfNpy = 36000000 * 8 + (1 << 16);

/// NumPy's .npy, version 1.0: 32-bit floats, little-endian, row by row.
[[nodiscard]] std::string EncodeNpy(const cv::Mat& values);
/// A matrix of 32-bit or 64-bit floats as it is stored, CV_32FC1 or CV_64FC1. Fails with a message
/// about the file `name` on anything else.
[[nodiscard]] cv::Mat DecodeNpyAsStored(const std::string& name, const std::string& bytes);
/// The same as CV_32FC1.
[[nodiscard]] cv::Mat DecodeNpy(const std::string& name, const std::string& bytes);
/// The library's own .lum, as a measurement writes it: marks and luminances.
[[nodiscard]] std::string EncodeLum(const cv::Mat& values);
/// Writes a matrix as EncodeNpy has it, row by row, so that a large one needs no memory. Also 8-bit
/// unsigned matrices.
void WriteNpy(const std::string& name, const cv::Mat& values);
/// Writes a matrix as EncodeLum has it, likewise.
void WriteLum(const std::string& name, const cv::Mat& values);
/// One line per row of the matrix. Each value has the fewest digits that read back to the same
/// float.
[[nodiscard]] std::string EncodeCsv(const cv::Mat& values);

}  // namespace dravix::tool
