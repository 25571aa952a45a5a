// Minimum and maximum of a block, portable form of the vector kernels: the lanes of one
// 256-bit register are emulated, so NaN and signed-zero results match lane for lane.
#include "core/align.h"
#include "core/lanes.h"
#include "stats/element_loops.h"
#include "stats/stats.h"

namespace kx::generic {
namespace {

template <typename T>
void minMax(const T* data, uint32_t count, T* minimum, T* maximum) {
  constexpr uint32_t kWidth = 32 / sizeof(T);
  if (count < kWidth) {
    stats::minMaxElementLoop(data, count, minimum, maximum);
    return;
  }
  // The first and the last block, loaded unaligned, cover the head and the tail.
  Lanes<T, kWidth> low = loadLanes<T, kWidth>(data);
  Lanes<T, kWidth> high = low;
  const Split split = splitAfterHead<kWidth>(headCount<32>(data), count);
  const T* body = data + split.head;
  for (uint32_t block = 0; block < split.blocks; ++block) {
    const auto values = loadLanes<T, kWidth>(body + block * kWidth);
    combineLanes(low, values, laneMin<T>);
    combineLanes(high, values, laneMax<T>);
  }
  const auto last = loadLanes<T, kWidth>(data + count - kWidth);
  combineLanes(low, last, laneMin<T>);
  combineLanes(high, last, laneMax<T>);
  *minimum = reduceHalving(low, laneMin<T>);
  *maximum = reduceHalving(high, laneMax<T>);
}

}  // namespace

void getMinMax(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const float* data, uint32_t count, float* minimum, float* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const double* data, uint32_t count, double* minimum, double* maximum) {
  minMax(data, count, minimum, maximum);
}

}  // namespace kx::generic
