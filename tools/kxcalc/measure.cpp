#include "measure.h"

#include <chrono>
#include <cmath>

#include "channel_blocks.h"
#include "failure.h"

namespace kxtool {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The library overwrites the extremes it is given with those of a long block but merges
// a short block into them; a block measured against neutral extremes yields its own either
// way, and the blocks are merged here.
template <typename T>
struct BlockExtremes {
  T minimum = std::numeric_limits<T>::has_infinity ? std::numeric_limits<T>::infinity()
                                                   : std::numeric_limits<T>::max();
  T maximum = std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity()
                                                   : std::numeric_limits<T>::lowest();
};

}  // namespace

double ChannelStatistics::mean() const {
  return sum / static_cast<double>(count);
}
double ChannelStatistics::rms() const {
  return std::sqrt(sumOfSquares / static_cast<double>(count));
}
void ChannelStatistics::mergeExtremes(double blockMinimum, double blockMaximum) {
  if (blockMinimum < minimum) minimum = blockMinimum;
  if (blockMaximum > maximum) maximum = blockMaximum;
}

Measurement measureInterleavedInt16(const Library& library, const int16_t* frames,
                                    uint64_t frameCount, uint32_t channels) {
  const auto moveAndMeasure = KXTOOL_RESOLVE(library, kxcalcMoveAndGetMinMaxAveRMS_int16_t);

  Measurement measurement;
  measurement.channels.resize(channels);
  const size_t blockFrames = framesPerBlock(sizeof(int16_t) * channels);
  AlignedBuffer<int16_t> channelBlock(blockFrames);

  const Clock::time_point start = Clock::now();
  for (uint64_t first = 0; first < frameCount; first += blockFrames) {
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(blockFrames, frameCount - first));
    for (uint32_t channel = 0; channel < channels; ++channel) {
      ChannelStatistics& statistics = measurement.channels[channel];
      BlockExtremes<int16_t> block;
      moveAndMeasure(channelBlock.data(), frames + first * channels + channel, count,
                     &block.minimum, &block.maximum, &statistics.sum, &statistics.sumOfSquares,
                     0.0f, static_cast<int32_t>(channels));
      statistics.mergeExtremes(block.minimum, block.maximum);
      statistics.count += count;
    }
  }
  measurement.librarySeconds = secondsSince(start);
  measurement.samples = frameCount * channels;
  measurement.bytes = measurement.samples * sizeof(int16_t);
  return measurement;
}

namespace {

template <typename Value>
Measurement measureIn(const Library& library, FrameSource& source,
                      const ChannelConversion& conversion, Progress* progress) {
  ChannelBlocks<Value> blocks(library, source, conversion);
  const uint32_t channels = source.channels();

  Measurement measurement;
  measurement.channels.resize(channels);
  double seconds = 0;
  uint64_t frames = 0;
  while (const size_t count = blocks.read()) {
    const Clock::time_point start = Clock::now();
    for (uint32_t channel = 0; channel < channels; ++channel) {
      const Value* values = blocks.values(channel);
      ChannelStatistics& statistics = measurement.channels[channel];
      BlockExtremes<Value> block;
      blocks.path().statistics(values, static_cast<uint32_t>(count), &block.minimum, &block.maximum,
                               &statistics.sum, &statistics.sumOfSquares, Value{0});
      statistics.mergeExtremes(block.minimum, block.maximum);
      statistics.count += count;
    }
    seconds += secondsSince(start);
    frames += count;
    if (progress) progress->update(frames);
  }
  if (frames == 0) throw Failure(format("%s: no complete frame", source.description().c_str()));

  measurement.librarySeconds = seconds;
  measurement.samples = frames * channels;
  measurement.bytes = frames * source.frameBytes();
  return measurement;
}

}  // namespace

Measurement measureEngineeringValues(const Library& library, FrameSource& source,
                                     const ChannelConversion& conversion, Precision precision,
                                     Progress* progress) {
  if (precision == Precision::Single) {
    return measureIn<float>(library, source, conversion, progress);
  }
  return measureIn<double>(library, source, conversion, progress);
}

}  // namespace kxtool
