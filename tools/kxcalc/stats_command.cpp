// kxcalc stats: measures every channel of an acquisition with the library and prints its
// minimum, maximum, mean and RMS, and the library's throughput.
#include <cstdio>
#include <string>
#include <vector>

#include "channel_blocks.h"
#include "commands.h"
#include "failure.h"
#include "json.h"
#include "library.h"
#include "measure.h"
#include "options.h"
#include "progress.h"
#include "sources.h"
#include "synthetic.h"

namespace kxtool {
namespace {

constexpr uint64_t kDefaultFrames = 1048576;
constexpr uint32_t kDefaultSyntheticChannels = 4;

struct StatsOptions {
  bool help = false;
  bool json = false;
  InputOptions input;
  std::optional<Precision> precision;  // engineering values in double or single precision
  std::optional<uint64_t> frames;      // length of the synthetic acquisition
};

StatsOptions parseStatsOptions(int argc, char** argv) {
  StatsOptions options;
  ArgumentReader reader(argc, argv, 2);
  while (reader.next()) {
    const std::string& name = reader.name();
    if (takeSharedArgument(reader, options.help, options.json, options.input)) {
    } else if (name == "--precision") {
      const std::string text = reader.value();
      if (text == "double") {
        options.precision = Precision::Double;
      } else if (text == "single" || text == "float") {
        options.precision = Precision::Single;
      } else {
        throw UsageError(format("--precision: '%s' is not double or single", text.c_str()));
      }
    } else if (name == "--frames") {
      options.frames = parseWholeNumber(name.c_str(), reader.value(), 1, uint64_t{1} << 32);
    } else {
      rejectArgument(reader);
    }
  }
  if (options.help) return options;
  checkInputOptions(options.input);
  if (options.input.file && options.frames) {
    throw UsageError("--frames sets the length of the synthetic run, not of a FILE");
  }
  if (!options.input.file && options.precision) {
    throw UsageError("--precision chooses the engineering values of a FILE, and none was given");
  }
  return options;
}

const char* const kHelp = R"(Usage: kxcalc stats [OPTIONS] [FILE]

Measures every channel of an acquisition with the kxcalc library and prints its
minimum, maximum, mean and RMS, and the library's throughput.

Without FILE, kxcalc generates a synthetic acquisition of interleaved 16-bit
frames (each channel with its own DC offset, sine and noise) and moves each
channel out of the frames while measuring it, in counts.

With FILE, each channel is turned into engineering values (raw value * scale +
offset) and measured in those units:
  - sound files (WAV, FLAC, AIFF, ... through libsndfile) in full-scale units,
    1.0 being full scale, before --scale and --offset;
  - raw interleaved binary files in native byte order, when --type is given.

Options:
)";

const char* const kHelpOwnOptions =
    R"(  --precision P      engineering values in double (default) or single precision
  --frames N         frames of the synthetic run (default 1048576)
  --channels N       also the channels of the synthetic run (default 4)
  --json             print the results as one JSON object instead
)";

const char* const kHelpEnd = R"(
A forced variant's library, libkxcalc-avx2fma3.so.2.17 or
libkxcalc-generic.so.2.17, is loaded from the program's own directory (or ../lib
beside it).
)";

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

void printJson(const Library& library, const std::string& input, const std::string& unit,
               const Measurement& measurement) {
  std::string channels = "[";
  for (size_t c = 0; c < measurement.channels.size(); ++c) {
    const ChannelStatistics& statistics = measurement.channels[c];
    channels += (c ? ", " : "") + JsonObject()
                                      .add("channel", static_cast<uint32_t>(c))
                                      .add("minimum", statistics.minimum)
                                      .add("maximum", statistics.maximum)
                                      .add("mean", statistics.mean())
                                      .add("rms", statistics.rms())
                                      .text();
  }
  JsonObject summary;
  summary.add("input", input)
      .add("unit", unit)
      .addRaw("channels", channels + "]")
      .add("throughput", JsonObject()
                             .add("bytes", measurement.bytes)
                             .add("samples", measurement.samples)
                             .add("librarySeconds", measurement.librarySeconds))
      .add("library", JsonObject()
                          .add("version", library.version())
                          .add("variant", variantName(library.variant()))
                          .add("path", library.path()));
  std::printf("%s\n", summary.text().c_str());
}

void runSynthetic(const Library& library, const StatsOptions& options) {
  const uint32_t channels = options.input.channels.value_or(kDefaultSyntheticChannels);
  const uint64_t frames = options.frames.value_or(kDefaultFrames);
  const SyntheticAcquisition acquisition = generateAcquisition(channels, frames);
  const Measurement measurement =
      measureInterleavedInt16(library, acquisition.samples.data(), frames, channels);
  if (options.json) {
    printJson(library,
              format("synthetic acquisition, %u channels of int16 at %.6g Hz, %llu frames",
                     channels, acquisition.sampleRate, static_cast<unsigned long long>(frames)),
              "counts", measurement);
    return;
  }
  printBanner(library);

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

void runFile(const Library& library, const StatsOptions& options) {
  std::unique_ptr<FrameSource> source = openInputFile(options.input);
  const ChannelConversion conversion = channelConversion(options.input, *source);
  const Precision precision = options.precision.value_or(Precision::Double);
  const bool single = precision == Precision::Single;
  if (single) requireSinglePrecision(conversion);

  Progress progress("stats", source->frames());
  const Measurement measurement =
      measureEngineeringValues(library, *source, conversion, precision, &progress);
  progress.finish();
  const std::string& unit = conversion.userGiven ? source->scaledUnit() : source->unit();
  if (options.json) {
    printJson(library, source->description(), unit, measurement);
    return;
  }
  printBanner(library);

  std::printf("input: %s\n", source->description().c_str());
  std::printf(
      "each channel scaled by kxcalcChannelGetScaledValuesAtPos_%s and measured by "
      "kxcalcGetMinMaxAveRMS_%s\n",
      single ? "float" : "double", single ? "float" : "double");
  printStatistics(measurement, unit.c_str());
  printThroughput(measurement);
}

}  // namespace

int statsCommand(int argc, char** argv) {
  const StatsOptions options = parseStatsOptions(argc, argv);
  if (options.help) {
    std::printf("%s%s%s%s%s", kHelp, kInputOptionsHelp, kHelpOwnOptions, kVariantHelp, kHelpEnd);
    return 0;
  }
  const Library library(options.input.variant);
  if (options.input.file) {
    runFile(library, options);
  } else {
    runSynthetic(library, options);
  }
  return 0;
}

}  // namespace kxtool
