// Element-wise arithmetic and sums, portable form. Every element is computed with separate
// roundings in a fixed order and the sums add in index order, so one loop in index order
// states the result of every path of the vector kernels: their body stores each block
// before it loads the next, and runs only when the output starts at least one block away
// from both inputs, which gives what this loop gives even when the arrays overlap.
#include "vector/element_ops.h"
#include "vector/vector.h"

namespace kx::generic {

void multiplyVectorByScalar(float* data, uint32_t count, float factor) {
  vector::scaleInOrder(data, count, factor);
}
void multiplyVectorByScalar(double* data, uint32_t count, double factor) {
  vector::scaleInOrder(data, count, factor);
}

double sumSquaredValues(const float* data, uint32_t count) {
  return vector::addSquares(0.0, data, count);
}
double multiplyVectorsAndCalcSum(const float* a, const float* b, uint32_t count) {
  return vector::addProducts(0.0, a, b, count);
}

void subtractVectorsAndMultiplyByScalar(float* out, const float* a, const float* b, uint32_t count,
                                        float factor) {
  vector::combineInOrder(out, a, b, count, [factor](float x, float y) {
    return vector::subtractAndScale(x, y, factor);
  });
}
void addVectorsAndMultiplyByScalar(float* out, const float* a, const float* b, uint32_t count,
                                   float factorOfB, float factorOfSum) {
  vector::combineInOrder(out, a, b, count, [factorOfB, factorOfSum](float x, float y) {
    return vector::addAndScale(x, y, factorOfB, factorOfSum);
  });
}

}  // namespace kx::generic
