// kxcalc resample: changes the sample rate of a recording with the library's streaming
// interpolator, one interpolator per channel, block by block, and writes a WAV or FLAC file.
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "channel_blocks.h"
#include "commands.h"
#include "failure.h"
#include "json.h"
#include "library.h"
#include "options.h"
#include "progress.h"
#include "sound_output.h"
#include "sources.h"
#include "synthetic.h"

namespace kxtool {
namespace {

constexpr double kSineFrequency = 1000;
constexpr double kSineAmplitude = 0.5;
constexpr double kSineRate = 48000;
constexpr uint64_t kDefaultSineFrames = 144000;  // three seconds
constexpr uint32_t kLargestRing = 4096;
constexpr uint32_t kSmallestRing = 8;
constexpr double kOutputSamplesPerCall = 1 << 20;  // bounds the interpolator's output array
constexpr double kLargestRatio = 65536;

struct ResampleOptions {
  bool help = false;
  bool json = false;
  InputOptions input;
  std::optional<double> rate;
  std::optional<double> sourceRate;
  std::optional<std::string> output;
  std::optional<Encoding> encoding;
  std::optional<uint64_t> frames;
};

// A rate above 0 Hz; a whole number where a sound file has to store it.
double parseRate(const char* option, const std::string& text, bool whole) {
  const double rate = parseReal(option, text);
  if (!(rate > 0)) throw UsageError(format("%s: '%s' is not above 0 Hz", option, text.c_str()));
  if (whole && (rate != std::floor(rate) || rate > std::numeric_limits<int>::max())) {
    throw UsageError(
        format("%s: '%s' is not a whole number of Hz below 2^31 (sound files store "
               "whole rates)",
               option, text.c_str()));
  }
  return rate;
}

ResampleOptions parseResampleOptions(int argc, char** argv) {
  ResampleOptions options;
  ArgumentReader reader(argc, argv, 2);
  while (reader.next()) {
    const std::string& name = reader.name();
    const char* option = name.c_str();
    if (takeSharedArgument(reader, options.help, options.json, options.input)) {
    } else if (name == "--rate") {
      options.rate = parseRate(option, reader.value(), true);
    } else if (name == "--source-rate") {
      options.sourceRate = parseRate(option, reader.value(), false);
    } else if (name == "-o" || name == "--output") {
      options.output = reader.value();
      containerOfPath(*options.output);
    } else if (name == "--encoding") {
      options.encoding = parseEncoding(reader.value());
    } else if (name == "--frames") {
      options.frames = parseWholeNumber(option, reader.value(), 1, uint64_t{1} << 40);
    } else {
      rejectArgument(reader);
    }
  }
  if (options.help) return options;
  checkInputOptions(options.input);
  if (!options.rate) throw UsageError("--rate HZ is missing: the rate to convert to");
  if (options.input.file && options.frames) {
    throw UsageError("--frames sets the length of the synthetic sine, not of a FILE");
  }
  if (!options.input.file && options.sourceRate) {
    throw UsageError("--source-rate gives the rate of a FILE, and none was given");
  }
  if (options.encoding && !options.output) {
    throw UsageError("--encoding chooses the samples of the -o file, and none was given");
  }
  return options;
}

const char* const kHelp = R"(Usage: kxcalc resample --rate HZ [OPTIONS] [-o OUT.wav|OUT.flac] [FILE]

Changes the sample rate of a recording with the library's streaming cubic
interpolator (kxcalcCHSInterpolator_*), one interpolator per channel, reading
and writing block by block, so memory stays bounded whatever the length.

Input: a sound file (WAV, FLAC, AIFF, ... through libsndfile, in full-scale
units), a raw file with --type and --source-rate, or, without FILE, a 1 kHz
sine of amplitude 0.5 at 48 kHz, three seconds long.

For K input frames the output has trunc((K - 1) * rate / source rate + 1)
frames: the last one falls at or before the last input frame's time.

Options:
  --rate HZ          the output's sample rate (required; a whole number)
  -o, --output FILE  write the output to FILE, WAV or FLAC by its extension;
                     without -o the output is only counted
  --encoding E       the output's samples: pcm8, pcm16, pcm24, pcm32 or float;
                     default: the input's integer PCM where the container
                     holds it, otherwise 24-bit PCM for FLAC and float for WAV.
                     Integer encodings clip beyond full scale (1.0), and the
                     summary counts the clipped samples
  --source-rate HZ   the input's rate: needed for a raw FILE, overrides a sound
                     file's own
  --frames N         length of the synthetic sine (default 144000)
  --json             print the summary as one JSON object
)";

// One channel's interpolator, destroyed with it.
class Interpolator {
 public:
  Interpolator(const Library& library, const CHSInterpolatorParams& parameters)
      : interpolate_(KXTOOL_RESOLVE(library, kxcalcCHSInterpolator_InterpolateValues)),
        stop_(KXTOOL_RESOLVE(library, kxcalcCHSInterpolator_Stop)),
        destroy_(KXTOOL_RESOLVE(library, kxcalcCHSInterpolator_Destroy)) {
    const uint32_t status =
        KXTOOL_RESOLVE(library, kxcalcCHSInterpolator_Create)(&handle_, &parameters);
    if (status != CHSInterpolator_Success || handle_ == nullptr) {
      handle_ = nullptr;
      throw Failure(
          format("the library refused an interpolator from %.9g Hz to %.9g Hz with a "
                 "ring of %u (status %u)",
                 parameters.sourceRate, parameters.targetRate, parameters.ringSize, status));
    }
  }
  ~Interpolator() {
    if (handle_ != nullptr) destroy_(handle_);
  }
  Interpolator(const Interpolator&) = delete;
  Interpolator& operator=(const Interpolator&) = delete;

