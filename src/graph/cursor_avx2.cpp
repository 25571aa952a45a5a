// The cursor search on 256-bit vectors. Eight pixels are compared with the excluded values
// at once; a block whose pixels are all excluded (the common case on background) costs no
// more. Otherwise each half of the block, a group of four in the four lanes, updates the
// lanes in column order, exactly as two groups of four one after the other would.
#include <immintrin.h>

#include "graph/cursor.h"
#include "graph/graph.h"

namespace kx::avx2 {
namespace {

using graph::CursorSearch;

constexpr int32_t kBlock = 8;  // pixels compared at once

// Short lists are replicated into registers once per call; longer ones are broadcast
// straight from the caller's list, value by value.
template <int Count>
struct RegisterList {
  __m256i values[Count];

  explicit RegisterList(const uint32_t* excluded) {
    for (int i = 0; i < Count; ++i) values[i] = _mm256_set1_epi32(static_cast<int>(excluded[i]));
  }
  __m256i matches(__m256i pixels) const {
    __m256i equal = _mm256_cmpeq_epi32(pixels, values[0]);
    for (int i = 1; i < Count; ++i) {
      equal = _mm256_or_si256(equal, _mm256_cmpeq_epi32(pixels, values[i]));
    }
    return equal;
  }
};

// Also serves a count below 1, a caller error, which excludes nothing.
struct MemoryList {
  const uint32_t* excluded;
  int32_t count;

