// The command line of the kxcalc program: the argument reader and the parsers every command
// shares, and the input options (variant, FILE, raw type, channels, scales) they all take.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kxcalc.h"

namespace kxtool {

enum class VariantRequest { Automatic, Avx2, Generic };
enum class Precision { Double, Single };

// Walks a command's arguments: options as --name VALUE or --name=VALUE, and positional
// arguments; after "--" every argument is positional.
class ArgumentReader {
 public:
  // Starts after argv[first - 1] (the command's name).
  ArgumentReader(int argc, char** argv, int first) : argc_(argc), argv_(argv), index_(first - 1) {}

  bool next();  // false when every argument has been read
  bool positional() const { return positional_; }
  bool helpRequested() const { return !positional_ && (name_ == "-h" || name_ == "--help"); }
  const std::string& name() const { return name_; }          // the option, or the positional text
  const std::string& argument() const { return argument_; }  // as given
  std::string value();  // the option's value; throws UsageError when there is none

 private:
  int argc_;
  char** argv_;
  int index_;
  bool onlyPositional_ = false;
  bool positional_ = false;
  std::string argument_;
  std::string name_;
  std::optional<std::string> inlineValue_;
};

// The input of a command: a file (raw with --type, otherwise a sound file) or, without
// FILE, the command's synthetic input; and the library variant to run.
struct InputOptions {
  VariantRequest variant = VariantRequest::Automatic;
  std::optional<std::string> file;
  std::optional<RawSampleType> rawType;
  std::optional<uint32_t> channels;
  std::vector<double> scales;   // one for all channels, or one per channel
  std::vector<double> offsets;  // likewise
};

// Takes the reader's current argument when it is FILE or one of the input options above
// (--variant, --type, --channels, --scale, --offset); returns false for anything else.
bool takeInputArgument(ArgumentReader& reader, InputOptions& input);

// Takes what every command reads alike: -h/--help, --json and the input arguments above;
// returns false for anything else.
bool takeSharedArgument(ArgumentReader& reader, bool& help, bool& json, InputOptions& input);

// Throws UsageError for an argument that no option of the command took.
[[noreturn]] void rejectArgument(const ArgumentReader& reader);

// Throws UsageError unless the options fit together (e.g. --type without FILE).
void checkInputOptions(const InputOptions& input);

// The parsers behind the options; each throws UsageError naming the option.
uint64_t parseWholeNumber(const char* option, const std::string& text, uint64_t minimum,
                          uint64_t maximum);
double parseReal(const char* option, const std::string& text);  // finite
std::vector<double> parseRealList(const char* option, const std::string& text);

// Options text shared by the commands' help.
extern const char* const kInputOptionsHelp;
extern const char* const kVariantHelp;

// Element size in bytes and the name used on the command line, for the nine raw types.
size_t rawTypeSize(RawSampleType type);
const char* rawTypeName(RawSampleType type);

}  // namespace kxtool
