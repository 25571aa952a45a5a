// In-place narrowing of doubles to floats and widening of floats to doubles.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "combustion/combustion.h"
#include "support/differential.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;
using kxtest::SweepCase;
using ::testing::AssertionFailure;
using ::testing::AssertionResult;

using Conversion = void* (*)(void*, uint32_t);

Conversion narrowing(bool avx2) {
  return avx2 ? kx::avx2::doubleArrToSingleArrInplace : kx::generic::doubleArrToSingleArrInplace;
}
Conversion widening(bool avx2) {
  return avx2 ? kx::avx2::singleArrToDoubleArrInplace : kx::generic::singleArrToDoubleArrInplace;
}

// Offsets from a 64-byte boundary that keep the required alignment.
std::vector<std::size_t> offsets(std::size_t alignment) {
  std::vector<std::size_t> result;
  for (std::size_t offset = 0; offset < 64; offset += alignment) result.push_back(offset);
  return result;
}

// Both variants convert the same 8 * count bytes in place; the results are compared as the
// converted type over the converted part and byte for byte beyond it, and the canaries
// around the block must survive. `toFloat` tells the direction.
template <typename Converted>
AssertionResult variantsAgree(const SweepCase& c, bool toFloat) {
  SampleGenerator random(c.seed);
  CanaryBuffer<double> expected(c.count, c.offsetBytes), actual(c.count, c.offsetBytes);
  if (toFloat) {
    random.fill(expected.span());
  } else {
    // Floats in the first half, whatever bytes in the second.
    for (uint32_t i = 0; i < c.count; ++i) {
      const uint64_t bits = random.bits();
      std::memcpy(&expected[i], &bits, sizeof bits);
    }
    random.fill(std::span<float>(reinterpret_cast<float*>(expected.data()), c.count));
  }
  std::memcpy(actual.data(), expected.data(), c.count * sizeof(double));
  const Conversion generic = toFloat ? narrowing(false) : widening(false);
  const Conversion avx2 = toFloat ? narrowing(true) : widening(true);
  if (generic(expected.data(), c.count) != expected.data() ||
      avx2(actual.data(), c.count) != actual.data()) {
    return AssertionFailure() << "the result is not `values`";
  }
  if (!actual.canariesIntact()) return AssertionFailure() << "a write outside the block";
  const auto* want = reinterpret_cast<const Converted*>(expected.data());
  const auto* got = reinterpret_cast<const Converted*>(actual.data());
  AssertionResult same = kxtest::sameArrays("converted", want, got, c.count);
  if (!same) return same;
  const std::size_t converted = c.count * sizeof(Converted);
  const std::size_t total = c.count * sizeof(double);
  if (std::memcmp(reinterpret_cast<const unsigned char*>(expected.data()) + converted,
                  reinterpret_cast<const unsigned char*>(actual.data()) + converted,
                  total - converted) != 0) {
    return AssertionFailure() << "the bytes after the floats differ";
  }
  return ::testing::AssertionSuccess();
}

TEST(DoubleArrToSingleArrInplace, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(kxtest::sweepCounts(70), offsets(16), kxtest::differentialCases(),
                [](const SweepCase& c) { return variantsAgree<float>(c, true); });
}

TEST(SingleArrToDoubleArrInplace, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(kxtest::sweepCounts(70), offsets(32), kxtest::differentialCases(),
                [](const SweepCase& c) { return variantsAgree<double>(c, false); });
}

// The narrowing reads the whole block; the widening only its first half. Blocks ending at an
// inaccessible page, at counts that keep the required alignment there.
TEST(DoubleArrToSingleArrInplace, ReadsNothingOutsideTheBlock) {
  SampleGenerator random(3);
  for (uint32_t count = 0; count <= 80; count += 2) {
    GuardedBuffer<double> values(count, GuardedBuffer<double>::Edge::End);
    const std::vector<double> input = random.make<double>(count);
    for (bool avx2 : {false, true}) {
      if (avx2 && !kxtest::avx2Available()) continue;
      values.fill(input);
      narrowing(avx2)(values.data(), count);
      const auto* narrow = reinterpret_cast<const float*>(values.data());
      for (uint32_t i = 0; i < count; ++i) {
        ASSERT_TRUE(kxtest::sameBits(narrow[i], static_cast<float>(input[i]))) << count << " " << i;
      }
    }
  }
}

TEST(SingleArrToDoubleArrInplace, ReadsNothingOutsideTheBlock) {
  SampleGenerator random(4);
  for (uint32_t count = 0; count <= 80; count += 4) {
    GuardedBuffer<double> values(count, GuardedBuffer<double>::Edge::End);
    const std::vector<float> input = random.make<float>(count);
    for (bool avx2 : {false, true}) {
      if (avx2 && !kxtest::avx2Available()) continue;
      std::copy(input.begin(), input.end(), reinterpret_cast<float*>(values.data()));
      widening(avx2)(values.data(), count);
      for (uint32_t i = 0; i < count; ++i) {
        ASSERT_TRUE(kxtest::sameBits(values.data()[i], static_cast<double>(input[i])))
            << count << " " << i;
      }
    }
  }
}

// Doubles that are floats survive narrowing and widening unchanged, on every path.
TEST(PrecisionConversion, NarrowingThenWideningReturnsTheFloats) {
  SampleGenerator random(9);
  for (bool avx2 : {false, true}) {
    if (avx2 && !kxtest::avx2Available()) continue;
    for (uint32_t count : {1u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 100u, 1027u}) {
      const std::vector<float> floats = random.make<float>(count);
      CanaryBuffer<double> values(count, 0);
      for (uint32_t i = 0; i < count; ++i) values[i] = floats[i];
      narrowing(avx2)(values.data(), count);
      widening(avx2)(values.data(), count);
      ASSERT_TRUE(values.canariesIntact());
      for (uint32_t i = 0; i < count; ++i) {
        ASSERT_TRUE(kxtest::sameBits(values[i], static_cast<double>(floats[i])))
            << (avx2 ? "avx2" : "generic") << ", count " << count << ", index " << i;
      }
    }
  }
}

TEST(PrecisionConversion, CountZeroLeavesMemoryUntouched) {
  for (bool avx2 : {false, true}) {
    if (avx2 && !kxtest::avx2Available()) continue;
    for (Conversion convert : {narrowing(avx2), widening(avx2)}) {
      alignas(32) double values[8] = {1.5, -2.0, 3.25, 0.1, 1e300, -0.0, 7, 8};
      alignas(32) double before[8];
      std::memcpy(before, values, sizeof values);
      EXPECT_EQ(convert(values, 0), static_cast<void*>(values));
      EXPECT_EQ(std::memcmp(before, values, sizeof values), 0);
    }
  }
}

}  // namespace
