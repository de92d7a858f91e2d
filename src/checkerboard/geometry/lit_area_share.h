/// The share of the working image that the lit area takes.
#pragma once

namespace dravix::checkerboard {

/// Share of the working image's width, and of its height, that the lit area takes. The rest is room
/// for what the lens bends outward.
inline constexpr double kLitAreaShare = 0.85;

}  // namespace dravix::checkerboard
