// libm_agreement: evaluates the C library's sin, atan2, log10 and sincos over deterministic
// arguments and compares the result bits of two platforms.
//   libm_agreement write FUNCTION FILE     evaluates FUNCTION, writes the result bits to FILE
//   libm_agreement compare LINUX WINDOWS   compares LINUX/FUNCTION.bin with WINDOWS/FUNCTION.bin
//                                          for every function and prints Markdown tables
// Arguments come from SplitMix64 output and plain double arithmetic only, so every build
// generates the same bits; a file starts with a hash of its arguments, which compare checks.
// Build with -fno-builtin; the functions are also called through volatile pointers, so the
// compiler can neither evaluate a call itself nor merge sin and cos into sincos.
#include <math.h>

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace {

double (*volatile sinFunction)(double) = ::sin;
#if defined(__GLIBC__) || defined(__MINGW32__)
#define KX_HAS_SINCOS 1
void (*volatile sincosFunction)(double, double*, double*) = ::sincos;
#else
#define KX_HAS_SINCOS 0
double (*volatile cosFunction)(double) = ::cos;
#endif
double (*volatile atan2Function)(double, double) = ::atan2;
double (*volatile log10Function)(double) = ::log10;

constexpr double kPi = 3.14159265358979323846;
constexpr uint64_t kArgumentsPerFunction = 10000000;

uint64_t bitsOf(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}
double fromBits(uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

bool isNan(uint64_t bits) {
  return (bits & 0x7fffffffffffffff) > 0x7ff0000000000000;
}

class SplitMix64 {
 public:
  explicit SplitMix64(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  // Uniform in [lo, hi] by value.
  double linear(double lo, double hi) { return lo + (hi - lo) * ((next() >> 11) * 0x1p-53); }
  // Uniform in [lo, hi] by bit pattern, that is nearly uniform in the exponent (0 <= lo < hi).
  double byBits(double lo, double hi) {
    return fromBits(bitsOf(lo) + next() % (bitsOf(hi) - bitsOf(lo) + 1));
  }
  double withRandomSign(double value) { return next() >> 63 ? -value : value; }

 private:
  uint64_t state_;
};

struct ArgumentClass {
  std::string name;
  size_t begin, end;
};

struct Arguments {
  std::vector<double> x, y;  // y only for atan2: atan2(y, x)
  std::vector<ArgumentClass> classes;
  size_t size() const { return x.size(); }

  // Closes the class that holds the arguments added since the previous one.
  void endClass(const std::string& name) {
    const size_t begin = classes.empty() ? 0 : classes.back().end;
    classes.push_back({name, begin, x.size()});
  }
};

constexpr double kSignallingNan = std::numeric_limits<double>::signaling_NaN();
constexpr double kLargestSubnormal = DBL_MIN - DBL_TRUE_MIN;
const double kSpecials[] = {
    0.0,  -0.0,    INFINITY, -INFINITY, NAN,      -NAN,         kSignallingNan, 1.0,
    -1.0, DBL_MIN, -DBL_MIN, DBL_MAX,   -DBL_MAX, DBL_TRUE_MIN, -DBL_TRUE_MIN,  kLargestSubnormal};
constexpr size_t kSpecialCount = sizeof kSpecials / sizeof kSpecials[0];

// The random classes come first and share equally what the fixed arguments at the end leave.
size_t share(size_t fixedCount, size_t classes, size_t index) {
  const size_t total = kArgumentsPerFunction - fixedCount;
  return total / classes + (index < total % classes ? 1 : 0);
}

Arguments sineArguments() {
  struct Range {
    const char* name;
    double lo, hi;
    bool byBits;
  };
  const Range ranges[] = {
      {"|x| <= pi/4", 0, kPi / 4, false},        {"pi/4 < |x| <= 2pi", kPi / 4, 2 * kPi, false},
      {"2pi < |x| <= 1e3", 2 * kPi, 1e3, false}, {"1e3 < |x| <= 1e6", 1e3, 1e6, false},
      {"1e6 < |x| <= 1e22", 1e6, 1e22, true},    {"|x| > 1e22", 1e22, DBL_MAX, true},
  };
  const size_t classes = std::size(ranges) + 2;
  Arguments a;
  SplitMix64 random(1);
  size_t index = 0;
  for (const Range& range : ranges) {
    for (size_t n = share(kSpecialCount, classes, index++); n > 0; --n) {
      const double value =
          range.byBits ? random.byBits(range.lo, range.hi) : random.linear(range.lo, range.hi);
      a.x.push_back(random.withRandomSign(value));
    }
    a.endClass(range.name);
  }
  // Within 2 ulps of k * (pi/2 rounded): results near 0 and +-1.
  for (size_t n = share(kSpecialCount, classes, index++); n > 0; --n) {
    const double multiple = static_cast<double>(random.next() % (1u << 20) + 1) * (kPi / 2);
    const double value = fromBits(bitsOf(multiple) + random.next() % 5 - 2);
    a.x.push_back(random.withRandomSign(value));
  }
  a.endClass("near k*pi/2, k <= 2^20");
  for (size_t n = share(kSpecialCount, classes, index++); n > 0; --n) {
    a.x.push_back(fromBits(random.next()));
  }
  a.endClass("random bit patterns");
  for (double value : kSpecials) a.x.push_back(value);
  a.endClass("special values");
  return a;
}

Arguments log10Arguments() {
  constexpr int kLowestPower = -323, kHighestPower = 308;
  const size_t fixedCount = kSpecialCount + 3 * (kHighestPower - kLowestPower + 1);
  const size_t classes = 5;
  Arguments a;
  SplitMix64 random(2);
  size_t index = 0;
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    a.x.push_back(random.linear(0.5, 2));
  }
  a.endClass("0.5 <= x <= 2");
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    a.x.push_back(random.byBits(DBL_MIN, 1));
  }
  a.endClass("normal x < 1");
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    a.x.push_back(random.byBits(1, DBL_MAX));
  }
  a.endClass("x >= 1");
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    a.x.push_back(random.byBits(DBL_TRUE_MIN, kLargestSubnormal));
  }
  a.endClass("subnormal x");
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    a.x.push_back(fromBits(random.next()));
  }
  a.endClass("random bit patterns");
  // The doubles nearest 10^k and their neighbours; 10^0 to 10^22 are exact.
  for (int k = kLowestPower; k <= kHighestPower; ++k) {
    const std::string text = "1e" + std::to_string(k);
    double power = 0;
    std::from_chars(text.data(), text.data() + text.size(), power);
    for (int step = -1; step <= 1; ++step) a.x.push_back(fromBits(bitsOf(power) + step));
  }
  a.endClass("10^k and +-1 ulp");
  for (double value : kSpecials) a.x.push_back(value);
  a.endClass("special values");
  return a;
}

