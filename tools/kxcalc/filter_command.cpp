// kxcalc filter: designs a Butterworth IIR or a Kaiser-windowed sinc FIR filter, runs a
// recording through it with the library's filters, one filter state per channel carried
// from block to block, and writes a WAV or FLAC file; or makes pink noise.
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "channel_blocks.h"
#include "commands.h"
#include "failure.h"
#include "filter_design.h"
#include "json.h"
#include "library.h"
#include "options.h"
#include "progress.h"
#include "sound_output.h"
#include "sources.h"
#include "synthetic.h"

namespace kxtool {
namespace {

constexpr double kDefaultRate = 48000;
constexpr double kSineAmplitude = 0.5;
constexpr uint64_t kDefaultFrames = 144000;  // three seconds at 48 kHz
constexpr uint32_t kLargestOrder = 64;
constexpr uint32_t kLargestLength = 1 << 16;
constexpr double kLeastAttenuation = 8;  // below it Kaiser's length formula has no meaning
constexpr double kMostAttenuation = 200;

enum class Design { Iir, Fir };

struct FilterOptions {
  bool help = false;
  bool json = false;
  bool printDesign = false;
  bool pink = false;
  InputOptions input;
  Design design = Design::Iir;
  std::optional<Band> band;
  std::vector<double> cutoffs;
  uint32_t order = 4;
  std::optional<uint32_t> length;
  double attenuation = 60;
  std::optional<double> transition;
  std::optional<double> rate;
  std::optional<double> sine;
  std::optional<uint64_t> frames;
  uint64_t seed = 1;
  std::optional<std::string> output;
  std::optional<Encoding> encoding;
};

Band parseBand(const std::string& text) {
  if (text == "lowpass") return Band::Lowpass;
  if (text == "highpass") return Band::Highpass;
  if (text == "bandpass") return Band::Bandpass;
  if (text == "bandstop") return Band::Bandstop;
  throw UsageError(
      format("--filter: unknown filter type '%s' (lowpass, highpass, bandpass or "
             "bandstop)",
             text.c_str()));
}

const char* bandName(Band band) {
  switch (band) {
    case Band::Lowpass:
      return "lowpass";
    case Band::Highpass:
      return "highpass";
    case Band::Bandpass:
      return "bandpass";
    case Band::Bandstop:
      return "bandstop";
  }
  return "";
}

bool passesNyquist(Band band) {
  return band == Band::Highpass || band == Band::Bandstop;
}

FilterOptions parseFilterOptions(int argc, char** argv) {
  FilterOptions options;
  ArgumentReader reader(argc, argv, 2);
  while (reader.next()) {
    const std::string& name = reader.name();
    const char* option = name.c_str();
    if (takeSharedArgument(reader, options.help, options.json, options.input)) {
    } else if (name == "--filter") {
      options.band = parseBand(reader.value());
    } else if (name == "--cutoff") {
      options.cutoffs = parseRealList(option, reader.value());
    } else if (name == "--design") {
      const std::string design = reader.value();
      if (design == "iir") {
        options.design = Design::Iir;
      } else if (design == "fir") {
        options.design = Design::Fir;
      } else {
        throw UsageError(format("--design: '%s' is neither iir nor fir", design.c_str()));
      }
    } else if (name == "--order") {
      options.order =
          static_cast<uint32_t>(parseWholeNumber(option, reader.value(), 0, kLargestOrder));
    } else if (name == "--length") {
      options.length =
          static_cast<uint32_t>(parseWholeNumber(option, reader.value(), 0, kLargestLength));
    } else if (name == "--attenuation") {
      options.attenuation = parseReal(option, reader.value());
    } else if (name == "--transition") {
      options.transition = parseReal(option, reader.value());
    } else if (name == "--rate") {
      options.rate = parseReal(option, reader.value());
      if (!(*options.rate > 0)) throw UsageError("--rate: the sample rate must be above 0 Hz");
    } else if (name == "--sine") {
      options.sine = parseReal(option, reader.value());
    } else if (name == "--frames") {
      options.frames = parseWholeNumber(option, reader.value(), 1, uint64_t{1} << 40);
    } else if (name == "--seed") {
      options.seed = parseWholeNumber(option, reader.value(), 0, UINT64_MAX);
    } else if (name == "--pink") {
      options.pink = true;
    } else if (name == "--print-design") {
      options.printDesign = true;
    } else if (name == "-o" || name == "--output") {
      options.output = reader.value();
      containerOfPath(*options.output);
    } else if (name == "--encoding") {
      options.encoding = parseEncoding(reader.value());
    } else {
      rejectArgument(reader);
    }
  }
  if (options.help) return options;
  checkInputOptions(options.input);
  if (options.input.file && (options.frames || options.sine)) {
    throw UsageError("--frames and --sine shape the synthetic input, not a FILE");
  }
  if (options.encoding && !options.output) {
    throw UsageError("--encoding chooses the samples of the -o file, and none was given");
  }
  if (options.pink) {
    if (options.input.file) throw UsageError("--pink makes its own noise and reads no FILE");
    return options;
  }
  if (!options.band) throw UsageError("--filter TYPE is missing (lowpass, highpass, ...)");
  return options;
}

// The design's edges and sizes, checked against the sample rate; throws UsageError.
void checkDesign(FilterOptions& options, double rate) {
  const Band band = *options.band;
  const size_t edges = band == Band::Lowpass || band == Band::Highpass ? 1 : 2;
  if (options.cutoffs.size() != edges) {
    throw UsageError(format("--cutoff: a %s filter takes %s", bandName(band),
                            edges == 1 ? "one frequency" : "two frequencies, LOW,HIGH"));
  }
  const double nyquist = rate / 2;
  for (const double cutoff : options.cutoffs) {
    if (!(cutoff > 0 && cutoff < nyquist)) {
      throw UsageError(
          format("--cutoff: %.9g Hz is not between 0 Hz and the Nyquist frequency "
                 "%.9g Hz (both excluded)",
                 cutoff, nyquist));
    }
  }
  if (edges == 2 && !(options.cutoffs[0] < options.cutoffs[1])) {
    throw UsageError(format("--cutoff: the band edges %.9g,%.9g Hz are not in rising order",
                            options.cutoffs[0], options.cutoffs[1]));
  }
  if (options.design == Design::Iir) {
    if (options.order == 0 || options.order % 2 != 0) {
      throw UsageError(format("--order: %u is not an even order of at least 2", options.order));
    }
    return;
  }
  if (options.length) {
    if (*options.length == 0) throw UsageError("--length: a FIR filter needs at least one tap");
    if (passesNyquist(band) && *options.length % 2 == 0) {
      throw UsageError(format("--length: a %s FIR filter needs an odd length, not %u",
                              bandName(band), *options.length));
    }
    return;
  }
  if (!(options.attenuation >= kLeastAttenuation && options.attenuation <= kMostAttenuation)) {
    throw UsageError(format("--attenuation: %.9g dB is outside %.0f ... %.0f dB",
                            options.attenuation, kLeastAttenuation, kMostAttenuation));
  }
  const double transition = options.transition.value_or(options.cutoffs[0] / 10);
  if (!(transition > 0 && transition < nyquist)) {
    throw UsageError(
        format("--transition: %.9g Hz is not between 0 Hz and the Nyquist "
               "frequency %.9g Hz",
               transition, nyquist));
  }
  const double length = kaiserLength(options.attenuation, transition / nyquist);
  if (length > kLargestLength) {
    throw UsageError(format("--transition: %.9g Hz at %.9g dB needs %.0f taps, more than %u",
                            transition, options.attenuation, length, kLargestLength));
  }
  options.transition = transition;
}

struct FilterDesign {
  std::vector<Section> sections;  // IIR
  std::vector<double> taps;       // FIR
  double beta = 0;
};

FilterDesign designFilter(const FilterOptions& options, double rate) {
  FilterDesign design;
  if (options.design == Design::Iir) {
    design.sections = butterworthSections(options.order, *options.band, options.cutoffs, rate);
    return design;
  }
  design.beta = kaiserBeta(options.attenuation);
  uint32_t length = 0;
  if (options.length) {
    length = *options.length;
  } else {
    length =
        static_cast<uint32_t>(kaiserLength(options.attenuation, *options.transition / (rate / 2)));
    // A filter that passes Nyquist needs a tap at the centre: the next odd length.
    if (passesNyquist(*options.band) && length % 2 == 0) ++length;
  }
  design.taps = kaiserSincTaps(length, *options.band, options.cutoffs, rate, design.beta);
  return design;
}

const char* const kHelp =
    R"(Usage: kxcalc filter --filter TYPE --cutoff HZ[,HZ] [OPTIONS] [-o OUT] [FILE]
       kxcalc filter --pink [--seed N] [--frames N] [--rate HZ] [-o OUT]

Filters a recording, channel by channel, with a filter designed here and run by
the library: a Butterworth IIR cascade of second-order sections
(kxcalcIIRFilter_double) or a Kaiser-windowed sinc FIR (kxcalcFIRFilter_float),
reading and writing block by block, each channel's filter state carried across
the blocks. With --pink it writes pink noise instead (kxcalcPinkFilter_double
on uniform white noise in [-1, 1)).

Input: a sound file (WAV, FLAC, ... through libsndfile, in full-scale units), a
raw file with --type and --rate, or, without FILE, a sine of amplitude 0.5 at
48 kHz (--sine HZ, default 1000 Hz), three seconds long.

Output: -o OUT.wav or OUT.flac, at the input's rate; without -o the output is
only counted.

Options:
  --filter TYPE      lowpass, highpass, bandpass or bandstop
  --cutoff HZ[,HZ]   the corner (-3 dB for IIR, -6 dB for FIR) of a low- or
                     high-pass; LOW,HIGH band edges for band filters
  --design D         iir (default) or fir
  --order N          IIR: the low-pass prototype's order, even, 2 ... 64
                     (default 4). A low- or high-pass has N poles (N/2
                     sections); a band filter has 2N poles (N sections)
  --length N         FIR: the number of taps (odd for highpass and bandstop);
                     default: Kaiser's estimate from the next two options
  --attenuation DB   FIR: stop-band attenuation, 8 ... 200 dB (default 60)
  --transition HZ    FIR: transition width (default a tenth of the lowest cutoff);
                     an even estimated length grows by one where an odd one is
                     needed
  --rate HZ          the sample rate of a raw FILE, of the synthetic input and
                     of --pink (default 48000)
  --sine HZ          the synthetic sine's frequency (default 1000)
  --frames N         the length of the synthetic input or of --pink
  --seed N           --pink: the white noise's seed (default 1)
  -o, --output FILE  write the output to FILE, WAV or FLAC by its extension
  --encoding E       pcm8, pcm16, pcm24, pcm32 or float (default: float for WAV,
                     24-bit PCM for FLAC, the input's integer PCM where it fits)
  --print-design     print the design instead of filtering: the sections as
                     b0 b1 b2 a0 a1 a2 (a0 = 1; y[n] = b0 x[n] + b1 x[n-1] +
                     b2 x[n-2] - a1 y[n-1] - a2 y[n-2]) or the FIR taps, %.17g
  --json             print the design or the summary as one JSON object
)";

// One channel's cascade: the library's tap layout, oldest tap first, unit input gains.
class IirChannel {
 public:
  explicit IirChannel(const std::vector<Section>& sections)
      : gains_(sections.size(), 1.0), taps_(sections.size() * 3) {
    // Tap 0 weighs x[n-2] and y[n-2], tap 2 the section's input x[n] (its a is never read).
    IIRTap* taps = taps_.data();
    for (size_t s = 0; s < sections.size(); ++s) {
      const Section& section = sections[s];
      taps[3 * s + 0] = IIRTap{0, 0, section[2], section[5]};
      taps[3 * s + 1] = IIRTap{0, 0, section[1], section[4]};
      taps[3 * s + 2] = IIRTap{0, 0, section[0], 0};
    }
    state_ = IIRFilterState{3, static_cast<int32_t>(sections.size()), 2, 0, gains_.data(), taps};
  }
  IIRFilterState* state() { return &state_; }

