// Element-wise arithmetic and sums of float and double arrays.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/differential.h"
#include "vector/vector.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;
using kxtest::SweepCase;
using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;

// Start offsets of several independently aligned 4-byte arrays, packed into one sweep
// offset: 3 bits (8 offsets of one 32-byte line) per array.
std::vector<std::size_t> alignmentCombinations(int arrays) {
  std::vector<std::size_t> combinations(std::size_t{1} << (3 * arrays));
  for (std::size_t i = 0; i < combinations.size(); ++i) combinations[i] = i;
  return combinations;
}
std::size_t offsetOf(std::size_t combination, int array) {
  return ((combination >> (3 * array)) & 7) * sizeof(float);
}

template <typename T>
AssertionResult intact(const CanaryBuffer<T>& buffer, const char* what) {
  if (buffer.canariesIntact()) return AssertionSuccess();
  return AssertionFailure() << "a write outside " << what;
}

AssertionResult both(AssertionResult first, AssertionResult second) {
  return first ? second : first;
}

template <typename T>
T randomFactor(SampleGenerator& random) {
  if constexpr (sizeof(T) == 4) {
    return random.scalarFloat();
  } else {
    return random.scalarDouble();
  }
}

using BinaryKernel = void (*)(float* out, const float* a, const float* b, uint32_t count,
                              SampleGenerator& random, bool avx2);

void subtract(float* out, const float* a, const float* b, uint32_t count, SampleGenerator& random,
              bool avx2) {
  const float factor = random.scalarFloat();
  (avx2 ? kx::avx2::subtractVectorsAndMultiplyByScalar
        : kx::generic::subtractVectorsAndMultiplyByScalar)(out, a, b, count, factor);
}
void add(float* out, const float* a, const float* b, uint32_t count, SampleGenerator& random,
         bool avx2) {
  const float factorOfB = random.scalarFloat(), factorOfSum = random.scalarFloat();
  (avx2 ? kx::avx2::addVectorsAndMultiplyByScalar : kx::generic::addVectorsAndMultiplyByScalar)(
      out, a, b, count, factorOfB, factorOfSum);
}

template <typename T>
void scaleWith(bool avx2, T* data, uint32_t count, T factor) {
  if (avx2) {
    kx::avx2::multiplyVectorByScalar(data, count, factor);
  } else {
    kx::generic::multiplyVectorByScalar(data, count, factor);
  }
}

// Runs both variants with the factors drawn from the same seed.
template <typename Run>
void runBoth(uint64_t seed, Run run) {
  SampleGenerator genericFactors(seed ^ 0x5eed), avx2Factors(seed ^ 0x5eed);
  run(genericFactors, false);
  run(avx2Factors, true);
}

// --- differential sweeps -----------------------------------------------------------

template <typename T>
class Scaling : public ::testing::Test {};
using ScalingTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Scaling, ScalingTypes);

TYPED_TEST(Scaling, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  using T = TypeParam;
  kxtest::sweep(sizeof(T), [](const SweepCase& c) -> AssertionResult {
    SampleGenerator random(c.seed);
    CanaryBuffer<T> expected(c.count, c.offsetBytes), actual(c.count, c.offsetBytes);
    random.fill(expected.span());
    actual.fill(expected.span());
    const T factor = randomFactor<T>(random);
    kx::generic::multiplyVectorByScalar(expected.data(), c.count, factor);
    kx::avx2::multiplyVectorByScalar(actual.data(), c.count, factor);
    return both(intact(actual, "data"),
                kxtest::sameArrays("data", expected.data(), actual.data(), c.count));
  });
}

TEST(SumSquaredValues, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(sizeof(float), [](const SweepCase& c) -> AssertionResult {
    SampleGenerator random(c.seed);
    CanaryBuffer<float> data(c.count, c.offsetBytes);
    random.fill(data.span());
    return kxtest::sameBitsResult("sum", kx::generic::sumSquaredValues(data.data(), c.count),
                                  kx::avx2::sumSquaredValues(data.data(), c.count));
  });
}

TEST(MultiplyVectorsAndCalcSum, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(kxtest::sweepCounts(), alignmentCombinations(2), kxtest::differentialCases(),
                [](const SweepCase& c) -> AssertionResult {
                  SampleGenerator random(c.seed);
                  CanaryBuffer<float> a(c.count, offsetOf(c.offsetBytes, 0));
                  CanaryBuffer<float> b(c.count, offsetOf(c.offsetBytes, 1));
                  random.fill(a.span());
                  random.fill(b.span());
                  return kxtest::sameBitsResult(
                      "sum", kx::generic::multiplyVectorsAndCalcSum(a.data(), b.data(), c.count),
                      kx::avx2::multiplyVectorsAndCalcSum(a.data(), b.data(), c.count));
                });
}

