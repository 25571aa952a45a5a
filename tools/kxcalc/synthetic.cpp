#include "synthetic.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

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

}  // namespace kxtool
