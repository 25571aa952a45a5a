// Scaled values of a strided run of raw channel samples on 256-bit vectors. Eight raw
// samples are brought into vector lanes (loaded as a whole when the channel is contiguous,
// gathered one at a time otherwise), converted to the working precision, multiplied and
// added in two separately rounded steps, and stored to the aligned output.
#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#include "channel/channel.h"
#include "channel/scaled_loops.h"

namespace kx::avx2 {
namespace {

using channel::StridedRaw;

// Eight raw samples in lanes, tagged by how their lanes convert.
struct Int32Lanes {  // signed values in 32-bit lanes (16-bit samples widened)
  __m256i v;
};
struct Uint32Lanes {  // unsigned 32-bit samples
  __m256i v;
};
struct FloatLanes {
  __m256 v;
};
struct DoubleLanes {  // samples 0-3 and 4-7
  __m256d low, high;
};

inline Int32Lanes loadLanes(const uint8_t* p) {
  return {_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))};
}
inline Int32Lanes loadLanes(const int8_t* p) {
  return {_mm256_cvtepi8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))};
}
inline Int32Lanes loadLanes(const int16_t* p) {
  return {_mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
}
inline Int32Lanes loadLanes(const uint16_t* p) {
  return {_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
}
inline Int32Lanes loadLanes(const int32_t* p) {
  return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
}
inline Uint32Lanes loadLanes(const uint32_t* p) {
  return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
}
inline FloatLanes loadLanes(const float* p) {
  return {_mm256_loadu_ps(p)};
}
inline DoubleLanes loadLanes(const double* p) {
  return {_mm256_loadu_pd(p), _mm256_loadu_pd(p + 4)};
}

template <typename Raw>
inline __m256i gatherInt32(StridedRaw<Raw> raw) {
  return _mm256_setr_epi32(static_cast<int32_t>(raw[0]), static_cast<int32_t>(raw[1]),
                           static_cast<int32_t>(raw[2]), static_cast<int32_t>(raw[3]),
                           static_cast<int32_t>(raw[4]), static_cast<int32_t>(raw[5]),
                           static_cast<int32_t>(raw[6]), static_cast<int32_t>(raw[7]));
}
inline Int32Lanes gatherLanes(StridedRaw<int16_t> raw) {
  return {gatherInt32(raw)};
}
inline Int32Lanes gatherLanes(StridedRaw<uint16_t> raw) {
  return {gatherInt32(raw)};
}
inline Int32Lanes gatherLanes(StridedRaw<int32_t> raw) {
  return {gatherInt32(raw)};
}
inline Uint32Lanes gatherLanes(StridedRaw<uint32_t> raw) {
  return {gatherInt32(raw)};
}
inline FloatLanes gatherLanes(StridedRaw<float> raw) {
  return {_mm256_setr_ps(raw[0], raw[1], raw[2], raw[3], raw[4], raw[5], raw[6], raw[7])};
}
inline DoubleLanes gatherLanes(StridedRaw<double> raw) {
  return {_mm256_setr_pd(raw[0], raw[1], raw[2], raw[3]),
          _mm256_setr_pd(raw[4], raw[5], raw[6], raw[7])};
}

// Single-precision results.
struct FloatScaling {
  __m256 scale, offset;
  __m256d wideScale, wideOffset;  // for double samples, which are scaled in double

  FloatScaling(float s, float o)
      : scale(_mm256_set1_ps(s)),
        offset(_mm256_set1_ps(o)),
        wideScale(_mm256_set1_pd(s)),
        wideOffset(_mm256_set1_pd(o)) {}

  __m256 apply(__m256 v) const { return _mm256_add_ps(_mm256_mul_ps(v, scale), offset); }
  __m256 operator()(Int32Lanes lanes) const { return apply(_mm256_cvtepi32_ps(lanes.v)); }
  __m256 operator()(Uint32Lanes lanes) const {
    const __m256 high = _mm256_cvtepi32_ps(_mm256_srli_epi32(lanes.v, 16));
    const __m256 low = _mm256_cvtepi32_ps(_mm256_and_si256(lanes.v, _mm256_set1_epi32(0xFFFF)));
    return apply(_mm256_add_ps(_mm256_mul_ps(high, _mm256_set1_ps(65536.0f)), low));
  }
  __m256 operator()(FloatLanes lanes) const { return apply(lanes.v); }
  __m256 operator()(DoubleLanes lanes) const {
    const __m128 low =
        _mm256_cvtpd_ps(_mm256_add_pd(_mm256_mul_pd(lanes.low, wideScale), wideOffset));
    const __m128 high =
        _mm256_cvtpd_ps(_mm256_add_pd(_mm256_mul_pd(lanes.high, wideScale), wideOffset));
    return _mm256_set_m128(high, low);
  }
  static void store(float* output, __m256 results) { _mm256_store_ps(output, results); }
  static void storeUnaligned(float* output, __m256 results) { _mm256_storeu_ps(output, results); }
};

// Double-precision results, as two vectors of four.
struct DoubleScaling {
  __m256d scale, offset;

  DoubleScaling(double s, double o) : scale(_mm256_set1_pd(s)), offset(_mm256_set1_pd(o)) {}

  __m256d apply(__m256d v) const { return _mm256_add_pd(_mm256_mul_pd(v, scale), offset); }
  DoubleLanes operator()(Int32Lanes lanes) const {
    return {apply(_mm256_cvtepi32_pd(_mm256_castsi256_si128(lanes.v))),
            apply(_mm256_cvtepi32_pd(_mm256_extracti128_si256(lanes.v, 1)))};
  }
  // The sign bit flipped, the lanes convert as signed; adding 2^31 back is exact.
  DoubleLanes operator()(Uint32Lanes lanes) const {
    const __m256i biased = _mm256_xor_si256(lanes.v, _mm256_set1_epi32(INT32_MIN));
    const __m256d bias = _mm256_set1_pd(2147483648.0);
    return {apply(_mm256_add_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(biased)), bias)),
            apply(_mm256_add_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(biased, 1)), bias))};
  }
  DoubleLanes operator()(FloatLanes lanes) const {
    return {apply(_mm256_cvtps_pd(_mm256_castps256_ps128(lanes.v))),
            apply(_mm256_cvtps_pd(_mm256_extractf128_ps(lanes.v, 1)))};
  }
  DoubleLanes operator()(DoubleLanes lanes) const { return {apply(lanes.low), apply(lanes.high)}; }
  static void store(double* output, DoubleLanes results) {
    _mm256_store_pd(output, results.low);
    _mm256_store_pd(output + 4, results.high);
  }
  static void storeUnaligned(double* output, DoubleLanes results) {
    _mm256_storeu_pd(output, results.low);
    _mm256_storeu_pd(output + 4, results.high);
  }
};

