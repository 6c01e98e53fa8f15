#include "solver/kernels/lane_groups.h"

namespace {

template <int Count>
int WidestFitting(const int (&widths)[Count], int remaining, int simdLevel) {
  for (int width : widths)
    if (remaining >= width && simdLevel >= width) return width;
  return 1;
}

}  // namespace

int NextShowdownWidth(int remaining, int simdLevel) {
  static constexpr int widths[] = {8, 7, 6, 4, 3, 2};
  return WidestFitting(widths, remaining, simdLevel);
}

int NextFoldWidth(int remaining, int simdLevel) { return NextShowdownWidth(remaining, simdLevel); }
