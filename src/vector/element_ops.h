// The one-element steps that both variants share: the element loops, and the heads and
// tails of the vector kernels. Internal linkage keeps the copy compiled for AVX2 out of
// the generic library's reach.
#pragma once

#include <cstdint>

namespace kx::vector {

// Separate roundings in a fixed order, never fused.
template <typename T>
static inline T scale(T value, T factor) {
  return value * factor;
}
static inline float subtractAndScale(float a, float b, float factor) {
  return (a - b) * factor;
}
static inline float addAndScale(float a, float b, float factorOfB, float factorOfSum) {
  const float scaledB = factorOfB * b;
  return (a + scaledB) * factorOfSum;
}

// One pass in index order; out may be a or b, or overlap them anywhere, and each element
// then reads what the earlier ones wrote.
template <typename T>
static inline void scaleInOrder(T* data, uint32_t count, T factor) {
  for (uint32_t i = 0; i < count; ++i) data[i] = scale(data[i], factor);
}
template <typename Op>
static inline void combineInOrder(float* out, const float* a, const float* b, uint32_t count,
                                  const Op& op) {
  for (uint32_t i = 0; i < count; ++i) out[i] = op(a[i], b[i]);
}

// Each float is widened, squared (or multiplied) in double precision, rounded, and added
// to the one running sum in index order.
static inline double addSquares(double sum, const float* data, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const double x = data[i];
    sum = sum + x * x;
  }
  return sum;
}
static inline double addProducts(double sum, const float* a, const float* b, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const double product = static_cast<double>(a[i]) * static_cast<double>(b[i]);
    sum = sum + product;
  }
  return sum;
}

// Keeps the low 16 bits, read as a signed value (conversion is modular, never saturating).
static inline void narrow(const int32_t* source, int16_t* destination, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) destination[i] = static_cast<int16_t>(source[i]);
}
static inline void widen(const int16_t* source, int32_t* destination, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) destination[i] = source[i];
}

}  // namespace kx::vector
