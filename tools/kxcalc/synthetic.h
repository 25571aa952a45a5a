// A synthetic multi-channel acquisition: interleaved 16-bit frames, each channel a DC
// offset plus a sine of its own frequency and amplitude plus Gaussian noise.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sources.h"

namespace kxtool {

struct SyntheticChannel {
  double dcOffset;
  double amplitude;
  double frequency;  // Hz
  double noise;      // standard deviation

  double expectedMean() const { return dcOffset; }
  double expectedRms() const;  // over whole periods, with the rounding to counts
};

struct SyntheticAcquisition {
  double sampleRate = 51200;
  uint32_t channels = 0;
  uint64_t frames = 0;
  std::vector<SyntheticChannel> channel;
  std::vector<int16_t> samples;  // frames * channels, interleaved
};

// Deterministic: the same arguments give the same samples.
SyntheticAcquisition generateAcquisition(uint32_t channels, uint64_t frames);

// The acquisition as a source of frames, in counts.
std::unique_ptr<FrameSource> acquisitionSource(uint32_t channels, uint64_t frames);

// One channel of float frames, amplitude * sin(2 pi frequency n / sampleRate), generated as
// they are read.
std::unique_ptr<FrameSource> sineSource(double frequency, double amplitude, double sampleRate,
                                        uint64_t frames);

}  // namespace kxtool
