#include "measure.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>

#include "failure.h"

namespace kxtool {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A 32-byte aligned array, so that the library's bodies start at the first element.
template <typename T>
class AlignedBuffer {
 public:
  explicit AlignedBuffer(size_t count) {
    const size_t bytes = (count * sizeof(T) + 31) / 32 * 32;
    data_.reset(static_cast<T*>(std::aligned_alloc(32, bytes == 0 ? 32 : bytes)));
    if (!data_) throw std::bad_alloc();
  }
  T* data() { return data_.get(); }

 private:
  struct Free {
    void operator()(T* pointer) const { std::free(pointer); }
  };
  std::unique_ptr<T, Free> data_;
};

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

// Library calls take 32-bit counts; blocks stay well below that and bound the memory used.
size_t framesPerBlock(size_t frameBytes) {
  const size_t target = (size_t{4} << 20) / frameBytes;
  return target < 16 ? 16 : (target > 65536 ? 65536 : target);
}

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

// One engineering-value precision: its request record and the matching exports.
template <typename Value>
struct EngineeringPath;

template <>
struct EngineeringPath<double> {
  using Request = ScaledValuesRequest_double;
  explicit EngineeringPath(const Library& library)
      : scaledValues(KXTOOL_RESOLVE(library, kxcalcChannelGetScaledValuesAtPos_double)),
        statistics(KXTOOL_RESOLVE(library, kxcalcGetMinMaxAveRMS_double)) {}
  decltype(&kxcalcChannelGetScaledValuesAtPos_double) scaledValues;
  decltype(&kxcalcGetMinMaxAveRMS_double) statistics;
};

template <>
struct EngineeringPath<float> {
  using Request = ScaledValuesRequest_float;
  explicit EngineeringPath(const Library& library)
      : scaledValues(KXTOOL_RESOLVE(library, kxcalcChannelGetScaledValuesAtPos_float)),
        statistics(KXTOOL_RESOLVE(library, kxcalcGetMinMaxAveRMS_float)) {}
  decltype(&kxcalcChannelGetScaledValuesAtPos_float) scaledValues;
  decltype(&kxcalcGetMinMaxAveRMS_float) statistics;
};

template <typename Value>
Measurement measureIn(const Library& library, FrameSource& source,
                      const std::vector<double>& scales, const std::vector<double>& offsets) {
  const EngineeringPath<Value> path(library);
  const uint32_t channels = source.channels();
  const size_t elementBytes = source.frameBytes() / channels;

  Measurement measurement;
  measurement.channels.resize(channels);
  const size_t blockFrames = framesPerBlock(source.frameBytes());
  AlignedBuffer<unsigned char> rawBlock(blockFrames * source.frameBytes());
  AlignedBuffer<Value> values(blockFrames);

  double seconds = 0;
  uint64_t frames = 0;
  while (const size_t count = source.read(rawBlock.data(), blockFrames)) {
    const Clock::time_point start = Clock::now();
    for (uint32_t channel = 0; channel < channels; ++channel) {
      typename EngineeringPath<Value>::Request request{};
      request.source = rawBlock.data() + channel * elementBytes;
      request.output = values.data();
      request.scale = static_cast<Value>(scales[channel]);
      request.offset = static_cast<Value>(offsets[channel]);
      request.count = static_cast<int32_t>(count);
      request.rawType = source.type();
      request.stride = static_cast<int32_t>(channels);
      path.scaledValues(&request);

      ChannelStatistics& statistics = measurement.channels[channel];
      BlockExtremes<Value> block;
      path.statistics(values.data(), static_cast<uint32_t>(count), &block.minimum, &block.maximum,
                      &statistics.sum, &statistics.sumOfSquares, Value{0});
      statistics.mergeExtremes(block.minimum, block.maximum);
      statistics.count += count;
    }
    seconds += secondsSince(start);
    frames += count;
  }
  if (frames == 0) throw Failure(format("%s: no complete frame", source.description().c_str()));

  measurement.librarySeconds = seconds;
  measurement.samples = frames * channels;
  measurement.bytes = frames * source.frameBytes();
  return measurement;
}

}  // namespace

Measurement measureEngineeringValues(const Library& library, FrameSource& source,
                                     const std::vector<double>& scales,
                                     const std::vector<double>& offsets, Precision precision) {
  if (precision == Precision::Single) return measureIn<float>(library, source, scales, offsets);
  return measureIn<double>(library, source, scales, offsets);
}

}  // namespace kxtool
