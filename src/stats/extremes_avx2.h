// Running lane-wise minimum and maximum of a block on vectors, for the statistics kernels.
#pragma once

#include "core/avx2.h"

namespace kx::avx2 {

template <typename Vec>
struct Extremes {
  typename Vec::V low;
  typename Vec::V high;

  explicit Extremes(typename Vec::V first) : low(first), high(first) {}
  Extremes(typename Vec::V lowLanes, typename Vec::V highLanes) : low(lowLanes), high(highLanes) {}

  // The running lanes are the first operand: a failed comparison takes the new value.
  void combine(typename Vec::V values) {
    low = Vec::min(low, values);
    high = Vec::max(high, values);
  }
  void combine(const Extremes& later) {
    low = Vec::min(low, later.low);
    high = Vec::max(high, later.high);
  }
  // Reduced by halving; the minimum is written first.
  void store(typename Vec::T* minimum, typename Vec::T* maximum) const {
    *minimum = Vec::reduceMin(low);
    *maximum = Vec::reduceMax(high);
  }
};

}  // namespace kx::avx2
