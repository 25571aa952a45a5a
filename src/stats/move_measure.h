// The single-sample steps of the move-and-measure kernel, shared by both variants: the
// element loop of short blocks and the heads and tails of the two vector paths. Internal
// linkage keeps the copy compiled for AVX2 out of the generic library's reach.
#pragma once

#include <cstddef>
#include <cstdint>

#include "stats/element_loops.h"

namespace kx::stats {

// Blocks shorter than this run the element loop with the stride as given.
inline constexpr uint32_t kMoveBlockWidth = 16;

// Moves source[i * stride] to destination[i] for i from `begin` up to `end` and adds each
// sample to the sums (offset added in single precision, as the 16-bit statistics do); with
// kMergeExtremes the sample is also merged into the running minimum and maximum.
template <bool kMergeExtremes>
static inline void moveSingly(int16_t* destination, const int16_t* source, uint32_t begin,
                              uint32_t end, std::ptrdiff_t stride, int16_t* minimum,
                              int16_t* maximum, double* sum, double* sumOfSquares, float offset) {
  for (uint32_t i = begin; i < end; ++i) {
    const int16_t x = source[static_cast<std::ptrdiff_t>(i) * stride];
    destination[i] = x;
    if constexpr (kMergeExtremes) mergeMinMax(x, minimum, maximum);
    addToSums(x, offset, sum, sumOfSquares);
  }
}

}  // namespace kx::stats
