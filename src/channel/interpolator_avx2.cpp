// The interpolator's output step with AVX2: eight outputs side by side. Positions are
// formed in two four-lane double vectors with a true division, exactly as one at a time;
// each lane gathers its own support points and coefficients (computing them again for a
// repeated slot gives the same floats), and the polynomial runs in eight float lanes.
// While every position of the call lies in [0, 2^31), the 32-bit truncation gives both the
// slot and the fraction; otherwise (NaN positions, streams beyond 2^31 samples) the whole
// call goes one output at a time.
#include <immintrin.h>

#include "channel/interpolator.h"

namespace kx::avx2 {
namespace {

constexpr uint32_t kLanes = 8;

struct Positions {
  __m256i slots;
  __m256 fractions;
};

// Slots and fractions of eight positions below 2^31; the truncation is exact there.
inline Positions slotsAndFractions(__m256d low, __m256d high, __m256i mask) {
  const __m128i wholeLow = _mm256_cvttpd_epi32(low);
  const __m128i wholeHigh = _mm256_cvttpd_epi32(high);
  const __m128 fractionLow = _mm256_cvtpd_ps(_mm256_sub_pd(low, _mm256_cvtepi32_pd(wholeLow)));
  const __m128 fractionHigh = _mm256_cvtpd_ps(_mm256_sub_pd(high, _mm256_cvtepi32_pd(wholeHigh)));
  return {_mm256_and_si256(_mm256_set_m128i(wholeHigh, wholeLow), mask),
          _mm256_set_m128(fractionHigh, fractionLow)};
}

// Keeps the support points of the last lane at either end of the ring in wrapPoints, as
// the one-at-a-time loop does.
void keepWrapPoints(CHSInterpolator& interpolator, __m256i slots, const __m256 (&points)[4]) {
  // A slot at an end of the ring is one whose successor's successor is slot 0, 1 or 2.
  const __m256i mask = _mm256_set1_epi32(static_cast<int32_t>(interpolator.mask));
  const __m256i twoOn = _mm256_and_si256(_mm256_add_epi32(slots, _mm256_set1_epi32(2)), mask);
  const __m256i atEnd = _mm256_cmpgt_epi32(_mm256_set1_epi32(3), twoOn);
  const int lanes = _mm256_movemask_ps(_mm256_castsi256_ps(atEnd));
  if (lanes == 0) return;
  const int last = 31 - __builtin_clz(static_cast<unsigned>(lanes));
  for (int k = 0; k < 4; ++k) {
    alignas(32) float values[kLanes];
    _mm256_store_ps(values, points[k]);
    interpolator.wrapPoints[k] = values[last];
  }
}

}  // namespace

void interpolatorOutput(CHSInterpolator& interpolator, uint32_t count) {
  const double ratio = interpolator.ratio;
  const double base = static_cast<double>(interpolator.outputCount) / ratio;
  const bool inFastRange = interpolator::outputPosition(0, ratio, base) >= 0.0 &&
                           interpolator::outputPosition(count - 1, ratio, base) < 2147483648.0;
  if (!inFastRange || count < kLanes) {
    interpolator::outputsOneByOne(interpolator, 0, count);
    return;
  }

  const float* ring = interpolator.ring;
  float* output = interpolator.output;
  const __m256i mask = _mm256_set1_epi32(static_cast<int32_t>(interpolator.mask));
  // At the start of the stream, slot 0 repeats the first sample as its predecessor.
  const bool streamStart = interpolator.inputCount < interpolator.size;
  const __m256 firstSample = _mm256_set1_ps(ring[0]);
  const __m256d ratios = _mm256_set1_pd(ratio);
  const __m256d bases = _mm256_set1_pd(base);
  const __m256d laneStep = _mm256_set1_pd(kLanes);
  __m256d indexLow = _mm256_setr_pd(0.0, 1.0, 2.0, 3.0);
  __m256d indexHigh = _mm256_setr_pd(4.0, 5.0, 6.0, 7.0);

  const __m256 weight[4][4] = {
      {_mm256_set1_ps(0.0f), _mm256_set1_ps(-1.0f), _mm256_set1_ps(2.0f), _mm256_set1_ps(-1.0f)},
      {_mm256_set1_ps(2.0f), _mm256_set1_ps(0.0f), _mm256_set1_ps(-5.0f), _mm256_set1_ps(3.0f)},
      {_mm256_set1_ps(0.0f), _mm256_set1_ps(1.0f), _mm256_set1_ps(4.0f), _mm256_set1_ps(-3.0f)},
      {_mm256_set1_ps(0.0f), _mm256_set1_ps(0.0f), _mm256_set1_ps(-1.0f), _mm256_set1_ps(1.0f)},
  };
  const __m256 one = _mm256_set1_ps(1.0f);
  const __m256 half = _mm256_set1_ps(0.5f);

  uint32_t j = 0;
  for (; j + kLanes <= count; j += kLanes) {
    const __m256d low = _mm256_add_pd(_mm256_div_pd(indexLow, ratios), bases);
    const __m256d high = _mm256_add_pd(_mm256_div_pd(indexHigh, ratios), bases);
    indexLow = _mm256_add_pd(indexLow, laneStep);
    indexHigh = _mm256_add_pd(indexHigh, laneStep);
    const Positions at = slotsAndFractions(low, high, mask);

    __m256 p[4];
    for (int k = 0; k < 4; ++k) {
      const __m256i index =
          _mm256_and_si256(_mm256_add_epi32(at.slots, _mm256_set1_epi32(k - 1)), mask);
      p[k] = _mm256_i32gather_ps(ring, index, 4);
    }
    if (streamStart) {
      const __m256i atZero = _mm256_cmpeq_epi32(at.slots, _mm256_setzero_si256());
      p[0] = _mm256_blendv_ps(p[0], firstSample, _mm256_castsi256_ps(atZero));
    }
    keepWrapPoints(interpolator, at.slots, p);

    __m256 a[4];
    for (int k = 0; k < 4; ++k) {
      a[k] = _mm256_add_ps(
          _mm256_add_ps(_mm256_mul_ps(p[0], weight[0][k]), _mm256_mul_ps(p[1], weight[1][k])),
          _mm256_add_ps(_mm256_mul_ps(p[2], weight[2][k]), _mm256_mul_ps(p[3], weight[3][k])));
    }
    const __m256 t = at.fractions;
    const __m256 t2 = _mm256_mul_ps(t, t);
    const __m256 t3 = _mm256_mul_ps(t2, t);
    const __m256 sum =
        _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(a[0], one), _mm256_mul_ps(a[1], t)),
                      _mm256_add_ps(_mm256_mul_ps(a[2], t2), _mm256_mul_ps(a[3], t3)));
    _mm256_storeu_ps(output + j, _mm256_mul_ps(sum, half));
  }
  interpolator::outputsOneByOne(interpolator, j, count);
}

}  // namespace kx::avx2