  // The new output samples for count more input samples; valid until the next call.
  const float* interpolate(const float* input, uint32_t count, uint32_t& outputCount) {
    const float* output = nullptr;
    outputCount = 0;
    check(interpolate_(handle_, input, count, &output, &outputCount), "a block");
    return output;
  }

  // The last output samples, after the last input.
  const float* stop(uint32_t& outputCount) {
    const float* output = nullptr;
    outputCount = 0;
    check(stop_(handle_, &output, &outputCount), "the end of the stream");
    return output;
  }

 private:
  static void check(uint32_t status, const char* what) {
    if (status != CHSInterpolator_Success) {
      throw Failure(format("the library's interpolator refused %s (status %u)", what, status));
    }
  }

  decltype(&kxcalcCHSInterpolator_InterpolateValues) interpolate_;
  decltype(&kxcalcCHSInterpolator_Stop) stop_;
  decltype(&kxcalcCHSInterpolator_Destroy) destroy_;
  CHSInterpolator* handle_ = nullptr;
};

// The largest ring (and with it the longest block) whose output array stays bounded.
uint32_t ringSizeFor(double ratio) {
  uint32_t ring = kLargestRing;
  while (ring > kSmallestRing && (ring + 1.0) * ratio > kOutputSamplesPerCall) ring /= 2;
  return ring;
}

struct ResampleResult {
  uint64_t inputFrames = 0;
  uint64_t outputFrames = 0;
};

// Interleaves the channels' new samples into frames and passes them on.
class FrameCollector {
 public:
  FrameCollector(uint32_t channels, SoundOutput* output) : channels_(channels), output_(output) {}

  void add(uint32_t channel, const float* samples, uint32_t count) {
    if (channel == 0) {
      count_ = count;
      frames_.resize(static_cast<size_t>(count) * channels_);
    } else if (count != count_) {
      throw Failure(format("the interpolator gave channel %u %u samples, channel 0 %u", channel,
                           count, count_));
    }
    for (uint32_t i = 0; i < count; ++i)
      frames_[static_cast<size_t>(i) * channels_ + channel] = samples[i];
  }

  uint64_t flush() {
    if (output_ != nullptr && count_ > 0) output_->write(frames_.data(), count_);
    const uint32_t written = count_;
    count_ = 0;
    return written;
  }

