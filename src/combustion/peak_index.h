// The copy's peak search carries sample indices as floats, eight lanes wide. These helpers
// state how such an index is formed and turned back into an integer, shared by both variants.
#pragma once

#include <cstdint>

namespace kx::combustion {

// Below this many samples the copy goes one by one; from it on, eight lanes at a time.
inline constexpr uint32_t kLanes = 8;

// The peak starts at the smallest positive normal float with no index (all ones), so only a
// value strictly above it is ever reported.
inline constexpr float kPeakFloor = 1.17549435e-38f;
inline constexpr uint32_t kNoPeakIndex = 0xFFFFFFFFu;

// The start index as a float: high and low halves converted separately, then summed (the sum
// rounds from 2^24 on).
inline float startAsFloat(uint32_t start) {
  return static_cast<float>(start >> 16) * 65536.0f + static_cast<float>(start & 0xFFFFu);
}

// A float index back to an integer. Every float index is a whole number, so rounding to
// nearest and truncation agree; from 2^31 on the conversion gives the integer indefinite
// 0x80000000, as the processor's conversions do.
inline uint32_t floatIndexToUint32(float index) {
  if (index < 2147483648.0f) return static_cast<uint32_t>(static_cast<int32_t>(index));
  return 0x80000000u;
}

// The route below kLanes samples (and an empty range): one at a time in index order, each
// value strictly above the peak replacing it. Returns `end`, or `start` for an empty range.
inline uint32_t copyOneByOne(const float* source, float* destination, uint32_t start, uint32_t end,
                             float baseline, float* maxValue, uint32_t* maxIndex) {
  float peak = kPeakFloor;
  uint32_t peakIndex = kNoPeakIndex;
  *maxValue = peak;
  *maxIndex = peakIndex;
  if (end <= start) return start;
  for (uint32_t i = start; i < end; ++i) {
    const float d = source[i] - baseline;
    destination[i - start] = d;
    if (d > peak) {
      peak = d;
      peakIndex = i;
    }
  }
  *maxValue = peak;
  *maxIndex = peakIndex;
  return end;
}

}  // namespace kx::combustion
