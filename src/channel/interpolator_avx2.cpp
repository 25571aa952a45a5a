// The interpolator's output step with AVX2: eight outputs side by side. Positions are
// formed in two four-lane double vectors with a true division, exactly as one at a time.
// Each lane forms the coefficients of its own slot (forming them again for a repeated slot
// gives the same floats) and the polynomial runs in eight float lanes. Since positions rise
// with the output number, the call is planned in runs: groups whose slots all lie inside
// the ring load each lane's four points straight from it, and a group that touches an end
// of the ring gathers them with the wrap and the stream's start. While every position of
// the call lies in [0, 2^31) the 32-bit truncation gives both the slot and the fraction;
// otherwise (NaN positions, streams beyond 2^31 samples) the whole call goes one output at
// a time, where the two truncations part ways.
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
  constexpr int kTowardZero = _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC;
  const __m128 fractionLow = _mm256_cvtpd_ps(_mm256_sub_pd(low, _mm256_round_pd(low, kTowardZero)));
  const __m128 fractionHigh =
      _mm256_cvtpd_ps(_mm256_sub_pd(high, _mm256_round_pd(high, kTowardZero)));
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

struct Points {
  __m256 p[4];
};

// The four support points of eight interior slots, each four consecutive ring floats from
// `before` + slot: eight loads and a transpose.
inline Points transposedPoints(const float* before, const int32_t (&slots)[kLanes]) {
  const __m256 row0 =
      _mm256_set_m128(_mm_loadu_ps(before + slots[4]), _mm_loadu_ps(before + slots[0]));
  const __m256 row1 =
      _mm256_set_m128(_mm_loadu_ps(before + slots[5]), _mm_loadu_ps(before + slots[1]));
  const __m256 row2 =
      _mm256_set_m128(_mm_loadu_ps(before + slots[6]), _mm_loadu_ps(before + slots[2]));
  const __m256 row3 =
      _mm256_set_m128(_mm_loadu_ps(before + slots[7]), _mm_loadu_ps(before + slots[3]));
  const __m256d low01 = _mm256_castps_pd(_mm256_unpacklo_ps(row0, row1));
  const __m256d high01 = _mm256_castps_pd(_mm256_unpackhi_ps(row0, row1));
  const __m256d low23 = _mm256_castps_pd(_mm256_unpacklo_ps(row2, row3));
  const __m256d high23 = _mm256_castps_pd(_mm256_unpackhi_ps(row2, row3));
  return {{_mm256_castpd_ps(_mm256_unpacklo_pd(low01, low23)),
           _mm256_castpd_ps(_mm256_unpackhi_pd(low01, low23)),
           _mm256_castpd_ps(_mm256_unpacklo_pd(high01, high23)),
           _mm256_castpd_ps(_mm256_unpackhi_pd(high01, high23))}};
}

// The interpolated values of eight outputs from their support points and fractions
// (0 <= t < 1). The weights' products are written out with the exact identities x * 1 = x,
// x * -1 = -x and x * 2 = x + x, and -x + y as y - x. The products with weight 0 (p * 0,
// four of them serving a0 and a1) are left out unless kZeroProducts: with every support
// point finite they are zeros, which change neither a nonzero sum nor any product of a2 or
// a3, so without them only the sign of a zero result can differ; with an infinite or NaN
// point, a2 and a3 are NaNs or infinities of opposite signs (their weights have opposite
// signs point by point), so a2 t^2 + a3 t^3 and the result are NaN either way. A zero
// result is therefore formed again with the zero products.
template <bool kZeroProducts>
inline __m256 valuesAt(const __m256 (&p)[4], __m256 t) {
  __m256 a0 = _mm256_add_ps(p[1], p[1]);
  __m256 a1 = _mm256_sub_ps(p[2], p[0]);
  if constexpr (kZeroProducts) {
    const __m256 zero = _mm256_setzero_ps();
    const __m256 z0 = _mm256_mul_ps(p[0], zero);
    const __m256 z1 = _mm256_mul_ps(p[1], zero);
    const __m256 z2 = _mm256_mul_ps(p[2], zero);
    const __m256 z3 = _mm256_mul_ps(p[3], zero);
    a0 = _mm256_add_ps(_mm256_add_ps(z0, a0), _mm256_add_ps(z2, z3));
    a1 = _mm256_add_ps(_mm256_sub_ps(z1, p[0]), _mm256_add_ps(p[2], z3));
  }
  const __m256 a2 = _mm256_add_ps(
      _mm256_sub_ps(_mm256_add_ps(p[0], p[0]), _mm256_mul_ps(p[1], _mm256_set1_ps(5.0f))),
      _mm256_sub_ps(_mm256_mul_ps(p[2], _mm256_set1_ps(4.0f)), p[3]));
  const __m256 a3 = _mm256_add_ps(_mm256_sub_ps(_mm256_mul_ps(p[1], _mm256_set1_ps(3.0f)), p[0]),
                                  _mm256_sub_ps(p[3], _mm256_mul_ps(p[2], _mm256_set1_ps(3.0f))));
  const __m256 t2 = _mm256_mul_ps(t, t);
  const __m256 t3 = _mm256_mul_ps(t2, t);
  const __m256 sum = _mm256_add_ps(_mm256_add_ps(a0, _mm256_mul_ps(a1, t)),
                                   _mm256_add_ps(_mm256_mul_ps(a2, t2), _mm256_mul_ps(a3, t3)));
  return _mm256_mul_ps(sum, _mm256_set1_ps(0.5f));
}

