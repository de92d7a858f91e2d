/// Exponential, sine and cosine, computed from additions, multiplications and divisions in a fixed
/// order. The C library's functions differ in their last bits from one system to another; these
/// give the same bits everywhere. Each is a Taylor series of an argument that was halved until the
/// series is short, followed by squaring or doubling the angle as often.
#pragma once

namespace dravix::sim {

/// e to the power x, for x from -700 to 700; the relative error stays below 1e-11 for x from -50
/// to 5.
inline double FixedExp(double x) {
  constexpr int kHalvings = 12;  // bring 700 down to 0.17, where 14 terms are enough
  const double small = x / (1 << kHalvings);
  double sum = 1.0;
  for (int n = 14; n >= 1; --n) sum = 1.0 + sum * small / n;
  for (int i = 0; i < kHalvings; ++i) sum *= sum;
  return sum;
}

struct SinCos {
  double sin, cos;
};

/// Sine and cosine of an angle in degrees, from -360 to 360; the errors stay below 1e-13.
inline SinCos FixedSinCos(double degrees) {
  constexpr double kRadians = 0.017453292519943295;
  constexpr int kHalvings = 4;  // bring 2 pi down to 0.4
  const double x = degrees * kRadians / (1 << kHalvings);
  const double xx = x * x;
  double s = 1.0;
  double c = 1.0;
  for (int n = 10; n >= 1; --n) {
    s = 1.0 - s * xx / (2.0 * n * (2.0 * n + 1.0));
    c = 1.0 - c * xx / (2.0 * n * (2.0 * n - 1.0));
  }
  s *= x;
  for (int i = 0; i < kHalvings; ++i) {
    const double doubled = 2.0 * s * c;
    c = c * c - s * s;
    s = doubled;
  }
  return {s, c};
}

}  // namespace dravix::sim
