// Conversion between 16- and 32-bit samples on 256-bit vectors, in blocks of 16 samples.
// Narrowing aligns on the source: two aligned 8-lane loads, each lane masked to its low 16
// bits so that the unsigned-saturating pack never saturates, the pack's lane order restored
// across the 128-bit halves, and one unaligned store. Widening aligns on the destination:
// sixteen samples read unaligned, sign-extended, and written as two aligned 8-lane stores.
#include "core/align.h"
#include "core/avx2.h"
#include "vector/element_ops.h"
#include "vector/vector.h"

namespace kx::avx2 {
namespace {

constexpr uint32_t kBlock = 16;

__m256i loadAligned(const int32_t* p) {
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(p));
}

}  // namespace

void convertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  const uint32_t head = headCount<32>(source);
  if (count < head + kBlock) {
    vector::narrow(source, destination, count);
    return;
  }
  const Split split = splitAfterHead<kBlock>(head, count);
  vector::narrow(source, destination, split.head);
  const int32_t* from = source + split.head;
  int16_t* to = destination + split.head;
  const __m256i lowHalves = _mm256_set1_epi32(0xFFFF);
#pragma GCC unroll 4
  for (uint32_t block = 0; block < split.blocks; ++block) {
    const __m256i first = _mm256_and_si256(loadAligned(from), lowHalves);
    const __m256i second = _mm256_and_si256(loadAligned(from + 8), lowHalves);
    // The pack interleaves 128-bit halves: first low, second low, first high, second high.
    const __m256i packed = _mm256_packus_epi32(first, second);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to),
                        _mm256_permute4x64_epi64(packed, 0b11'01'10'00));
    from += kBlock;
    to += kBlock;
  }
  vector::narrow(from, to, split.tail);
}

void convertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count) {
  const uint32_t head = headCount<32>(destination);
  if (count < head + kBlock) {
    vector::widen(source, destination, count);
    return;
  }
  const Split split = splitAfterHead<kBlock>(head, count);
  vector::widen(source, destination, split.head);
  const int16_t* from = source + split.head;
  int32_t* to = destination + split.head;
#pragma GCC unroll 4
  for (uint32_t block = 0; block < split.blocks; ++block) {
    // The sixteen samples are read as two halves, which the extension takes straight from
    // memory; the bytes read are those of one 256-bit load.
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 8));
    _mm256_store_si256(reinterpret_cast<__m256i*>(to), _mm256_cvtepi16_epi32(low));
    _mm256_store_si256(reinterpret_cast<__m256i*>(to + 8), _mm256_cvtepi16_epi32(high));
    from += kBlock;
    to += kBlock;
  }
  vector::widen(from, to, split.tail);
}

}  // namespace kx::avx2
