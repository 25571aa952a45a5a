// The four-lane fast base-10 logarithm on a 128-bit vector: the same steps as
// graph::fastLog10x4 (fast_log10.h), lane by lane. Only SSE2 instructions: a file compiled
// without -mavx2 may use it too.
#pragma once

#include <immintrin.h>

#include "graph/fast_log10.h"

namespace kx::avx2 {
namespace {

inline __m128 fastLog10x4(__m128 x) {
  const __m128i bits = _mm_castps_si128(x);
  const __m128 exponent = _mm_cvtepi32_ps(
      _mm_add_epi32(_mm_srli_epi32(_mm_and_si128(bits, _mm_set1_epi32(graph::kExponentBits)), 23),
                    _mm_set1_epi32(-127)));
  const __m128 m = _mm_castsi128_ps(_mm_or_si128(
      _mm_and_si128(bits, _mm_set1_epi32(graph::kMantissaBits)), _mm_set1_epi32(graph::kOneBits)));
  __m128 p =
      _mm_add_ps(_mm_mul_ps(m, _mm_set1_ps(graph::kPolynomial3)), _mm_set1_ps(graph::kPolynomial2));
  p = _mm_add_ps(_mm_mul_ps(p, m), _mm_set1_ps(graph::kPolynomial1));
  p = _mm_add_ps(_mm_mul_ps(p, m), _mm_set1_ps(graph::kPolynomial0));
  const __m128 log2 = _mm_add_ps(exponent, _mm_mul_ps(_mm_add_ps(m, _mm_set1_ps(-1.0f)), p));
  return _mm_div_ps(log2, _mm_set1_ps(graph::kLog2Of10Single));
}

}  // namespace
}  // namespace kx::avx2
