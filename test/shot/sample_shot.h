/// A shot with every group, for tests.
#pragma once

#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstring>

#include "support/mats.h"

namespace dravix::test {

/// Noise in the range of a sensor of 16 bits.
inline cv::Mat Mosaic(cv::Size size = {12, 10}) { return RandomMat(size, CV_16UC1, 3, 0, 65536); }

inline Shot FullShot() {
  Shot shot;
  shot.partition = Shot::Partition{1, 2, 8, 6, 16, 9};
  shot.panel = Shot::LedPanel{11, 12, 13, 14, 15, 1.5F};
  shot.layer = Shot::Layer{21, 0.25F, 23};
  shot.pattern = Shot::Pattern{31, 3, 2, 1, 0, 3, 3};
  shot.color = 4;
  shot.device = Shot::Device{"camera", 120016, "lens", 44};
  shot.capture = Shot::Capture{51, 52, 53, 54, 55};
  shot.type = CIE_Y;
  shot.image = Mosaic();
  return shot;
}

/// The same noise as a color picture of three planes.
inline Shot ColorShot(cv::Size size = {9, 7}) {
  Shot shot = FullShot();
  shot.type = CAM_RGB;
  shot.image = RandomMat(size, CV_16UC3, 5, 0, 65536);
  return shot;
}

/// True when both have the group with the same bytes (groups have no padding), or neither has it.
template <class Group>
bool SameGroup(const std::optional<Group>& a, const std::optional<Group>& b) {
  if (a.has_value() != b.has_value()) return false;
  return !a || std::memcmp(&*a, &*b, sizeof(Group)) == 0;
}

inline ::testing::AssertionResult SameGroups(const Shot& a, const Shot& b) {
  const bool same = SameGroup(a.partition, b.partition) && SameGroup(a.panel, b.panel) &&
                    SameGroup(a.layer, b.layer) && SameGroup(a.pattern, b.pattern) &&
                    SameGroup(a.color, b.color) && SameGroup(a.device, b.device) &&
                    SameGroup(a.capture, b.capture);
  return same ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "groups differ";
}

inline ::testing::AssertionResult SameShot(const Shot& a, const Shot& b) {
  if (a.type != b.type) return ::testing::AssertionFailure() << "types differ";
  if (const auto groups = SameGroups(a, b); !groups) return groups;
  return SameBytes(a.image, b.image);
}

}  // namespace dravix::test
