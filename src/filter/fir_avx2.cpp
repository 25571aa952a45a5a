// FIR filter, AVX2/FMA3: eight-lane fused multiply-adds over unaligned data, four
// independent accumulators in the 32-blocks. fir_generic.cpp states the same order of
// operations lane by lane.
#include <immintrin.h>

#include <algorithm>
#include <cstdint>

#include "core/align.h"
#include "filter/fir.h"

namespace kx::avx2 {
namespace {

struct FirSums {
  __m256 vector = _mm256_setzero_ps();
  float scalar = 0.0f;
};

inline void addRoundedProduct(float coefficient, float sample, float* sum) {
  const float product = coefficient * sample;
  *sum = *sum + product;
}

inline void accumulateRun(const float* samples, const float* coefficients, uint32_t count,
                          bool firstRun, FirSums* sums) {
  uint32_t i = 0;
  if (count >= 32) {
    __m256 first = _mm256_setzero_ps();
    __m256 second = _mm256_setzero_ps();
    __m256 third = _mm256_setzero_ps();
    __m256 fourth = _mm256_setzero_ps();
    for (; count - i >= 32; i += 32) {
      first =
          _mm256_fmadd_ps(_mm256_loadu_ps(coefficients + i), _mm256_loadu_ps(samples + i), first);
      second = _mm256_fmadd_ps(_mm256_loadu_ps(coefficients + i + 8),
                               _mm256_loadu_ps(samples + i + 8), second);
      third = _mm256_fmadd_ps(_mm256_loadu_ps(coefficients + i + 16),
                              _mm256_loadu_ps(samples + i + 16), third);
      fourth = _mm256_fmadd_ps(_mm256_loadu_ps(coefficients + i + 24),
                               _mm256_loadu_ps(samples + i + 24), fourth);
    }
    const __m256 combined =
        _mm256_add_ps(_mm256_add_ps(_mm256_add_ps(second, first), third), fourth);
    sums->vector = firstRun ? combined : _mm256_add_ps(sums->vector, combined);
  }
  for (; count - i >= 8; i += 8)
    sums->vector = _mm256_fmadd_ps(_mm256_loadu_ps(coefficients + i), _mm256_loadu_ps(samples + i),
                                   sums->vector);
  for (; i < count; ++i) addRoundedProduct(coefficients[i], samples[i], &sums->scalar);
}

inline float reduce(const FirSums& sums) {
  // Two horizontal adds leave (l0 + l1) + (l2 + l3) of each half in its every lane.
  __m256 v = _mm256_hadd_ps(sums.vector, sums.vector);
  v = _mm256_hadd_ps(v, v);
  const __m128 halves = _mm_add_ss(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  return _mm_cvtss_f32(halves) + sums.scalar;
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

}  // namespace kx::avx2
