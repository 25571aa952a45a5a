// kxcalc: measures the channels of an acquisition with the kxcalc library.
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "failure.h"
#include "library.h"
#include "measure.h"
#include "options.h"
#include "sources.h"
#include "synthetic.h"

namespace kxtool {
namespace {

constexpr uint64_t kDefaultFrames = 1048576;
constexpr uint32_t kDefaultSyntheticChannels = 4;

void printBanner(const Library& library) {
  uint32_t major = 0, minor = 0, above9 = 0;
  KXTOOL_RESOLVE(library, kxcalcGetVersion)(&major, &minor, 0, &above9);
  std::printf("library: kxcalc %u.%u, %s\n", major, minor, library.path().c_str());
  std::printf("variant: %s (%s)\n", variantName(library.variant()), library.reason().c_str());
}

void printStatistics(const Measurement& measurement, const char* unit) {
  std::printf("\nper channel, in %s:\n", unit);
  std::printf("%7s %16s %16s %16s %16s\n", "channel", "minimum", "maximum", "mean", "RMS");
  for (size_t channel = 0; channel < measurement.channels.size(); ++channel) {
    const ChannelStatistics& statistics = measurement.channels[channel];
    std::printf("%7zu %16.10g %16.10g %16.10g %16.10g\n", channel, statistics.minimum,
                statistics.maximum, statistics.mean(), statistics.rms());
  }
}

void printThroughput(const Measurement& measurement) {
  const double seconds = measurement.librarySeconds > 0 ? measurement.librarySeconds : 1e-9;
  std::printf(
      "\nthroughput: %.4g MB (%llu samples) in %.4g ms of library time: %.1f MB/s, "
      "%.4g samples/s\n",
      static_cast<double>(measurement.bytes) / 1e6,
      static_cast<unsigned long long>(measurement.samples), seconds * 1e3,
      static_cast<double>(measurement.bytes) / 1e6 / seconds,
      static_cast<double>(measurement.samples) / seconds);
}

void runSynthetic(const Library& library, const Options& options) {
  const uint32_t channels = options.channels.value_or(kDefaultSyntheticChannels);
  const uint64_t frames = options.frames.value_or(kDefaultFrames);
  const SyntheticAcquisition acquisition = generateAcquisition(channels, frames);
  const Measurement measurement =
      measureInterleavedInt16(library, acquisition.samples.data(), frames, channels);

  std::printf(
      "input: synthetic acquisition, %u channels of int16 at %.6g Hz, %llu frames "
      "(%.6g s)\n",
      channels, acquisition.sampleRate, static_cast<unsigned long long>(frames),
      static_cast<double>(frames) / acquisition.sampleRate);
  for (uint32_t c = 0; c < channels; ++c) {
    const SyntheticChannel& channel = acquisition.channel[c];
    std::printf(
        "  channel %u: DC %g + sine %g at %g Hz + noise %g rms; expect mean ~%g, "
        "RMS ~%.6g\n",
        c, channel.dcOffset, channel.amplitude, channel.frequency, channel.noise,
        channel.expectedMean(), channel.expectedRms());
  }
  std::printf(
      "each channel moved out of the frames and measured by "
      "kxcalcMoveAndGetMinMaxAveRMS_int16_t\n");
  printStatistics(measurement, "counts");
  printThroughput(measurement);
}

// One value for every channel, or one per channel.
std::vector<double> perChannel(const std::vector<double>& given, double fallback, uint32_t channels,
                               const char* option) {
  if (given.empty()) return std::vector<double>(channels, fallback);
  if (given.size() == 1) return std::vector<double>(channels, given[0]);
  if (given.size() != channels) {
    throw UsageError(format("%s lists %zu values for %u channels (give one, or one per channel)",
                            option, given.size(), channels));
  }
  return given;
}

void runFile(const Library& library, const Options& options) {
  std::unique_ptr<FrameSource> source;
  if (options.rawType) {
    source = openRawFile(*options.file, *options.rawType, options.channels.value_or(1));
  } else {
    source = openSoundFile(*options.file);
    if (options.channels && *options.channels != source->channels()) {
      throw UsageError(format("--channels %u, but '%s' has %u", *options.channels,
                              options.file->c_str(), source->channels()));
    }
  }
  const uint32_t channels = source->channels();
  std::vector<double> scales = perChannel(options.scales, 1.0, channels, "--scale");
  const std::vector<double> offsets = perChannel(options.offsets, 0.0, channels, "--offset");
  for (double& scale : scales) scale *= source->baseScale();

  const Precision precision = options.precision.value_or(Precision::Double);
  if (precision == Precision::Single) {
    for (uint32_t c = 0; c < channels; ++c) {
      if (std::fabs(scales[c]) > FLT_MAX || std::fabs(offsets[c]) > FLT_MAX) {
        throw UsageError(format("channel %u: scale or offset beyond single precision", c));
      }
    }
  }
  const bool single = precision == Precision::Single;

  const Measurement measurement =
      measureEngineeringValues(library, *source, scales, offsets, precision);

  std::printf("input: %s\n", source->description().c_str());
  std::printf(
      "each channel scaled by kxcalcChannelGetScaledValuesAtPos_%s and measured by "
      "kxcalcGetMinMaxAveRMS_%s\n",
      single ? "float" : "double", single ? "float" : "double");
  const bool converted = !options.scales.empty() || !options.offsets.empty();
  printStatistics(measurement, (converted ? source->scaledUnit() : source->unit()).c_str());
  printThroughput(measurement);
}

int run(int argc, char** argv) {
  const Options options = parseOptions(argc, argv);
  if (options.help) {
    std::fputs(helpText(), stdout);
    return 0;
  }
  const Library library(options.variant);
  printBanner(library);
  if (options.file) {
    runFile(library, options);
  } else {
    runSynthetic(library, options);
  }
  return 0;
}

}  // namespace
}  // namespace kxtool

int main(int argc, char** argv) {
  try {
    return kxtool::run(argc, argv);
  } catch (const kxtool::UsageError& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "kxcalc: %s (see kxcalc --help)\n", error.what());
    return 2;
  } catch (const kxtool::Failure& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "kxcalc: %s\n", error.what());
    return 1;
  } catch (const std::bad_alloc&) {
    std::fflush(stdout);
    std::fprintf(stderr, "kxcalc: out of memory\n");
    return 1;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "kxcalc: %s\n", error.what());
    return 1;
  }
}
