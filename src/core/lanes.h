// Lane emulation for the generic variant: where a result is defined by the lanes
// of a vector unit, the portable code computes with the same lanes in the same order.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace kx::generic {

template <typename T, std::size_t N>
using Lanes = std::array<T, N>;

template <typename T, std::size_t N>
inline Lanes<T, N> loadLanes(const T* p) {
  Lanes<T, N> lanes;
  std::memcpy(lanes.data(), p, sizeof lanes);
  return lanes;
}

// The vector unit's minimum and maximum: the running lane is the first operand, and a
// comparison that fails (equal values, or a NaN on either side) yields the second.
template <typename T>
constexpr T laneMin(T running, T value) {
  return running < value ? running : value;
}
template <typename T>
constexpr T laneMax(T running, T value) {
  return running > value ? running : value;
}

template <typename T, std::size_t N, typename Op>
inline void combineLanes(Lanes<T, N>& running, const Lanes<T, N>& values, Op op) {
  for (std::size_t lane = 0; lane < N; ++lane) running[lane] = op(running[lane], values[lane]);
}

// Halves the lanes until one is left: the upper half is combined into the lower one,
// the lower lane being the first operand.
template <typename T, std::size_t N, typename Op>
inline T reduceHalving(Lanes<T, N> lanes, Op op) {
  for (std::size_t width = N / 2; width >= 1; width /= 2) {
    for (std::size_t lane = 0; lane < width; ++lane)
      lanes[lane] = op(lanes[lane], lanes[lane + width]);
  }
  return lanes[0];
}

// Horizontal sum of a four-lane double accumulator: (lane 0 + lane 2) + (lane 1 + lane 3).
inline double sumLanes(const Lanes<double, 4>& lanes) {
  return (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]);
}

}  // namespace kx::generic
