// Channel data access kernels, declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include "kxcalc.h"

#define KX_DECLARE_CHANNEL_KERNELS                                               \
  void scaledValuesAtPos(const ScaledValuesRequest_float* request);              \
  void scaledValuesAtPos(const ScaledValuesRequest_double* request);             \
  void scaledValuesAtPosAlignedOutput(const ScaledValuesRequest_float* request); \
  void scaledValuesAtPosAlignedOutput(const ScaledValuesRequest_double* request);

namespace kx::generic {
KX_DECLARE_CHANNEL_KERNELS
}
namespace kx::avx2 {
KX_DECLARE_CHANNEL_KERNELS
}

#undef KX_DECLARE_CHANNEL_KERNELS
