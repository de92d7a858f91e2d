/// Matrices in files: the record that every format of dravix uses, and small files of their own.
#ifndef DRAVIX_BIO_H_
#define DRAVIX_BIO_H_

#include <dravix/export.h>

#include <iosfwd>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

/// Appends `m` as one matrix record: rows, columns, type code and channels as 32-bit integers, then
/// the channels as separate planes, row by row. An empty matrix is 16 zero bytes. Two dimensions
/// only.
DRAVIX_API void WriteMat(const cv::Mat& m, std::ostream& out);

/// Reads one matrix record and replaces `m`. Empty when the record says so, when one plane would
/// hold 2 GiB or more, or when it claims over 64 MiB more than the stream still has. A record cut
/// short is read as far as it goes, the rest is 0. Throws cv::Exception for a channel count outside
/// 1 to 512.
DRAVIX_API void ReadMat(std::istream& in, cv::Mat& m);

namespace BIO {

/// Writes 'L' and one record. False, with one error line, when the file cannot be opened or not be
/// written whole; what was under the name is then still there.
DRAVIX_API bool SaveMatToBin(const std::string& fullname, const cv::Mat& m);

/// Reads what SaveMatToBin wrote. False, with one error line, when the file cannot be opened; true
/// otherwise, also for a file that does not begin with 'L', which leaves `m` as it was.
DRAVIX_API bool LoadBinToMat(const std::string& fullname, cv::Mat& m);

/// Reads `size` numbers, separated by white space, row by row into a new CV_32FC1 matrix. Where the
/// text holds no number, the cell and all after it are 0. False, with one error line, when the file
/// cannot be opened.
DRAVIX_API bool LoadTxtToMat(const std::string& fullname, cv::Size size, cv::Mat& m);

/// Appends every line of a text file, empty ones included, to `names`. False, with one error line,
/// when the file cannot be opened.
DRAVIX_API bool ReadFullNameListTxt(const std::string& fullname, std::vector<std::string>& names);

}  // namespace BIO

#endif  // DRAVIX_BIO_H_