inline __m256 valuesAt(const Points& points, __m256 t) {
  const __m256(&p)[4] = points.p;
  const __m256 values = valuesAt<false>(p, t);
  const __m256 zeros = _mm256_cmp_ps(values, _mm256_setzero_ps(), _CMP_EQ_OQ);
  if (_mm256_movemask_ps(zeros) == 0) return values;
  return valuesAt<true>(p, t);
}

// Positions of outputs first .. first + 7 of the call: (double) j / ratio + base.
struct Divisions {
  __m256d ratios;
  __m256d bases;
  __m256d positionsAt(__m256d indices) const {
    return _mm256_add_pd(_mm256_div_pd(indices, ratios), bases);
  }
};

inline __m256d indicesFrom(uint32_t first, double lane) {
  return _mm256_add_pd(_mm256_set1_pd(first), _mm256_setr_pd(lane, lane + 1, lane + 2, lane + 3));
}

// Eight outputs of which some lie at an end of the ring: each lane gathers its points with
// the wrap, slot 0 repeats the first sample at the stream's start, and wrapPoints is kept.
void edgeGroup(CHSInterpolator& interpolator, const Divisions& divisions, uint32_t first) {
  const __m256i mask = _mm256_set1_epi32(static_cast<int32_t>(interpolator.mask));
  const Positions at = slotsAndFractions(divisions.positionsAt(indicesFrom(first, 0)),
                                         divisions.positionsAt(indicesFrom(first, 4)), mask);
  Points points;
  __m256(&p)[4] = points.p;
  for (int k = 0; k < 4; ++k) {
    const __m256i index =
        _mm256_and_si256(_mm256_add_epi32(at.slots, _mm256_set1_epi32(k - 1)), mask);
    p[k] = _mm256_i32gather_ps(interpolator.ring, index, 4);
  }
  if (interpolator.inputCount < interpolator.size) {
    const __m256i atZero = _mm256_cmpeq_epi32(at.slots, _mm256_setzero_si256());
    p[0] =
        _mm256_blendv_ps(p[0], _mm256_set1_ps(interpolator.ring[0]), _mm256_castsi256_ps(atZero));
  }
  keepWrapPoints(interpolator, at.slots, p);
  _mm256_storeu_ps(interpolator.output + first, valuesAt(points, at.fractions));
}

// `groups` groups of eight from output `first` on, all of whose slots are interior (1 ..
// size - 3, whose four points lie in order inside the ring). The divisions run a group
// ahead, so that the divider works while the other units form the values.
void interiorGroups(const CHSInterpolator& interpolator, const Divisions& divisions, uint32_t first,
                    uint32_t groups) {
  const float* before = interpolator.ring - 1;
  float* output = interpolator.output + first;
  const __m256i mask = _mm256_set1_epi32(static_cast<int32_t>(interpolator.mask));
  const __m256d laneStep = _mm256_set1_pd(kLanes);
  __m256d indexLow = indicesFrom(first, 0);
  __m256d indexHigh = indicesFrom(first, 4);
  __m256d low = divisions.positionsAt(indexLow);
  __m256d high = divisions.positionsAt(indexHigh);
  for (uint32_t group = 0; group < groups; ++group, output += kLanes) {
    indexLow = _mm256_add_pd(indexLow, laneStep);
    indexHigh = _mm256_add_pd(indexHigh, laneStep);
    const __m256d nextLow = divisions.positionsAt(indexLow);
    const __m256d nextHigh = divisions.positionsAt(indexHigh);
    const Positions at = slotsAndFractions(low, high, mask);
    low = nextLow;
    high = nextHigh;
    alignas(32) int32_t slots[kLanes];
    _mm256_store_si256(reinterpret_cast<__m256i*>(slots), at.slots);
    // Read back from memory: cheaper than extracting eight lanes.
    __asm__("" : "+m"(slots));
    _mm256_storeu_ps(output, valuesAt(transposedPoints(before, slots), at.fractions));
  }
}

// Ratios 1, 1/2, 1/4 and 1/8 put every output on a whole input position: t is 0, and the
// value is 0.5 × a0 = 0.5 × (p1 + p1) = p1 exactly whenever p1 is not zero and every
// support point is finite and below 2^124 in magnitude. Then no coefficient overflows, the
// products with t = 0 and with the zero weights are zeros, and a zero never changes a
// nonzero sum. A group whose points fall outside that (a zero, a huge value, an infinity or
// a NaN among them) is formed in full.
constexpr uint32_t kLargestWholeStepLog2 = 3;
constexpr int32_t kModerateLimitBits = 0x7D800000;  // 2^124

