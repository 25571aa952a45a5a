// The differential sweep: both variants of a kernel on the same random inputs, over every
// count near the path thresholds and every start alignment, compared bit for bit.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "support/buffers.h"
#include "support/random.h"

namespace kxtest {

inline bool avx2Available() {
#if defined(__x86_64__) || defined(__i386__)
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
  return false;
#endif
}

#define KX_REQUIRE_AVX2() \
  if (!::kxtest::avx2Available()) GTEST_SKIP() << "this processor has no AVX2/FMA3"

// Same bits, except that any NaN matches any NaN.
template <typename T>
bool sameBits(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a) && std::isnan(b)) return true;
  }
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <typename T>
std::string describe(T value) {
  char text[64];
  if constexpr (std::is_floating_point_v<T>) {
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    std::snprintf(text, sizeof text, "%.17g (0x%llx)", static_cast<double>(value),
                  static_cast<unsigned long long>(std::bit_cast<Bits>(value)));
  } else {
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
  }
  return text;
}

template <typename T>
::testing::AssertionResult sameBitsResult(const char* what, T expected, T actual) {
  if (sameBits(expected, actual)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << what << ": generic " << describe(expected) << ", avx2 " << describe(actual);
}

template <typename T>
::testing::AssertionResult sameArrays(const char* what, const T* expected, const T* actual,
                                      std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!sameBits(expected[i], actual[i])) {
      return ::testing::AssertionFailure()
             << what << "[" << i << "]: generic " << describe(expected[i]) << ", avx2 "
             << describe(actual[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

// Counts 0 .. dense, then a few long blocks that reach the unrolled loops and their remainders.
inline std::vector<uint32_t> sweepCounts(uint32_t dense = 72) {
  std::vector<uint32_t> counts;
  for (uint32_t count = 0; count <= dense; ++count) counts.push_back(count);
  for (uint32_t count : {127u, 128u, 129u, 255u, 256u, 257u, 1023u, 1024u, 1025u, 4099u}) {
    counts.push_back(count);
  }
  return counts;
}

// Every naturally aligned start within a 64-byte line, in bytes.
inline std::vector<std::size_t> sweepOffsets(std::size_t elementSize) {
  std::vector<std::size_t> offsets;
  for (std::size_t offset = 0; offset < 64; offset += elementSize) offsets.push_back(offset);
  return offsets;
}

// At least this many random cases per export; KXTEST_CASES lowers or raises it.
inline uint64_t differentialCases() {
  const char* text = std::getenv("KXTEST_CASES");
  return text != nullptr ? std::strtoull(text, nullptr, 10) : 100000;
}

struct SweepCase {
  uint32_t count;
  std::size_t offsetBytes;
  uint64_t seed;
};

inline std::string describe(const SweepCase& c) {
  return "count " + std::to_string(c.count) + ", offset " + std::to_string(c.offsetBytes) +
         " bytes, seed " + std::to_string(c.seed);
}

// Calls body(SweepCase) over every count and offset, round after round with fresh seeds,
// until at least `minCases` cases ran. body returns an AssertionResult; the sweep stops at
// the first failure and reports the case that reproduces it.
template <typename Body>
void sweep(const std::vector<uint32_t>& counts, const std::vector<std::size_t>& offsets,
           uint64_t minCases, Body body) {
  uint64_t ran = 0;
  for (uint64_t round = 0; ran < minCases || round == 0; ++round) {
    for (uint32_t count : counts) {
      for (std::size_t offset : offsets) {
        const SweepCase c{count, offset, round * 1000003u + count * 131u + offset};
        const ::testing::AssertionResult result = body(c);
        if (!result) {
          ADD_FAILURE() << describe(c) << ": " << result.message();
          return;
        }
        ++ran;
      }
    }
  }
}

template <typename Body>
void sweep(std::size_t elementSize, Body body) {
  sweep(sweepCounts(), sweepOffsets(elementSize), differentialCases(), body);
}

}  // namespace kxtest
