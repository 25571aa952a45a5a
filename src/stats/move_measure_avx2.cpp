// Move and measure of 16-bit samples on 256-bit vectors. Each block of sixteen samples is
// loaded from the aligned side, combined into the lane-wise extremes, stored to the other
// side and added to the sums.
//
// The sums are formed faster than the four-lane order suggests where that order provably
// cannot show: every partial sum of 16-bit samples on a double lane is an integer far below
// 2^53, so the lanes are exact and their total is the body's exact integer sum. The squares
// are exact as well while the offset is a small integer and every lane stays at or below
// 2^53; then they are summed as integers, and only once a lane could round does the body
// fall back to the fused order, from the first chunk that could.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "core/align.h"
#include "core/avx2.h"
#include "stats/exact_int16_sums_avx2.h"
#include "stats/extremes_avx2.h"
#include "stats/move_measure.h"
#include "stats/stats.h"

namespace kx::avx2 {
namespace {

using Vec = Vec256<int16_t>;
constexpr uint32_t kWidth = stats::kMoveBlockWidth;

using Extremes = kx::avx2::Extremes<Vec>;
constexpr uint32_t kChunkBlocks = ExactInt16Sums::kChunkBlocks;

// Stride 1: aligned loads from the source, unaligned stores to the destination.
struct ContiguousBody {
  const int16_t* source;  // both at the body's first sample
  int16_t* destination;

  __m256i load(uint32_t block) const { return Vec::load(source + block * kWidth); }
  void store(uint32_t block, __m256i values) const {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + block * kWidth), values);
  }
};

// Stride 2 or more: samples gathered from the source, aligned stores to the destination.
// Four samples are packed in a general register and moved to the vector at once.
struct StridedBody {
  const int16_t* source;
  int16_t* destination;
  std::ptrdiff_t stride;

  uint64_t packFour(const int16_t* p) const {
    return uint64_t{static_cast<uint16_t>(p[0])} |
           uint64_t{static_cast<uint16_t>(p[stride])} << 16 |
           uint64_t{static_cast<uint16_t>(p[2 * stride])} << 32 |
           uint64_t{static_cast<uint16_t>(p[3 * stride])} << 48;
  }
  __m128i gatherEight(const int16_t* p) const {
    return _mm_set_epi64x(static_cast<int64_t>(packFour(p + 4 * stride)),
                          static_cast<int64_t>(packFour(p)));
  }
  __m256i load(uint32_t block) const {
    const int16_t* first = source + static_cast<std::ptrdiff_t>(block) * kWidth * stride;
    return _mm256_inserti128_si256(_mm256_castsi128_si256(gatherEight(first)),
                                   gatherEight(first + 8 * stride), 1);
  }
  void store(uint32_t block, __m256i values) const {
    _mm256_store_si256(reinterpret_cast<__m256i*>(destination + block * kWidth), values);
  }
};

// Sums of adjacent sample pairs on 32-bit lanes; a chunk cannot overflow them.
inline __m256i addPairSums(__m256i pairSums, __m256i block) {
  return _mm256_add_epi32(pairSums, _mm256_madd_epi16(block, _mm256_set1_epi16(1)));
}

inline int64_t totalOf(__m256i pairSums) {
  alignas(32) int32_t lanes[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), pairSums);
  int64_t total = 0;
  for (int32_t lane : lanes) total += lane;
  return total;
}

// The sixteen samples in four groups of four (0-3, 4-7, 8-11, 12-15), each group squared
// after the offset is added and fused into the squares lanes, in that order.
inline __m256d addFusedSquares(__m256d squares, __m256i block, __m256d offset) {
  const __m256i low = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(block));
  const __m256i high = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(block, 1));
  const __m256d groups[4] = {_mm256_cvtepi32_pd(_mm256_castsi256_si128(low)),
                             _mm256_cvtepi32_pd(_mm256_extracti128_si256(low, 1)),
                             _mm256_cvtepi32_pd(_mm256_castsi256_si128(high)),
                             _mm256_cvtepi32_pd(_mm256_extracti128_si256(high, 1))};
  for (const __m256d x : groups) {
    const __m256d shifted = _mm256_add_pd(x, offset);
    squares = _mm256_fmadd_pd(shifted, shifted, squares);
  }
  return squares;
}

