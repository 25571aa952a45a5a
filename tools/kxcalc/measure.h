// Per-channel statistics through the library: minimum, maximum and the running sums
// from which mean and RMS follow.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "channel_blocks.h"
#include "library.h"
#include "options.h"
#include "progress.h"
#include "sources.h"

namespace kxtool {

struct ChannelStatistics {
  double minimum = std::numeric_limits<double>::infinity();
  double maximum = -std::numeric_limits<double>::infinity();
  double sum = 0;
  double sumOfSquares = 0;
  uint64_t count = 0;

  double mean() const;
  double rms() const;
  void mergeExtremes(double blockMinimum, double blockMaximum);
};

struct Measurement {
  std::vector<ChannelStatistics> channels;
  uint64_t bytes = 0;    // raw bytes the library read
  uint64_t samples = 0;  // samples of all channels
  double librarySeconds = 0;
};

// Moves each channel out of interleaved 16-bit frames (the channel count as the stride)
// and measures it on the way, block by block as an acquisition would. Values in counts.
Measurement measureInterleavedInt16(const Library& library, const int16_t* frames,
                                    uint64_t frameCount, uint32_t channels);

// Turns each channel into engineering values, raw * scale + offset, and measures them;
// reports the frames read to progress, if given.
Measurement measureEngineeringValues(const Library& library, FrameSource& source,
                                     const ChannelConversion& conversion, Precision precision,
                                     Progress* progress = nullptr);

}  // namespace kxtool
