// The one-sample-at-a-time steps that both variants share: the element loops of the
// short blocks, and the heads and tails of the sums. Internal linkage keeps the copy
// compiled for AVX2 out of the generic library's reach.
#pragma once

#include <cstdint>

namespace kx::stats {

// Both tests are strict and read the outputs as they stand, so equal values keep the
// earlier sample and a NaN sample never replaces a running value.
template <typename T>
static inline void mergeMinMax(T x, T* minimum, T* maximum) {
  if (*minimum > x) *minimum = x;
  if (x > *maximum) *maximum = x;
}

// The minimum and maximum of a block shorter than one vector; the outputs hold the running values.
template <typename T>
static inline void minMaxElementLoop(const T* data, uint32_t count, T* minimum, T* maximum) {
  *maximum = data[0];
  *minimum = data[0];
  for (uint32_t i = 1; i < count; ++i) mergeMinMax(data[i], minimum, maximum);
}

// One sample added to the running sums. The offset is added in its own precision: a float
// offset meets the sample as a float, a double offset as a double.
template <typename T, typename Offset>
static inline void addToSums(T x, Offset offset, double* sum, double* sumOfSquares) {
  *sum = *sum + static_cast<double>(x);
  const double shifted = static_cast<double>(static_cast<Offset>(x) + offset);
  *sumOfSquares = *sumOfSquares + shifted * shifted;
}

template <typename T, typename Offset>
static inline void addRangeToSums(const T* data, uint32_t count, Offset offset, double* sum,
                                  double* sumOfSquares) {
  for (uint32_t i = 0; i < count; ++i) addToSums(data[i], offset, sum, sumOfSquares);
}

// The element loop of the running statistics: merges into the caller's extremes.
template <typename T, typename Offset>
static inline void statsElementLoop(const T* data, uint32_t count, T* minimum, T* maximum,
                                    double* sum, double* sumOfSquares, Offset offset) {
  for (uint32_t i = 0; i < count; ++i) {
    mergeMinMax(data[i], minimum, maximum);
    addToSums(data[i], offset, sum, sumOfSquares);
  }
}

}  // namespace kx::stats
