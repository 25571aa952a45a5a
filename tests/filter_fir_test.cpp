// FIR filter over a ring: both variants bit for bit, the pairing of coefficients with ring
// samples, where the product is fused and where it is rounded, and the result against an
// exact dot product.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <random>
#include <span>
#include <vector>

#include "filter/fir.h"
#include "support/buffers.h"
#include "support/differential.h"
#include "support/random.h"

namespace {

using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;

constexpr int32_t kLongest = 300;

// The sum as the filter defines it, in long double, with the sum of the magnitudes of its
// products as the scale of the rounding error.
struct ExactDot {
  long double value = 0;
  long double magnitude = 0;
};

ExactDot exactDot(const float* ring, const float* coefficients, int32_t length, int32_t position) {
  ExactDot dot;
  for (int32_t k = 0; k < length; ++k) {
    const long double product = static_cast<long double>(coefficients[k]) *
                                static_cast<long double>(ring[(position + k) % length]);
    dot.value += product;
    dot.magnitude += std::fabs(product);
  }
  return dot;
}

// 64-byte aligned storage with room for every start offset within a 32-byte line.
class AlignedFloats {
 public:
  explicit AlignedFloats(std::size_t count)
      : data_(static_cast<float*>(
            ::operator new ((count + 16) * sizeof(float), std::align_val_t{64}))) {}
  ~AlignedFloats() { ::operator delete (data_, std::align_val_t{64}); }
  AlignedFloats(const AlignedFloats&) = delete;
  AlignedFloats& operator=(const AlignedFloats&) = delete;
  float* at(std::size_t offsetFloats) { return data_ + offsetFloats; }

