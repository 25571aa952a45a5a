// In-place narrowing of doubles to floats and widening of floats to doubles, AVX2 form. Each
// block is loaded whole before its result is stored, and the walking direction keeps every
// store on bytes already read.
#include <immintrin.h>

#include <cstddef>

#include "combustion/combustion.h"

namespace kx::avx2 {

// Forwards, four doubles to four floats per step; the array starts on a 16-byte boundary.
void* doubleArrToSingleArrInplace(void* values, uint32_t count) {
  const double* wide = static_cast<const double*>(values);
  float* narrow = static_cast<float*>(values);
  const uint32_t blockEnd = count - count % 4;
  for (uint32_t i = 0; i < blockEnd; i += 4) {
    _mm_store_ps(narrow + i, _mm256_cvtpd_ps(_mm256_loadu_pd(wide + i)));
  }
  for (uint32_t i = blockEnd; i < count; ++i) {
    _mm_store_ss(narrow + i, _mm_cvtsd_ss(_mm_setzero_ps(), _mm_load_sd(wide + i)));
  }
  return values;
}

// Backwards: the last count mod 8 one at a time, last first, then blocks of eight floats from
// the back; the array starts on a 32-byte boundary.
void* singleArrToDoubleArrInplace(void* values, uint32_t count) {
  const float* narrow = static_cast<const float*>(values);
  double* wide = static_cast<double*>(values);
  const uint32_t blockEnd = count - count % 8;
  for (uint32_t i = count; i-- > blockEnd;) {
    _mm_store_sd(wide + i, _mm_cvtss_sd(_mm_setzero_pd(), _mm_load_ss(narrow + i)));
  }
  for (uint32_t i = blockEnd; i > 0;) {
    i -= 8;
    const __m256 block = _mm256_load_ps(narrow + i);
    const __m256d low = _mm256_cvtps_pd(_mm256_castps256_ps128(block));
    const __m256d high = _mm256_cvtps_pd(_mm256_extractf128_ps(block, 1));
    _mm256_store_pd(wide + i, low);
    _mm256_store_pd(wide + i + 4, high);
  }
  return values;
}

}  // namespace kx::avx2