  __m256i matches(__m256i pixels) const {
    __m256i equal = _mm256_setzero_si256();
    for (int32_t i = 0; i < count; ++i) {
      equal = _mm256_or_si256(
          equal, _mm256_cmpeq_epi32(pixels, _mm256_set1_epi32(static_cast<int>(excluded[i]))));
    }
    return equal;
  }
};

// Each lane's best squared distance and the pixel value, column and row it was found at.
struct Lanes {
  __m128 best;
  __m128i value, x, y;
};

// What stays the same along a row.
struct RowTerms {
  __m128 dySquared;  // (float)(dy * dy), the square formed as an integer
  __m128i cursorX;
  __m128i y;
};

// A group of four pixels at columns first .. first + 3: each not-excluded pixel at a
// distance no greater than its lane's best replaces it.
inline void takeNearer(Lanes& lanes, __m128i pixels, __m128i excluded, int32_t first,
                       const RowTerms& row) {
  const __m128i columns = _mm_add_epi32(_mm_set1_epi32(first), _mm_setr_epi32(0, 1, 2, 3));
  const __m128 dx = _mm_cvtepi32_ps(_mm_sub_epi32(row.cursorX, columns));
  const __m128 distance = _mm_add_ps(_mm_mul_ps(dx, dx), row.dySquared);
  const __m128 take =
      _mm_andnot_ps(_mm_castsi128_ps(excluded), _mm_cmp_ps(distance, lanes.best, _CMP_LE_OQ));
  const __m128i takeBits = _mm_castps_si128(take);
  lanes.best = _mm_blendv_ps(lanes.best, distance, take);
  lanes.value = _mm_blendv_epi8(lanes.value, pixels, takeBits);
  lanes.x = _mm_blendv_epi8(lanes.x, columns, takeBits);
  lanes.y = _mm_blendv_epi8(lanes.y, row.y, takeBits);
}

// Lanes 0 to 3 in order; a lane replaces the overall best only when strictly nearer.
inline void mergeLanes(const Lanes& lanes, float& best, const graph::FoundPixel& found) {
  alignas(16) float laneBest[4];
  alignas(16) uint32_t value[4], x[4], y[4];
  _mm_store_ps(laneBest, lanes.best);
  _mm_store_si128(reinterpret_cast<__m128i*>(value), lanes.value);
  _mm_store_si128(reinterpret_cast<__m128i*>(x), lanes.x);
  _mm_store_si128(reinterpret_cast<__m128i*>(y), lanes.y);
  for (int k = 0; k < 4; ++k) {
    if (laneBest[k] < best) {
      best = laneBest[k];
      found.write(value[k], x[k], y[k]);
    }
  }
}

// A block of eight pixels at columns first .. first + 7, as two groups of four in order.
inline void takeNearerInBlock(Lanes& lanes, __m256i pixels, __m256i excluded, int32_t first,
                              const RowTerms& row) {
  const int kept = ~_mm256_movemask_ps(_mm256_castsi256_ps(excluded)) & 0xFF;
  if ((kept & 0x0F) != 0) {
    takeNearer(lanes, _mm256_castsi256_si128(pixels), _mm256_castsi256_si128(excluded), first, row);
  }
  if ((kept & 0xF0) != 0) {
    takeNearer(lanes, _mm256_extracti128_si256(pixels, 1), _mm256_extracti128_si256(excluded, 1),
               first + 4, row);
  }
}

template <typename List>
void search(const CursorSearch& s, const List& list) {
  Lanes lanes{_mm_set1_ps(graph::kFarthest), _mm_set1_epi32(static_cast<int>(*s.found.value)),
              _mm_set1_epi32(static_cast<int>(*s.found.x)),
              _mm_set1_epi32(static_cast<int>(*s.found.y))};
  float best = graph::kFarthest;
  const int32_t vectorColumns = graph::vectorColumns(s.width);
  const int32_t blockColumns = vectorColumns / kBlock * kBlock;
  for (int32_t y = 0; y < s.height; ++y) {
    const uint32_t* row = graph::rowAt(s.image, s.stride, y);
    const RowTerms terms{_mm_set1_ps(static_cast<float>(
                             graph::wrappingSquare(graph::wrappingDifference(s.cursorY, y)))),
                         _mm_set1_epi32(s.cursorX), _mm_set1_epi32(y)};
    // Two blocks at a time, skipped together when every pixel of both is excluded.
    int32_t x = 0;
    for (; x + 2 * kBlock <= blockColumns; x += 2 * kBlock) {
      const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x));
      const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x + kBlock));
      const __m256i firstExcluded = list.matches(first);
      const __m256i secondExcluded = list.matches(second);
      const __m256i bothExcluded = _mm256_and_si256(firstExcluded, secondExcluded);
      if (_mm256_movemask_ps(_mm256_castsi256_ps(bothExcluded)) == 0xFF) continue;
      takeNearerInBlock(lanes, first, firstExcluded, x, terms);
      takeNearerInBlock(lanes, second, secondExcluded, x + kBlock, terms);
    }
    if (x < blockColumns) {
      const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x));
      takeNearerInBlock(lanes, pixels, list.matches(pixels), x, terms);
    }
    if (blockColumns < vectorColumns) {
      // The last group of four, compared in the low half of a block.
      const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + blockColumns));
      const __m128i excluded = _mm256_castsi256_si128(list.matches(_mm256_zextsi128_si256(pixels)));
      if (_mm_movemask_ps(_mm_castsi128_ps(excluded)) != 0x0F) {
        takeNearer(lanes, pixels, excluded, blockColumns, terms);
      }
    }
    mergeLanes(lanes, best, s.found);
    graph::scanTail(s, row, y, best);
  }
}

}  // namespace

void findCursorXY(const uint32_t* image, int32_t stride, int32_t width, int32_t height,
                  int32_t cursorX, int32_t cursorY, uint32_t* foundValue, uint32_t* foundX,
                  uint32_t* foundY, const uint32_t* excluded, int32_t excludedCount) {
  if (height < 1) return;
  const CursorSearch s{
      image,    stride,       width, height, cursorX, cursorY, {foundValue, foundX, foundY},
      excluded, excludedCount};
  switch (excludedCount) {
    case 1:
      return search(s, RegisterList<1>(excluded));
    case 2:
      return search(s, RegisterList<2>(excluded));
    case 3:
      return search(s, RegisterList<3>(excluded));
    case 4:
      return search(s, RegisterList<4>(excluded));
    default:
      return search(s, MemoryList{excluded, excludedCount});
  }
}

}  // namespace kx::avx2
