#include "lab/base/size_text.h"

namespace dravix::lab {

std::string SizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace dravix::lab
