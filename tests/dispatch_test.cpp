// The dispatching library's choice between the avx2 and the generic kernels.
#include <gtest/gtest.h>

#include "dispatch/cpu_features.h"
#include "support/differential.h"

namespace {

using kx::dispatch::avx2Usable;
using kx::dispatch::CpuidAnswers;
namespace bits = kx::dispatch::cpuid_bits;

constexpr uint32_t kLeaf1All = bits::kFma | bits::kOsxsave | bits::kAvx;
constexpr CpuidAnswers kCapable{7, kLeaf1All, bits::kAvx2, 0x7};

struct Answers {
  const char* what;
  CpuidAnswers cpu;
  bool usable;
};

// Each row takes away one thing the avx2 kernels need, or adds what they do not need.
const Answers kCases[] = {
    {"AVX, AVX2, FMA, YMM state saved", kCapable, true},
    {"AVX-512 state saved as well", {0x16, kLeaf1All, bits::kAvx2 | 0xFFFF0000u, 0xE7}, true},
    {"every other feature bit set", {0x20, ~0u, ~0u, ~0ull}, true},
    {"no leaf 7", {6, kLeaf1All, bits::kAvx2, 0x7}, false},
    {"no AVX2", {7, kLeaf1All, 0, 0x7}, false},
    {"no FMA", {7, bits::kOsxsave | bits::kAvx, bits::kAvx2, 0x7}, false},
    {"no AVX", {7, bits::kFma | bits::kOsxsave, bits::kAvx2, 0x7}, false},
    {"operating system without XSAVE", {7, bits::kFma | bits::kAvx, bits::kAvx2, 0}, false},
    {"YMM state not saved", {7, kLeaf1All, bits::kAvx2, 0x3}, false},
    {"XMM state not saved", {7, kLeaf1All, bits::kAvx2, 0x5}, false},
    {"nothing at all", {}, false},
};

TEST(Dispatch, ChoosesAvx2OnlyWhenProcessorAndSystemAllow) {
  for (const Answers& c : kCases) EXPECT_EQ(avx2Usable(c.cpu), c.usable) << c.what;
}

// The library's own reading of this processor agrees with the compiler's view of it.
TEST(Dispatch, ReadsThisProcessor) {
  EXPECT_EQ(avx2Usable(kx::dispatch::readCpuid()), kxtest::avx2Available());
}

}  // namespace