 private:
  std::vector<double> gains_;
  AlignedBuffer<IIRTap> taps_;
  IIRFilterState state_{};
};

// One channel's FIR history: the last `length` samples in a ring, the newest written at
// `next`, which then moves on, so that the ring read from `next` runs oldest to newest.
class FirChannel {
 public:
  explicit FirChannel(size_t length) : ring_(length, 0.0f) {}

  float filter(decltype(&kxcalcFIRFilter_float) run, const float* reversedTaps, float sample) {
    const auto length = static_cast<int32_t>(ring_.size());
    ring_[next_] = sample;
    next_ = next_ + 1 == ring_.size() ? 0 : next_ + 1;
    return run(ring_.data(), reversedTaps, length, static_cast<int32_t>(next_));
  }

 private:
  std::vector<float> ring_;
  size_t next_ = 0;
};

// Uniform white noise in [-1, 1) from a 64-bit counter hash, the same on every platform.
class WhiteNoise {
 public:
  explicit WhiteNoise(uint64_t seed) : state_(seed) {}
  double next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) * 0x1p-52 - 1.0;
  }

 private:
  uint64_t state_;
};

std::string numberList(const double* values, size_t count, const char* separator) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) text += separator;
    text += format("%.17g", values[i]);
  }
  return text;
}

