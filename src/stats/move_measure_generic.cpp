// Move and measure of 16-bit samples, portable form. The sixteen 16-bit lanes of the
// extremes and the four double lanes of the sums are emulated in the vector unit's order.
#include <cmath>
#include <cstring>

#include "core/align.h"
#include "core/fused.h"
#include "core/lanes.h"
#include "stats/move_measure.h"
#include "stats/stats.h"

namespace kx::generic {
namespace {

constexpr uint32_t kWidth = stats::kMoveBlockWidth;
using Block = Lanes<int16_t, kWidth>;

struct Extremes {
  Block low;
  Block high;

  void combine(const Block& values) {
    combineLanes(low, values, laneMin<int16_t>);
    combineLanes(high, values, laneMax<int16_t>);
  }
  void store(int16_t* minimum, int16_t* maximum) const {
    *minimum = reduceHalving(low, laneMin<int16_t>);
    *maximum = reduceHalving(high, laneMax<int16_t>);
  }
};

// One sum and one squares accumulator of four double lanes. A block enters as four groups
// of four samples in order, sample i on lane i mod 4; each square is fused with its lane.
struct Accumulators {
  Lanes<double, 4> sum{};
  Lanes<double, 4> squares{};

  void add(const Block& block, double offset) {
    for (uint32_t group = 0; group < kWidth; group += 4) {
      for (uint32_t lane = 0; lane < 4; ++lane) {
        const double x = block[group + lane];
        sum[lane] = sum[lane] + x;
        const double shifted = x + offset;
        squares[lane] = fusedMultiplyAdd(shifted, shifted, squares[lane]);
      }
    }
  }
  void addTo(double* sumOut, double* sumOfSquaresOut) const {
    *sumOut = sumLanes(sum) + *sumOut;
    *sumOfSquaresOut = sumLanes(squares) + *sumOfSquaresOut;
  }
};

// Stride 2 or more: the destination is the aligned side. The running extremes seed the
// lanes, so the block is merged into them.
void moveStrided(int16_t* destination, const int16_t* source, uint32_t count, int16_t* minimum,
                 int16_t* maximum, double* sum, double* sumOfSquares, float offset,
                 std::ptrdiff_t stride) {
  const Split split = splitAfterHead<kWidth>(headCount<32>(destination), count);
  stats::moveSingly<true>(destination, source, 0, split.head, stride, minimum, maximum, sum,
                          sumOfSquares, offset);
  Extremes running;
  running.low.fill(*minimum);
  running.high.fill(*maximum);
  Accumulators accumulators;
  for (uint32_t block = 0; block < split.blocks; ++block) {
    const std::ptrdiff_t first = split.head + block * kWidth;
    Block values;
    for (uint32_t k = 0; k < kWidth; ++k) values[k] = source[(first + k) * stride];
    running.combine(values);
    std::memcpy(destination + first, values.data(), sizeof values);
    accumulators.add(values, offset);
  }
  accumulators.addTo(sum, sumOfSquares);
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
  const Block first = loadLanes<int16_t, kWidth>(source);
  Extremes running{first, first};
  const Split split = splitAfterHead<kWidth>(headCount<32>(source), count);
  stats::moveSingly<false>(destination, source, 0, split.head, 1, minimum, maximum, sum,
                           sumOfSquares, offset);
  Accumulators accumulators;
  for (uint32_t block = 0; block < split.blocks; ++block) {
    const uint32_t start = split.head + block * kWidth;
    const Block values = loadLanes<int16_t, kWidth>(source + start);
    running.combine(values);
    std::memcpy(destination + start, values.data(), sizeof values);
    accumulators.add(values, offset);
  }
  accumulators.addTo(sum, sumOfSquares);
  running.combine(loadLanes<int16_t, kWidth>(source + count - kWidth));
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

}  // namespace kx::generic