Arguments atan2Arguments() {
  const size_t fixedCount = kSpecialCount * kSpecialCount;
  const size_t classes = 4;
  Arguments a;
  auto add = [&a](double y, double x) {
    a.y.push_back(y);
    a.x.push_back(x);
  };
  SplitMix64 random(3);
  size_t index = 0;
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    const double y = random.withRandomSign(random.linear(0, 1));
    add(y, random.withRandomSign(random.linear(0, 1)));
  }
  a.endClass("|y|, |x| <= 1");
  // Normal numbers whose exponents differ by at most 30: the ratio matters.
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    const uint64_t exponentX = 31 + random.next() % 1986;
    const uint64_t exponentY = exponentX + random.next() % 61 - 30;
    const uint64_t mantissa = (uint64_t{1} << 52) - 1;
    const double y = fromBits(exponentY << 52 | (random.next() & mantissa));
    add(random.withRandomSign(y),
        random.withRandomSign(fromBits(exponentX << 52 | (random.next() & mantissa))));
  }
  a.endClass("exponents within 30");
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    const double y = random.withRandomSign(random.byBits(DBL_TRUE_MIN, DBL_MAX));
    add(y, random.withRandomSign(random.byBits(DBL_TRUE_MIN, DBL_MAX)));
  }
  a.endClass("any finite magnitudes");
  for (size_t n = share(fixedCount, classes, index++); n > 0; --n) {
    const double y = fromBits(random.next());
    add(y, fromBits(random.next()));
  }
  a.endClass("random bit patterns");
  for (double y : kSpecials) {
    for (double x : kSpecials) add(y, x);
  }
  a.endClass("special pairs");
  return a;
}

struct Function {
  const char* name;
  Arguments (*arguments)();
  size_t outputs;
  const char* outputNames[2];
};

const Function kFunctions[] = {
    {"sin", sineArguments, 1, {"sin"}},
    {"atan2", atan2Arguments, 1, {"atan2"}},
    {"log10", log10Arguments, 1, {"log10"}},
    {"sincos", sineArguments, 2, {"sincos (sin)", "sincos (cos)"}},
};

// Results of argument i are at i * outputs + output.
std::vector<uint64_t> evaluate(const Function& function, const Arguments& a) {
  std::vector<uint64_t> results(a.size() * function.outputs);
  const std::string name = function.name;
  if (name == "sin") {
    for (size_t i = 0; i < a.size(); ++i) results[i] = bitsOf(sinFunction(a.x[i]));
  } else if (name == "atan2") {
    for (size_t i = 0; i < a.size(); ++i) results[i] = bitsOf(atan2Function(a.y[i], a.x[i]));
  } else if (name == "log10") {
    for (size_t i = 0; i < a.size(); ++i) results[i] = bitsOf(log10Function(a.x[i]));
  } else {
    for (size_t i = 0; i < a.size(); ++i) {
      double sine, cosine;
#if KX_HAS_SINCOS
      sincosFunction(a.x[i], &sine, &cosine);
#else
      sine = sinFunction(a.x[i]);
      cosine = cosFunction(a.x[i]);
#endif
      results[2 * i] = bitsOf(sine);
      results[2 * i + 1] = bitsOf(cosine);
    }
  }
  return results;
}

