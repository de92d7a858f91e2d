/// One number for each side of a rectangle.
#pragma once

namespace dravix::checkerboard {

struct Sides {
  double left = 0, right = 0, top = 0, bottom = 0;
};

}  // namespace dravix::checkerboard
