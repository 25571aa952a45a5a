// Version query and block minimum/maximum.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "stats/stats.h"
#include "support/differential.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;

template <typename T>
class MinMax : public ::testing::Test {};
using SampleTypes = ::testing::Types<int16_t, int32_t, float, double>;
TYPED_TEST_SUITE(MinMax, SampleTypes);

template <typename T>
std::pair<T, T> genericMinMax(const T* data, uint32_t count) {
  T minimum{}, maximum{};
  kx::generic::getMinMax(data, count, &minimum, &maximum);
  return {minimum, maximum};
}
template <typename T>
std::pair<T, T> avx2MinMax(const T* data, uint32_t count) {
  T minimum{}, maximum{};
  kx::avx2::getMinMax(data, count, &minimum, &maximum);
  return {minimum, maximum};
}

TYPED_TEST(MinMax, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  using T = TypeParam;
  auto counts = kxtest::sweepCounts();
  counts.erase(counts.begin());  // a count of 0 is not allowed
  kxtest::sweep(counts, kxtest::sweepOffsets(sizeof(T)), kxtest::differentialCases(),
                [](const kxtest::SweepCase& c) -> ::testing::AssertionResult {
                  SampleGenerator random(c.seed);
                  CanaryBuffer<T> samples(c.count, c.offsetBytes);
                  random.fill(samples.span());
                  const auto [genericMin, genericMax] = genericMinMax(samples.data(), c.count);
                  const auto [avx2Min, avx2Max] = avx2MinMax(samples.data(), c.count);
                  auto result = kxtest::sameBitsResult("minimum", genericMin, avx2Min);
                  return result ? kxtest::sameBitsResult("maximum", genericMax, avx2Max) : result;
                });
}

// The vector path reads the first and the last block, never beyond the array.
TYPED_TEST(MinMax, ReadsNothingOutsideTheArray) {
  using T = TypeParam;
  SampleGenerator random(7);
  for (uint32_t count = 1; count <= 80; ++count) {
    for (auto edge : {GuardedBuffer<T>::Edge::Start, GuardedBuffer<T>::Edge::End}) {
      GuardedBuffer<T> samples(count, edge);
      random.fill(samples.span());
      const auto expected = genericMinMax(samples.data(), count);
      if (kxtest::avx2Available()) {
        const auto actual = avx2MinMax(samples.data(), count);
        EXPECT_TRUE(kxtest::sameBitsResult("minimum", expected.first, actual.first));
        EXPECT_TRUE(kxtest::sameBitsResult("maximum", expected.second, actual.second));
      }
    }
  }
}

// Without NaN and signed zeros the result is the plain minimum and maximum on every path
// and alignment, including the extremes of the type.
TYPED_TEST(MinMax, FindsExtremesOnEveryPath) {
  using T = TypeParam;
  using Limits = std::numeric_limits<T>;
  for (uint32_t count = 1; count <= 70; ++count) {
    for (std::size_t offset : kxtest::sweepOffsets(sizeof(T))) {
      for (uint32_t at = 0; at < count; at += 1 + count / 5) {
        CanaryBuffer<T> samples(count, offset);
        for (uint32_t i = 0; i < count; ++i) samples[i] = static_cast<T>(i % 7) - T(3);
        samples[at] = Limits::lowest();
        samples[(at + 1) % count] = Limits::max();
        if (count == 1) samples[0] = T(5);
        const T wantMin = count == 1 ? T(5) : Limits::lowest();
        const T wantMax = count == 1 ? T(5) : Limits::max();
        EXPECT_EQ(genericMinMax(samples.data(), count), std::make_pair(wantMin, wantMax));
        if (kxtest::avx2Available()) {
          EXPECT_EQ(avx2MinMax(samples.data(), count), std::make_pair(wantMin, wantMax));
        }
      }
    }
  }
}

// NaN and signed zeros: the element loop never lets a NaN replace a running value and keeps
// the earlier of equal values; the vector path takes the new value whenever a comparison
// fails, so the lane and reduction order decide.
struct FloatCase {
  const char* name;
  std::vector<float> samples;
  float minimum;
  float maximum;
  friend void PrintTo(const FloatCase& c, std::ostream* os) { *os << c.name; }
};

class MinMaxFloatSemantics : public ::testing::TestWithParam<FloatCase> {};

TEST_P(MinMaxFloatSemantics, MatchesTheLaneRules) {
  const FloatCase& c = GetParam();
  CanaryBuffer<float> samples(c.samples.size(), 0);  // 32-byte aligned: no head
  samples.fill(c.samples);
  const uint32_t count = static_cast<uint32_t>(c.samples.size());
  auto check = [&](std::pair<float, float> result) {
    EXPECT_TRUE(kxtest::sameBitsResult("minimum", c.minimum, result.first));
    EXPECT_TRUE(kxtest::sameBitsResult("maximum", c.maximum, result.second));
  };
  check(genericMinMax(samples.data(), count));
  if (kxtest::avx2Available()) check(avx2MinMax(samples.data(), count));
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Cases, MinMaxFloatSemantics,
    ::testing::Values(
        FloatCase{"ElementLoopNaNFirstStays", {kNaN, 1, 2}, kNaN, kNaN},
        FloatCase{"ElementLoopNaNLaterIgnored", {1, kNaN, 2}, 1, 2},
        FloatCase{"ElementLoopKeepsEarlierZero", {0.0f, -0.0f, 0.0f}, 0.0f, 0.0f},
        FloatCase{"ElementLoopKeepsEarlierNegativeZero", {-0.0f, 0.0f}, -0.0f, -0.0f},
        FloatCase{"SevenAndEightAgreeWithoutNaN", {3, -2, 9, 4, 4, -2, 1}, -2, 9},
        FloatCase{"EightAgrees", {3, -2, 9, 4, 4, -2, 1, 8}, -2, 9},
        // Aligned, two blocks: lane 0's NaN is replaced by the next sample of its lane.
        FloatCase{"VectorNaNReplacedWithinItsLane",
                  {kNaN, 5, 5, 5, 5, 5, 5, 5, 9, 5, 5, 5, 5, 5, 5, 5},
                  5,
                  9},
        // Lane 7 is the moved-down operand at every halving step, so its NaN wins.
        FloatCase{"VectorNaNMovedDownWinsHalving", {1, 2, 3, 4, 5, 6, 7, kNaN}, kNaN, kNaN},
        FloatCase{"VectorNaNInRunningHalfLoses", {kNaN, 2, 3, 4, 5, 6, 7, 8}, 2, 8},
        FloatCase{"VectorLaterZeroWins", {0.0f, 1, 1, 1, -0.0f, 1, 1, 1}, -0.0f, 1}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
