// Block statistics kernels, declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include <cstdint>

#define KX_DECLARE_STATS_KERNELS                                                                \
  void getMinMax(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum);      \
  void getMinMax(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum);      \
  void getMinMax(const float* data, uint32_t count, float* minimum, float* maximum);            \
  void getMinMax(const double* data, uint32_t count, double* minimum, double* maximum);         \
  void getMinMaxAveRms(const float* data, uint32_t count, float* minimum, float* maximum,       \
                       double* sum, double* sumOfSquares, float offset);                        \
  void getMinMaxAveRms(const double* data, uint32_t count, double* minimum, double* maximum,    \
                       double* sum, double* sumOfSquares, double offset);                       \
  void getMinMaxAveRms(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum, \
                       double* sum, double* sumOfSquares, float offset);                        \
  void getMinMaxAveRms(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum, \
                       double* sum, double* sumOfSquares, double offset);                       \
  void moveAndGetMinMaxAveRms(int16_t* destination, const int16_t* source, uint32_t count,      \
                              int16_t* minimum, int16_t* maximum, double* sum,                  \
                              double* sumOfSquares, float offset, int32_t stride);

namespace kx::generic {
KX_DECLARE_STATS_KERNELS
}
namespace kx::avx2 {
KX_DECLARE_STATS_KERNELS
}

#undef KX_DECLARE_STATS_KERNELS
