#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "failure.h"

namespace kxtool {
namespace {

struct RawTypeInfo {
  const char* name;
  size_t size;
};

// Indexed by the RawSampleType code.
constexpr RawTypeInfo kRawTypes[] = {
    {"uint8", 1}, {"int8", 1},  {"int16", 2},  {"uint16", 2}, {"int32", 4},
    {"float", 4}, {"int64", 8}, {"double", 8}, {"uint32", 4},
};
constexpr uint32_t kRawTypeCount = sizeof(kRawTypes) / sizeof(kRawTypes[0]);

constexpr uint32_t kMaxChannels = 65536;

RawSampleType parseRawType(const std::string& text) {
  for (uint32_t code = 0; code < kRawTypeCount; ++code) {
    if (text == kRawTypes[code].name) return code;
  }
  throw UsageError(
      format("unknown sample type '%s' (known: uint8, int8, int16, uint16, int32, "
             "float, int64, double, uint32)",
             text.c_str()));
}

uint64_t parseWholeNumber(const char* option, const std::string& text, uint64_t minimum,
                          uint64_t maximum) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(begin, &end, 10);
  const bool digitsOnly =
      !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  if (!digitsOnly || *end != '\0' || errno == ERANGE || value < minimum || value > maximum) {
    throw UsageError(format("%s: '%s' is not a whole number from %llu to %llu", option,
                            text.c_str(), static_cast<unsigned long long>(minimum),
                            static_cast<unsigned long long>(maximum)));
  }
  return value;
}

double parseReal(const char* option, const std::string& text) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(begin, &end);
  if (text.empty() || end == begin || *end != '\0' || errno == ERANGE || !std::isfinite(value) ||
      std::isspace(static_cast<unsigned char>(text[0]))) {
    throw UsageError(format("%s: '%s' is not a finite number", option, text.c_str()));
  }
  return value;
}

std::vector<double> parseRealList(const char* option, const std::string& text) {
  std::vector<double> values;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    values.push_back(parseReal(option, text.substr(start, comma - start)));
    if (comma == std::string::npos) return values;
    start = comma + 1;
  }
}

}  // namespace

size_t rawTypeSize(RawSampleType type) {
  return kRawTypes[type].size;
}
const char* rawTypeName(RawSampleType type) {
  return kRawTypes[type].name;
}

Options parseOptions(int argc, char** argv) {
  Options options;
  bool onlyFilesFollow = false;
  for (int index = 1; index < argc; ++index) {
    std::string argument = argv[index];
    if (onlyFilesFollow || argument.rfind("-", 0) != 0) {
      if (options.file) {
        throw UsageError(format("one FILE at a time ('%s' and '%s' given)", options.file->c_str(),
                                argument.c_str()));
      }
      options.file = argument;
      continue;
    }
    if (argument == "--") {
      onlyFilesFollow = true;
      continue;
    }
    if (argument == "-h" || argument == "--help") {
      options.help = true;
      continue;
    }

    // --name value or --name=value
    std::string name = argument;
    std::optional<std::string> value;
    if (const size_t equals = argument.find('='); equals != std::string::npos) {
      name = argument.substr(0, equals);
      value = argument.substr(equals + 1);
    }
    auto takeValue = [&]() -> std::string {
      if (value) return *value;
      if (index + 1 >= argc) throw UsageError(format("%s needs a value", name.c_str()));
      return argv[++index];
    };
    const char* option = name.c_str();

    if (name == "--variant") {
      const std::string text = takeValue();
      if (text == "auto") {
        options.variant = VariantRequest::Automatic;
      } else if (text == "avx2" || text == "avx2fma3") {
        options.variant = VariantRequest::Avx2;
      } else if (text == "generic") {
        options.variant = VariantRequest::Generic;
      } else {
        throw UsageError(format("--variant: '%s' is not auto, avx2 or generic", text.c_str()));
      }
    } else if (name == "--type") {
      options.rawType = parseRawType(takeValue());
    } else if (name == "--channels") {
      options.channels =
          static_cast<uint32_t>(parseWholeNumber(option, takeValue(), 1, kMaxChannels));
    } else if (name == "--scale") {
      options.scales = parseRealList(option, takeValue());
    } else if (name == "--offset") {
      options.offsets = parseRealList(option, takeValue());
    } else if (name == "--precision") {
      const std::string text = takeValue();
      if (text == "double") {
        options.precision = Precision::Double;
      } else if (text == "single" || text == "float") {
        options.precision = Precision::Single;
      } else {
        throw UsageError(format("--precision: '%s' is not double or single", text.c_str()));
      }
    } else if (name == "--frames") {
      options.frames = parseWholeNumber(option, takeValue(), 1, uint64_t{1} << 32);
    } else {
      throw UsageError(format("unknown option '%s'", argument.c_str()));
    }
  }

  if (options.help) return options;
  if (options.file) {
    if (options.frames)
      throw UsageError("--frames sets the length of the synthetic run, not of a FILE");
  } else {
    if (options.rawType) throw UsageError("--type describes a raw FILE, and none was given");
    if (!options.scales.empty() || !options.offsets.empty()) {
      throw UsageError("--scale and --offset convert the channels of a FILE, and none was given");
    }
    if (options.precision) {
      throw UsageError("--precision chooses the engineering values of a FILE, and none was given");
    }
  }
  return options;
}

const char* helpText() {
  return R"(Usage: kxcalc [OPTIONS] [FILE]

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
  --type TYPE        FILE is raw binary of TYPE: uint8, int8, int16, uint16,
                     int32, float, int64, double or uint32
  --channels N       channels per frame (raw FILE: default 1; synthetic run:
                     default 4)
  --scale LIST       scale factor, one for all channels or one per channel,
                     separated by commas (e.g. --scale 0.5,1,1,2); default 1
  --offset LIST      offset added after scaling, likewise; default 0
  --precision P      engineering values in double (default) or single precision
  --frames N         frames of the synthetic run (default 1048576)
  --variant V        auto (default): the linked library libkxcalc.so.2 runs avx2
                     when the processor has AVX2 and FMA, otherwise generic;
                     or force avx2 or generic
  -h, --help         this text

A forced variant's library, libkxcalc-avx2fma3.so.2.17 or
libkxcalc-generic.so.2.17, is loaded from the program's own directory (or ../lib
beside it).

Exit status: 0 on success, 1 on bad input or an unusable library, 2 on a bad
command line.
)";
}

}  // namespace kxtool
