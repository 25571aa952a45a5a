// Element-wise arithmetic and sums on 256-bit vectors.
//
// The element-wise kernels run a head singly until the aligned array reaches a 32-byte
// boundary, whole blocks of 8 float (4 double) with aligned loads of that array, and a tail
// singly. Nothing is fused, so every path gives the same bits. The two-input kernels take
// the element loop when out starts within one block of a or b; otherwise a block never
// reads what it writes itself, and as long as each block is stored before the next one is
// loaded, an overlapping out sees exactly what the element loop in index order gives.
// (Loading several blocks ahead would be exact only for an out that overlaps neither
// input, and measures no faster: the processor already runs the next loads early.)
//
// The sums convert and multiply eight elements at a time, and add the products to the one
// double accumulator in index order.
#include "core/align.h"
#include "core/avx2.h"
#include "vector/element_ops.h"
#include "vector/vector.h"

namespace kx::avx2 {
namespace {

constexpr uint32_t kFloatWidth = 8;

// --- in-place scaling --------------------------------------------------------------

template <typename T>
struct Scale;

template <>
struct Scale<float> {
  __m256 factor;
  explicit Scale(float f) : factor(_mm256_set1_ps(f)) {}
  void block(float* p) const { _mm256_store_ps(p, _mm256_mul_ps(_mm256_load_ps(p), factor)); }
};

template <>
struct Scale<double> {
  __m256d factor;
  explicit Scale(double f) : factor(_mm256_set1_pd(f)) {}
  void block(double* p) const { _mm256_store_pd(p, _mm256_mul_pd(_mm256_load_pd(p), factor)); }
};

template <typename T>
void scaleInPlace(T* data, uint32_t count, T factor) {
  constexpr uint32_t kWidth = 32 / sizeof(T);
  const uint32_t head = headCount<32>(data);
  if (count < head + kWidth) {
    vector::scaleInOrder(data, count, factor);
    return;
  }
  const Split split = splitAfterHead<kWidth>(head, count);
  vector::scaleInOrder(data, split.head, factor);
  T* body = data + split.head;
  const Scale<T> op(factor);
#pragma GCC unroll 8
  for (uint32_t block = 0; block < split.blocks; ++block) op.block(body + block * kWidth);
  vector::scaleInOrder(body + split.blocks * kWidth, split.tail, factor);
}

// --- two-input kernels -------------------------------------------------------------

struct SubtractAndScale {
  float factor;
  __m256 factors = _mm256_set1_ps(factor);
  float operator()(float a, float b) const { return vector::subtractAndScale(a, b, factor); }
  __m256 operator()(__m256 a, __m256 b) const {
    return _mm256_mul_ps(_mm256_sub_ps(a, b), factors);
  }
};

struct AddAndScale {
  float factorOfB;
  float factorOfSum;
  __m256 factorsOfB = _mm256_set1_ps(factorOfB);
  __m256 factorsOfSum = _mm256_set1_ps(factorOfSum);
  float operator()(float a, float b) const {
    return vector::addAndScale(a, b, factorOfB, factorOfSum);
  }
  __m256 operator()(__m256 a, __m256 b) const {
    return _mm256_mul_ps(_mm256_add_ps(a, _mm256_mul_ps(factorsOfB, b)), factorsOfSum);
  }
};

bool startsWithinOneBlock(const float* out, const float* input) {
  const auto o = reinterpret_cast<std::uintptr_t>(out);
  const auto i = reinterpret_cast<std::uintptr_t>(input);
  return (o > i ? o - i : i - o) < 32;
}

// elementLoopUpTo: the longest count that always takes the element loop.
template <typename Op>
void combine(float* out, const float* a, const float* b, uint32_t count, uint32_t elementLoopUpTo,
             const Op& op) {
  const uint32_t head = headCount<32>(a);
  if (count <= elementLoopUpTo || count < head + kFloatWidth || startsWithinOneBlock(out, a) ||
      startsWithinOneBlock(out, b)) {
    vector::combineInOrder(out, a, b, count, op);
    return;
  }
  const Split split = splitAfterHead<kFloatWidth>(head, count);
  vector::combineInOrder(out, a, b, split.head, op);
  float* const bodyOut = out + split.head;
  const float* const bodyA = a + split.head;
  const float* const bodyB = b + split.head;
  // Each block is loaded, computed and stored before the next one is loaded.
#pragma GCC unroll 8
  for (uint32_t block = 0; block < split.blocks; ++block) {
    const uint32_t at = block * kFloatWidth;
    _mm256_storeu_ps(bodyOut + at, op(_mm256_load_ps(bodyA + at), _mm256_loadu_ps(bodyB + at)));
  }
  const uint32_t done = split.head + split.blocks * kFloatWidth;
  vector::combineInOrder(out + done, a + done, b + done, split.tail, op);
}

// --- sums --------------------------------------------------------------------------

// The four lanes added to the running sum one after another, lane 0 first.
double addLanesInOrder(double sum, __m256d lanes) {
  const __m128d low = _mm256_castpd256_pd128(lanes);
  const __m128d high = _mm256_extractf128_pd(lanes, 1);
  sum = sum + _mm_cvtsd_f64(low);
  sum = sum + _mm_cvtsd_f64(_mm_unpackhi_pd(low, low));
  sum = sum + _mm_cvtsd_f64(high);
  sum = sum + _mm_cvtsd_f64(_mm_unpackhi_pd(high, high));
  return sum;
}

__m256d widenLow(__m256 v) {
  return _mm256_cvtps_pd(_mm256_castps256_ps128(v));
}
__m256d widenHigh(__m256 v) {
  return _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1));
}

}  // namespace

void multiplyVectorByScalar(float* data, uint32_t count, float factor) {
  scaleInPlace(data, count, factor);
}
void multiplyVectorByScalar(double* data, uint32_t count, double factor) {
  scaleInPlace(data, count, factor);
}

double sumSquaredValues(const float* data, uint32_t count) {
  double sum = 0.0;
  uint32_t i = 0;
  for (; i + kFloatWidth <= count; i += kFloatWidth) {
    const __m256 x = _mm256_loadu_ps(data + i);
    const __m256d low = widenLow(x), high = widenHigh(x);
    sum = addLanesInOrder(sum, _mm256_mul_pd(low, low));
    sum = addLanesInOrder(sum, _mm256_mul_pd(high, high));
  }
  return vector::addSquares(sum, data + i, count - i);
}

double multiplyVectorsAndCalcSum(const float* a, const float* b, uint32_t count) {
  double sum = 0.0;
  uint32_t i = 0;
  for (; i + kFloatWidth <= count; i += kFloatWidth) {
    const __m256 x = _mm256_loadu_ps(a + i), y = _mm256_loadu_ps(b + i);
    sum = addLanesInOrder(sum, _mm256_mul_pd(widenLow(x), widenLow(y)));
    sum = addLanesInOrder(sum, _mm256_mul_pd(widenHigh(x), widenHigh(y)));
  }
  return vector::addProducts(sum, a + i, b + i, count - i);
}

void subtractVectorsAndMultiplyByScalar(float* out, const float* a, const float* b, uint32_t count,
                                        float factor) {
  combine(out, a, b, count, 11, SubtractAndScale{factor});
}

void addVectorsAndMultiplyByScalar(float* out, const float* a, const float* b, uint32_t count,
                                   float factorOfB, float factorOfSum) {
  combine(out, a, b, count, 10, AddAndScale{factorOfB, factorOfSum});
}

}  // namespace kx::avx2
