// A spot is the convolution of emitter, disk, Gaussian and pixel. Convolutions are products of
// Fourier transforms, and all four have transforms in closed form: sinc for the two squares, 2
// J1(z) / z for the disk, an exponential for the Gaussian. The product is sampled over the
// frequencies and transformed back, several samples to a pixel. Derivatives and overlaps are made
// from the same product, so that they agree with the spot.
#include "lab/unmix/model/spot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <opencv2/core/utility.hpp>

namespace dravix::lab::unmix {
namespace {

constexpr double kPi = 3.14159265358979323846;
/// A Gaussian is followed to this many sigma; 5e-4 of an axis's light lies beyond.
constexpr double kGaussianReach = 3.5;

double Square(double x) { return x * x; }

double Sinc(double x) {
  const double z = kPi * x;
  return std::abs(z) < 1e-6 ? 1.0 : std::sin(z) / z;
}

/// The Bessel function J1 for z >= 0, after Abramowitz and Stegun 9.4.4 and 9.4.6; errors below
/// 1e-7.
double BesselJ1(double z) {
  if (z <= 3.0) {
    const double y = Square(z / 3.0);
    return z *
           (0.5 +
            y * (-0.56249985 +
                 y * (0.21093573 +
                      y * (-0.03954289 + y * (0.00443319 + y * (-0.00031761 + y * 0.00001109))))));
  }
  const double y = 3.0 / z;
  const double amplitude =
      0.79788456 +
      y * (0.00000156 +
           y * (0.01659667 +
                y * (0.00017105 + y * (-0.00249511 + y * (0.00113653 - y * 0.00020033)))));
  const double phase =
      z - 2.35619449 +
      y * (0.12499612 +
           y * (0.00005650 +
                y * (-0.00637879 + y * (0.00074348 + y * (0.00079824 - y * 0.00029166)))));
  return amplitude * std::cos(phase) / std::sqrt(z);
}

/// The transform of a disk of that variance and sum 1 at a distance from frequency 0.
double DiskTransfer(double variance, double frequency) {
  const double z = 4.0 * kPi * std::sqrt(std::max(variance, 0.0)) * frequency;
  return z < 1e-4 ? 1.0 - z * z / 8.0 : 2.0 * BesselJ1(z) / z;
}

double LensTransfer(double diskVariance, double gaussianVariance, double frequencySquared) {
  return DiskTransfer(diskVariance, std::sqrt(frequencySquared)) *
         std::exp(-2.0 * kPi * kPi * gaussianVariance * frequencySquared);
}

/// Samples to a pixel: the narrowest feature of a spot is as wide as emitter and pixel together and
/// gets at least twenty-three samples.
int StepsFor(double emitter) { return emitter + 1.0 > 2.9 ? 8 : 16; }

/// Half the difference of the neighbors along one axis, per pixel, with the sign of a change of the
/// center's place.
cv::Mat1d ByCenter(const cv::Mat1d& fine, int steps, cv::Point axis) {
  cv::Mat1d change(fine.size(), 0.0);
  for (int y = 1; y + 1 < fine.rows; ++y) {
    for (int x = 1; x + 1 < fine.cols; ++x) {
      change(y, x) = 0.5 * steps * (fine(y - axis.y, x - axis.x) - fine(y + axis.y, x + axis.x));
    }
  }
  return change;
}

}  // namespace

double SpotShape::DiskVariance() const {
  return std::clamp(std::sqrt(std::max(diskSquared, 0.0)), 0.0, variance);
}
double SpotShape::Radius() const { return 2.0 * std::sqrt(DiskVariance()); }
double SpotShape::Sigma() const { return std::sqrt(variance - DiskVariance()); }

SpotTable::SpotTable(const cv::Mat1d& fine, int steps, int radius)
    : radius_(radius), steps_(steps), stride_((2 * radius + 4) / 4 * 4) {
  patch_ = static_cast<std::size_t>(Side()) * static_cast<std::size_t>(stride_);
  values_.resize(patch_ * static_cast<std::size_t>((steps + 1) * (steps + 1)));
  const cv::Point middle(fine.cols / 2, fine.rows / 2);
  float* to = values_.data();
  for (int phaseY = 0; phaseY <= steps; ++phaseY) {
    for (int phaseX = 0; phaseX <= steps; ++phaseX) {
      for (int y = -radius; y <= radius; ++y, to += stride_) {
        const double* from = fine[middle.y + phaseY + y * steps] + middle.x + phaseX;
        for (int x = -radius; x <= radius; ++x) {
          to[x + radius] = static_cast<float>(from[x * steps]);
        }
      }
    }
  }
}

Phase PhaseOf(double center, int steps) {
  const double pixel = std::ceil(center);
  const double behind = (pixel - center) * steps;
  const int first = std::min(static_cast<int>(behind), steps - 1);
  return {static_cast<int>(pixel), first, static_cast<float>(behind - first)};
}

float ByDistance::At(double dx, double dy) const {
  const double x = std::clamp(dx * steps_ + fine_.cols / 2, 0.0, fine_.cols - 1.001);
  const double y = std::clamp(dy * steps_ + fine_.rows / 2, 0.0, fine_.rows - 1.001);
  const auto column = static_cast<int>(x);
  const auto row = static_cast<int>(y);
  const auto right = static_cast<float>(x - column);
  const auto down = static_cast<float>(y - row);
  const float* above = fine_[row] + column;
  const float* below = fine_[row + 1] + column;
  return (1 - down) * ((1 - right) * above[0] + right * above[1]) +
         down * ((1 - right) * below[0] + right * below[1]);
}

SpotModel::SpotModel(const SpotShape& shape, double emitter)
    : shape_(shape),
      emitter_(emitter),
      radius_(static_cast<int>(
          std::ceil(shape.Radius() + kGaussianReach * shape.Sigma() + 0.6 * emitter + 1.5))),
      steps_(StepsFor(emitter)) {}

/// The function, up to `reach` pixels from its middle, whose transform is that of a square of side
/// `cell` times what `transfer` makes of that of emitter and pixel and of the squared frequency.
template <class Transfer>
cv::Mat1d SpotModel::Inverse(int reach, double cell, Transfer transfer) const {
  // An odd multiple of 2 would have no sample at the middle; sizes are even anyway.
  const int size = 2 * cv::getOptimalDFTSize(reach * steps_);
  const double step = static_cast<double>(steps_) / size;  // cycles per pixel
  const auto frequency = [&](int i) { return step * (i < size / 2 ? i : i - size); };
  std::vector<double> box(static_cast<std::size_t>(size));
  std::vector<double> cells(box.size());
  for (int i = 0; i < size; ++i) {
    box[static_cast<std::size_t>(i)] = Sinc(frequency(i) * emitter_) * Sinc(frequency(i));
    cells[static_cast<std::size_t>(i)] = Sinc(frequency(i) * cell);
  }
  cv::Mat2d spectrum(size, size);
  for (int y = 0; y <= size / 2; ++y) {
    for (int x = 0; x <= size / 2; ++x) {
      // A spot is the same to the left and to the right, and so are its frequencies. The sign moves
      // the middle of the picture from its corner to its center.
      const double sign = (x + y) % 2 == 0 ? 1.0 : -1.0;
      const auto column = static_cast<std::size_t>(x);
      const auto row = static_cast<std::size_t>(y);
      const double ff = Square(frequency(x)) + Square(frequency(y));
      const double value =
          sign * transfer(box[column] * box[row], ff) * cells[column] * cells[row] * step * step;
      const int left = (size - x) % size;
      const int above = (size - y) % size;
      spectrum(y, x) = spectrum(y, left) = spectrum(above, x) = spectrum(above, left) = {value, 0};
    }
  }
  cv::Mat1d fine;
  cv::dft(spectrum, fine, cv::DFT_INVERSE | cv::DFT_REAL_OUTPUT);
  return fine;
}

SpotTable SpotModel::Spot() const {
  const double disk = shape_.DiskVariance();
  const double gaussian = shape_.variance - disk;
  const auto transfer = [&](double box, double ff) {
    return box * LensTransfer(disk, gaussian, ff);
  };
  return {Inverse(radius_ + 2, 0, transfer), steps_, radius_};
}

SpotModel::Derivatives SpotModel::SpotDerivatives() const {
  const double total = shape_.variance;
  const double disk = shape_.DiskVariance();
  const double gaussian = total - disk;
  const auto spot = [&](double box, double ff) { return box * LensTransfer(disk, gaussian, ff); };
  const auto byVariance = [&](double box, double ff) {
    return -2.0 * kPi * kPi * ff * spot(box, ff);
  };
  // A difference toward the side on which the disk's variance stays within 0 and the total.
  double change = 0.02 * total * total;
  if (std::sqrt(disk * disk + change) > total) change = -std::min(change, 0.5 * disk * disk);
  const double other = std::sqrt(disk * disk + change);
  const auto byDisk = [&](double box, double ff) {
    return box * (LensTransfer(other, total - other, ff) - LensTransfer(disk, gaussian, ff)) /
           change;
  };
  const int reach = radius_ + 2;
  SpotModel wider = *this;
  const double wide = 0.02 * (emitter_ + 1.0);  // pixels
  wider.emitter_ += wide;
  const std::array<std::function<cv::Mat1d()>, 4> transforms = {
      [&] { return Inverse(reach, 0, spot); }, [&] { return wider.Inverse(reach, 0, spot); },
      [&] { return Inverse(reach, 0, byVariance); }, [&] { return Inverse(reach, 0, byDisk); }};
  std::array<cv::Mat1d, 4> fine;
  cv::parallel_for_(cv::Range(0, 4), [&](const cv::Range& range) {
    for (auto i = static_cast<std::size_t>(range.start); i < static_cast<std::size_t>(range.end);
         ++i) {
      fine.at(i) = transforms.at(i)();
    }
  });
  const cv::Mat1d byEmitter((fine[1] - fine[0]) / wide);
  const auto table = [&](const cv::Mat1d& values) { return SpotTable(values, steps_, radius_); };
  return {table(fine[2]), table(fine[3]), table(byEmitter),
          table(ByCenter(fine[0], steps_, {1, 0})), table(ByCenter(fine[0], steps_, {0, 1}))};
}

ByDistance SpotModel::Overlap() const {
  const double disk = shape_.DiskVariance();
  const double gaussian = shape_.variance - disk;
  const auto transfer = [&](double box, double ff) {
    return Square(box * LensTransfer(disk, gaussian, ff));
  };
  cv::Mat1f fine;
  Inverse(2 * radius_ + 2, 0, transfer).convertTo(fine, CV_32F);
  return {fine, steps_};
}

cv::Mat1d SpotModel::CellResponse(double pitch) const {
  const double disk = shape_.DiskVariance();
  const double gaussian = shape_.variance - disk;
  const auto transfer = [&](double box, double ff) {
    return box * LensTransfer(disk, gaussian, ff);
  };
  const int reach = radius_ + static_cast<int>(std::ceil(0.5 * pitch)) + 2;
  cv::Mat1f fine;
  Inverse(reach, pitch, transfer).convertTo(fine, CV_32F, pitch * pitch);
  const ByDistance share(fine, steps_);
  const int cells = static_cast<int>(std::floor((radius_ + 0.5 * pitch) / pitch));
  cv::Mat1d response(2 * cells + 1, 2 * cells + 1);
  for (int y = -cells; y <= cells; ++y) {
    for (int x = -cells; x <= cells; ++x) {
      response(y + cells, x + cells) = static_cast<double>(share.At(x * pitch, y * pitch));
    }
  }
  return response;
}

}  // namespace dravix::lab::unmix