template <typename Out>
using Scaling = std::conditional_t<std::is_same_v<Out, float>, FloatScaling, DoubleScaling>;

struct VectorBlocks {
  template <typename Out, typename Raw>
  static void convertBlocks(StridedRaw<Raw> raw, Out* output, uint32_t blockCount, Out scale,
                            Out offset) {
    const Scaling<Out> scaling(scale, offset);
    constexpr uint32_t kBlock = channel::kBlockResults;
    if (raw.contiguous()) {
      // Only the values and each element's operations are fixed, so a contiguous channel
      // is loaded a block at a time; a block reads exactly its own eight samples.
      const Raw* samples = raw.address(0);
#pragma GCC unroll 4
      for (uint32_t block = 0; block < blockCount; ++block) {
        scaling.store(output + block * kBlock, scaling(loadLanes(samples + block * kBlock)));
      }
    } else {
      for (uint32_t block = 0; block < blockCount; ++block) {
        scaling.store(output + block * kBlock, scaling(gatherLanes(raw.from(block * kBlock))));
      }
    }
  }

  // The types without an aligned vector body still gain from whole-block loads when the
  // channel is contiguous; int64 samples have no vector conversion and go one by one, as
  // do strided channels, whose samples would be gathered singly anyway.
  template <typename Out, typename Raw>
  static void convertUnalignedBlocks(StridedRaw<Raw> raw, Out* output, uint32_t blockCount,
                                     Out scale, Out offset) {
    constexpr uint32_t kBlock = channel::kBlockResults;
    if constexpr (!std::is_same_v<Raw, int64_t>) {
      if (raw.contiguous()) {
        const Scaling<Out> scaling(scale, offset);
        const Raw* samples = raw.address(0);
#pragma GCC unroll 4
        for (uint32_t block = 0; block < blockCount; ++block) {
          scaling.storeUnaligned(output + block * kBlock,
                                 scaling(loadLanes(samples + block * kBlock)));
        }
        return;
      }
    }
    for (uint32_t i = 0; i < blockCount * kBlock; ++i) {
      output[i] = channel::scaledValue(raw[i], scale, offset);
    }
  }
};

}  // namespace

void scaledValuesAtPos(const ScaledValuesRequest_float* request) {
  channel::convertRequest<false, VectorBlocks>(request);
}
void scaledValuesAtPos(const ScaledValuesRequest_double* request) {
  channel::convertRequest<false, VectorBlocks>(request);
}
void scaledValuesAtPosAlignedOutput(const ScaledValuesRequest_float* request) {
  channel::convertRequest<true, VectorBlocks>(request);
}
void scaledValuesAtPosAlignedOutput(const ScaledValuesRequest_double* request) {
  channel::convertRequest<true, VectorBlocks>(request);
}

}  // namespace kx::avx2
