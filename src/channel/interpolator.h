// The streaming Catmull-Rom interpolator: the handle, its lifecycle and the pieces of the
// output step that both variants share. Only the output step itself has two variants
// (kx::generic::interpolatorOutput, kx::avx2::interpolatorOutput); everything else exists
// once, here, and is instantiated by the exports with the C heap and by the tests with
// allocators that fail.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/truncate.h"
#include "kxcalc.h"

struct CHSInterpolator {
  double sourceRate;
  double targetRate;
  uint32_t ringSize;
  float* ring;
  uint32_t size;  // the copy of ringSize that every operation uses
  uint64_t inputCount;
  float* output;
  uint64_t outputCount;
  double ratio;  // output samples per input sample
  int32_t outputCapacity;
  float wrapPoints[4];  // the last support points gathered at either end of the ring
  uint8_t stopped;
  uint32_t mask;
  uint32_t reserved;
  // Floats allocated for `output`: at least every count that one accepted call can produce,
  // which may exceed outputCapacity.
  uint32_t outputRoom;
};

namespace kx::generic {
// Writes `count` outputs, from output number outputCount on, to the handle's output array.
void interpolatorOutput(CHSInterpolator& interpolator, uint32_t count);
}  // namespace kx::generic
namespace kx::avx2 {
void interpolatorOutput(CHSInterpolator& interpolator, uint32_t count);
}  // namespace kx::avx2

