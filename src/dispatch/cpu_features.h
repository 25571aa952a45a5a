// Whether this processor and operating system can run the avx2 kernels: the processor
// has AVX, AVX2 and FMA, and the operating system saves the YMM registers on a context
// switch (OSXSAVE set and XCR0 enabling SSE and AVX state).
#pragma once

#include <cstdint>

namespace kx::dispatch {

struct CpuidAnswers {
  uint32_t maxLeaf = 0;   // CPUID leaf 0, EAX
  uint32_t leaf1Ecx = 0;  // CPUID leaf 1, ECX
  uint32_t leaf7Ebx = 0;  // CPUID leaf 7 subleaf 0, EBX; 0 when maxLeaf < 7
  uint64_t xcr0 = 0;      // XGETBV with ECX 0; 0 when OSXSAVE is clear
};

namespace cpuid_bits {
constexpr uint32_t kFma = 1u << 12;        // leaf 1 ECX
constexpr uint32_t kOsxsave = 1u << 27;    // leaf 1 ECX
constexpr uint32_t kAvx = 1u << 28;        // leaf 1 ECX
constexpr uint32_t kAvx2 = 1u << 5;        // leaf 7 EBX
constexpr uint64_t kXmmAndYmmState = 0x6;  // XCR0 bits 1 and 2
}  // namespace cpuid_bits

constexpr bool avx2Usable(const CpuidAnswers& cpu) {
  using namespace cpuid_bits;
  const uint32_t leaf1Needs = kFma | kOsxsave | kAvx;
  if (cpu.maxLeaf < 7 || (cpu.leaf1Ecx & leaf1Needs) != leaf1Needs) return false;
  if ((cpu.leaf7Ebx & kAvx2) == 0) return false;
  return (cpu.xcr0 & kXmmAndYmmState) == kXmmAndYmmState;
}

// The answers of the processor this runs on.
CpuidAnswers readCpuid();

}  // namespace kx::dispatch
