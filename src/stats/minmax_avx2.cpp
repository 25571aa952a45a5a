// Minimum and maximum of a block on 256-bit vectors: the first block (unaligned) seeds the
// lane-wise extremes, the aligned body and the last block (unaligned) are combined into
// them, and the lanes are reduced by halving.
#include "core/align.h"
#include "core/avx2.h"
#include "stats/element_loops.h"
#include "stats/extremes_avx2.h"
#include "stats/stats.h"

#include <type_traits>

namespace kx::avx2 {
namespace {

template <typename Vec>
void foldInOrder(Extremes<Vec>& running, const typename Vec::T* blocks, uint32_t blockCount) {
#pragma GCC unroll 8
  for (uint32_t block = 0; block < blockCount; ++block) {
    running.combine(Vec::load(blocks + block * Vec::kWidth));
  }
}

// The floating-point minimum is a chain of 4-cycle operations. On NaN-free data the
// lane-wise fold is associative (equal values keep the later one either way), so four
// contiguous quarters of the body are folded side by side and then combined in order:
// the same bits as one fold. A NaN in a lane breaks associativity, so a body that holds
// one is folded again in order from the start.
template <typename Vec>
void foldBody(Extremes<Vec>& running, const typename Vec::T* body, uint32_t blockCount) {
  constexpr uint32_t kWidth = Vec::kWidth;
  if constexpr (std::is_floating_point_v<typename Vec::T>) {
    const uint32_t quarter = blockCount / 4;
    if (quarter >= 2) {
      const auto* first = body;
      const auto* second = body + quarter * kWidth;
      const auto* third = body + 2 * quarter * kWidth;
      const auto* fourth = body + 3 * quarter * kWidth;
      auto a = Vec::load(first), b = Vec::load(second), c = Vec::load(third), d = Vec::load(fourth);
      Extremes<Vec> partA(a), partB(b), partC(c), partD(d);
      auto nanLanes = Vec::orMask(Vec::unordered(a, b), Vec::unordered(c, d));
      for (uint32_t offset = kWidth; offset < quarter * kWidth; offset += kWidth) {
        a = Vec::load(first + offset);
        b = Vec::load(second + offset);
        c = Vec::load(third + offset);
        d = Vec::load(fourth + offset);
        partA.combine(a);
        partB.combine(b);
        partC.combine(c);
        partD.combine(d);
        nanLanes = Vec::orMask(nanLanes, Vec::orMask(Vec::unordered(a, b), Vec::unordered(c, d)));
      }
      if (!Vec::anyLane(nanLanes)) {
        running.combine(partA);
        running.combine(partB);
        running.combine(partC);
        running.combine(partD);
        foldInOrder(running, body + 4 * quarter * kWidth, blockCount - 4 * quarter);
        return;
      }
    }
  }
  foldInOrder(running, body, blockCount);
}

template <typename T>
void minMax(const T* data, uint32_t count, T* minimum, T* maximum) {
  using Vec = Vec256<T>;
  if (count < Vec::kWidth) {
    stats::minMaxElementLoop(data, count, minimum, maximum);
    return;
  }
  const auto first = Vec::loadu(data);
  Extremes<Vec> running(first);
  const Split split = splitAfterHead<Vec::kWidth>(headCount<32>(data), count);
  foldBody(running, data + split.head, split.blocks);
  running.combine(Vec::loadu(data + count - Vec::kWidth));
  running.store(minimum, maximum);
}

}  // namespace

void getMinMax(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const float* data, uint32_t count, float* minimum, float* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const double* data, uint32_t count, double* minimum, double* maximum) {
  minMax(data, count, minimum, maximum);
}

}  // namespace kx::avx2
