// Typed 256- and 128-bit vector views for the AVX2/FMA3 kernels (compiled with -mavx2 -mfma).
// Each view names the loads, the lane-wise minimum and maximum, and the reduction by
// halving, so that one kernel template serves every sample type.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace kx::avx2 {

template <typename T>
struct Vec256;

template <>
struct Vec256<int16_t> {
  using T = int16_t;
  using V = __m256i;
  static constexpr uint32_t kWidth = 16;
  static V load(const T* p) { return _mm256_load_si256(reinterpret_cast<const V*>(p)); }
  static V loadu(const T* p) { return _mm256_loadu_si256(reinterpret_cast<const V*>(p)); }
  static V broadcast(T value) { return _mm256_set1_epi16(value); }
  static V min(V a, V b) { return _mm256_min_epi16(a, b); }
  static V max(V a, V b) { return _mm256_max_epi16(a, b); }
  static T reduceMin(V v) {
    __m128i m = _mm_min_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    m = _mm_min_epi16(m, _mm_srli_si128(m, 8));
    m = _mm_min_epi16(m, _mm_srli_si128(m, 4));
    m = _mm_min_epi16(m, _mm_srli_si128(m, 2));
    return static_cast<T>(_mm_extract_epi16(m, 0));
  }
  static T reduceMax(V v) {
    __m128i m = _mm_max_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    m = _mm_max_epi16(m, _mm_srli_si128(m, 8));
    m = _mm_max_epi16(m, _mm_srli_si128(m, 4));
    m = _mm_max_epi16(m, _mm_srli_si128(m, 2));
    return static_cast<T>(_mm_extract_epi16(m, 0));
  }
};

template <>
struct Vec256<int32_t> {
  using T = int32_t;
  using V = __m256i;
  static constexpr uint32_t kWidth = 8;
  static V load(const T* p) { return _mm256_load_si256(reinterpret_cast<const V*>(p)); }
  static V loadu(const T* p) { return _mm256_loadu_si256(reinterpret_cast<const V*>(p)); }
  static V min(V a, V b) { return _mm256_min_epi32(a, b); }
  static V max(V a, V b) { return _mm256_max_epi32(a, b); }
  static T reduceMin(V v) {
    __m128i m = _mm_min_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    m = _mm_min_epi32(m, _mm_srli_si128(m, 8));
    m = _mm_min_epi32(m, _mm_srli_si128(m, 4));
    return _mm_cvtsi128_si32(m);
  }
  static T reduceMax(V v) {
    __m128i m = _mm_max_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    m = _mm_max_epi32(m, _mm_srli_si128(m, 8));
    m = _mm_max_epi32(m, _mm_srli_si128(m, 4));
    return _mm_cvtsi128_si32(m);
  }
};

// For the floating-point views, min(a, b) and max(a, b) yield b whenever the comparison
// fails (equal values or a NaN): the running value is always passed as a.
template <>
struct Vec256<float> {
  using T = float;
  using V = __m256;
  static constexpr uint32_t kWidth = 8;
  static V load(const T* p) { return _mm256_load_ps(p); }
  static V loadu(const T* p) { return _mm256_loadu_ps(p); }
  static V min(V a, V b) { return _mm256_min_ps(a, b); }
  static V max(V a, V b) { return _mm256_max_ps(a, b); }
  static V unordered(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_UNORD_Q); }
  static V orMask(V a, V b) { return _mm256_or_ps(a, b); }
  static V noLanes() { return _mm256_setzero_ps(); }
  static bool anyLane(V mask) { return _mm256_movemask_ps(mask) != 0; }
  static T reduceMin(V v) {
    __m128 m = _mm_min_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
    m = _mm_min_ps(m, _mm_movehl_ps(m, m));
    m = _mm_min_ss(m, _mm_movehdup_ps(m));
    return _mm_cvtss_f32(m);
  }
  static T reduceMax(V v) {
    __m128 m = _mm_max_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
    m = _mm_max_ps(m, _mm_movehl_ps(m, m));
    m = _mm_max_ss(m, _mm_movehdup_ps(m));
    return _mm_cvtss_f32(m);
  }
};

