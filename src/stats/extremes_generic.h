// The vector path's minimum and maximum of a block, in emulated lanes: the first block
// (unaligned) seeds the lanes, every whole block of the body from `head` on and the last
// block (unaligned, ending at the last sample) are combined into them, and the lanes are
// reduced by halving. The outputs are overwritten, the minimum first.
#pragma once

#include "core/align.h"
#include "core/lanes.h"

namespace kx::generic {

template <typename T, uint32_t Width>
void storeBlockExtremes(const T* data, uint32_t count, uint32_t head, T* minimum, T* maximum) {
  Lanes<T, Width> low = loadLanes<T, Width>(data);
  Lanes<T, Width> high = low;
  const Split split = splitAfterHead<Width>(head, count);
  const T* body = data + split.head;
  for (uint32_t block = 0; block < split.blocks; ++block) {
    const auto values = loadLanes<T, Width>(body + block * Width);
    combineLanes(low, values, laneMin<T>);
    combineLanes(high, values, laneMax<T>);
  }
  const auto last = loadLanes<T, Width>(data + count - Width);
  combineLanes(low, last, laneMin<T>);
  combineLanes(high, last, laneMax<T>);
  *minimum = reduceHalving(low, laneMin<T>);
  *maximum = reduceHalving(high, laneMax<T>);
}

}  // namespace kx::generic