void printDesign(const FilterOptions& options, const FilterDesign& design, double rate) {
  const bool iir = options.design == Design::Iir;
  if (options.json) {
    JsonObject object;
    object.add("design", iir ? "butterworth" : "kaiser-sinc")
        .add("filter", bandName(*options.band))
        .add("rate", rate)
        .addRaw("cutoff",
                "[" + numberList(options.cutoffs.data(), options.cutoffs.size(), ", ") + "]");
    if (iir) {
      std::string sections;
      for (const Section& section : design.sections) {
        if (!sections.empty()) sections += ", ";
        sections += "[" + numberList(section.data(), section.size(), ", ") + "]";
      }
      object.add("order", options.order).addRaw("sos", "[" + sections + "]");
    } else {
      object.add("length", static_cast<uint32_t>(design.taps.size()))
          .add("beta", design.beta)
          .addRaw("taps", "[" + numberList(design.taps.data(), design.taps.size(), ", ") + "]");
    }
    std::printf("%s\n", object.text().c_str());
    return;
  }
  if (iir) {
    std::printf("# Butterworth %s, order %u, %zu sections: b0 b1 b2 a0 a1 a2\n",
                bandName(*options.band), options.order, design.sections.size());
    for (const Section& section : design.sections) {
      std::printf("%s\n", numberList(section.data(), section.size(), " ").c_str());
    }
  } else {
    std::printf("# Kaiser-windowed sinc %s, %zu taps, beta %.17g\n", bandName(*options.band),
                design.taps.size(), design.beta);
    for (const double tap : design.taps) std::printf("%.17g\n", tap);
  }
}