template <>
struct Vec256<double> {
  using T = double;
  using V = __m256d;
  static constexpr uint32_t kWidth = 4;
  static V load(const T* p) { return _mm256_load_pd(p); }
  static V loadu(const T* p) { return _mm256_loadu_pd(p); }
  static V min(V a, V b) { return _mm256_min_pd(a, b); }
  static V max(V a, V b) { return _mm256_max_pd(a, b); }
  static V unordered(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_UNORD_Q); }
  static V orMask(V a, V b) { return _mm256_or_pd(a, b); }
  static V noLanes() { return _mm256_setzero_pd(); }
  static bool anyLane(V mask) { return _mm256_movemask_pd(mask) != 0; }
  static T reduceMin(V v) {
    __m128d m = _mm_min_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
    m = _mm_min_sd(m, _mm_unpackhi_pd(m, m));
    return _mm_cvtsd_f64(m);
  }
  static T reduceMax(V v) {
    __m128d m = _mm_max_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
    m = _mm_max_sd(m, _mm_unpackhi_pd(m, m));
    return _mm_cvtsd_f64(m);
  }
};

// 128-bit integer views, for the kernels whose body runs on 16-byte blocks.
template <typename T>
struct Vec128;

template <>
struct Vec128<int16_t> {
  using T = int16_t;
  using V = __m128i;
  static constexpr uint32_t kWidth = 8;
  static V load(const T* p) { return _mm_load_si128(reinterpret_cast<const V*>(p)); }
  static V loadu(const T* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
  static V min(V a, V b) { return _mm_min_epi16(a, b); }
  static V max(V a, V b) { return _mm_max_epi16(a, b); }
  static T reduceMin(V m) {
    m = _mm_min_epi16(m, _mm_srli_si128(m, 8));
    m = _mm_min_epi16(m, _mm_srli_si128(m, 4));
    m = _mm_min_epi16(m, _mm_srli_si128(m, 2));
    return static_cast<T>(_mm_extract_epi16(m, 0));
  }
  static T reduceMax(V m) {
    m = _mm_max_epi16(m, _mm_srli_si128(m, 8));
    m = _mm_max_epi16(m, _mm_srli_si128(m, 4));
    m = _mm_max_epi16(m, _mm_srli_si128(m, 2));
    return static_cast<T>(_mm_extract_epi16(m, 0));
  }
};

template <>
struct Vec128<int32_t> {
  using T = int32_t;
  using V = __m128i;
  static constexpr uint32_t kWidth = 4;
  static V load(const T* p) { return _mm_load_si128(reinterpret_cast<const V*>(p)); }
  static V loadu(const T* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
  static V min(V a, V b) { return _mm_min_epi32(a, b); }
  static V max(V a, V b) { return _mm_max_epi32(a, b); }
  static T reduceMin(V m) {
    m = _mm_min_epi32(m, _mm_srli_si128(m, 8));
    m = _mm_min_epi32(m, _mm_srli_si128(m, 4));
    return _mm_cvtsi128_si32(m);
  }
  static T reduceMax(V m) {
    m = _mm_max_epi32(m, _mm_srli_si128(m, 8));
    m = _mm_max_epi32(m, _mm_srli_si128(m, 4));
    return _mm_cvtsi128_si32(m);
  }
};

// Horizontal sum of a four-lane double accumulator: (lane 0 + lane 2) + (lane 1 + lane 3).
inline double sumLanes(__m256d v) {
  const __m128d pairs = _mm_add_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
  return _mm_cvtsd_f64(_mm_add_sd(pairs, _mm_unpackhi_pd(pairs, pairs)));
}

}  // namespace kx::avx2
