// A host outside the tree that judges a matrix of luminances with the installed lab.
#include <dravix/lab/analysis.h>

#include <cstdio>

int main() {
  const cv::Mat1f luminances(6, 8, 2.5F);
  const dravix::lab::Analysis analysis = dravix::lab::Analyze(luminances);
  if (dravix::lab::ToJson(analysis).find("\"level\"") == std::string::npos) return 1;
  std::printf("dravix analyzed %d x %d LEDs of %g\n", analysis.size.width, analysis.size.height,
              analysis.level.mean);
  return 0;
}