std::unique_ptr<SoundOutput> openOutput(const FilterOptions& options, int inputFormat, double rate,
                                        uint32_t channels) {
  if (!options.output) return nullptr;
  if (rate != std::floor(rate) || rate > std::numeric_limits<int>::max()) {
    throw UsageError(
        format("the rate %.9g Hz is not a whole number of Hz below 2^31, which "
               "'%s' would have to store",
               rate, options.output->c_str()));
  }
  const int container = containerOfPath(*options.output);
  return std::make_unique<SoundOutput>(
      *options.output, container,
      options.encoding.value_or(defaultEncoding(container, inputFormat)), static_cast<int>(rate),
      channels);
}

// Runs every channel of the source through its own filter and writes the frames.
template <typename Value, typename FilterSample>
uint64_t filterFrames(const Library& library, FrameSource& source,
                      const ChannelConversion& conversion, SoundOutput* output,
                      FilterSample filterSample) {
  const uint32_t channels = source.channels();
  ChannelBlocks<Value> blocks(library, source, conversion);
  std::vector<float> frames(blocks.blockFrames() * channels);
  Progress progress("filter", source.frames());
  uint64_t done = 0;
  while (const size_t count = blocks.read()) {
    for (uint32_t c = 0; c < channels; ++c) {
      const Value* values = blocks.values(c);
      for (size_t i = 0; i < count; ++i) {
        frames[i * channels + c] = static_cast<float>(filterSample(c, values[i]));
      }
    }
    if (output != nullptr) output->write(frames.data(), count);
    done += count;
    progress.update(done);
  }
  if (done == 0) throw Failure(format("%s: no complete frame", source.description().c_str()));
  return done;
}

uint64_t makePink(const Library& library, const FilterOptions& options, SoundOutput* output) {
  const auto pink = KXTOOL_RESOLVE(library, kxcalcPinkFilter_double);
  const uint64_t total = options.frames.value_or(kDefaultFrames);
  PinkFilterState state{};
  WhiteNoise white(options.seed);
  std::vector<float> block(1 << 14);
  Progress progress("pink noise", total);
  for (uint64_t done = 0; done < total;) {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(block.size(), total - done));
    for (size_t i = 0; i < count; ++i) {
      block[i] = static_cast<float>(pink(&state, white.next()));
    }
    if (output != nullptr) output->write(block.data(), count);
    done += count;
    progress.update(done);
  }
  return total;
}

}  // namespace

