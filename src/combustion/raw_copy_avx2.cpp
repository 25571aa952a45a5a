// Copy of raw pressure samples into a channel buffer with baseline removal and peak search,
// AVX2 form: eight lanes, each with its own maximum and float index, merged in lane order.
#include <immintrin.h>

#include "combustion/combustion.h"

namespace kx::avx2 {

using combustion::floatIndexToUint32;
using combustion::kLanes;

uint32_t copyRawDataToChannels(const float* source, float* destination, uint32_t start,
                               uint32_t end, float baseline, float* maxValue, uint32_t* maxIndex) {
  if (end <= start || end - start < kLanes) {
    return combustion::copyOneByOne(source, destination, start, end, baseline, maxValue, maxIndex);
  }
  const uint32_t count = end - start;
  float peak = combustion::kPeakFloor;
  uint32_t peakIndex = combustion::kNoPeakIndex;
  *maxValue = peak;
  *maxIndex = peakIndex;

  const float* in = source + start;
  const __m256 base = _mm256_set1_ps(baseline);
  const __m256 step = _mm256_set1_ps(8.0f);
  __m256 index = _mm256_add_ps(_mm256_set1_ps(combustion::startAsFloat(start)),
                               _mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7));
  __m256 laneMax = _mm256_sub_ps(_mm256_loadu_ps(in), base);
  __m256 laneMaxIndex = index;
  _mm256_storeu_ps(destination, laneMax);
  index = _mm256_add_ps(index, step);

  const uint32_t blocks = count / kLanes;
  for (uint32_t block = 1; block < blocks; ++block) {
    const __m256 d = _mm256_sub_ps(_mm256_loadu_ps(in + block * kLanes), base);
    _mm256_storeu_ps(destination + block * kLanes, d);
    const __m256 greater = _mm256_cmp_ps(d, laneMax, _CMP_GT_OQ);
    laneMax = _mm256_blendv_ps(laneMax, d, greater);
    laneMaxIndex = _mm256_blendv_ps(laneMaxIndex, index, greater);
    index = _mm256_add_ps(index, step);
  }

  alignas(32) float maxima[kLanes];
  alignas(32) int32_t maximaIndex[kLanes];
  _mm256_store_ps(maxima, laneMax);
  _mm256_store_si256(reinterpret_cast<__m256i*>(maximaIndex), _mm256_cvtps_epi32(laneMaxIndex));
  for (uint32_t j = 0; j < kLanes; ++j) {
    if (maxima[j] > peak) {
      peak = maxima[j];
      peakIndex = static_cast<uint32_t>(maximaIndex[j]);
    }
  }

  const uint32_t tailBase = static_cast<uint32_t>(_mm_cvttss_si32(_mm256_castps256_ps128(index)));
  const uint32_t done = blocks * kLanes;
  for (uint32_t t = 0; done + t < count; ++t) {
    const float d = in[done + t] - baseline;
    destination[done + t] = d;
    if (d > peak) {
      peak = d;
      peakIndex = tailBase + t;
    }
  }
  *maxValue = peak;
  *maxIndex = peakIndex;
  return tailBase + (count - done);
}

}  // namespace kx::avx2
