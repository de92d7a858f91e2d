/// How much the spots of neighboring LEDs overlap in the photograph: the matrix of the normal
/// equations for all luminances of a screen.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/model/spot_field.h"

namespace dravix::lab::unmix {

/// The symmetric matrix with the elements area_k area_l overlap(c_k - c_l), of the spot that is the
/// mean of both where spots change over the screen. It is kept as one plane for
/// each of the 5 to 41 neighbors to the right and below; those to the left and above have the same
/// elements.
class OverlapOperator {
 public:
  OverlapOperator(const Centers& centers, const SpotFamily& spots);

  cv::Size Leds() const { return leds_; }
  /// The product with `values`, on several threads.
  void Apply(const cv::Mat1f& values, cv::Mat1f& product) const;
  /// The elements of one LED's row as a square picture of its neighborhood, itself in the middle.
  /// LEDs beyond the border count as those on the other side.
  [[nodiscard]] cv::Mat1d RowOf(cv::Point led) const;

 private:
  struct Tap {
    cv::Point offset;
    cv::Mat1f elements;
  };
  cv::Size leds_;
  std::vector<Tap> taps_;  ///< the first one is the LED itself
};

}  // namespace dravix::lab::unmix
