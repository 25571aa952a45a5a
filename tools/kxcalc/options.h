// The command line of the kxcalc program.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kxcalc.h"

namespace kxtool {

enum class VariantRequest { Automatic, Avx2, Generic };
enum class Precision { Double, Single };

struct Options {
  bool help = false;
  VariantRequest variant = VariantRequest::Automatic;
  std::optional<std::string> file;       // none: the synthetic acquisition
  std::optional<RawSampleType> rawType;  // set: the file is raw interleaved binary
  std::optional<uint32_t> channels;      // frame width of a raw file or the synthetic run
  std::vector<double> scales;            // one for all channels, or one per channel
  std::vector<double> offsets;           // likewise
  std::optional<Precision> precision;    // engineering values in double or single precision
  std::optional<uint64_t> frames;        // length of the synthetic acquisition
};

// Throws UsageError on anything it cannot take as meant.
Options parseOptions(int argc, char** argv);

const char* helpText();

// Element size in bytes and the name used on the command line, for the nine raw types.
size_t rawTypeSize(RawSampleType type);
const char* rawTypeName(RawSampleType type);

}  // namespace kxtool
