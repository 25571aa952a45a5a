// Pixel mapping of graph points on 256-bit vectors: the four-point path maps its four points
// in the four double lanes of one register; the one-point path is the shared scalar one.
#include <immintrin.h>

#include "graph/fast_log10_avx2.h"
#include "graph/graph.h"
#include "graph/xy_graph.h"

namespace kx::avx2 {
namespace {

inline __m256d broadcast(double value) {
  return _mm256_set1_pd(value);
}

// The base-10 logarithm of four doubles by way of single precision.
inline __m256d log10Lanes(__m256d values) {
  return _mm256_cvtps_pd(fastLog10x4(_mm256_cvtpd_ps(values)));
}

// The range is the same in every lane, so its test is a scalar one.
inline __m256d axisFractions(__m256d values, double start, double end) {
  const double range = end - start;
  if (range == 0) return broadcast(start);
  return _mm256_div_pd(_mm256_sub_pd(values, broadcast(start)), broadcast(range));
}

// Lanes at or below logMin (a logarithm, compared with the raw value) take logMin itself.
inline __m256d logAxisFractions(__m256d values, double logMin, double logMax) {
  const __m256d start = broadcast(logMin);
  const __m256d above = _mm256_cmp_pd(start, values, _CMP_LT_OQ);
  return axisFractions(_mm256_blendv_pd(start, log10Lanes(values), above), logMin, logMax);
}

// The bound is the first operand of min and max, so that a NaN passes.
inline __m256d clampLanes(__m256d values, double lowest, double highest) {
  return _mm256_max_pd(broadcast(lowest), _mm256_min_pd(broadcast(highest), values));
}

// Positions are whole numbers after the clamp, so the conversion is exact. The lowest pixel
// is the second operand of max, which a NaN position therefore takes.
inline void storePixels(int32_t* pixels, __m256d positions) {
  const __m256d clamped = _mm256_min_pd(broadcast(graph::kHighestPixel),
                                        _mm256_max_pd(positions, broadcast(graph::kLowestPixel)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels), _mm256_cvtpd_epi32(clamped));
}

// (extent × fraction) rounded to nearest, ties to even.
inline __m256d roundedOffsets(double extent, __m256d fractions) {
  const __m256d clamped = clampLanes(fractions, -graph::kFractionLimit, graph::kFractionLimit);
  return _mm256_round_pd(_mm256_mul_pd(broadcast(extent), clamped),
                         _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
}

void mapFourPoints(const XYGraphPointRequest& r) {
  // index + k in 32-bit lanes, signed.
  const __m256d indices =
      _mm256_cvtepi32_pd(_mm_add_epi32(_mm_set1_epi32(r.index), _mm_setr_epi32(0, 1, 2, 3)));
  __m256d x;
  switch (r.xSource) {
    case graph::kXFromIndex:
      x = indices;
      break;
    case graph::kXFromArray:
      x = _mm256_loadu_pd(r.xData + r.index);
      break;
    case graph::kXFromStep:
      x = _mm256_add_pd(_mm256_mul_pd(indices, broadcast(r.xStep)), broadcast(r.xStart));
      break;
    default:
      x = _mm256_setzero_pd();
      break;
  }

  __m256d xFractions;
  switch (r.xScale) {
    case graph::kLinear:
      xFractions = axisFractions(x, r.xMin, r.xMax);
      break;
    case graph::kLogarithmic:
      xFractions = logAxisFractions(x, r.xLogMin, r.xLogMax);
      break;
    default:
      xFractions = x;
      break;
  }

  __m256d y = r.yDataType == RawType_float
                  ? _mm256_cvtps_pd(_mm_loadu_ps(static_cast<const float*>(r.yData)))
                  : _mm256_loadu_pd(static_cast<const double*>(r.yData));
  y = _mm256_add_pd(_mm256_mul_pd(y, broadcast(r.yFactor)), broadcast(r.yOffset));

  __m256d yFractions;
  switch (r.yScale) {
    case graph::kLinear:
      yFractions = r.yMin == r.yMax ? _mm256_setzero_pd()
                                    : _mm256_div_pd(_mm256_sub_pd(y, broadcast(r.yMin)),
                                                    broadcast(r.yMax - r.yMin));
      break;
    case graph::kLogarithmic:
      yFractions = logAxisFractions(y, r.yLogMin, r.yLogMax);
      break;
    default: {
      const __m256d logs = log10Lanes(_mm256_div_pd(y, broadcast(r.dbReference)));
      const __m256d above = _mm256_cmp_pd(broadcast(graph::kDecibelThreshold), y, _CMP_LT_OQ);
      const __m256d d =
          _mm256_blendv_pd(broadcast(graph::kDecibelFloor),
                           _mm256_mul_pd(broadcast(graph::kDecibelFactor), logs), above);
      yFractions = axisFractions(d, r.yMin, r.yMax);
      break;
    }
  }

  const double width = static_cast<double>(int32_t{r.right} - int32_t{r.left});
  const double height = static_cast<double>(int32_t{r.bottom} - int32_t{r.top});
  storePixels(r.xPixels, _mm256_add_pd(broadcast(r.left), roundedOffsets(width, xFractions)));
  storePixels(r.yPixels, _mm256_sub_pd(broadcast(r.bottom), roundedOffsets(height, yFractions)));
  *r.pointCount = 4;
}

}  // namespace

void getXYValGraph2D(const XYGraphPointRequest* request) {
  graph::mapPoints<mapFourPoints>(request);
}

}  // namespace kx::avx2
