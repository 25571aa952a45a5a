#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

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

VariantRequest parseVariant(const std::string& text) {
  if (text == "auto") return VariantRequest::Automatic;
  if (text == "avx2" || text == "avx2fma3") return VariantRequest::Avx2;
  if (text == "generic") return VariantRequest::Generic;
  throw UsageError(format("--variant: '%s' is not auto, avx2 or generic", text.c_str()));
}

}  // namespace

bool ArgumentReader::next() {
  if (++index_ >= argc_) return false;
  argument_ = argv_[index_];
  inlineValue_.reset();
  positional_ = onlyPositional_ || argument_.rfind('-', 0) != 0 || argument_ == "-";
  if (!positional_ && argument_ == "--") {
    onlyPositional_ = true;
    return next();
  }
  name_ = argument_;
  if (!positional_) {
    if (const size_t equals = argument_.find('='); equals != std::string::npos) {
      name_ = argument_.substr(0, equals);
      inlineValue_ = argument_.substr(equals + 1);
    }
  }
  return true;
}

std::string ArgumentReader::value() {
  if (inlineValue_) return *inlineValue_;
  if (index_ + 1 >= argc_) throw UsageError(format("%s needs a value", name_.c_str()));
  return argv_[++index_];
}

bool takeInputArgument(ArgumentReader& reader, InputOptions& input) {
  const std::string& name = reader.name();
  const char* option = name.c_str();
  if (reader.positional()) {
    if (input.file) {
      throw UsageError(
          format("one FILE at a time ('%s' and '%s' given)", input.file->c_str(), name.c_str()));
    }
    input.file = name;
  } else if (name == "--variant") {
    input.variant = parseVariant(reader.value());
  } else if (name == "--type") {
    input.rawType = parseRawType(reader.value());
  } else if (name == "--channels") {
    input.channels =
        static_cast<uint32_t>(parseWholeNumber(option, reader.value(), 1, kMaxChannels));
  } else if (name == "--scale") {
    input.scales = parseRealList(option, reader.value());
  } else if (name == "--offset") {
    input.offsets = parseRealList(option, reader.value());
  } else {
    return false;
  }
  return true;
}

bool takeSharedArgument(ArgumentReader& reader, bool& help, bool& json, InputOptions& input) {
  if (reader.helpRequested()) {
    help = true;
  } else if (reader.name() == "--json" && !reader.positional()) {
    json = true;
  } else {
    return takeInputArgument(reader, input);
  }
  return true;
}

void rejectArgument(const ArgumentReader& reader) {
  throw UsageError(format("unknown option '%s'", reader.argument().c_str()));
}

void checkInputOptions(const InputOptions& input) {
  if (input.file) return;
  if (input.rawType) throw UsageError("--type describes a raw FILE, and none was given");
  if (!input.scales.empty() || !input.offsets.empty()) {
    throw UsageError("--scale and --offset convert the channels of a FILE, and none was given");
  }
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

size_t rawTypeSize(RawSampleType type) {
  return kRawTypes[type].size;
}
const char* rawTypeName(RawSampleType type) {
  return kRawTypes[type].name;
}

const char* const kInputOptionsHelp =
    R"(  --type TYPE        FILE is raw binary of TYPE: uint8, int8, int16, uint16,
                     int32, float, int64, double or uint32
  --channels N       channels per frame of a raw FILE (default 1)
  --scale LIST       scale factor, one for all channels or one per channel,
                     separated by commas (e.g. --scale 0.5,1,1,2); default 1
  --offset LIST      offset added after scaling, likewise; default 0
)";

const char* const kVariantHelp =
    R"(  --variant V        auto (default): the linked library libkxcalc.so.2 runs avx2
                     when the processor has AVX2 and FMA, otherwise generic;
                     or force avx2 or generic
  -h, --help         this text
)";

}  // namespace kxtool
