// Element-wise arithmetic on sample arrays and conversion between 16- and 32-bit samples,
// declared once for each variant (kx::generic, kx::avx2).
#pragma once

#include <cstdint>

#define KX_DECLARE_VECTOR_KERNELS                                                                \
  void multiplyVectorByScalar(float* data, uint32_t count, float factor);                        \
  void multiplyVectorByScalar(double* data, uint32_t count, double factor);                      \
  double sumSquaredValues(const float* data, uint32_t count);                                    \
  double multiplyVectorsAndCalcSum(const float* a, const float* b, uint32_t count);              \
  void subtractVectorsAndMultiplyByScalar(float* out, const float* a, const float* b,            \
                                          uint32_t count, float factor);                         \
  void addVectorsAndMultiplyByScalar(float* out, const float* a, const float* b, uint32_t count, \
                                     float factorOfB, float factorOfSum);                        \
  void convertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count);         \
  void convertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count);

namespace kx::generic {
KX_DECLARE_VECTOR_KERNELS
}
namespace kx::avx2 {
KX_DECLARE_VECTOR_KERNELS
}

#undef KX_DECLARE_VECTOR_KERNELS
