// The cursor search, portable form: the four lanes of the vector part are kept one by one.
#include <array>

#include "graph/cursor.h"
#include "graph/graph.h"

namespace kx::generic {
namespace {

using graph::kGroup;

struct Lane {
  float best;
  uint32_t value, x, y;
};

void search(const graph::CursorSearch& s) {
  std::array<Lane, kGroup> lanes;
  lanes.fill({graph::kFarthest, *s.found.value, *s.found.x, *s.found.y});
  float best = graph::kFarthest;
  const int32_t vectorColumns = graph::vectorColumns(s.width);
  for (int32_t y = 0; y < s.height; ++y) {
    const uint32_t* row = graph::rowAt(s.image, s.stride, y);
    const auto dySquared =
        static_cast<float>(graph::wrappingSquare(graph::wrappingDifference(s.cursorY, y)));
    // The vector part: lane k sees the columns x with x mod 4 = k, and takes a pixel no
    // farther than its best.
    for (int32_t group = 0; group < vectorColumns; group += kGroup) {
      std::array<bool, kGroup> excluded;
      for (int32_t k = 0; k < kGroup; ++k) {
        excluded[k] = graph::isExcluded(row[group + k], s.excluded, s.excludedCount);
      }
      if (excluded[0] && excluded[1] && excluded[2] && excluded[3]) continue;
      for (int32_t k = 0; k < kGroup; ++k) {
        if (excluded[k]) continue;
        const int32_t x = group + k;
        const auto dx = static_cast<float>(graph::wrappingDifference(s.cursorX, x));
        const float distance = dx * dx + dySquared;
        if (distance <= lanes[k].best) {
          lanes[k] = {distance, row[x], static_cast<uint32_t>(x), static_cast<uint32_t>(y)};
        }
      }
    }
    // The lanes in order, each replacing the best only when strictly nearer.
    for (const Lane& lane : lanes) {
      if (lane.best < best) {
        best = lane.best;
        s.found.write(lane.value, lane.x, lane.y);
      }
    }
    graph::scanTail(s, row, y, best);
  }
}

}  // namespace

void findCursorXY(const uint32_t* image, int32_t stride, int32_t width, int32_t height,
                  int32_t cursorX, int32_t cursorY, uint32_t* foundValue, uint32_t* foundX,
                  uint32_t* foundY, const uint32_t* excluded, int32_t excludedCount) {
  if (height < 1) return;
  search({image,
          stride,
          width,
          height,
          cursorX,
          cursorY,
          {foundValue, foundX, foundY},
          excluded,
          excludedCount});
}

}  // namespace kx::generic
