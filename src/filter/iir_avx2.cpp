// IIR cascade and pink-noise filter with (x, y) and (b, a) handled as pairs of doubles.
#include <immintrin.h>

#include "filter/iir.h"

namespace kx::avx2 {
namespace {

// Tap layout: (x, y) at offset 0, (b, a) at offset 2; the tap array is 16-byte aligned.
__m128d history(const IIRTap* tap) {
  return _mm_load_pd(&tap->x);
}
__m128d coefficients(const IIRTap* tap) {
  return _mm_load_pd(&tap->b);
}

// Lane 0 minus lane 1: b*x - a*y of one tap, or feed-forward minus feedback.
__m128d lowMinusHigh(__m128d pair) {
  return _mm_sub_sd(pair, _mm_unpackhi_pd(pair, pair));
}

// u > rail ? rail : max(-rail, u) as min(rail, max(-rail, u)): with the operands in this
// order minsd and maxsd return u when it is NaN, so NaN passes, and the bits are the same.
__m128d clampGeneral(__m128d u) {
  return _mm_min_sd(_mm_set_sd(kIIRRail), _mm_max_sd(_mm_set_sd(-kIIRRail), u));
}

// min(u, rail) turns NaN into the rail; the max with -rail follows.
__m128d clampFixed(__m128d u) {
  return _mm_max_sd(_mm_min_sd(u, _mm_set_sd(kIIRRail)), _mm_set_sd(-kIIRRail));
}

// The history moves one tap down and each tap's product pair is formed from the value just
// moved, in one pass: the same sums, left to right, without reading the taps back.
__m128d generalSection(IIRTap* taps, int32_t order, __m128d input) {
  __m128d acc = _mm_setzero_pd();
  for (int32_t i = 0; i < order; ++i) {
    const __m128d moved = history(&taps[i + 1]);
    _mm_store_pd(&taps[i].x, moved);
    acc = _mm_add_sd(acc, lowMinusHigh(_mm_mul_pd(moved, coefficients(&taps[i]))));
  }
  IIRTap* newest = taps + order;
  _mm_store_sd(&newest->x, input);
  const __m128d newestTerm = _mm_mul_sd(_mm_load_sd(&newest->b), input);
  const __m128d output = clampGeneral(_mm_add_sd(newestTerm, acc));
  _mm_store_sd(&newest->y, output);
  return output;
}

__m128d fixedSection(IIRTap* taps, __m128d input) {
  const __m128d history0 = history(&taps[1]);
  const __m128d history1 = history(&taps[2]);
  _mm_store_pd(&taps[0].x, history0);
  _mm_store_pd(&taps[1].x, history1);
  _mm_store_sd(&taps[2].x, input);
  // (b0*x0 + b1*x1, a0*y0 + a1*y1), then feed-forward minus feedback.
  const __m128d sums = _mm_add_pd(_mm_mul_pd(history0, coefficients(&taps[0])),
                                  _mm_mul_pd(history1, coefficients(&taps[1])));
  const __m128d difference = lowMinusHigh(sums);
  const __m128d newestTerm = _mm_mul_sd(_mm_load_sd(&taps[2].b), input);
  const __m128d output = clampFixed(_mm_add_sd(newestTerm, difference));
  _mm_store_sd(&taps[2].y, output);
  return output;
}

}  // namespace

double iirFilter(const IIRFilterState* state, double sample) {
  __m128d v = _mm_set_sd(sample);
  IIRTap* section = state->taps;
  if (state->kind == kIIRFixedSecondOrder) {
    for (int32_t s = 0; s < state->sectionCount; ++s, section += 3)
      v = fixedSection(section, _mm_mul_sd(v, _mm_load_sd(&state->gains[s])));
  } else {
    const int32_t order = state->order;
    for (int32_t s = 0; s < state->sectionCount; ++s, section += order + 1)
      v = generalSection(section, order, _mm_mul_sd(v, _mm_load_sd(&state->gains[s])));
  }
  return _mm_cvtsd_f64(v);
}

double pinkFilter(PinkFilterState* state, double white) {
  const __m256d w = _mm256_set1_pd(0.2 * white);
  const __m256d decayLow = _mm256_setr_pd(0.99886, 0.99332, 0.969, 0.8665);
  const __m256d decayHigh = _mm256_setr_pd(0.55, -0.7616, 0.0, 0.0);
  const __m256d gainLow = _mm256_setr_pd(0.0555179, 0.0750759, 0.153852, 0.3104856);
  const __m256d gainHigh = _mm256_setr_pd(0.5329522, -0.016898, 0.115926, 0.5362);
  const __m256d low =
      _mm256_add_pd(_mm256_mul_pd(decayLow, _mm256_loadu_pd(state->s)), _mm256_mul_pd(gainLow, w));
  const __m256d high = _mm256_add_pd(_mm256_mul_pd(decayHigh, _mm256_loadu_pd(state->s + 4)),
                                     _mm256_mul_pd(gainHigh, w));
  _mm256_storeu_pd(state->s, low);
  _mm256_storeu_pd(state->s + 4, high);
  // (s0+s4, s1+s5, s2+s6, s3+s7) -> ((s0+s4)+(s2+s6), (s1+s5)+(s3+s7)) -> their sum.
  const __m256d pairs = _mm256_add_pd(low, high);
  const __m128d halves = _mm_add_pd(_mm256_castpd256_pd128(pairs), _mm256_extractf128_pd(pairs, 1));
  return _mm_cvtsd_f64(_mm_add_sd(halves, _mm_unpackhi_pd(halves, halves)));
}

}  // namespace kx::avx2
