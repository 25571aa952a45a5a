// Graph and cursor kernels, declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include <cstdint>

#include "kxcalc.h"

#define KX_DECLARE_GRAPH_KERNELS                                                              \
  void getXYValGraph2D(const XYGraphPointRequest* request);                                   \
  void findCursorXY(const uint32_t* image, int32_t stride, int32_t width, int32_t height,     \
                    int32_t cursorX, int32_t cursorY, uint32_t* foundValue, uint32_t* foundX, \
                    uint32_t* foundY, const uint32_t* excluded, int32_t excludedCount);

namespace kx::generic {
KX_DECLARE_GRAPH_KERNELS
}
namespace kx::avx2 {
KX_DECLARE_GRAPH_KERNELS
}

#undef KX_DECLARE_GRAPH_KERNELS
