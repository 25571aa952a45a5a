// Minimum, maximum and the running sums of a block on vectors. One pass over the body
// feeds both the lane-wise extremes and one sum and one squares accumulator of four
// double lanes; the two add chains fix the rounding order, so nothing else may join them.
#include <algorithm>
#include <type_traits>

#include "core/align.h"
#include "core/avx2.h"
#include "stats/element_loops.h"
#include "stats/exact_int16_sums_avx2.h"
#include "stats/extremes_avx2.h"
#include "stats/stats.h"

namespace kx::avx2 {
namespace {

struct RunningSums {
  __m256d sum;
  __m256d squares;

  // The square is rounded before it is added.
  void add(__m256d samples, __m256d offset) {
    const __m256d shifted = _mm256_add_pd(samples, offset);
    sum = _mm256_add_pd(sum, samples);
    squares = _mm256_add_pd(squares, _mm256_mul_pd(shifted, shifted));
  }
  void add(const RunningSums& other) {
    sum = _mm256_add_pd(sum, other.sum);
    squares = _mm256_add_pd(squares, other.squares);
  }
  void addTo(double* sumOut, double* sumOfSquaresOut) const {
    *sumOut = sumLanes(sum) + *sumOut;
    *sumOfSquaresOut = sumLanes(squares) + *sumOfSquaresOut;
  }
};

// How each member's block enters the double lanes, how far its body loop is unrolled, and
// how far ahead it prefetches: the add chains leave the loop too slow for the hardware
// prefetcher to keep ahead on its own, so the body asks for the lines some 250 ns ahead.
// A member whose lane-wise minimum is slower than its add chain combines each round's
// blocks pairwise before they meet the running extremes (see foldBody).
template <typename T>
struct Member;

template <>
struct Member<float> {
  using Vec = Vec256<float>;
  static constexpr uint32_t kUnroll = 4;
  static constexpr uint32_t kPrefetchBytes = 4096;
  static constexpr bool kPairwiseExtremes = false;
  static void add(RunningSums& lanes, __m256 block, __m256d offset) {
    lanes.add(_mm256_cvtps_pd(_mm256_castps256_ps128(block)), offset);
    lanes.add(_mm256_cvtps_pd(_mm256_extractf128_ps(block, 1)), offset);
  }
};

template <>
struct Member<double> {
  using Vec = Vec256<double>;
  static constexpr uint32_t kUnroll = 4;
  static constexpr uint32_t kPrefetchBytes = 4096;
  static constexpr bool kPairwiseExtremes = true;
  static void add(RunningSums& lanes, __m256d block, __m256d offset) { lanes.add(block, offset); }
};

template <>
struct Member<int16_t> {
  using Vec = Vec128<int16_t>;
  static constexpr uint32_t kUnroll = 2;
  static constexpr uint32_t kPrefetchBytes = 2048;
  static constexpr bool kPairwiseExtremes = false;
  static void add(RunningSums& lanes, __m128i block, __m256d offset) {
    lanes.add(_mm256_cvtepi32_pd(_mm_cvtepi16_epi32(block)), offset);
    lanes.add(_mm256_cvtepi32_pd(_mm_cvtepi16_epi32(_mm_unpackhi_epi64(block, block))), offset);
  }
};

template <>
struct Member<int32_t> {
  using Vec = Vec128<int32_t>;
  static constexpr uint32_t kUnroll = 4;
  static constexpr uint32_t kPrefetchBytes = 4096;
  static constexpr bool kPairwiseExtremes = false;
  static void add(RunningSums& lanes, __m128i block, __m256d offset) {
    lanes.add(_mm256_cvtepi32_pd(block), offset);
  }
};

// The aligned body: every block joins the sums in order, and the extremes either in order
// or, for a member with pairwise extremes, as ((b0, b1), (b2, b3)) per round, which takes
// the minimum off the add chain's pace. Without NaN the two agree bit for bit: folding in
// order keeps the least (greatest) value and, among equal ones such as -0 and +0, the
// latest, and so does folding neighbouring runs and combining them in order. A NaN breaks
// that, so the caller folds the extremes again in order when the sums saw one.
template <typename T>
void foldBody(Extremes<typename Member<T>::Vec>& extremes, RunningSums& lanes, const T* body,
              uint32_t blockCount, __m256d offset) {
  using M = Member<T>;
  using Vec = typename M::Vec;
  constexpr uint32_t kWidth = Vec::kWidth;
  auto fold = [&](const T* block) {
    const auto values = Vec::load(block);
    extremes.combine(values);
    M::add(lanes, values, offset);
  };
  uint32_t block = 0;
  for (; block + M::kUnroll <= blockCount; block += M::kUnroll) {
    const T* round = body + block * kWidth;
#pragma GCC unroll 4
    for (uint32_t line = 0; line < M::kUnroll * sizeof(typename Vec::V); line += 64) {
      _mm_prefetch(reinterpret_cast<const char*>(round) + line + M::kPrefetchBytes, _MM_HINT_T0);
    }
    if constexpr (M::kPairwiseExtremes) {
      static_assert(M::kUnroll == 4);
      const auto b0 = Vec::load(round);
      const auto b1 = Vec::load(round + kWidth);
      const auto b2 = Vec::load(round + 2 * kWidth);
      const auto b3 = Vec::load(round + 3 * kWidth);
      M::add(lanes, b0, offset);
      M::add(lanes, b1, offset);
      M::add(lanes, b2, offset);
      M::add(lanes, b3, offset);
      Extremes<Vec> earlier(b0);
      earlier.combine(b1);
      Extremes<Vec> later(b2);
      later.combine(b3);
      earlier.combine(later);
      extremes.combine(earlier);
    } else {
#pragma GCC unroll 4
      for (uint32_t step = 0; step < M::kUnroll; ++step) fold(round + step * kWidth);
    }
  }
  for (; block < blockCount; ++block) fold(body + block * kWidth);
}

// int16_t samples with a small integer offset: pairs of blocks go through the exact integer
// sums (see ExactInt16Sums), which give the lanes' values bit for bit at a fraction of the
// add chains' cost. From a chunk whose squares could round on, the caller continues in the
// lanes' order from the exact values. Returns the blocks done.
uint32_t foldExactInt16(Extremes<Vec128<int16_t>>& extremes, RunningSums& lanes,
                        const int16_t* body, uint32_t blockCount, float offset) {
  ExactInt16Sums exact(offset);
  if (!exact.engaged()) return 0;
  struct PairsOfBlocks {
    const int16_t* samples;
    __m256i load(uint32_t pair) const { return Vec256<int16_t>::loadu(samples + pair * 16); }
    void store(uint32_t, __m256i) const {}
  };
  Extremes<Vec256<int16_t>> wide(_mm256_broadcastsi128_si256(extremes.low),
                                 _mm256_broadcastsi128_si256(extremes.high));
  const uint32_t pairs = blockCount / 2;
  int64_t total = 0;
  uint32_t pairsDone = 0;
  while (pairsDone < pairs) {
    const uint32_t count = std::min(ExactInt16Sums::kChunkBlocks, pairs - pairsDone);
    const int64_t chunkSum = exact.addChunk(PairsOfBlocks{body}, pairsDone, count, wide);
    if (!exact.engaged()) break;
    total += chunkSum;
    pairsDone += count;
  }
  // The integer extremes do not depend on the order in which blocks meet them.
  for (const __m256i half : {wide.low, wide.high}) {
    extremes.combine(_mm256_castsi256_si128(half));
    extremes.combine(_mm256_extracti128_si256(half, 1));
  }
  lanes.sum = _mm256_setr_pd(static_cast<double>(total), 0.0, 0.0, 0.0);
  lanes.squares = exact.lanes();
  return 2 * pairsDone;
}

// True when a sum lane is NaN: a NaN sample passed through it (or infinities of both signs).
bool sumsSawNaN(const RunningSums& lanes) {
  return _mm256_movemask_pd(_mm256_cmp_pd(lanes.sum, lanes.sum, _CMP_UNORD_Q)) != 0;
}

// double, int16_t and int32_t: head and tail one by one into the outputs, the body in the
// vector accumulators.
template <typename T, typename Offset>
void minMaxAveRms(const T* data, uint32_t count, T* minimum, T* maximum, double* sum,
                  double* sumOfSquares, Offset offset) {
  using Vec = typename Member<T>::Vec;
  constexpr uint32_t kWidth = Vec::kWidth;
  if (count < kWidth) {
    stats::statsElementLoop(data, count, minimum, maximum, sum, sumOfSquares, offset);
    return;
  }
  const Split split = splitAfterHead<kWidth>(headCount<sizeof(typename Vec::V)>(data), count);
  stats::addRangeToSums(data, split.head, offset, sum, sumOfSquares);
  const auto first = Vec::loadu(data);
  Extremes<Vec> extremes(first);
  RunningSums lanes{_mm256_setzero_pd(), _mm256_setzero_pd()};
  const T* body = data + split.head;
  uint32_t blocksDone = 0;
  if constexpr (std::is_same_v<T, int16_t>) {
    blocksDone = foldExactInt16(extremes, lanes, body, split.blocks, offset);
  }
  foldBody(extremes, lanes, body + blocksDone * kWidth, split.blocks - blocksDone,
           _mm256_set1_pd(static_cast<double>(offset)));
  if constexpr (Member<T>::kPairwiseExtremes) {
    if (sumsSawNaN(lanes)) {
      extremes = Extremes<Vec>(first);
      for (uint32_t block = 0; block < split.blocks; ++block) {
        extremes.combine(Vec::load(body + block * kWidth));
      }
    }
  }
  lanes.addTo(sum, sumOfSquares);
  stats::addRangeToSums(body + split.blocks * kWidth, split.tail, offset, sum, sumOfSquares);
  extremes.combine(Vec::loadu(data + count - kWidth));
  extremes.store(minimum, maximum);
}

// Eight ones, eight zeros, eight ones: a window of eight lanes is a head mask (the first
// lanes 1.0) or a tail mask (the last lanes 1.0).
alignas(32) constexpr float kMaskWindows[24] = {1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0,
                                                0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1};

__m256 headMask(uint32_t length) {
  return _mm256_loadu_ps(kMaskWindows + 8 - length);
}
__m256 tailMask(uint32_t length) {
  return _mm256_loadu_ps(kMaskWindows + 8 + length);
}

// Samples and offset multiplied by the mask (an infinity or NaN in a masked-out lane still
// becomes NaN), then the lower four lanes plus the upper four, in double.
RunningSums maskedBlockSums(__m256 samples, __m256 mask, __m256 offset) {
  const __m256 masked = _mm256_mul_ps(samples, mask);
  const __m256 maskedOffset = _mm256_mul_ps(offset, mask);
  const __m256d lower = _mm256_cvtps_pd(_mm256_castps256_ps128(masked));
  const __m256d upper = _mm256_cvtps_pd(_mm256_extractf128_ps(masked, 1));
  const __m256d shiftedLower =
      _mm256_add_pd(lower, _mm256_cvtps_pd(_mm256_castps256_ps128(maskedOffset)));
  const __m256d shiftedUpper =
      _mm256_add_pd(upper, _mm256_cvtps_pd(_mm256_extractf128_ps(maskedOffset, 1)));
  return {_mm256_add_pd(lower, upper), _mm256_add_pd(_mm256_mul_pd(shiftedLower, shiftedLower),
                                                     _mm256_mul_pd(shiftedUpper, shiftedUpper))};
}

}  // namespace

// The float member seeds the accumulators with its masked head (the whole first block
// when the array is aligned) and adds a masked tail from the last eight samples.
void getMinMaxAveRms(const float* data, uint32_t count, float* minimum, float* maximum, double* sum,
                     double* sumOfSquares, float offset) {
  using Vec = Vec256<float>;
  if (count < 8) {
    stats::statsElementLoop(data, count, minimum, maximum, sum, sumOfSquares, offset);
    return;
  }
  const uint32_t head = headCount<32>(data);
  const uint32_t headLength = head == 0 ? 8 : head;
  const __m256 offsetLanes = _mm256_set1_ps(offset);
  const __m256 first = Vec::loadu(data);
  Extremes<Vec> extremes(first);
  RunningSums lanes = maskedBlockSums(first, headMask(headLength), offsetLanes);
  // An aligned array's first block seeded the extremes and is skipped by the body;
  // combining it again would change nothing.
  const Split split = splitAfterHead<8>(headLength, count);
  foldBody(extremes, lanes, data + split.head, split.blocks,
           _mm256_set1_pd(static_cast<double>(offset)));
  const __m256 last = Vec::loadu(data + count - 8);
  if (split.tail != 0) lanes.add(maskedBlockSums(last, tailMask(split.tail), offsetLanes));
  lanes.addTo(sum, sumOfSquares);
  extremes.combine(last);
  extremes.store(minimum, maximum);
}

void getMinMaxAveRms(const double* data, uint32_t count, double* minimum, double* maximum,
                     double* sum, double* sumOfSquares, double offset) {
  minMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
void getMinMaxAveRms(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum,
                     double* sum, double* sumOfSquares, float offset) {
  minMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
void getMinMaxAveRms(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum,
                     double* sum, double* sumOfSquares, double offset) {
  minMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}

}  // namespace kx::avx2
