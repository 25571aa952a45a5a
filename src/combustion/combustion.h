// Raw pressure samples to channel buffers, and in-place precision conversion of sample
// arrays, declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include <cstdint>

#include "combustion/peak_index.h"

#define KX_DECLARE_COMBUSTION_KERNELS                                                     \
  uint32_t copyRawDataToChannels(const float* source, float* destination, uint32_t start, \
                                 uint32_t end, float baseline, float* maxValue,           \
                                 uint32_t* maxIndex);                                     \
  void* doubleArrToSingleArrInplace(void* values, uint32_t count);                        \
  void* singleArrToDoubleArrInplace(void* values, uint32_t count);

namespace kx::generic {
KX_DECLARE_COMBUSTION_KERNELS
}
namespace kx::avx2 {
KX_DECLARE_COMBUSTION_KERNELS
}

#undef KX_DECLARE_COMBUSTION_KERNELS