struct BinaryCase {
  const char* name;
  BinaryKernel kernel;
  friend void PrintTo(const BinaryCase& c, std::ostream* os) { *os << c.name; }
};

class TwoInputs : public ::testing::TestWithParam<BinaryCase> {};

// out, a and b in separate arrays, each at its own alignment.
TEST_P(TwoInputs, VariantsAgreeOnSeparateArrays) {
  KX_REQUIRE_AVX2();
  const BinaryKernel kernel = GetParam().kernel;
  kxtest::sweep(kxtest::sweepCounts(), alignmentCombinations(3), kxtest::differentialCases(),
                [kernel](const SweepCase& c) -> AssertionResult {
                  SampleGenerator random(c.seed);
                  CanaryBuffer<float> a(c.count, offsetOf(c.offsetBytes, 1));
                  CanaryBuffer<float> b(c.count, offsetOf(c.offsetBytes, 2));
                  CanaryBuffer<float> expected(c.count, offsetOf(c.offsetBytes, 0));
                  CanaryBuffer<float> actual(c.count, offsetOf(c.offsetBytes, 0));
                  random.fill(a.span());
                  random.fill(b.span());
                  runBoth(c.seed, [&](SampleGenerator& factors, bool avx2) {
                    kernel((avx2 ? actual : expected).data(), a.data(), b.data(), c.count, factors,
                           avx2);
                  });
                  return both(intact(actual, "out"),
                              kxtest::sameArrays("out", expected.data(), actual.data(), c.count));
                });
}

// out overlapping a, b or both, in every placement at the distances (in elements) around
// the one-block threshold; the rest of each array stays aligned independently.
constexpr std::ptrdiff_t kDistances[] = {0, 1, -1, 7, -7, 8, -8, 9, -9, 16, -16};
constexpr std::size_t kPlacements = std::size(kDistances) + 1;  // the last: a separate array
constexpr std::ptrdiff_t kMargin = 16;

struct Overlap {
  std::size_t aPlacement, bPlacement, outOffsetBytes;
};
Overlap decodeOverlap(std::size_t code) {
  return {code % kPlacements, code / kPlacements % kPlacements, code / kPlacements / kPlacements};
}
std::vector<std::size_t> overlapCodes() {
  std::vector<std::size_t> codes;
  for (std::size_t code = 0; code < kPlacements * kPlacements * 8; ++code) {
    const Overlap o = decodeOverlap(code);
    if (o.aPlacement + 1 < kPlacements || o.bPlacement + 1 < kPlacements) codes.push_back(code);
  }
  return codes;
}

TEST_P(TwoInputs, VariantsAgreeOnOverlappingArrays) {
  KX_REQUIRE_AVX2();
  const BinaryKernel kernel = GetParam().kernel;
  kxtest::sweep(
      kxtest::sweepCounts(), overlapCodes(), kxtest::differentialCases(),
      [kernel](const SweepCase& c) -> AssertionResult {
        const Overlap o = decodeOverlap(c.offsetBytes);
        const std::size_t length = c.count + 2 * kMargin;
        const std::size_t offset = o.outOffsetBytes * sizeof(float);
        SampleGenerator random(c.seed);
        // out sits at kMargin in a shared region; an input at a distance sits in the same region.
        CanaryBuffer<float> expected(length, offset), actual(length, offset);
        CanaryBuffer<float> separate(c.count, random.below(8) * sizeof(float));
        random.fill(expected.span());
        random.fill(separate.span());
        actual.fill(expected.span());
        auto place = [&](CanaryBuffer<float>& region, std::size_t placement) -> const float* {
          if (placement + 1 == kPlacements) return separate.data();
          return region.data() + kMargin + kDistances[placement];
        };
        runBoth(c.seed, [&](SampleGenerator& factors, bool avx2) {
          CanaryBuffer<float>& region = avx2 ? actual : expected;
          kernel(region.data() + kMargin, place(region, o.aPlacement), place(region, o.bPlacement),
                 c.count, factors, avx2);
        });
        auto result = both(intact(actual, "the region"),
                           kxtest::sameArrays("region", expected.data(), actual.data(), length));
        if (!result) {
          result << " (a at " << (o.aPlacement + 1 < kPlacements ? kDistances[o.aPlacement] : 999)
                 << ", b at " << (o.bPlacement + 1 < kPlacements ? kDistances[o.bPlacement] : 999)
                 << " elements from out; 999: separate)";
        }
        return result;
      });
}

