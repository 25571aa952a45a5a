// The dispatching library. It holds both variants of every export, under prefixed names,
// and exports each plain name as a jump through a slot. The slots point at the generic
// kernels until the library's initialisation, which runs once when the library is loaded,
// points them at the avx2 kernels where the processor and the operating system allow.
// The call path has no check and no lock: one indirect jump.
#include "dispatch/cpu_features.h"
#include "kxcalc.h"
#include "kxcalc_export_list.h"

#define KX_DECLARE_VARIANTS(name) extern "C" decltype(name) kx_avx2_##name, kx_generic_##name;
KXCALC_EXPORT_LIST(KX_DECLARE_VARIANTS)

#define KX_DEFINE_SLOT(name)                           \
  extern "C" {                                         \
  decltype(&name) kx_slot_##name = &kx_generic_##name; \
  }
KXCALC_EXPORT_LIST(KX_DEFINE_SLOT)

#if defined(__ELF__)
#define KX_FUNCTION_SYMBOL(name) ".type " #name ", @function\n"
#define KX_FUNCTION_SIZE(name) ".size " #name ", . - " #name "\n"
#elif defined(_WIN32)
#define KX_FUNCTION_SYMBOL(name) ".def " #name "; .scl 2; .type 32; .endef\n"
#define KX_FUNCTION_SIZE(name)
#endif

// A jump leaves every argument register and the stack as the caller set them, so one
// trampoline serves every signature.
#define KX_DEFINE_TRAMPOLINE(name)                                          \
  __asm__(                                                                  \
      ".text\n"                                                             \
      ".globl " #name "\n" KX_FUNCTION_SYMBOL(name) ".p2align 4\n" #name    \
                                                    ":\n"                   \
                                                    "  jmp *kx_slot_" #name \
                                                    "(%rip)\n" KX_FUNCTION_SIZE(name));
KXCALC_EXPORT_LIST(KX_DEFINE_TRAMPOLINE)

namespace {

bool selectVariant() {
  if (!kx::dispatch::avx2Usable(kx::dispatch::readCpuid())) return false;
#define KX_SELECT_AVX2(name) kx_slot_##name = &kx_avx2_##name;
  KXCALC_EXPORT_LIST(KX_SELECT_AVX2)
  return true;
}

const bool avx2Selected = selectVariant();

}  // namespace

const char* kxcalcActiveVariant(void) {
  return avx2Selected ? "avx2fma3" : "generic";
}
