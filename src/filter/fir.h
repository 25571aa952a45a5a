// FIR filter over a caller-owned ring, declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include <cstdint>

#define KX_DECLARE_FIR_KERNELS \
  float firFilter(const float* ring, const float* coefficients, int32_t length, int32_t position);

namespace kx::generic {
KX_DECLARE_FIR_KERNELS
}
namespace kx::avx2 {
KX_DECLARE_FIR_KERNELS
}

#undef KX_DECLARE_FIR_KERNELS