int filterCommand(int argc, char** argv) {
  FilterOptions options = parseFilterOptions(argc, argv);
  if (options.help) {
    std::printf("%s%s%s", kHelp, kInputOptionsHelp, kVariantHelp);
    return 0;
  }
  std::unique_ptr<FrameSource> source;
  double rate = options.rate.value_or(kDefaultRate);
  if (!options.pink && options.input.file) {
    source = openInputFile(options.input);
    if (!options.rate) rate = source->sampleRate();
    if (!(rate > 0)) {
      throw UsageError(
          format("'%s' does not say its sample rate: give --rate HZ", options.input.file->c_str()));
    }
  }
  FilterDesign design;
  if (!options.pink) {
    checkDesign(options, rate);
    design = designFilter(options, rate);
    if (options.printDesign) {
      printDesign(options, design, rate);
      return 0;
    }
  }
  const Library library(options.input.variant);
  if (!source && !options.pink) {
    source = sineSource(options.sine.value_or(1000), kSineAmplitude, rate,
                        options.frames.value_or(kDefaultFrames));
  }

  std::unique_ptr<SoundOutput> output = openOutput(options, source ? source->soundFormat() : 0,
                                                   rate, source ? source->channels() : 1);
  uint64_t frames = 0;
  if (options.pink) {
    frames = makePink(library, options, output.get());
  } else {
    const ChannelConversion conversion = channelConversion(options.input, *source);
    const uint32_t channels = source->channels();
    if (options.design == Design::Iir) {
      const auto iir = KXTOOL_RESOLVE(library, kxcalcIIRFilter_double);
      std::vector<std::unique_ptr<IirChannel>> filters;
      for (uint32_t c = 0; c < channels; ++c) {
        filters.push_back(std::make_unique<IirChannel>(design.sections));
      }
      frames =
          filterFrames<double>(library, *source, conversion, output.get(),
                               [&](uint32_t c, double x) { return iir(filters[c]->state(), x); });
    } else {
      requireSinglePrecision(conversion);
      const auto fir = KXTOOL_RESOLVE(library, kxcalcFIRFilter_float);
      // The ring is read oldest first, so the taps meet it in reverse: an ordinary
      // convolution, y[n] = sum of taps[j] x[n - j].
      std::vector<float> reversed(design.taps.rbegin(), design.taps.rend());
      std::vector<FirChannel> filters(channels, FirChannel(design.taps.size()));
      frames = filterFrames<float>(
          library, *source, conversion, output.get(),
          [&](uint32_t c, float x) { return filters[c].filter(fir, reversed.data(), x); });
    }
  }
  if (output) output->close();

  const std::string what =
      options.pink ? format("pink noise, seed %llu", static_cast<unsigned long long>(options.seed))
      : options.design == Design::Iir
          ? format("Butterworth %s of order %u, %zu sections", bandName(*options.band),
                   options.order, design.sections.size())
          : format("Kaiser-windowed sinc %s, %zu taps", bandName(*options.band),
                   design.taps.size());
  if (options.json) {
    JsonObject summary;
    summary.add("filter", what).add("rate", rate).add("frames", frames);
    if (source) summary.add("input", source->description()).add("channels", source->channels());
    if (output) {
      summary.add("output", *options.output)
          .add("format", output->formatText())
          .add("clippedSamples", output->clippedSamples());
    }
    summary.add("library", JsonObject()
                               .add("version", library.version())
                               .add("variant", variantName(library.variant()))
                               .add("path", library.path()));
    std::printf("%s\n", summary.text().c_str());
    return 0;
  }
  printBanner(library);
  if (source) std::printf("input: %s\n", source->description().c_str());
  std::printf("filter: %s, at %.9g Hz\n", what.c_str(), rate);
  std::printf("frames: %llu\n", static_cast<unsigned long long>(frames));
  std::printf(
      "output: %s\n",
      output ? format("'%s', %s", options.output->c_str(), output->formatText().c_str()).c_str()
             : "not written (no -o)");
  if (output && output->clippedSamples() > 0) {
    std::printf("clipped: %llu samples beyond full scale\n",
                static_cast<unsigned long long>(output->clippedSamples()));
  }
  return 0;
}

}  // namespace kxtool
