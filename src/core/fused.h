// Fused multiply-add for the generic kernels: a * b + c rounded once.
// The C library's fma is exact where the library conforms to C99; MinGW-w64's rounds twice,
// so Windows builds take the software form, which is exact on every platform.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

namespace kx {

// Round to odd: an inexact sum keeps an odd last bit, so that rounding it again to a
// narrower format (at least two bits narrower) gives the correctly rounded result. `sum`
// is the rounded sum of two values and `error` its exact error (TwoSum).
template <typename Wide>
inline Wide roundedToOdd(Wide sum, Wide error) {
  uint64_t words[sizeof(Wide) / sizeof(uint64_t)];  // little-endian: words[0] is the lowest
  std::memcpy(words, &sum, sizeof sum);
  if (error == 0 || (words[0] & 1) != 0) return sum;
  // One step of the magnitude, as an integer over all words: away from zero when the error
  // has the sum's sign, toward zero otherwise.
  if ((sum < 0) == (error < 0)) {
    for (uint64_t& word : words) {
      if (++word != 0) break;
    }
  } else {
    for (uint64_t& word : words) {
      if (word-- != 0) break;
    }
  }
  std::memcpy(&sum, words, sizeof sum);
  return sum;
}

template <typename Wide>
inline void twoSum(Wide a, Wide b, Wide* sum, Wide* error) {
  const Wide s = a + b;
  const Wide bPart = s - a;
  *sum = s;
  *error = (a - (s - bPart)) + (b - bPart);
}

// Both work in a format wide enough for the exact product and that never overflows or
// underflows on it: double for floats, binary128 for doubles.
inline float softwareFma(float a, float b, float c) {
  const double product = static_cast<double>(a) * static_cast<double>(b);
  if (!std::isfinite(product) || !std::isfinite(c)) return static_cast<float>(product + c);
  double sum, error;
  twoSum(product, static_cast<double>(c), &sum, &error);
  return static_cast<float>(roundedToOdd(sum, error));
}

#if defined(__SIZEOF_FLOAT128__)
inline double softwareFma(double a, double b, double c) {
  if (!std::isfinite(a) || !std::isfinite(b)) return a * b + c;
  if (!std::isfinite(c)) return c;
  const __float128 product = static_cast<__float128>(a) * static_cast<__float128>(b);
  __float128 sum, error;
  twoSum(product, static_cast<__float128>(c), &sum, &error);
  return static_cast<double>(roundedToOdd(sum, error));
}
#endif

template <typename F>
inline F fusedMultiplyAdd(F a, F b, F c) {
#if defined(__MINGW32__)
  return softwareFma(a, b, c);
#else
  return std::fma(a, b, c);
#endif
}

}  // namespace kx
