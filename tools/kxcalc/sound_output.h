// Writing interleaved float frames to a WAV or FLAC file through libsndfile.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kxtool {

enum class Encoding { Pcm8, Pcm16, Pcm24, Pcm32, Float };

// The container chosen by the path's extension (.wav or .flac, any case); throws UsageError
// for any other.
int containerOfPath(const std::string& path);

// Throws UsageError for a name other than pcm8, pcm16, pcm24, pcm32 or float.
Encoding parseEncoding(const std::string& text);

// The encoding of the output when none is asked for: the input's integer PCM width where
// the container holds it, else 24-bit PCM for FLAC and float for WAV. inputFormat is the
// input's libsndfile format, 0 when it is not a sound file.
Encoding defaultEncoding(int container, int inputFormat);

class SoundOutput {
 public:
  // Throws Failure when the file cannot be created, UsageError when the container cannot
  // hold the encoding. Float to integer conversion clips at full scale.
  SoundOutput(const std::string& path, int container, Encoding encoding, int sampleRate,
              uint32_t channels);
  ~SoundOutput();  // a file never closed (the work failed) is removed
  SoundOutput(const SoundOutput&) = delete;
  SoundOutput& operator=(const SoundOutput&) = delete;

  void write(const float* frames, size_t count);  // throws Failure
  void close();                                   // throws Failure

  // Samples beyond full scale (|x| > 1) that an integer encoding clipped.
  uint64_t clippedSamples() const { return clipped_; }
  std::string formatText() const;  // e.g. "FLAC, Signed 24 bit PCM"

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  std::string path_;
  int format_;
  bool integer_;
  uint32_t channels_;
  uint64_t clipped_ = 0;
  std::unique_ptr<SNDFILE, Close> file_;
};

}  // namespace kxtool
