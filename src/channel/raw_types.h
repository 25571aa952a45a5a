// Raw channel samples: the C type behind each raw type code, strided access to a channel's
// samples, and the scaled value of one sample. Both variants share these; the unnamed
// namespace gives every library its own copy, so the AVX2-compiled one never serves the
// generic code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>

namespace kx::channel {
namespace {

// The raw element of each type code, in code order (the order is part of the interface).
using RawElements =
    std::tuple<uint8_t, int8_t, int16_t, uint16_t, int32_t, float, int64_t, double, uint32_t>;
inline constexpr uint32_t kRawTypeCount = std::tuple_size_v<RawElements>;
template <uint32_t Code>
using RawElement = std::tuple_element_t<Code, RawElements>;

// One channel's samples: sample i lies i * stride raw elements from the first. The stride
// may be zero or negative, so the step is a signed byte distance.
template <typename Raw>
struct StridedRaw {
  const unsigned char* first;
  std::ptrdiff_t stepBytes;

  const Raw* address(uint32_t i) const {
    return reinterpret_cast<const Raw*>(first + static_cast<std::ptrdiff_t>(i) * stepBytes);
  }
  Raw operator[](uint32_t i) const {
    Raw value;
    std::memcpy(&value, address(i), sizeof value);
    return value;
  }
  StridedRaw from(uint32_t i) const {
    return {first + static_cast<std::ptrdiff_t>(i) * stepBytes, stepBytes};
  }
  bool contiguous() const { return stepBytes == static_cast<std::ptrdiff_t>(sizeof(Raw)); }
};

// The working value of a single-precision result: exact for the narrow integers, rounded
// once to nearest for the 32- and 64-bit integers (an int64 converts directly, never by way
// of double).
template <typename Raw>
inline float singleValue(Raw r) {
  return static_cast<float>(r);
}
// The vector unit converts only signed 32-bit integers, so an unsigned one goes in two
// halves: both convert exactly and the product by 65536 is exact, leaving the addition as
// the one rounding.
inline float singleValue(uint32_t r) {
  return static_cast<float>(r >> 16) * 65536.0f + static_cast<float>(r & 0xFFFFu);
}

// The working value of a double-precision result: exact except for int64, rounded once.
template <typename Raw>
inline double doubleValue(Raw r) {
  return static_cast<double>(r);
}
// Biased into the signed range, converted, and the bias added back: every step is exact.
inline double doubleValue(uint32_t r) {
  return static_cast<double>(static_cast<int32_t>(r ^ 0x80000000u)) + 2147483648.0;
}

// raw * scale + offset, multiplication and addition rounded separately.
template <typename Raw>
inline float scaledValue(Raw r, float scale, float offset) {
  return singleValue(r) * scale + offset;
}
// A double sample keeps its precision: scale and offset widen, and only the sum is rounded
// to single precision.
inline float scaledValue(double r, float scale, float offset) {
  return static_cast<float>(r * static_cast<double>(scale) + static_cast<double>(offset));
}
template <typename Raw>
inline double scaledValue(Raw r, double scale, double offset) {
  return doubleValue(r) * scale + offset;
}

}  // namespace
}  // namespace kx::channel
