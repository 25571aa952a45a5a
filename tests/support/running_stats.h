// The four running-statistics outputs of the statistics kernels, compared bit for bit.
#pragma once

#include <gtest/gtest.h>

#include "support/differential.h"

namespace kxtest {

template <typename T>
struct RunningStats {
  T minimum;
  T maximum;
  double sum;
  double sumOfSquares;
};

template <typename T>
::testing::AssertionResult sameRunningStats(const RunningStats<T>& expected,
                                            const RunningStats<T>& actual) {
  auto result = sameBitsResult("minimum", expected.minimum, actual.minimum);
  if (result) result = sameBitsResult("maximum", expected.maximum, actual.maximum);
  if (result) result = sameBitsResult("sum", expected.sum, actual.sum);
  if (result) result = sameBitsResult("sum of squares", expected.sumOfSquares, actual.sumOfSquares);
  return result;
}

}  // namespace kxtest