uint64_t hashArguments(const Arguments& a) {
  uint64_t hash = 0xcbf29ce484222325;  // FNV-1a over the argument bits
  auto mix = [&hash](double value) {
    const uint64_t bits = bitsOf(value);
    for (int shift = 0; shift < 64; shift += 8) {
      hash = (hash ^ (bits >> shift & 0xff)) * 0x100000001b3;
    }
  };
  for (size_t i = 0; i < a.size(); ++i) {
    mix(a.x[i]);
    if (!a.y.empty()) mix(a.y[i]);
  }
  return hash;
}

const Function* findFunction(const char* name) {
  for (const Function& function : kFunctions) {
    if (std::strcmp(function.name, name) == 0) return &function;
  }
  return nullptr;
}

const char* platform() {
#if defined(__GLIBC__)
  static char text[64];
  std::snprintf(text, sizeof text, "glibc %d.%d", __GLIBC__, __GLIBC_MINOR__);
  return text;
#elif defined(__MINGW64_VERSION_STR)
  return "MinGW-w64 " __MINGW64_VERSION_STR;
#else
  return "unknown C library";
#endif
}

int write(const Function& function, const char* path) {
  const Arguments a = function.arguments();
  const auto start = std::chrono::steady_clock::now();
  const std::vector<uint64_t> results = evaluate(function, a);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  const uint64_t header[2] = {hashArguments(a), a.size()};
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr || std::fwrite(header, sizeof header, 1, file) != 1 ||
      std::fwrite(results.data(), sizeof(uint64_t), results.size(), file) != results.size() ||
      std::fclose(file) != 0) {
    std::fprintf(stderr, "libm_agreement: cannot write %s\n", path);
    return 1;
  }
  size_t nans = 0;
  for (uint64_t bits : results) nans += isNan(bits);
  std::printf("%s (%s): %zu arguments in %zu classes, %.2f s, %zu NaN results, written to %s\n",
              function.name, platform(), a.size(), a.classes.size(), seconds, nans, path);
  if (std::strcmp(function.name, "sincos") == 0 && !KX_HAS_SINCOS) {
    std::printf("sincos: this C library has none; sin and cos were called separately\n");
  }
  return 0;
}

bool readResults(const std::string& path, const Arguments& a, size_t outputs,
                 std::vector<uint64_t>& results) {
  FILE* file = std::fopen(path.c_str(), "rb");
  uint64_t header[2] = {};
  results.assign(a.size() * outputs, 0);
  const bool complete =
      file != nullptr && std::fread(header, sizeof header, 1, file) == 1 &&
      std::fread(results.data(), sizeof(uint64_t), results.size(), file) == results.size();
  if (file != nullptr) std::fclose(file);
  if (!complete || header[0] != hashArguments(a) || header[1] != a.size()) {
    std::fprintf(stderr, "libm_agreement: %s is missing, short or made from other arguments\n",
                 path.c_str());
    return false;
  }
  return true;
}

// Distance in doubles; -0 and +0 count as neighbours.
uint64_t ulps(uint64_t a, uint64_t b) {
  auto key = [](uint64_t bits) {
    const int64_t magnitude = static_cast<int64_t>(bits & 0x7fffffffffffffff);
    return bits >> 63 ? -magnitude - 1 : magnitude;
  };
  const int64_t ka = key(a), kb = key(b);
  return ka > kb ? static_cast<uint64_t>(ka - kb) : static_cast<uint64_t>(kb - ka);
}

std::string describe(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "`%016" PRIx64 "` (%.17g)", bitsOf(value), value);
  return text;
}

// Table cells: '|' escaped, large ulp counts in three digits.
std::string cell(const std::string& text) {
  std::string escaped;
  for (char c : text) escaped += c == '|' ? std::string("\\|") : std::string(1, c);
  return escaped;
}
std::string ulpsText(uint64_t count) {
  char text[32];
  if (count < 1000000) {
    std::snprintf(text, sizeof text, "%" PRIu64, count);
  } else {
    std::snprintf(text, sizeof text, "%.3g", static_cast<double>(count));
  }
  return text;
}

