// Reading a source a block of frames at a time, each channel turned into engineering values
// (raw value * scale + offset) by the library's scaled-value export.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "library.h"
#include "options.h"
#include "sources.h"

namespace kxtool {

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
  const T* data() const { return data_.get(); }

 private:
  struct Free {
    void operator()(T* pointer) const { std::free(pointer); }
  };
  std::unique_ptr<T, Free> data_;
};

// Library calls take 32-bit counts; blocks stay well below that and bound the memory used.
size_t framesPerBlock(size_t frameBytes);

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

// The user's --scale and --offset, one per channel, with the source's base scale folded
// into the scales. Throws UsageError when a list does not fit the channel count.
struct ChannelConversion {
  std::vector<double> scales;
  std::vector<double> offsets;
  bool userGiven = false;  // --scale or --offset was given: values in engineering units
};
ChannelConversion channelConversion(const InputOptions& input, const FrameSource& source);

// Throws UsageError when a scale or offset lies beyond single precision.
void requireSinglePrecision(const ChannelConversion& conversion);

// The input a command was given: the FILE (raw with --type, else a sound file), checked
// against --channels. Throws Failure or UsageError.
std::unique_ptr<FrameSource> openInputFile(const InputOptions& input);

template <typename Value>
class ChannelBlocks {
 public:
  ChannelBlocks(const Library& library, FrameSource& source, ChannelConversion conversion)
      : path_(library),
        source_(source),
        conversion_(std::move(conversion)),
        blockFrames_(framesPerBlock(source.frameBytes())),
        raw_(blockFrames_ * source.frameBytes()),
        values_(blockFrames_) {}

  // At most this many frames per block; set before the first read.
  void limitBlock(size_t frames) {
    if (frames < blockFrames_) blockFrames_ = frames;
  }
  size_t blockFrames() const { return blockFrames_; }
  const EngineeringPath<Value>& path() const { return path_; }

  // Reads the next block of frames; returns how many, 0 at the end.
  size_t read() {
    frames_ = source_.read(raw_.data(), blockFrames_);
    return frames_;
  }

  // The block's channel in engineering values; valid until the next call.
  const Value* values(uint32_t channel) {
    const uint32_t channels = source_.channels();
    typename EngineeringPath<Value>::Request request{};
    request.source = raw_.data() + channel * (source_.frameBytes() / channels);
    request.output = values_.data();
    request.scale = static_cast<Value>(conversion_.scales[channel]);
    request.offset = static_cast<Value>(conversion_.offsets[channel]);
    request.count = static_cast<int32_t>(frames_);
    request.rawType = source_.type();
    request.stride = static_cast<int32_t>(channels);
    path_.scaledValues(&request);
    return values_.data();
  }

 private:
  EngineeringPath<Value> path_;
  FrameSource& source_;
  ChannelConversion conversion_;
  size_t blockFrames_;
  size_t frames_ = 0;
  AlignedBuffer<unsigned char> raw_;
  AlignedBuffer<Value> values_;
};

}  // namespace kxtool
