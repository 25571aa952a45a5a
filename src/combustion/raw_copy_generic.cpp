// Copy of raw pressure samples into a channel buffer with baseline removal and peak search,
// portable form. The eight-lane route is written out lane by lane, because its meeting order
// (per-lane maxima, lanes offered in lane order, float indices) decides which of equal maxima
// is reported and which index comes back.
#include <cstring>

#include "combustion/combustion.h"

namespace kx::generic {

using combustion::floatIndexToUint32;
using combustion::kLanes;

uint32_t copyRawDataToChannels(const float* source, float* destination, uint32_t start,
                               uint32_t end, float baseline, float* maxValue, uint32_t* maxIndex) {
  if (end <= start || end - start < kLanes) {
    return combustion::copyOneByOne(source, destination, start, end, baseline, maxValue, maxIndex);
  }
  const uint32_t count = end - start;
  float peak = combustion::kPeakFloor;
  uint32_t peakIndex = combustion::kNoPeakIndex;
  *maxValue = peak;
  *maxIndex = peakIndex;

  const float* in = source + start;
  float laneIndex[kLanes], laneMax[kLanes], laneMaxIndex[kLanes];
  const float first = combustion::startAsFloat(start);
  for (uint32_t j = 0; j < kLanes; ++j) {
    laneIndex[j] = first + static_cast<float>(j);
    laneMax[j] = in[j] - baseline;
    laneMaxIndex[j] = laneIndex[j];
    destination[j] = laneMax[j];
    laneIndex[j] += 8.0f;
  }
  const uint32_t blocks = count / kLanes;
  for (uint32_t block = 1; block < blocks; ++block) {
    for (uint32_t j = 0; j < kLanes; ++j) {
      const uint32_t k = block * kLanes + j;
      const float d = in[k] - baseline;
      destination[k] = d;
      // A lane whose maximum is NaN keeps it: nothing compares greater.
      if (d > laneMax[j]) {
        laneMax[j] = d;
        laneMaxIndex[j] = laneIndex[j];
      }
      laneIndex[j] += 8.0f;
    }
  }
  for (uint32_t j = 0; j < kLanes; ++j) {
    if (laneMax[j] > peak) {
      peak = laneMax[j];
      peakIndex = floatIndexToUint32(laneMaxIndex[j]);
    }
  }

  // The tail counts on from lane 0's float index, truncated, in integer steps.
  const uint32_t tailBase = floatIndexToUint32(laneIndex[0]);
  const uint32_t done = blocks * kLanes;
  for (uint32_t t = 0; done + t < count; ++t) {
    const float d = in[done + t] - baseline;
    destination[done + t] = d;
    if (d > peak) {
      peak = d;
      peakIndex = tailBase + t;
    }
  }
  *maxValue = peak;
  *maxIndex = peakIndex;
  return tailBase + (count - done);
}

}  // namespace kx::generic
