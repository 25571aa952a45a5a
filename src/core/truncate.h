// Truncation of a double to an integer as the processor's cvtt instructions do it: a NaN or
// out-of-range value gives the "integer indefinite" (the lowest signed value). Portable and
// without undefined behaviour, so the generic variant yields the same integers.
#pragma once

#include <cstdint>

namespace kx {

inline int32_t truncateToInt32(double x) {
  if (x > -2147483649.0 && x < 2147483648.0) return static_cast<int32_t>(x);
  return INT32_MIN;
}

inline int64_t truncateToInt64(double x) {
  if (x >= -9223372036854775808.0 && x < 9223372036854775808.0) return static_cast<int64_t>(x);
  return INT64_MIN;
}

// Unsigned 64-bit truncation: values from 2^63 on are reduced by 2^63 before the signed
// truncation and the 2^63 is added back, wrapping; everything below (NaN too) is truncated
// signed and reinterpreted.
inline uint64_t truncateToUint64(double x) {
  constexpr double kHalfRange = 9223372036854775808.0;
  if (x >= kHalfRange) {
    return static_cast<uint64_t>(truncateToInt64(x - kHalfRange)) + (uint64_t{1} << 63);
  }
  return static_cast<uint64_t>(truncateToInt64(x));
}

}  // namespace kx
