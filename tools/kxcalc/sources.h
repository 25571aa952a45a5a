// Where the frames come from: a raw interleaved binary file or a sound file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "kxcalc.h"

namespace kxtool {

// Interleaved frames of one raw sample type, read a run of frames at a time.
class FrameSource {
 public:
  virtual ~FrameSource() = default;

  RawSampleType type() const { return type_; }
  uint32_t channels() const { return channels_; }
  size_t frameBytes() const;
  uint64_t frames() const { return frames_; }        // the whole file, known before reading
  double sampleRate() const { return sampleRate_; }  // 0 when unknown
  // The source's own engineering conversion, before the user's --scale and --offset.
  double baseScale() const { return baseScale_; }
  // What the values are in before and after the user's --scale and --offset.
  const std::string& unit() const { return unit_; }
  const std::string& scaledUnit() const { return scaledUnit_; }
  const std::string& description() const { return description_; }

  // Reads up to maxFrames whole frames into buffer; returns how many, 0 at the end.
  // Throws Failure on a read error or when the data ends in the middle of a frame.
  virtual size_t read(void* buffer, size_t maxFrames) = 0;

 protected:
  RawSampleType type_ = RawType_int16_t;
  uint32_t channels_ = 1;
  uint64_t frames_ = 0;
  double sampleRate_ = 0;
  double baseScale_ = 1;
  std::string unit_;
  std::string scaledUnit_;
  std::string description_;
};

// Throws Failure: missing or unreadable file, shorter than one frame, not whole frames.
std::unique_ptr<FrameSource> openRawFile(const std::string& path, RawSampleType type,
                                         uint32_t channels);

// Throws Failure: missing or unreadable file, not a sound file, no frame.
std::unique_ptr<FrameSource> openSoundFile(const std::string& path);

}  // namespace kxtool