// The body of either path: blocks of sixteen samples, sums added to the outputs.
template <typename Body>
void moveBody(const Body& body, uint32_t blocks, Extremes& running, float offset, double* sum,
              double* sumOfSquares) {
  const __m256d offsetWide = _mm256_set1_pd(offset);
  ExactInt16Sums exactSums(offset);
  __m256d squares = _mm256_setzero_pd();
  int64_t total = 0;
  for (uint32_t first = 0; first < blocks; first += kChunkBlocks) {
    const uint32_t count = std::min(kChunkBlocks, blocks - first);
    if (exactSums.engaged()) {
      total += exactSums.addChunk(body, first, count, running);
      if (exactSums.engaged()) continue;
      // A lane could round within this chunk: its squares again, in order, from the
      // destination, which now holds the chunk's samples.
      squares = exactSums.lanes();
      for (uint32_t block = first; block < first + count; ++block) {
        const __m256i values =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(body.destination + block * kWidth));
        squares = addFusedSquares(squares, values, offsetWide);
      }
      continue;
    }
    __m256i pairSums = _mm256_setzero_si256();
#pragma GCC unroll 2
    for (uint32_t block = first; block < first + count; ++block) {
      const __m256i values = body.load(block);
      running.combine(values);
      body.store(block, values);
      pairSums = addPairSums(pairSums, values);
      squares = addFusedSquares(squares, values, offsetWide);
    }
    total += totalOf(pairSums);
  }
  if (exactSums.engaged()) squares = exactSums.lanes();
  *sum = static_cast<double>(total) + *sum;
  *sumOfSquares = sumLanes(squares) + *sumOfSquares;
}

// Stride 2 or more: the destination is the aligned side, and the running extremes seed the
// lanes, so the block is merged into them.
void moveStrided(int16_t* destination, const int16_t* source, uint32_t count, int16_t* minimum,
                 int16_t* maximum, double* sum, double* sumOfSquares, float offset,
                 std::ptrdiff_t stride) {
  const Split split = splitAfterHead<kWidth>(headCount<32>(destination), count);
  stats::moveSingly<true>(destination, source, 0, split.head, stride, minimum, maximum, sum,
                          sumOfSquares, offset);
  Extremes running(Vec::broadcast(*minimum), Vec::broadcast(*maximum));
  const StridedBody body{source + split.head * stride, destination + split.head, stride};
  moveBody(body, split.blocks, running, offset, sum, sumOfSquares);
  running.store(minimum, maximum);
  const uint32_t done = split.head + split.blocks * kWidth;
  stats::moveSingly<true>(destination, source, done, count, stride, minimum, maximum, sum,
                          sumOfSquares, offset);
}

// Stride 1: the source is the aligned side. The first and the last block cover the head and
// the tail for the extremes, which replace the running ones; the head and the tail are
// summed singly.
void moveContiguous(int16_t* destination, const int16_t* source, uint32_t count, int16_t* minimum,
                    int16_t* maximum, double* sum, double* sumOfSquares, float offset) {
  const __m256i first = Vec::loadu(source);
  Extremes running(first);
  const Split split = splitAfterHead<kWidth>(headCount<32>(source), count);
  stats::moveSingly<false>(destination, source, 0, split.head, 1, minimum, maximum, sum,
                           sumOfSquares, offset);
  const ContiguousBody body{source + split.head, destination + split.head};
  moveBody(body, split.blocks, running, offset, sum, sumOfSquares);
  running.combine(Vec::loadu(source + count - kWidth));
  const uint32_t done = split.head + split.blocks * kWidth;
  stats::moveSingly<false>(destination, source, done, count, 1, minimum, maximum, sum, sumOfSquares,
                           offset);
  running.store(minimum, maximum);
}

}  // namespace

void moveAndGetMinMaxAveRms(int16_t* destination, const int16_t* source, uint32_t count,
                            int16_t* minimum, int16_t* maximum, double* sum, double* sumOfSquares,
                            float offset, int32_t stride) {
  if (count < kWidth) {
    stats::moveSingly<true>(destination, source, 0, count, stride, minimum, maximum, sum,
                            sumOfSquares, offset);
  } else if (stride >= 2) {
    moveStrided(destination, source, count, minimum, maximum, sum, sumOfSquares, offset, stride);
  } else {
    moveContiguous(destination, source, count, minimum, maximum, sum, sumOfSquares, offset);
  }
}

}  // namespace kx::avx2
