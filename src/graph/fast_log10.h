// The fast base-10 logarithm of the logarithmic and decibel axes: a cubic polynomial on the
// mantissa added to the exponent, in single precision. Meant for positive finite floats;
// zero, negative, infinite and NaN arguments give meaningless (but defined) results.
//
// fastLog10 and fastLog10x4 differ only in the last step: the one-value form divides in
// double by a double constant, the four-lane form in single precision by a float one.
// Both variants (and the pressure-volume diagram) use these; the unnamed namespace gives
// every library its own copy, so the AVX2-compiled one never serves the generic code.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace kx::graph {
namespace {

inline constexpr uint32_t kMantissaBits = 0x007FFFFFu;
inline constexpr uint32_t kExponentBits = 0x7F800000u;
inline constexpr uint32_t kOneBits = 0x3F800000u;  // 1.0f: the mantissa is put in [1, 2)
inline constexpr float kPolynomial3 = -0.10725442f;
inline constexpr float kPolynomial2 = 0.68824387f;
inline constexpr float kPolynomial1 = -1.7564718f;
inline constexpr float kPolynomial0 = 2.6176105f;
inline constexpr double kLog2Of10 = 3.3219281;
inline constexpr float kLog2Of10Single = 3.321928f;

// log2 of x as exponent + (m - 1) * p(m), every step rounded to single precision.
inline float fastLog2(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  const auto exponent =
      static_cast<float>(static_cast<int32_t>((bits & kExponentBits) >> 23) - 127);
  const uint32_t mantissaBits = (bits & kMantissaBits) | kOneBits;
  float m;
  std::memcpy(&m, &mantissaBits, sizeof m);
  const float p = ((m * kPolynomial3 + kPolynomial2) * m + kPolynomial1) * m + kPolynomial0;
  return exponent + (m + -1.0f) * p;
}

inline float fastLog10(float x) {
  return static_cast<float>(static_cast<double>(fastLog2(x)) / kLog2Of10);
}

inline std::array<float, 4> fastLog10x4(const std::array<float, 4>& x) {
  std::array<float, 4> result;
  for (std::size_t lane = 0; lane < 4; ++lane) result[lane] = fastLog2(x[lane]) / kLog2Of10Single;
  return result;
}

}  // namespace
}  // namespace kx::graph