INSTANTIATE_TEST_SUITE_P(Kernels, TwoInputs,
                         ::testing::Values(BinaryCase{"Subtract", subtract},
                                           BinaryCase{"Add", add}),
                         [](const auto& info) { return std::string(info.param.name); });

// --- reading only the arrays -------------------------------------------------------

TEST(VectorArithmetic, ReadsNothingOutsideTheArrays) {
  SampleGenerator random(11);
  for (uint32_t count = 0; count <= 80; ++count) {
    for (auto edge : {GuardedBuffer<float>::Edge::Start, GuardedBuffer<float>::Edge::End}) {
      GuardedBuffer<float> a(count, edge), b(count, edge), out(count, edge);
      GuardedBuffer<double> doubles(count, edge == GuardedBuffer<float>::Edge::End
                                               ? GuardedBuffer<double>::Edge::End
                                               : GuardedBuffer<double>::Edge::Start);
      random.fill(a.span());
      random.fill(b.span());
      random.fill(doubles.span());
      for (bool avx2 : {false, true}) {
        if (avx2 && !kxtest::avx2Available()) continue;
        const double squares = avx2 ? kx::avx2::sumSquaredValues(a.data(), count)
                                    : kx::generic::sumSquaredValues(a.data(), count);
        const double products =
            avx2 ? kx::avx2::multiplyVectorsAndCalcSum(a.data(), b.data(), count)
                 : kx::generic::multiplyVectorsAndCalcSum(a.data(), b.data(), count);
        EXPECT_TRUE(kxtest::sameBitsResult(
            "squares", kx::generic::sumSquaredValues(a.data(), count), squares));
        EXPECT_TRUE(kxtest::sameBitsResult(
            "products", kx::generic::multiplyVectorsAndCalcSum(a.data(), b.data(), count),
            products));
        SampleGenerator factors(count);
        subtract(out.data(), a.data(), b.data(), count, factors, avx2);
        add(out.data(), a.data(), b.data(), count, factors, avx2);
        scaleWith(avx2, doubles.data(), count, 0.5);
        scaleWith(avx2, a.data(), count, 2.0f);
      }
    }
  }
}

// --- edge cases --------------------------------------------------------------------

// Runs `check(avx2)` for the generic and, where the processor has it, the avx2 variant.
template <typename Check>
void forEachVariant(Check check) {
  check(false);
  if (kxtest::avx2Available()) check(true);
}

TEST(SumSquaredValues, EdgeCases) {
  forEachVariant([](bool avx2) {
    auto sum = avx2 ? kx::avx2::sumSquaredValues : kx::generic::sumSquaredValues;
    const float three = 3.0f;
    EXPECT_EQ(sum(&three, 1), 9.0);
    EXPECT_EQ(std::signbit(sum(&three, 0)), false);
    EXPECT_EQ(sum(nullptr, 0), 0.0);
  });
}

TEST(MultiplyVectorsAndCalcSum, FormsProductsInDoublePrecision) {
  forEachVariant([](bool avx2) {
    auto sum = avx2 ? kx::avx2::multiplyVectorsAndCalcSum : kx::generic::multiplyVectorsAndCalcSum;
    for (uint32_t count : {1u, 8u, 17u}) {
      const std::vector<float> big(count, 1e30f);
      const double result = sum(big.data(), big.data(), count);
      EXPECT_TRUE(std::isfinite(result)) << count;
      EXPECT_NEAR(result / (count * 1e60), 1.0, 1e-6) << count;
    }
    EXPECT_EQ(sum(nullptr, nullptr, 0), 0.0);
  });
}

// 2^54 + 1 rounds back to 2^54: added one at a time in index order, ones after the big
// term vanish, while ones before it add up first and survive. Split accumulators or a
// pairwise sum would keep some of the later ones too.
TEST(Sums, AddInIndexOrder) {
  forEachVariant([](bool avx2) {
    constexpr double kBig = 18014398509481984.0;  // 2^54, the square of 2^27
    auto squares = avx2 ? kx::avx2::sumSquaredValues : kx::generic::sumSquaredValues;
    auto products =
        avx2 ? kx::avx2::multiplyVectorsAndCalcSum : kx::generic::multiplyVectorsAndCalcSum;
    for (uint32_t count = 2; count <= 40; ++count) {
      std::vector<float> bigFirst(count, 1.0f), bigLast(count, 1.0f);
      bigFirst[0] = 134217728.0f;  // 2^27
      bigLast[count - 1] = 134217728.0f;
      const double ones = count - 1;
      EXPECT_EQ(squares(bigFirst.data(), count), kBig) << count;
      EXPECT_EQ(products(bigFirst.data(), bigFirst.data(), count), kBig) << count;
      EXPECT_EQ(squares(bigLast.data(), count), ones + kBig) << count;
      EXPECT_EQ(products(bigLast.data(), bigLast.data(), count), ones + kBig) << count;
    }
  });
}

