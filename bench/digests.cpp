/// Prints a digest of every result on 40 simulated photographs, one line each: the photograph, its
/// luminances by rows and through the whole image, the masks of both region searches, the corners.
/// The lines of two builds that use different versions of the matrix library can be compared.
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <cstdint>
#include <cstdio>

#include "extractor/extractor.h"
#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

/// FNV-1a with 64 bits.
std::uint64_t DigestOf(const cv::Mat& mat) {
  std::uint64_t digest = 14695981039346656037U;
  const std::size_t bytes = static_cast<std::size_t>(mat.cols) * mat.elemSize();
  for (int y = 0; y < mat.rows; ++y) {
    const auto* row = mat.ptr<std::uint8_t>(y);
    for (std::size_t i = 0; i < bytes; ++i) digest = (digest ^ row[i]) * 1099511628211U;
  }
  return digest;
}

void Print(const char* name, const cv::Mat& mat) {
  std::printf(" %s %016llx", name, static_cast<unsigned long long>(DigestOf(mat)));
}

cv::Mat Measured(const dravix::sim::Photograph& photo, ExtractBy way) {
  Dravix dravix;
  dravix.extractBy = way;
  dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0);
  return dravix.lum;
}

}  // namespace

int main() {
  for (const dravix::sim::Scene& scene : dravix::sim::LuminanceScenes()) {
    const dravix::sim::Photograph photo = dravix::sim::Render(scene);
    std::printf("%s", scene.name.c_str());
    Print("photograph", photo.shot.image);
    Print("rows", Measured(photo, ExtractBy::kWhatIsFaster));
    Print("whole", Measured(photo, ExtractBy::kWholeImage));
    RegionOI region;
    region.SetShot(&photo.shot);
    region.AutoSet();
    Print("AutoSet", region.mask);
    region.ComputeBlur();
    Print("ComputeBlur", region.mask);
    std::vector<cv::Point> corners;
    region.GetPrecision4Corner(corners);
    for (const cv::Point& corner : corners) std::printf(" %d,%d", corner.x, corner.y);
    std::printf("\n");
  }
  return 0;
}
