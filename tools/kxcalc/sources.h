// Where the frames come from: a raw interleaved binary file, a sound file or frames held in
// memory (the synthetic inputs).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

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

  // Starts reading from the first frame again. Throws Failure when the input cannot be
  // read twice (a pipe).
  virtual void rewind() = 0;

  // The sound file's encoding (libsndfile's SF_FORMAT_* code); 0 for other sources.
  int soundFormat() const { return soundFormat_; }

 protected:
  RawSampleType type_ = RawType_int16_t;
  uint32_t channels_ = 1;
  uint64_t frames_ = 0;
  double sampleRate_ = 0;
  double baseScale_ = 1;
  std::string unit_;
  std::string scaledUnit_;
  std::string description_;
  int soundFormat_ = 0;
};

// Throws Failure: missing or unreadable file, shorter than one frame, not whole frames.
std::unique_ptr<FrameSource> openRawFile(const std::string& path, RawSampleType type,
                                         uint32_t channels);

// Throws Failure: missing or unreadable file, not a sound file, no frame.
std::unique_ptr<FrameSource> openSoundFile(const std::string& path);

// Interleaved 16-bit frames held in memory, at sampleRate Hz (0: unknown), in counts.
std::unique_ptr<FrameSource> memorySource(std::vector<int16_t> samples, uint32_t channels,
                                          double sampleRate, std::string description);

}  // namespace kxtool
