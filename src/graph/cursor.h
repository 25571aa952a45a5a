// The cursor search, the parts both variants share: row addressing, the distance terms in
// 32-bit wrapping integer arithmetic, the excluded-value test and the scalar tail of a row.
//
// The vector part of a row keeps four lanes (columns x with x mod 4 = k), each with its own
// best squared distance, taking a pixel at a distance equal to its best (the later pixel
// wins); after the vector part the lanes, in order, replace the overall best only when
// strictly nearer, and so does each pixel of the tail. The tail squares dy in single
// precision where the vector part squares it as an integer: both are kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kx::graph {
namespace {

inline constexpr float kFarthest = 3.4028235e38f;  // the largest finite float
inline constexpr int32_t kGroup = 4;               // pixels per group of the vector part

// Row y starts y row steps before row 0, the stride rounded toward zero to whole pixels:
// a positive stride walks towards lower addresses.
inline const uint32_t* rowAt(const uint32_t* image, int32_t stride, int32_t y) {
  const std::ptrdiff_t rowStep = stride / 4 * 4;
  return reinterpret_cast<const uint32_t*>(reinterpret_cast<const unsigned char*>(image) -
                                           static_cast<std::ptrdiff_t>(y) * rowStep);
}

// Columns 0 .. vectorColumns(width) - 1 go in groups of four; a width below 1 scans nothing.
inline int32_t vectorColumns(int32_t width) {
  return width > 0 ? width / kGroup * kGroup : 0;
}

// a - b and a * a as the 32-bit integer lanes compute them, wrapping.
inline int32_t wrappingDifference(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline int32_t wrappingSquare(int32_t a) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(a));
}

// Every value of the list is compared. A count below 1 (a caller error) excludes nothing.
inline bool isExcluded(uint32_t pixel, const uint32_t* excluded, int32_t excludedCount) {
  bool equal = false;
  for (int32_t i = 0; i < excludedCount; ++i) equal |= pixel == excluded[i];
  return equal;
}

// The caller's three out-values: read at entry, written whenever a nearer pixel is found.
struct FoundPixel {
  uint32_t* value;
  uint32_t* x;
  uint32_t* y;

  void write(uint32_t pixel, uint32_t column, uint32_t row) const {
    *value = pixel;
    *x = column;
    *y = row;
  }
};

struct CursorSearch {
  const uint32_t* image;
  int32_t stride;
  int32_t width;
  int32_t height;
  int32_t cursorX;
  int32_t cursorY;
  FoundPixel found;
  const uint32_t* excluded;
  int32_t excludedCount;
};

// The tail of row y, one pixel at a time: a pixel must be strictly nearer than `best`.
inline void scanTail(const CursorSearch& s, const uint32_t* row, int32_t y, float& best) {
  const auto dy = static_cast<float>(wrappingDifference(s.cursorY, y));
  for (int32_t x = vectorColumns(s.width); x < s.width; ++x) {
    if (isExcluded(row[x], s.excluded, s.excludedCount)) continue;
    const auto dx = static_cast<float>(wrappingDifference(s.cursorX, x));
    const float distance = dx * dx + dy * dy;
    if (distance < best) {
      best = distance;
      s.found.write(row[x], static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    }
  }
}

}  // namespace
}  // namespace kx::graph
