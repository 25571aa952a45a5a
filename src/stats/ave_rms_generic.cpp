// Minimum, maximum and the running sums of a block, portable form of the vector kernels.
// The sums are kept in four emulated double lanes, so every addition happens in the same
// lane and the same order as on the vector unit.
#include "core/align.h"
#include "core/lanes.h"
#include "stats/element_loops.h"
#include "stats/extremes_generic.h"
#include "stats/stats.h"

namespace kx::generic {
namespace {

using Quad = Lanes<double, 4>;

template <typename T>
Quad quadToDouble(const T* samples) {
  return {static_cast<double>(samples[0]), static_cast<double>(samples[1]),
          static_cast<double>(samples[2]), static_cast<double>(samples[3])};
}

// One sum lane and one squares lane per double lane of the vector unit.
struct SumLanes {
  Quad sum{};
  Quad squares{};

  // Adds four samples, squared after the offset is added; the square is rounded before
  // the addition.
  void add(const Quad& samples, double offset) {
    for (int lane = 0; lane < 4; ++lane) {
      sum[lane] = sum[lane] + samples[lane];
      const double shifted = samples[lane] + offset;
      squares[lane] = squares[lane] + shifted * shifted;
    }
  }
  void add(const SumLanes& other) {
    for (int lane = 0; lane < 4; ++lane) {
      sum[lane] = sum[lane] + other.sum[lane];
      squares[lane] = squares[lane] + other.squares[lane];
    }
  }
  void addTo(double* sumOut, double* sumOfSquaresOut) const {
    *sumOut = sumLanes(sum) + *sumOut;
    *sumOfSquaresOut = sumLanes(squares) + *sumOfSquaresOut;
  }
};

// double, int16_t and int32_t: head and tail one by one into the outputs, the body in the
// four lanes (an int16_t block as its lower four, then its upper four samples).
template <uint32_t kWidth, typename T, typename Offset>
void addSums(const T* data, uint32_t count, uint32_t head, double* sum, double* sumOfSquares,
             Offset offset) {
  const Split split = splitAfterHead<kWidth>(head, count);
  stats::addRangeToSums(data, split.head, offset, sum, sumOfSquares);
  const double wideOffset = static_cast<double>(offset);
  const T* body = data + split.head;
  SumLanes lanes;
  for (uint32_t i = 0; i < split.blocks * kWidth; i += 4)
    lanes.add(quadToDouble(body + i), wideOffset);
  lanes.addTo(sum, sumOfSquares);
  stats::addRangeToSums(body + split.blocks * kWidth, split.tail, offset, sum, sumOfSquares);
}

// float: eight samples and the offset multiplied lane by lane by a 0.0/1.0 mask (so an
// infinity or NaN in a masked-out lane still turns into NaN), then the lower four lanes
// plus the upper four, in double.
SumLanes maskedBlockSums(const float* samples, const Lanes<float, 8>& mask, float offset) {
  Lanes<double, 8> masked;
  Lanes<double, 8> maskedOffset;
  for (int lane = 0; lane < 8; ++lane) {
    masked[lane] = static_cast<double>(samples[lane] * mask[lane]);
    maskedOffset[lane] = static_cast<double>(offset * mask[lane]);
  }
  SumLanes block;
  for (int lane = 0; lane < 4; ++lane) {
    block.sum[lane] = masked[lane] + masked[lane + 4];
    const double lower = masked[lane] + maskedOffset[lane];
    const double upper = masked[lane + 4] + maskedOffset[lane + 4];
    block.squares[lane] = lower * lower + upper * upper;
  }
  return block;
}

// Lanes below `length` are 1.0; a head of 8 takes the whole first block.
Lanes<float, 8> headMask(uint32_t length) {
  Lanes<float, 8> mask;
  for (uint32_t lane = 0; lane < 8; ++lane) mask[lane] = lane < length ? 1.0f : 0.0f;
  return mask;
}
// The last `length` lanes are 1.0.
Lanes<float, 8> tailMask(uint32_t length) {
  Lanes<float, 8> mask;
  for (uint32_t lane = 0; lane < 8; ++lane) mask[lane] = lane >= 8 - length ? 1.0f : 0.0f;
  return mask;
}

// The float member covers head and tail by masked blocks; an aligned array takes its
// whole first block as the head.
void addFloatSums(const float* data, uint32_t count, uint32_t head, double* sum,
                  double* sumOfSquares, float offset) {
  const uint32_t headLength = head == 0 ? 8 : head;
  SumLanes lanes = maskedBlockSums(data, headMask(headLength), offset);
  const Split split = splitAfterHead<8>(headLength, count);
  const double wideOffset = static_cast<double>(offset);
  const float* body = data + split.head;
  for (uint32_t i = 0; i < split.blocks * 8; i += 4) lanes.add(quadToDouble(body + i), wideOffset);
  if (split.tail != 0) lanes.add(maskedBlockSums(data + count - 8, tailMask(split.tail), offset));
  lanes.addTo(sum, sumOfSquares);
}

// double, int16_t and int32_t: blocks of Width samples from a Boundary-byte boundary.
template <uint32_t Width, std::size_t Boundary, typename T, typename Offset>
void minMaxAveRms(const T* data, uint32_t count, T* minimum, T* maximum, double* sum,
                  double* sumOfSquares, Offset offset) {
  if (count < Width) {
    stats::statsElementLoop(data, count, minimum, maximum, sum, sumOfSquares, offset);
    return;
  }
  const uint32_t head = headCount<Boundary>(data);
  storeBlockExtremes<T, Width>(data, count, head, minimum, maximum);
  addSums<Width>(data, count, head, sum, sumOfSquares, offset);
}

}  // namespace

void getMinMaxAveRms(const float* data, uint32_t count, float* minimum, float* maximum, double* sum,
                     double* sumOfSquares, float offset) {
  if (count < 8) {
    stats::statsElementLoop(data, count, minimum, maximum, sum, sumOfSquares, offset);
    return;
  }
  const uint32_t head = headCount<32>(data);
  storeBlockExtremes<float, 8>(data, count, head, minimum, maximum);
  addFloatSums(data, count, head, sum, sumOfSquares, offset);
}

void getMinMaxAveRms(const double* data, uint32_t count, double* minimum, double* maximum,
                     double* sum, double* sumOfSquares, double offset) {
  minMaxAveRms<4, 32>(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
// The integer members run on 128-bit blocks from a 16-byte boundary.
void getMinMaxAveRms(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum,
                     double* sum, double* sumOfSquares, float offset) {
  minMaxAveRms<8, 16>(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
void getMinMaxAveRms(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum,
                     double* sum, double* sumOfSquares, double offset) {
  minMaxAveRms<4, 16>(data, count, minimum, maximum, sum, sumOfSquares, offset);
}

}  // namespace kx::generic