 private:
  uint32_t channels_;
  SoundOutput* output_;
  uint32_t count_ = 0;
  std::vector<float> frames_;
};

ResampleResult resample(const Library& library, FrameSource& source,
                        const ChannelConversion& conversion, double sourceRate, double targetRate,
                        uint32_t ringSize, SoundOutput* output) {
  const uint32_t channels = source.channels();
  const CHSInterpolatorParams parameters{sourceRate, targetRate, ringSize};
  std::vector<std::unique_ptr<Interpolator>> interpolators;
  for (uint32_t c = 0; c < channels; ++c) {
    interpolators.push_back(std::make_unique<Interpolator>(library, parameters));
  }

  ChannelBlocks<float> blocks(library, source, conversion);
  // The ring takes up to ringSize - 2 samples a call, but the output still owed from the
  // previous call needs the sample before its left neighbour, which a block of
  // ringSize - 2 would overwrite: one less keeps it.
  blocks.limitBlock(ringSize - 3);
  FrameCollector collector(channels, output);
  Progress progress("resample", source.frames());
  ResampleResult result;
  while (const size_t count = blocks.read()) {
    for (uint32_t c = 0; c < channels; ++c) {
      uint32_t produced = 0;
      const float* samples =
          interpolators[c]->interpolate(blocks.values(c), static_cast<uint32_t>(count), produced);
      collector.add(c, samples, produced);
    }
    result.outputFrames += collector.flush();
    result.inputFrames += count;
    progress.update(result.inputFrames);
  }
  if (result.inputFrames == 0) {
    throw Failure(format("%s: no complete frame", source.description().c_str()));
  }
  for (uint32_t c = 0; c < channels; ++c) {
    uint32_t produced = 0;
    const float* samples = interpolators[c]->stop(produced);
    collector.add(c, samples, produced);
  }
  result.outputFrames += collector.flush();
  return result;
}

}  // namespace

int resampleCommand(int argc, char** argv) {
  const ResampleOptions options = parseResampleOptions(argc, argv);
  if (options.help) {
    std::printf("%s%s%s", kHelp, kInputOptionsHelp, kVariantHelp);
    return 0;
  }
  const Library library(options.input.variant);

  std::unique_ptr<FrameSource> source =
      options.input.file ? openInputFile(options.input)
                         : sineSource(kSineFrequency, kSineAmplitude, kSineRate,
                                      options.frames.value_or(kDefaultSineFrames));
  const double sourceRate = options.sourceRate.value_or(source->sampleRate());
  if (!(sourceRate > 0)) {
    throw UsageError(format("'%s' does not say its sample rate: give --source-rate HZ",
                            options.input.file->c_str()));
  }
  const double targetRate = *options.rate;
  const double ratio = targetRate / sourceRate;
  if (ratio > kLargestRatio) {
    throw UsageError(format("--rate %.9g Hz is more than %.0f times the source's %.9g Hz",
                            targetRate, kLargestRatio, sourceRate));
  }
  const ChannelConversion conversion = channelConversion(options.input, *source);
  requireSinglePrecision(conversion);
  const uint32_t ringSize = ringSizeFor(ratio);

  std::unique_ptr<SoundOutput> output;
  if (options.output) {
    const int container = containerOfPath(*options.output);
    output = std::make_unique<SoundOutput>(
        *options.output, container,
        options.encoding.value_or(defaultEncoding(container, source->soundFormat())),
        static_cast<int>(targetRate), source->channels());
  }
  const ResampleResult result =
      resample(library, *source, conversion, sourceRate, targetRate, ringSize, output.get());
  if (output) output->close();

  const std::string outputText =
      output ? format("'%s', %s", options.output->c_str(), output->formatText().c_str())
             : std::string("not written (no -o)");
  if (options.json) {
    JsonObject input;
    input.add("description", source->description())
        .add("rate", sourceRate)
        .add("frames", result.inputFrames)
        .add("channels", source->channels());
    JsonObject written;
    written.add("rate", targetRate).add("frames", result.outputFrames);
    if (output) {
      written.add("path", *options.output)
          .add("format", output->formatText())
          .add("clippedSamples", output->clippedSamples());
    }
    JsonObject summary;
    summary.add("input", input)
        .add("output", written)
        .add("ratio", ratio)
        .add("ringSize", ringSize)
        .add("library", JsonObject()
                            .add("version", library.version())
                            .add("variant", variantName(library.variant()))
                            .add("path", library.path()));
    std::printf("%s\n", summary.text().c_str());
    return 0;
  }
  printBanner(library);
  std::printf("input: %s\n", source->description().c_str());
  std::printf("resampled: %.9g Hz -> %.9g Hz (ratio %.9g), %u channel%s, ring of %u frames\n",
              sourceRate, targetRate, ratio, source->channels(), source->channels() == 1 ? "" : "s",
              ringSize);
  std::printf("frames: %llu in, %llu out\n", static_cast<unsigned long long>(result.inputFrames),
              static_cast<unsigned long long>(result.outputFrames));
  std::printf("output: %s\n", outputText.c_str());
  if (output && output->clippedSamples() > 0) {
    std::printf("clipped: %llu samples beyond full scale\n",
                static_cast<unsigned long long>(output->clippedSamples()));
  }
  return 0;
}

}  // namespace kxtool
