// kxcalc: runs the kxcalc library on recordings and acquisitions, one command at a time.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "commands.h"
#include "failure.h"

namespace kxtool {
namespace {

struct Command {
  const char* name;
  int (*run)(int argc, char** argv);
  const char* summary;
};

constexpr Command kCommands[] = {
    {"stats", statsCommand, "minimum, maximum, mean and RMS of every channel, and throughput"},
    {"resample", resampleCommand, "changes the sample rate of a recording (WAV or FLAC out)"},
    {"plot", plotCommand, "draws the channels of a recording as curves into a PNG"},
    {"filter", filterCommand, "low-, high-, band-pass or band-stop filtering; pink noise"},
};

void printHelp() {
  std::printf(
      "Usage: kxcalc COMMAND [OPTIONS] [FILE]\n\n"
      "Runs the kxcalc library on recordings and acquisitions.\n\nCommands:\n");
  for (const Command& command : kCommands) {
    std::printf("  %-10s %s\n", command.name, command.summary);
  }
  std::printf(
      "\nkxcalc COMMAND --help describes a command's options.\n\n"
      "Exit status: 0 on success, 1 on bad input or an unusable library, 2 on a bad\n"
      "command line.\n");
}

const char* commandNames() {
  return "stats, resample, plot or filter";
}

}  // namespace
}  // namespace kxtool

int main(int argc, char** argv) {
  using namespace kxtool;
  std::string helpHint = "kxcalc --help";
  try {
    if (argc < 2) throw UsageError(format("no command given (%s)", commandNames()));
    const std::string name = argv[1];
    if (name == "-h" || name == "--help" || name == "help") {
      printHelp();
      return 0;
    }
    for (const Command& command : kCommands) {
      if (name == command.name) {
        helpHint = "kxcalc " + name + " --help";
        return command.run(argc, argv);
      }
    }
    throw UsageError(format("unknown command '%s' (%s)", name.c_str(), commandNames()));
  } catch (const UsageError& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "kxcalc: %s (see %s)\n", error.what(), helpHint.c_str());
    return 2;
  } catch (const Failure& error) {
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