// log2 of the input step between outputs when every position is whole, else -1.
int wholeStepLog2(double ratio) {
  for (uint32_t log2 = 0; log2 <= kLargestWholeStepLog2; ++log2) {
    if (ratio == 1.0 / static_cast<double>(1u << log2)) return static_cast<int>(log2);
  }
  return -1;
}

inline __m256i magnitudeBits(__m256 values) {
  return _mm256_and_si256(_mm256_castps_si256(values), _mm256_set1_epi32(0x7FFFFFFF));
}

// Whether every float of first .. last (at least eight) is finite and below 2^124 in
// magnitude; a NaN's magnitude bits lie above every finite value's.
inline bool allModerate(const float* first, const float* last) {
  __m256i largest = _mm256_setzero_si256();
  for (const float* block = first; block + kLanes <= last + 1; block += kLanes) {
    largest = _mm256_max_epu32(largest, magnitudeBits(_mm256_loadu_ps(block)));
  }
  largest = _mm256_max_epu32(largest, magnitudeBits(_mm256_loadu_ps(last + 1 - kLanes)));
  const __m256i below = _mm256_cmpgt_epi32(_mm256_set1_epi32(kModerateLimitBits), largest);
  return _mm256_movemask_epi8(below) == -1;
}

// `groups` groups of eight interior outputs on whole positions, the first at `slot`, each
// `1 << stepLog2` slots after the one before.
void wholePositionGroups(const CHSInterpolator& interpolator, uint32_t slot, int stepLog2,
                         uint32_t first, uint32_t groups) {
  const uint32_t step = 1u << stepLog2;
  const __m256i laneSlots = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                               _mm256_set1_epi32(static_cast<int32_t>(step)));
  float* output = interpolator.output + first;
  for (uint32_t group = 0; group < groups; ++group, output += kLanes, slot += kLanes * step) {
    const float* p1 = interpolator.ring + slot;
    const __m256 values = step == 1 ? _mm256_loadu_ps(p1) : _mm256_i32gather_ps(p1, laneSlots, 4);
    const __m256i zeros = _mm256_cmpeq_epi32(magnitudeBits(values), _mm256_setzero_si256());
    if (_mm256_testz_si256(zeros, zeros) && allModerate(p1 - 1, p1 + (kLanes - 1) * step + 2)) {
      _mm256_storeu_ps(output, values);
      continue;
    }
    alignas(32) int32_t slots[kLanes];
    _mm256_store_si256(reinterpret_cast<__m256i*>(slots),
                       _mm256_add_epi32(_mm256_set1_epi32(static_cast<int32_t>(slot)), laneSlots));
    _mm256_storeu_ps(output,
                     valuesAt(transposedPoints(interpolator.ring - 1, slots), _mm256_setzero_ps()));
  }
}

}  // namespace

void interpolatorOutput(CHSInterpolator& interpolator, uint32_t count) {
  const double ratio = interpolator.ratio;
  const double base = static_cast<double>(interpolator.outputCount) / ratio;
  auto wholeAt = [&](uint32_t j) {
    return static_cast<uint32_t>(truncateToInt32(interpolator::outputPosition(j, ratio, base)));
  };
  const bool inFastRange = interpolator::outputPosition(0, ratio, base) >= 0.0 &&
                           interpolator::outputPosition(count - 1, ratio, base) < 2147483648.0;
  if (!inFastRange || count < kLanes) {
    interpolator::outputsOneByOne(interpolator, 0, count);
    return;
  }
  const Divisions divisions{_mm256_set1_pd(ratio), _mm256_set1_pd(base)};
  const uint32_t size = interpolator.size;
  const int stepLog2 = wholeStepLog2(ratio);
  uint32_t j = 0;
  while (j + kLanes <= count) {
    // Positions rise with j: from an interior slot, the outputs up to the last one whose
    // whole position stays below the ring's last two slots form whole interior groups.
    const uint32_t whole = wholeAt(j);
    const uint32_t slot = whole & interpolator.mask;
    uint32_t outputs = 0;
    if (slot != 0 && slot + 2 < size) {
      const uint32_t lastWhole = whole + (size - 3 - slot);
      // A guess from the ratio, then corrected against the exact positions.
      const double estimate = (static_cast<double>(lastWhole) + 1.0 - base) * ratio - j;
      outputs = estimate > 0.0 ? static_cast<uint32_t>(std::min<double>(estimate, count - j)) : 0;
      while (outputs > 0 && wholeAt(j + outputs - 1) > lastWhole) --outputs;
      while (j + outputs < count && wholeAt(j + outputs) <= lastWhole) ++outputs;
    }
    if (outputs < kLanes) {
      edgeGroup(interpolator, divisions, j);
      j += kLanes;
      continue;
    }
    if (stepLog2 >= 0) {
      wholePositionGroups(interpolator, slot, stepLog2, j, outputs / kLanes);
    } else {
      interiorGroups(interpolator, divisions, j, outputs / kLanes);
    }
    j += outputs / kLanes * kLanes;
  }
  interpolator::outputsOneByOne(interpolator, j, count);
}

}  // namespace kx::avx2
