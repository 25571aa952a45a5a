#include "synthetic.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "failure.h"

namespace kxtool {

double SyntheticChannel::expectedRms() const {
  // Rounding to whole counts adds a uniform error of variance 1/12.
  return std::sqrt(dcOffset * dcOffset + amplitude * amplitude / 2 + noise * noise + 1.0 / 12);
}

SyntheticAcquisition generateAcquisition(uint32_t channels, uint64_t frames) {
  SyntheticAcquisition acquisition;
  acquisition.channels = channels;
  acquisition.frames = frames;
  // Frequencies are multiples of 50 Hz, so the default 1048576 frames at 51.2 kHz hold
  // whole periods of every sine; peaks stay below 17000 counts.
  for (uint32_t c = 0; c < channels; ++c) {
    acquisition.channel.push_back({
        .dcOffset = 750.0 * (c % 5) - 1500,
        .amplitude = 4000.0 + 2000.0 * (c % 6),
        .frequency = 50.0 * (c % 40 + 1),
        .noise = 50.0 + 25.0 * (c % 5),
    });
  }

  acquisition.samples.resize(frames * channels);
  std::mt19937_64 random(20170217);
  std::normal_distribution<double> gaussian;
  const double radiansPerFrame = 2 * std::numbers::pi / acquisition.sampleRate;
  for (uint32_t c = 0; c < channels; ++c) {
    const SyntheticChannel& parameters = acquisition.channel[c];
    const double step = radiansPerFrame * parameters.frequency;
    for (uint64_t frame = 0; frame < frames; ++frame) {
      const double value = parameters.dcOffset +
                           parameters.amplitude * std::sin(step * static_cast<double>(frame)) +
                           parameters.noise * gaussian(random);
      acquisition.samples[frame * channels + c] =
          static_cast<int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
    }
  }
  return acquisition;
}

std::unique_ptr<FrameSource> acquisitionSource(uint32_t channels, uint64_t frames) {
  SyntheticAcquisition acquisition = generateAcquisition(channels, frames);
  const std::string description =
      format("synthetic acquisition, %u channels of int16 at %.6g Hz, %llu frames", channels,
             acquisition.sampleRate, static_cast<unsigned long long>(frames));
  return memorySource(std::move(acquisition.samples), channels, acquisition.sampleRate,
                      description);
}

namespace {

class SineSource final : public FrameSource {
 public:
  SineSource(double frequency, double amplitude, double sampleRate, uint64_t frames)
      : amplitude_(amplitude), radiansPerFrame_(2 * std::numbers::pi * frequency / sampleRate) {
    type_ = RawType_float;
    frames_ = frames;
    sampleRate_ = sampleRate;
    unit_ = "full-scale units (1.0 is full scale)";
    scaledUnit_ = "engineering units";
    description_ =
        format("synthetic sine of %.6g Hz, amplitude %.6g, at %.6g Hz, %llu frames", frequency,
               amplitude, sampleRate, static_cast<unsigned long long>(frames));
  }

  size_t read(void* buffer, size_t maxFrames) override {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(maxFrames, frames_ - next_));
    auto* samples = static_cast<float*>(buffer);
    for (size_t i = 0; i < count; ++i) {
      const double frame = static_cast<double>(next_ + i);
      samples[i] = static_cast<float>(amplitude_ * std::sin(radiansPerFrame_ * frame));
    }
    next_ += count;
    return count;
  }

  void rewind() override { next_ = 0; }

 private:
  double amplitude_;
  double radiansPerFrame_;
  uint64_t next_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> sineSource(double frequency, double amplitude, double sampleRate,
                                        uint64_t frames) {
  return std::make_unique<SineSource>(frequency, amplitude, sampleRate, frames);
}

}  // namespace kxtool
