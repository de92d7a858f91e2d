/// Matrices in files: the record that every format of dravix uses, and small files of matrices,
/// tables and names.
///
/// Exceptions: cv::Exception where it is said, and for matrices of more than two dimensions;
/// cv::Exception or std::bad_alloc where memory runs out; what a stream throws whose owner asked it
/// to. Nothing else is thrown, and a matrix that was to be read is then as it was.
#ifndef DRAVIX_BIO_H_
#define DRAVIX_BIO_H_

#include <dravix/export.h>

#include <iosfwd>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

/// Appends `m` as one matrix record: rows, columns, type code and channels as 32-bit integers, then
/// the channels as separate planes, row by row. An empty matrix is 16 zero bytes. Throws
/// cv::Exception for more than two dimensions.
DRAVIX_API void WriteMat(const cv::Mat& m, std::ostream& out);

/// Reads one matrix record and replaces `m`; takes no more of the stream than the record. `m` is
/// empty when the record says so, when one plane would hold 2 GiB or more, or when the record
/// claims over 64 MiB more than the stream still has; in the last two cases the stream is then at
/// its end. A record that is cut short is read as far as it goes, and the rest is 0. Throws
/// cv::Exception for a channel count outside 1 to 512.
DRAVIX_API void ReadMat(std::istream& in, cv::Mat& m);

namespace BIO {

/// Writes 'L' and one record. False, with one error line, when the file cannot be opened or not be
/// written whole; what was under the name is then still there. Where the folder takes no new file,
/// the old one is written in place, which a crash may leave half done.
DRAVIX_API bool SaveMatToBin(const std::string& fullname, const cv::Mat& m);

/// Reads what SaveMatToBin wrote. False, with one error line, when the file cannot be opened. True
/// otherwise, also for a file that does not begin with 'L': that leaves `m` as it was.
DRAVIX_API bool LoadBinToMat(const std::string& fullname, cv::Mat& m);

/// Reads `size` numbers, separated by white space, row by row into a new CV_32FC1 matrix, and no
/// more of the file than that. Where the text holds no number, that element and all after it are 0.
/// False, with one error line, when the file cannot be opened.
DRAVIX_API bool LoadTxtToMat(const std::string& fullname, cv::Size size, cv::Mat& m);

/// Appends every line of a text file, empty ones included, to `names`. False, with one error line,
/// when the file cannot be opened, or when it is a pipe or device that gives more than 256 MiB.
DRAVIX_API bool ReadFullNameListTxt(const std::string& fullname, std::vector<std::string>& names);

}  // namespace BIO

#endif  // DRAVIX_BIO_H_
