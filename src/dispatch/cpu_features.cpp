#include "dispatch/cpu_features.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace kx::dispatch {

CpuidAnswers readCpuid() {
  CpuidAnswers answers;
#if defined(__x86_64__) || defined(__i386__)
  unsigned eax, ebx, ecx, edx;
  answers.maxLeaf = __get_cpuid_max(0, nullptr);
  if (answers.maxLeaf >= 1) {
    __cpuid(1, eax, ebx, ecx, edx);
    answers.leaf1Ecx = ecx;
  }
  if (answers.maxLeaf >= 7) {
    __cpuid_count(7, 0, eax, ebx, ecx, edx);
    answers.leaf7Ebx = ebx;
  }
  // XGETBV faults unless the operating system has set OSXSAVE.
  if (answers.leaf1Ecx & cpuid_bits::kOsxsave) {
    uint32_t low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    answers.xcr0 = (uint64_t{high} << 32) | low;
  }
#endif
  return answers;
}

}  // namespace kx::dispatch