namespace kx::interpolator {

using OutputStep = void (*)(CHSInterpolator&, uint32_t);
using Points = std::array<float, 4>;        // p0, p1, p2, p3
using Coefficients = std::array<float, 4>;  // a0, a1, a2, a3

struct HeapAllocator {
  void* allocate(std::size_t bytes) { return std::malloc(bytes); }
  void release(void* block) { std::free(block); }
};

// --- the output step's arithmetic ------------------------------------------------------

// Number of outputs whose position k / ratio is at most inputCount - 2; meaningful once the
// stream holds two samples.
inline uint64_t outputsCovered(uint64_t inputCount, double ratio) {
  return truncateToUint64(static_cast<double>(inputCount - 2) * ratio + 1.0);
}

inline uint32_t newOutputCount(uint64_t inputCount, uint64_t outputCount, double ratio) {
  if (inputCount < 2) return 0;
  return static_cast<uint32_t>(outputsCovered(inputCount, ratio)) -
         static_cast<uint32_t>(outputCount);
}

// The input position of output j of the call (j / ratio + base, base = outputCount / ratio).
inline double outputPosition(uint32_t j, double ratio, double base) {
  return static_cast<double>(j) / ratio + base;
}

// Ring slot of the left support point p1.
inline uint32_t slotAt(double position, uint32_t mask) {
  return static_cast<uint32_t>(truncateToUint64(position)) & mask;
}

// Fraction of the way from p1 to p2. The whole part is truncated to 32 bits here and to
// 64 bits for the slot: the two differ from 2^31 input samples on, and t with them.
inline float fractionAt(double position) {
  return static_cast<float>(position - static_cast<double>(truncateToInt32(position)));
}

// Slots 0 and the last two need the ring's wrap (and the stream's start); the points
// gathered there are also kept in wrapPoints.
inline bool atRingEnd(uint32_t slot, uint32_t size) {
  return slot == 0 || slot + 2 >= size;
}

// The four support points around `slot`, indices taken modulo the ring size (which only a
// ring of one sample needs). At the start of the stream the first sample is its own
// predecessor.
inline Points supportPoints(CHSInterpolator& interpolator, uint32_t slot) {
  const float* ring = interpolator.ring;
  const uint32_t mask = interpolator.mask;
  Points points{ring[(slot - 1) & mask], ring[slot], ring[(slot + 1) & mask],
                ring[(slot + 2) & mask]};
  if (slot == 0 && interpolator.inputCount < interpolator.size) points[0] = ring[0];
  if (atRingEnd(slot, interpolator.size)) {
    std::memcpy(interpolator.wrapPoints, points.data(), sizeof interpolator.wrapPoints);
  }
  return points;
}

// Catmull-Rom weights, one row per support point; each row is a full four-lane product
// (zero weights included, so that infinities and NaNs spread as the products say).
inline constexpr float kWeights[4][4] = {
    {0.0f, -1.0f, 2.0f, -1.0f},  // p0
    {2.0f, 0.0f, -5.0f, 3.0f},   // p1
    {0.0f, 1.0f, 4.0f, -3.0f},   // p2
    {0.0f, 0.0f, -1.0f, 1.0f},   // p3
};

inline Coefficients coefficientsOf(const Points& p) {
  Coefficients a;
  for (int k = 0; k < 4; ++k) {
    a[k] = (p[0] * kWeights[0][k] + p[1] * kWeights[1][k]) +
           (p[2] * kWeights[2][k] + p[3] * kWeights[3][k]);
  }
  return a;
}

// 0.5 * (a0 + a1 t + a2 t^2 + a3 t^3): the four products side by side, then two pairwise sums.
inline float polynomialAt(const Coefficients& a, float t) {
  const float t2 = t * t;
  const float t3 = t2 * t;
  const std::array<float, 4> terms{a[0] * 1.0f, a[1] * t, a[2] * t2, a[3] * t3};
  return ((terms[0] + terms[1]) + (terms[2] + terms[3])) * 0.5f;
}

// Outputs first .. count - 1 of a call, one at a time; the coefficients are formed again
// only when the slot changes (always for the first output done here).
inline void outputsOneByOne(CHSInterpolator& interpolator, uint32_t first, uint32_t count) {
  const double ratio = interpolator.ratio;
  const double base = static_cast<double>(interpolator.outputCount) / ratio;
  Coefficients a{};
  uint32_t loadedSlot = 0;
  for (uint32_t j = first; j < count; ++j) {
    const double position = outputPosition(j, ratio, base);
    const uint32_t slot = slotAt(position, interpolator.mask);
    if (j == first || slot != loadedSlot) {
      a = coefficientsOf(supportPoints(interpolator, slot));
      loadedSlot = slot;
    }
    interpolator.output[j] = polynomialAt(a, fractionAt(position));
  }
}

// --- lifecycle ---------------------------------------------------------------------------

// Floats the output array needs for one call: a block of up to size - 2 samples covers at
// most ceil((size - 2) * ratio) new positions, one more where a rounded product lands on
// an integer. A ring of one sample takes blocks of any length and grows the array on demand;
// a ring of two never produces output. NaN ratios produce no output; absurd ones ask for
// more than any allocation can give.
inline uint32_t outputRoomFor(uint32_t size, double ratio, int32_t outputCapacity) {
  double room = 1.0;
  if (size >= 4) room = std::ceil(static_cast<double>(size - 2) * ratio) + 2.0;
  if (room != room) room = 1.0;
  if (room < static_cast<double>(outputCapacity)) room = static_cast<double>(outputCapacity);
  return room < 4294967295.0 ? static_cast<uint32_t>(room) : UINT32_MAX;
}

template <typename Allocator>
float* allocateFloats(Allocator&& allocator, uint64_t count) {
  if (count > SIZE_MAX / sizeof(float)) return nullptr;
  return static_cast<float*>(allocator.allocate(static_cast<std::size_t>(count) * sizeof(float)));
}

template <typename Allocator>
uint32_t destroy(CHSInterpolator* interpolator, Allocator&& allocator) {
  if (interpolator == nullptr) return CHSInterpolator_InvalidArgument;
  if (interpolator->ring != nullptr) allocator.release(interpolator->ring);
  if (interpolator->output != nullptr) allocator.release(interpolator->output);
  allocator.release(interpolator);
  return CHSInterpolator_Success;
}

// The ring starts zeroed: an output at the newest position reads the slot after it with
// weight 0, and 0 times an unwritten float could be a NaN. If any allocation fails, nothing
// is kept and the handle is null.
template <typename Allocator>
uint32_t create(CHSInterpolator** handle, const CHSInterpolatorParams* params,
                Allocator&& allocator) {
  // A NaN rate passes: its ratio is NaN, and a NaN ratio produces no output.
  if (params == nullptr || params->sourceRate <= 0.0 || params->targetRate <= 0.0) {
    return CHSInterpolator_InvalidArgument;
  }
  const uint32_t ringSize = params->ringSize;
  if (ringSize == 0 || ((ringSize - 1) & ringSize) != 0) {
    return CHSInterpolator_RingSizeNotPowerOfTwo;
  }
  auto* interpolator = static_cast<CHSInterpolator*>(allocator.allocate(sizeof(CHSInterpolator)));
  *handle = nullptr;
  if (interpolator == nullptr) return CHSInterpolator_InvalidArgument;
  std::memset(static_cast<void*>(interpolator), 0, sizeof *interpolator);
  interpolator->sourceRate = params->sourceRate;
  interpolator->targetRate = params->targetRate;
  interpolator->ringSize = ringSize;
  interpolator->size = ringSize;
  interpolator->ratio = params->targetRate / params->sourceRate;
  interpolator->outputCapacity =
      truncateToInt32(static_cast<double>(ringSize + uint64_t{1}) * interpolator->ratio);
  interpolator->outputRoom =
      outputRoomFor(ringSize, interpolator->ratio, interpolator->outputCapacity);
  interpolator->mask = ringSize - 1;
  interpolator->ring = allocateFloats(allocator, ringSize);
  interpolator->output = allocateFloats(allocator, interpolator->outputRoom);
  if (interpolator->ring == nullptr || interpolator->output == nullptr) {
    destroy(interpolator, allocator);
    return CHSInterpolator_InvalidArgument;
  }
  std::memset(interpolator->ring, 0, ringSize * sizeof(float));
  *handle = interpolator;
  return CHSInterpolator_Success;
}

// Makes room for `count` outputs, leaving the handle as it is if that fails.
template <typename Allocator>
bool reserveOutputs(CHSInterpolator& interpolator, uint32_t count, Allocator&& allocator) {
  if (count <= interpolator.outputRoom) return true;
  float* larger = allocateFloats(allocator, count);
  if (larger == nullptr) return false;
  allocator.release(interpolator.output);
  interpolator.output = larger;
  interpolator.outputRoom = count;
  return true;
}

// Appends samples to the ring in runs up to its end; the ring keeps the newest `size`.
inline void appendToRing(CHSInterpolator& interpolator, const float* input, uint32_t count) {
  while (count > 0) {
    const uint32_t slot = static_cast<uint32_t>(interpolator.inputCount) & interpolator.mask;
    const uint32_t run = std::min(interpolator.size - slot, count);
    std::memcpy(interpolator.ring + slot, input, run * sizeof(float));
    interpolator.inputCount += run;
    input += run;
    count -= run;
  }
}

// The outputs the inputs now cover, counted in `outputCount` from the handle's array.
inline void produceOutputs(CHSInterpolator& interpolator, uint32_t count, OutputStep step,
                           const float** output, uint32_t* outputCount) {
  if (count > 0) step(interpolator, count);
  interpolator.outputCount += count;
  *output = interpolator.output;
  *outputCount = count;
}

template <typename Allocator>
uint32_t interpolateValues(CHSInterpolator* interpolator, const float* input, uint32_t count,
                           const float** output, uint32_t* outputCount, OutputStep step,
                           Allocator&& allocator) {
  if (count == 0 || interpolator == nullptr) return CHSInterpolator_InvalidArgument;
  if (count > interpolator->size - 2) return CHSInterpolator_BlockTooLarge;
  if (interpolator->stopped) return CHSInterpolator_AlreadyStopped;
  const uint32_t newCount = newOutputCount(interpolator->inputCount + count,
                                           interpolator->outputCount, interpolator->ratio);
  if (!reserveOutputs(*interpolator, newCount, allocator)) return CHSInterpolator_InvalidArgument;
  appendToRing(*interpolator, input, count);
  produceOutputs(*interpolator, newCount, step, output, outputCount);
  return CHSInterpolator_Success;
}

// Repeats the newest sample once, so that the outputs up to the last real input position
// are produced, and then refuses further input. An empty stream gets nothing appended.
template <typename Allocator>
uint32_t stop(CHSInterpolator* interpolator, const float** output, uint32_t* outputCount,
              OutputStep step, Allocator&& allocator) {
  if (interpolator == nullptr) return CHSInterpolator_InvalidArgument;
  if (interpolator->stopped) return CHSInterpolator_AlreadyStopped;
  if (interpolator->size == 2) {
    interpolator->stopped = 1;
    return CHSInterpolator_Success;
  }
  const uint64_t inputCount = interpolator->inputCount;
  uint32_t newCount = 0;
  if (inputCount > 0) {
    newCount = newOutputCount(inputCount + 1, interpolator->outputCount, interpolator->ratio);
    if (!reserveOutputs(*interpolator, newCount, allocator)) {
      return CHSInterpolator_InvalidArgument;
    }
    const float newest = interpolator->ring[(inputCount - 1) & interpolator->mask];
    appendToRing(*interpolator, &newest, 1);
  }
  produceOutputs(*interpolator, newCount, step, output, outputCount);
  interpolator->stopped = 1;
  return CHSInterpolator_Success;
}

// A new stream with the same settings; the ring keeps its contents.
inline uint32_t reset(CHSInterpolator* interpolator) {
  if (interpolator == nullptr) return CHSInterpolator_InvalidArgument;
  interpolator->inputCount = 0;
  interpolator->outputCount = 0;
  interpolator->stopped = 0;
  return CHSInterpolator_Success;
}

}  // namespace kx::interpolator