// Every count and alignment of the arrays takes one of the paths; the values are the same.
TEST(TwoInputPaths, SpecialValuesOnEveryPath) {
  forEachVariant([](bool avx2) {
    auto addKernel =
        avx2 ? kx::avx2::addVectorsAndMultiplyByScalar : kx::generic::addVectorsAndMultiplyByScalar;
    auto subtractKernel = avx2 ? kx::avx2::subtractVectorsAndMultiplyByScalar
                               : kx::generic::subtractVectorsAndMultiplyByScalar;
    // (a + fb * b) rounds the product first: unfused, -1 + (1 + 2^-11 + 2^-24) would be
    // 2^-11 + 2^-24, but the product rounds to 1 + 2^-11 first.
    const float nearOne = 1.0f + std::ldexp(1.0f, -12);
    for (uint32_t count : {1u, 7u, 8u, 11u, 12u, 17u, 40u, 100u}) {
      for (std::size_t combination : alignmentCombinations(3)) {
        CanaryBuffer<float> out(count, offsetOf(combination, 0));
        CanaryBuffer<float> a(count, offsetOf(combination, 1));
        CanaryBuffer<float> b(count, offsetOf(combination, 2));
        for (uint32_t i = 0; i < count; ++i) a[i] = 1.0f, b[i] = 3.0f;
        addKernel(out.data(), a.data(), b.data(), count, 2.0f, 0.5f);
        for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(out[i], 3.5f) << count << " " << i;
        subtractKernel(out.data(), b.data(), a.data(), count, 0.25f);
        for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(out[i], 0.5f) << count << " " << i;
        for (uint32_t i = 0; i < count; ++i) a[i] = -1.0f, b[i] = nearOne;
        addKernel(out.data(), a.data(), b.data(), count, nearOne, 1.0f);
        for (uint32_t i = 0; i < count; ++i) {
          ASSERT_EQ(out[i], std::ldexp(1.0f, -11)) << count << " " << i;
        }
        ASSERT_TRUE(out.canariesIntact());
      }
    }
  });
}

// In place: out equal to a (or b) gives what a separate out gives.
TEST(TwoInputPaths, InPlaceMatchesSeparateOutput) {
  forEachVariant([](bool avx2) {
    auto subtractKernel = avx2 ? kx::avx2::subtractVectorsAndMultiplyByScalar
                               : kx::generic::subtractVectorsAndMultiplyByScalar;
    SampleGenerator random(3);
    for (uint32_t count : {1u, 7u, 8u, 12u, 100u, 1000u}) {
      const auto a = random.make<float>(count), b = random.make<float>(count);
      std::vector<float> separate(count), inA = a, inB = b;
      subtractKernel(separate.data(), a.data(), b.data(), count, 1.5f);
      subtractKernel(inA.data(), inA.data(), b.data(), count, 1.5f);
      subtractKernel(inB.data(), a.data(), inB.data(), count, 1.5f);
      EXPECT_TRUE(kxtest::sameArrays("out = a", separate.data(), inA.data(), count));
      EXPECT_TRUE(kxtest::sameArrays("out = b", separate.data(), inB.data(), count));
    }
  });
}

// An out that overlaps a at d elements sees, at each index, the input as the earlier
// indices left it: with out after a, every value repeats the first d inputs; with out
// before a, every value is the input as it was.
TEST(TwoInputPaths, OverlappingOutputSeesEarlierResults) {
  forEachVariant([](bool avx2) {
    auto subtractKernel = avx2 ? kx::avx2::subtractVectorsAndMultiplyByScalar
                               : kx::generic::subtractVectorsAndMultiplyByScalar;
    constexpr uint32_t kCount = 200;
    const std::vector<float> zeros(kCount, 0.0f);
    for (std::ptrdiff_t d : {1, 7, 8, 9, 16, 33, -1, -8, -9, -16, -33}) {
      for (std::size_t offset = 0; offset < 32; offset += 4) {
        CanaryBuffer<float> region(kCount + 80, offset);
        for (uint32_t i = 0; i < region.size(); ++i) region[i] = float(i);
        float* a = region.data() + 40;
        subtractKernel(a + d, a, zeros.data(), kCount, 1.0f);
        for (uint32_t i = 0; i < kCount; ++i) {
          const float want = d > 0 ? float(40 + i % d) : float(40 + i);
          ASSERT_EQ(a[d + i], want) << "distance " << d << ", offset " << offset << ", " << i;
        }
        ASSERT_TRUE(region.canariesIntact());
      }
    }
  });
}

}  // namespace
