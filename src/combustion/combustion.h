// Raw pressure samples to channel buffers, and in-place precision conversion of sample
// arrays, declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include <cstdint>

#include "combustion/peak_index.h"

// copyRawDataToChannels returns the index one past the last sample as the route counted it:
// `end` one by one (`start` for an empty range); eight wide, lane 0's float index after the
// blocks, truncated, plus the tail's length.

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
