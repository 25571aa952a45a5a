// Exact sums of 16-bit samples on double lanes. Sample i of a block lies on double lane
// i mod 4. Every partial sum of 16-bit samples on a lane is an integer far below 2^53, so
// the lanes are exact and their total is the body's exact integer sum, in any grouping.
// The squares of (sample + offset) are exact as well while the offset is a small integer
// and every lane stays at or below 2^53: then rounded or fused, each step is exact, and the
// squares are summed as integers instead, sixteen samples a step.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/avx2.h"
#include "stats/extremes_avx2.h"

namespace kx::avx2 {

// The shuffle puts samples i and i + 4 of a block side by side, so each 32-bit pair sum
// belongs to one lane.
class ExactInt16Sums {
 public:
  static constexpr int64_t kExactLimit = int64_t{1} << 53;
  // Blocks per chunk: small enough that the 32-bit pair sums cannot overflow, large enough
  // that the per-chunk bookkeeping costs nothing.
  static constexpr uint32_t kChunkBlocks = 1024;

  explicit ExactInt16Sums(float offset)
      : engaged_(std::trunc(offset) == offset && std::fabs(offset) <= 65536.0f),
        offset_(engaged_ ? static_cast<int64_t>(offset) : 0) {}

  bool engaged() const { return engaged_; }

  // Loads blocks first .. first + count - 1 of sixteen samples from the body, combines them
  // into the extremes, hands them to the body's store, and returns their exact sum. When a
  // squares lane could exceed 2^53 the chunk's squares are not taken and engaged() turns
  // false: the caller adds that chunk's squares again in its own order.
  template <typename Body>
  int64_t addChunk(const Body& body, uint32_t first, uint32_t count,
                   Extremes<Vec256<int16_t>>& running) {
    const __m256i pairByLane =
        _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3, 10,
                         11, 4, 5, 12, 13, 6, 7, 14, 15);
    const __m256i ones = _mm256_set1_epi16(1);
    const __m256i low32 = _mm256_set1_epi64x(0xFFFFFFFF);
    __m256i pairSums = _mm256_setzero_si256();     // 32-bit lanes: lanes 0 1 2 3 0 1 2 3
    __m256i squaresEven = _mm256_setzero_si256();  // 64-bit lanes: lanes 0 2 0 2
    __m256i squaresOdd = _mm256_setzero_si256();   // 64-bit lanes: lanes 1 3 1 3
#pragma GCC unroll 4
    for (uint32_t block = first; block < first + count; ++block) {
      const __m256i values = body.load(block);
      running.combine(values);
      body.store(block, values);
      const __m256i paired = _mm256_shuffle_epi8(values, pairByLane);
      pairSums = _mm256_add_epi32(pairSums, _mm256_madd_epi16(paired, ones));
      // At most 2^31 (two samples of -32768): read as unsigned.
      const __m256i pairSquares = _mm256_madd_epi16(paired, paired);
      squaresEven = _mm256_add_epi64(squaresEven, _mm256_and_si256(pairSquares, low32));
      squaresOdd = _mm256_add_epi64(squaresOdd, _mm256_srli_epi64(pairSquares, 32));
    }
    alignas(32) int32_t sums[8];
    alignas(32) int64_t even[4], odd[4];
    _mm256_store_si256(reinterpret_cast<__m256i*>(sums), pairSums);
    _mm256_store_si256(reinterpret_cast<__m256i*>(even), squaresEven);
    _mm256_store_si256(reinterpret_cast<__m256i*>(odd), squaresOdd);
    const int64_t laneSquares[4] = {even[0] + even[2], odd[0] + odd[2], even[1] + even[3],
                                    odd[1] + odd[3]};
    const int64_t samplesPerLane = int64_t{4} * count;
    int64_t total = 0;
    int64_t next[4];
    bool exact = true;
    for (int lane = 0; lane < 4; ++lane) {
      const int64_t laneSum = int64_t{sums[lane]} + sums[lane + 4];
      total += laneSum;
      // Sum of (x + offset)^2 over the lane's samples.
      next[lane] = lanes_[lane] + laneSquares[lane] + 2 * offset_ * laneSum +
                   samplesPerLane * offset_ * offset_;
      exact = exact && next[lane] <= kExactLimit;
    }
    if (exact) {
      std::copy(next, next + 4, lanes_);
    } else {
      engaged_ = false;
    }
    return total;
  }

  // The squares lanes so far, exactly.
  __m256d lanes() const {
    return _mm256_setr_pd(static_cast<double>(lanes_[0]), static_cast<double>(lanes_[1]),
                          static_cast<double>(lanes_[2]), static_cast<double>(lanes_[3]));
  }

 private:
  bool engaged_;
  int64_t offset_;
  int64_t lanes_[4] = {};
};

}  // namespace kx::avx2
