// FIR filter: the weighted sum of a ring read from `position` on, wrapping once.
// The ring is taken in two straight runs (position .. end, then 0 .. position), so no index
// is ever reduced modulo the length. Both runs feed an eight-lane vector sum and a scalar
// sum; the lanes below stand for the vector unit of the avx2 kernel, with the same order
// of every rounding.
#include <algorithm>
#include <array>
#include <cstdint>

#include "core/align.h"
#include "core/fused.h"
#include "core/lanes.h"
#include "filter/fir.h"

namespace kx::generic {
namespace {

using Lanes8 = Lanes<float, 8>;

struct FirSums {
  Lanes8 vector{};  // every lane +0.0 until the first run's 32-blocks replace it
  float scalar = 0.0f;
};

void addRoundedProduct(float coefficient, float sample, float* sum) {
  const float product = coefficient * sample;
  *sum = *sum + product;
}

// Pairs coefficients[i] with samples[i] for i < count: blocks of 32, blocks of 8, then
// one by one. The first run's 32-block sum becomes the vector sum; a later run's is added.
void accumulateRun(const float* samples, const float* coefficients, uint32_t count, bool firstRun,
                   FirSums* sums) {
  uint32_t i = 0;
  if (count >= 32) {
    std::array<Lanes8, 4> accumulators{};
    for (; count - i >= 32; i += 32) {
      for (uint32_t j = 0; j < 4; ++j) {
        for (uint32_t lane = 0; lane < 8; ++lane) {
          const uint32_t k = i + 8 * j + lane;
          accumulators[j][lane] =
              fusedMultiplyAdd(coefficients[k], samples[k], accumulators[j][lane]);
        }
      }
    }
    for (uint32_t lane = 0; lane < 8; ++lane) {
      const float combined =
          ((accumulators[1][lane] + accumulators[0][lane]) + accumulators[2][lane]) +
          accumulators[3][lane];
      sums->vector[lane] = firstRun ? combined : sums->vector[lane] + combined;
    }
  }
  for (; count - i >= 8; i += 8) {
    for (uint32_t lane = 0; lane < 8; ++lane)
      sums->vector[lane] =
          fusedMultiplyAdd(coefficients[i + lane], samples[i + lane], sums->vector[lane]);
  }
  for (; i < count; ++i) addRoundedProduct(coefficients[i], samples[i], &sums->scalar);
}

// Pairwise within each half of four lanes, the halves added, the scalar sum last.
float reduce(const FirSums& sums) {
  const Lanes8& v = sums.vector;
  const float low = (v[0] + v[1]) + (v[2] + v[3]);
  const float high = (v[4] + v[5]) + (v[6] + v[7]);
  return (low + high) + sums.scalar;
}

}  // namespace

float firFilter(const float* ring, const float* coefficients, int32_t length, int32_t position) {
  const auto ringLength = static_cast<uint32_t>(length);
  const auto wrapped = static_cast<uint32_t>(position);
  const uint32_t runA = ringLength - wrapped;
  FirSums sums;
  accumulateRun(ring + wrapped, coefficients, runA, true, &sums);

  const float* coefficientsB = coefficients + runA;
  if (wrapped > 7) {
    // Single products until the coefficient reads reach a 32-byte boundary.
    const uint32_t leadIn = std::min(headCount<32>(coefficientsB), wrapped);
    for (uint32_t i = 0; i < leadIn; ++i)
      addRoundedProduct(coefficientsB[i], ring[i], &sums.scalar);
    accumulateRun(ring + leadIn, coefficientsB + leadIn, wrapped - leadIn, false, &sums);
  } else {
    for (uint32_t i = 0; i < wrapped; ++i)
      addRoundedProduct(coefficientsB[i], ring[i], &sums.scalar);
  }
  return reduce(sums);
}

}  // namespace kx::generic