 private:
  float* data_;
};

::testing::AssertionResult sameResult(const float* ring, const float* coefficients, int32_t length,
                                      int32_t position) {
  const float expected = kx::generic::firFilter(ring, coefficients, length, position);
  const float actual = kx::avx2::firFilter(ring, coefficients, length, position);
  return kxtest::sameBitsResult("result", expected, actual);
}

// Every length up to kLongest at every position, the two arrays at independent random
// starts within a 32-byte line (the lead-in of the wrapped part follows the coefficients'
// address), filled with special and moderate values alike.
TEST(FirFilterDifferential, EveryLengthPositionAndAlignment) {
  KX_REQUIRE_AVX2();
  AlignedFloats ring(kLongest);
  AlignedFloats coefficients(kLongest);
  const uint64_t minCases = kxtest::differentialCases();
  uint64_t ran = 0;
  for (uint64_t round = 0; ran < minCases || round == 0; ++round) {
    for (int32_t length = 0; length <= kLongest; ++length) {
      for (int32_t position = 0; position <= length; ++position, ++ran) {
        const uint64_t seed = round * 1000003u + static_cast<uint64_t>(length) * 331u + position;
        SampleGenerator generator(seed);
        float* r = ring.at(generator.below(8));
        float* c = coefficients.at(generator.below(8));
        generator.fill(std::span<float>(r, length));
        generator.fill(std::span<float>(c, length));
        const ::testing::AssertionResult result = sameResult(r, c, length, position);
        ASSERT_TRUE(result) << "length " << length << ", position " << position << ", seed "
                            << seed;
      }
    }
  }
}

// Both arrays ending at, then starting at, an inaccessible page: a read outside either faults.
TEST(FirFilterDifferential, ReadsStayInsideBothArrays) {
  KX_REQUIRE_AVX2();
  using Edge = GuardedBuffer<float>::Edge;
  for (Edge edge : {Edge::End, Edge::Start}) {
    for (int32_t length = 0; length <= kLongest; ++length) {
      GuardedBuffer<float> ring(length, edge);
      GuardedBuffer<float> coefficients(length, edge);
      SampleGenerator generator(static_cast<uint64_t>(length) * 7 + (edge == Edge::End));
      generator.fill(ring.span());
      generator.fill(coefficients.span());
      for (int32_t position = 0; position <= length; ++position) {
        ASSERT_TRUE(sameResult(ring.data(), coefficients.data(), length, position))
            << "length " << length << ", position " << position;
      }
    }
  }
}

template <typename Kernel>
void forEachVariant(Kernel kernel) {
  kernel("generic", &kx::generic::firFilter);
  if (kxtest::avx2Available()) kernel("avx2", &kx::avx2::firFilter);
}
using FirKernel = float (*)(const float*, const float*, int32_t, int32_t);

TEST(FirFilter, EmptyRingGivesPositiveZero) {
  const float ring[1] = {5.0f};
  const float coefficients[1] = {3.0f};
  forEachVariant([&](const char* name, FirKernel fir) {
    const float result = fir(ring, coefficients, 0, 0);
    EXPECT_EQ(std::bit_cast<uint32_t>(result), 0u) << name;
  });
}

// Coefficients 2^k and samples 2^(5i): every pairing gives its own exactly representable
// sum, so only coefficients 0, 1, 2 meeting samples 2, 3, 4 and coefficients 3, 4 meeting
// samples 0, 1 produce this one.
TEST(FirFilter, LengthFivePositionTwoPairing) {
  const float coefficients[5] = {1.0f, 2.0f, 4.0f, 8.0f, 16.0f};
  const float ring[5] = {1.0f, 0x1p5f, 0x1p10f, 0x1p15f, 0x1p20f};
  const float expected = 0x1p10f + 0x1p16f + 0x1p22f + 0x1p3f + 0x1p9f;
  forEachVariant([&](const char* name, FirKernel fir) {
    EXPECT_EQ(fir(ring, coefficients, 5, 2), expected) << name;
  });
}

// Small integers keep every partial sum exact, so every split of the work must give the
// integer dot product itself: a product taken twice, dropped or paired with the wrong
// sample shows. Lengths on both sides of each block size, at every position.
TEST(FirFilter, ExactSumsAtEveryPosition) {
  SampleGenerator generator(42);
  for (int32_t length :
       {1, 2, 5, 7, 8, 9, 15, 16, 31, 32, 33, 39, 40, 63, 64, 65, 71, 72, 100, 129, 300}) {
    std::vector<float> ring(length);
    std::vector<float> coefficients(length);
    for (float& v : ring) v = static_cast<float>(static_cast<int>(generator.below(33)) - 16);
    for (float& v : coefficients) v = static_cast<float>(static_cast<int>(generator.below(17)) - 8);
    for (int32_t position = 0; position <= length; ++position) {
      const auto expected =
          static_cast<float>(exactDot(ring.data(), coefficients.data(), length, position).value);
      forEachVariant([&](const char* name, FirKernel fir) {
        EXPECT_EQ(fir(ring.data(), coefficients.data(), length, position), expected)
            << name << ", length " << length << ", position " << position;
      });
    }
  }
}

// a = 1 + 2^-12: a * a = 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11, so a * a + (-a) * a is
// -2^-24 where the second product is fused onto the first in the same lane, and 0 where
// both products are rounded (the scalar remainder).
struct FusedCase {
  int32_t length;
  int32_t first;   // index of a * a
  int32_t second;  // index of (-a) * a
  float expected;
};

class FirFilterFusion : public ::testing::TestWithParam<FusedCase> {};

TEST_P(FirFilterFusion, FusedOnlyInTheBlocks) {
  const FusedCase& c = GetParam();
  const float a = 1.0f + 0x1p-12f;
  std::vector<float> ring(c.length, 0.0f);
  std::vector<float> coefficients(c.length, 0.0f);
  ring[c.first] = a;
  coefficients[c.first] = a;
  ring[c.second] = a;
  coefficients[c.second] = -a;
  forEachVariant([&](const char* name, FirKernel fir) {
    EXPECT_EQ(fir(ring.data(), coefficients.data(), c.length, 0), c.expected) << name;
  });
}

INSTANTIATE_TEST_SUITE_P(Cases, FirFilterFusion,
                         ::testing::Values(FusedCase{2, 0, 1, 0.0f},         // scalar only
                                           FusedCase{9, 0, 8, 0.0f},         // 8-block, then scalar
                                           FusedCase{16, 0, 8, -0x1p-24f},   // two 8-blocks
                                           FusedCase{64, 0, 32, -0x1p-24f},  // two 32-blocks
                                           FusedCase{40, 0, 32, -0x1p-24f},  // 32-block, then 8
                                           FusedCase{40, 0, 8, 0.0f}));  // separate accumulators

// Moderate random values at every position, against the exact dot product: the error
// stays within (length + 2) roundings of the sum of the products' magnitudes. Position 0
// (the straight dot product) and position = length (all of it wrapped) are among them.
TEST(FirFilter, CloseToTheExactDotProduct) {
  std::mt19937_64 engine(7);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  for (int32_t length : {1, 7, 8, 31, 32, 33, 64, 100, 257}) {
    std::vector<float> ring(length);
    std::vector<float> coefficients(length);
    for (float& v : ring) v = uniform(engine);
    for (float& v : coefficients) v = uniform(engine);
    for (int32_t position = 0; position <= length; ++position) {
      const ExactDot dot = exactDot(ring.data(), coefficients.data(), length, position);
      const long double bound = (length + 2) * 0x1p-24L * dot.magnitude;
      forEachVariant([&](const char* name, FirKernel fir) {
        const float result = fir(ring.data(), coefficients.data(), length, position);
        EXPECT_LE(std::fabs(static_cast<long double>(result) - dot.value), bound)
            << name << ", length " << length << ", position " << position;
      });
    }
  }
}

}  // namespace
