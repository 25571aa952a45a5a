// The split of a ring into the FIR filter's two straight runs, shared by both variants.
// Run A pairs ring[position ..] with the first coefficients; run B pairs ring[0 .. position)
// with the rest, after single products up to a 32-byte boundary of its coefficients when it
// is long enough for blocks, and all one by one when it is not.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/align.h"

namespace kx {

// accumulateRun(samples, coefficients, count, firstRun, &sums) and
// addRoundedProduct(coefficient, sample, &sums.scalar) come from the variant.
template <typename Sums, typename AccumulateRun, typename AddRoundedProduct>
void accumulateRing(const float* ring, const float* coefficients, int32_t length, int32_t position,
                    Sums* sums, AccumulateRun accumulateRun, AddRoundedProduct addRoundedProduct) {
  const auto wrapped = static_cast<uint32_t>(position);
  const uint32_t runA = static_cast<uint32_t>(length) - wrapped;
  accumulateRun(ring + wrapped, coefficients, runA, true, sums);

  const float* coefficientsB = coefficients + runA;
  const uint32_t leadIn = wrapped > 7 ? std::min(headCount<32>(coefficientsB), wrapped) : wrapped;
  for (uint32_t i = 0; i < leadIn; ++i) addRoundedProduct(coefficientsB[i], ring[i], &sums->scalar);
  if (leadIn < wrapped)
    accumulateRun(ring + leadIn, coefficientsB + leadIn, wrapped - leadIn, false, sums);
}

}  // namespace kx