struct Tally {
  size_t differing = 0, oneUlp = 0, moreUlps = 0, nanVersusNumber = 0;
  uint64_t maxUlps = 0;
  double maxAbsolute = 0;
  size_t largest = 0;     // the argument with the largest difference between numbers
  size_t nanExample = 0;  // the first argument with a NaN against a number
  bool hasNanExample = false;

  void add(size_t argument, uint64_t a, uint64_t b) {
    if (a == b || (isNan(a) && isNan(b))) return;
    ++differing;
    if (isNan(a) != isNan(b)) {
      if (!hasNanExample) nanExample = argument;
      hasNanExample = true;
      ++nanVersusNumber;
      return;
    }
    const uint64_t distance = ulps(a, b);
    ++(distance == 1 ? oneUlp : moreUlps);
    const double absolute = fromBits(a) - fromBits(b);
    if (absolute > maxAbsolute || -absolute > maxAbsolute) {
      maxAbsolute = absolute > 0 ? absolute : -absolute;
    }
    if (distance > maxUlps) {
      maxUlps = distance;
      largest = argument;
    }
  }
};

// Prints the table of the functions' differences, by argument class, then examples: the
// largest difference in each of the first classes that have one, and one NaN against a
// number if there is any.
int compare(const std::string& linuxDirectory, const std::string& windowsDirectory) {
  std::printf(
      "| Function | Arguments | Count | Differing | 1 ulp | More than 1 ulp | Max ulps | "
      "Max abs. difference | NaN vs number |\n|---|---|---:|---:|---:|---:|---:|---:|---:|\n");
  std::string examples;
  for (const Function& function : kFunctions) {
    const Arguments a = function.arguments();
    std::vector<uint64_t> linuxResults, windowsResults;
    const std::string file = std::string("/") + function.name + ".bin";
    if (!readResults(linuxDirectory + file, a, function.outputs, linuxResults) ||
        !readResults(windowsDirectory + file, a, function.outputs, windowsResults)) {
      return 1;
    }
    for (size_t output = 0; output < function.outputs; ++output) {
      const char* name = function.outputNames[output];
      std::vector<Tally> tallies(a.classes.size());
      Tally total;
      for (size_t c = 0; c < a.classes.size(); ++c) {
        for (size_t i = a.classes[c].begin; i < a.classes[c].end; ++i) {
          const size_t at = i * function.outputs + output;
          tallies[c].add(i, linuxResults[at], windowsResults[at]);
          total.add(i, linuxResults[at], windowsResults[at]);
        }
      }
      auto row = [name](const std::string& label, size_t count, const Tally& t) {
        std::printf("| %s | %s | %zu | %zu | %zu | %zu | %s | %.3g | %zu |\n", name,
                    cell(label).c_str(), count, t.differing, t.oneUlp, t.moreUlps,
                    ulpsText(t.maxUlps).c_str(), t.maxAbsolute, t.nanVersusNumber);
      };
      row("**all**", a.size(), total);
      for (size_t c = 0; c < a.classes.size(); ++c) {
        row(a.classes[c].name, a.classes[c].end - a.classes[c].begin, tallies[c]);
      }

      auto example = [&](size_t c, size_t i, const std::string& difference) {
        const size_t at = i * function.outputs + output;
        std::string arguments = describe(a.x[i]);
        if (!a.y.empty()) arguments = "y " + describe(a.y[i]) + ", x " + arguments;
        examples += std::string("| ") + name + " | " + cell(a.classes[c].name) + " | " + arguments +
                    " | " + describe(fromBits(linuxResults[at])) + " | " +
                    describe(fromBits(windowsResults[at])) + " | " + difference + " |\n";
      };
      size_t shown = 0;
      const size_t limit = function.outputs == 1 ? 5 : 3;
      for (size_t c = 0; c < a.classes.size() && shown < limit; ++c) {
        if (tallies[c].maxUlps == 0) continue;
        example(c, tallies[c].largest, ulpsText(tallies[c].maxUlps));
        ++shown;
      }
      for (size_t c = 0; c < a.classes.size(); ++c) {
        if (!tallies[c].hasNanExample) continue;
        example(c, tallies[c].nanExample, "NaN vs number");
        break;
      }
    }
  }
  std::printf(
      "\nExamples, the largest difference in a class (bits in hex, value to 17 digits):\n\n"
      "| Function | Arguments | Argument | Linux | Windows | ulps |\n"
      "|---|---|---|---|---|---:|\n%s",
      examples.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "write") == 0 && findFunction(argv[2]) != nullptr) {
    return write(*findFunction(argv[2]), argv[3]);
  }
  if (argc == 4 && std::strcmp(argv[1], "compare") == 0) return compare(argv[2], argv[3]);
  std::fprintf(stderr,
               "usage: libm_agreement write sin|atan2|log10|sincos FILE\n"
               "       libm_agreement compare LINUX_DIRECTORY WINDOWS_DIRECTORY\n");
  return 2;
}
