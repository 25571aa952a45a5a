// Block minimum, maximum and running sums for average and RMS.
#include <gtest/gtest.h>

#include <algorithm>

#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

#include "stats/stats.h"
#include "support/differential.h"
#include "support/running_stats.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;

template <typename T>
using OffsetOf =
    std::conditional_t<std::is_same_v<T, float> || std::is_same_v<T, int16_t>, float, double>;

// The caller's four running values.
template <typename T>
using Running = kxtest::RunningStats<T>;

enum class Variant { Generic, Avx2 };

// Runs one variant on `preset`, with the four outputs between canaries; `intact` tells
// whether anything around them was written.
template <typename T>
Running<T> measure(Variant variant, const T* data, uint32_t count, const Running<T>& preset,
                   OffsetOf<T> offset, bool* intact = nullptr) {
  CanaryBuffer<T> extremes(2, 0);
  CanaryBuffer<double> sums(2, 0);
  extremes[0] = preset.minimum;
  extremes[1] = preset.maximum;
  sums[0] = preset.sum;
  sums[1] = preset.sumOfSquares;
  auto* const kernel =
      variant == Variant::Generic
          ? static_cast<void (*)(const T*, uint32_t, T*, T*, double*, double*, OffsetOf<T>)>(
                kx::generic::getMinMaxAveRms)
          : static_cast<void (*)(const T*, uint32_t, T*, T*, double*, double*, OffsetOf<T>)>(
                kx::avx2::getMinMaxAveRms);
  kernel(data, count, &extremes[0], &extremes[1], &sums[0], &sums[1], offset);
  if (intact != nullptr) *intact = extremes.canariesIntact() && sums.canariesIntact();
  return {extremes[0], extremes[1], sums[0], sums[1]};
}

template <typename T>
OffsetOf<T> randomOffset(SampleGenerator& random) {
  if (random.below(4) == 0) return 0;
  if constexpr (std::is_same_v<OffsetOf<T>, float>) {
    return random.scalarFloat();
  } else {
    return random.scalarDouble();
  }
}

template <typename T>
class AveRms : public ::testing::Test {};
using SampleTypes = ::testing::Types<int16_t, int32_t, float, double>;
TYPED_TEST_SUITE(AveRms, SampleTypes);

// Random samples, presets and offsets over every count near the thresholds and every
// start alignment; the presets are read, so they are random too.
TYPED_TEST(AveRms, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  using T = TypeParam;
  kxtest::sweep(sizeof(T), [](const kxtest::SweepCase& c) -> ::testing::AssertionResult {
    SampleGenerator random(c.seed);
    CanaryBuffer<T> samples(c.count, c.offsetBytes);
    random.fill(samples.span());
    const auto extremes = random.make<T>(2);
    const Running<T> preset{extremes[0], extremes[1], random.below(2) ? random.scalarDouble() : 0.0,
                            random.below(2) ? random.scalarDouble() : 0.0};
    const OffsetOf<T> offset = randomOffset<T>(random);
    bool genericIntact = false;
    bool avx2Intact = false;
    const auto expected =
        measure(Variant::Generic, samples.data(), c.count, preset, offset, &genericIntact);
    const auto actual =
        measure(Variant::Avx2, samples.data(), c.count, preset, offset, &avx2Intact);
    if (!genericIntact || !avx2Intact) {
      return ::testing::AssertionFailure() << "a write outside the outputs";
    }
    if (c.count == 0 && !kxtest::sameRunningStats(preset, expected)) {
      return ::testing::AssertionFailure() << "count 0 changed an output";
    }
    return kxtest::sameRunningStats(expected, actual);
  });
}

// Head, body and tail stay inside the array, also when it starts or ends at a page edge.
TYPED_TEST(AveRms, ReadsNothingOutsideTheArray) {
  using T = TypeParam;
  SampleGenerator random(11);
  for (uint32_t count = 0; count <= 80; ++count) {
    for (auto edge : {GuardedBuffer<T>::Edge::Start, GuardedBuffer<T>::Edge::End}) {
      GuardedBuffer<T> samples(count, edge);
      random.fill(samples.span());
      const Running<T> preset{T(0), T(0), 0.0, 0.0};
      const auto expected =
          measure(Variant::Generic, samples.data(), count, preset, OffsetOf<T>(3));
      if (kxtest::avx2Available()) {
        const auto actual = measure(Variant::Avx2, samples.data(), count, preset, OffsetOf<T>(3));
        EXPECT_TRUE(kxtest::sameRunningStats(expected, actual)) << "count " << count;
      }
    }
  }
}

// Long 16-bit blocks with a large integer offset, whose squares lanes pass 2^53 part-way:
// the sums start to round there, and from then on the order of the additions shows.
TEST(AveRmsInt16, VariantsAgreeWhereTheSquaresStartToRound) {
  KX_REQUIRE_AVX2();
  struct Case {
    float offset;
    int16_t low;  // samples from low to low + 767
    std::size_t startBytes;
  };
  const uint32_t count = 5'000'000;
  for (const Case& c : {Case{65536.0f, 32000, 0}, Case{-65536.0f, -32768, 2},
                        Case{65535.0f, 32000, 14}, Case{0.0f, -32768, 6}}) {
    SampleGenerator random(static_cast<uint64_t>(c.startBytes));
    CanaryBuffer<int16_t> samples(count, c.startBytes);
    for (uint32_t i = 0; i < count; ++i) {
      samples[i] = static_cast<int16_t>(std::min<int32_t>(c.low + random.below(768), 32767));
    }
    const Running<int16_t> preset{0, 0, 1.0, 1.0};
    const auto expected = measure(Variant::Generic, samples.data(), count, preset, c.offset);
    const auto actual = measure(Variant::Avx2, samples.data(), count, preset, c.offset);
    EXPECT_TRUE(kxtest::sameRunningStats(expected, actual)) << "offset " << c.offset;
  }
}

// Small integers make every sum exact, so each path, count and alignment must give the
// plain sums: samples 1, 2, ..., n with offset 10 add n(n+1)/2 and the sum of (i + 10)^2.
TYPED_TEST(AveRms, ExactSumsOnEveryPath) {
  using T = TypeParam;
  for (uint32_t count = 1; count <= 70; ++count) {
    for (std::size_t offsetBytes : kxtest::sweepOffsets(sizeof(T))) {
      CanaryBuffer<T> samples(count, offsetBytes);
      double wantSquares = 0;
      for (uint32_t i = 0; i < count; ++i) {
        samples[i] = static_cast<T>(i + 1);
        wantSquares += (i + 11.0) * (i + 11.0);
      }
      const Running<T> preset{T(1000), T(-1000), 0.5, 0.25};
      for (Variant variant : {Variant::Generic, Variant::Avx2}) {
        if (variant == Variant::Avx2 && !kxtest::avx2Available()) continue;
        const auto got = measure(variant, samples.data(), count, preset, OffsetOf<T>(10));
        EXPECT_EQ(got.sum, 0.5 + count * (count + 1) / 2.0)
            << "count " << count << ", offset " << offsetBytes;
        EXPECT_EQ(got.sumOfSquares, 0.25 + wantSquares) << "count " << count;
        EXPECT_EQ(got.minimum, T(1)) << "count " << count;
        EXPECT_EQ(got.maximum, static_cast<T>(count)) << "count " << count;
      }
    }
  }
}

// Fixed cases: the merge/replace asymmetry of the extremes, the offset kept out of the plain
// sum, the precision in which each path adds the offset, the latest of equal extremes on the
// vector path, and the masked lanes of the float member.
enum class Type { Float, Double, Int16, Int32 };

struct EdgeCase {
  const char* name;
  Type type;
  std::vector<double> samples;
  std::size_t offsetBytes;
  double offset;
  Running<double> preset;
  Running<double> want;  // a NaN here accepts any NaN
  friend void PrintTo(const EdgeCase& c, std::ostream* os) { *os << c.name; }
};

::testing::AssertionResult matches(const Running<double>& want, const Running<double>& got) {
  const std::pair<const char*, double> fields[] = {{"minimum", want.minimum},
                                                   {"maximum", want.maximum},
                                                   {"sum", want.sum},
                                                   {"sum of squares", want.sumOfSquares}};
  const double gotFields[] = {got.minimum, got.maximum, got.sum, got.sumOfSquares};
  for (int i = 0; i < 4; ++i) {
    if (!kxtest::sameBits(fields[i].second, gotFields[i])) {
      return ::testing::AssertionFailure()
             << fields[i].first << ": want " << kxtest::describe(fields[i].second) << ", got "
             << kxtest::describe(gotFields[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

class AveRmsEdgeCases : public ::testing::TestWithParam<EdgeCase> {
 protected:
  template <typename T>
  void check() {
    const EdgeCase& c = GetParam();
    const auto count = static_cast<uint32_t>(c.samples.size());
    CanaryBuffer<T> samples(count, c.offsetBytes);
    for (uint32_t i = 0; i < count; ++i) samples[i] = static_cast<T>(c.samples[i]);
    const Running<T> preset{static_cast<T>(c.preset.minimum), static_cast<T>(c.preset.maximum),
                            c.preset.sum, c.preset.sumOfSquares};
    for (Variant variant : {Variant::Generic, Variant::Avx2}) {
      if (variant == Variant::Avx2 && !kxtest::avx2Available()) continue;
      const auto got =
          measure(variant, samples.data(), count, preset, static_cast<OffsetOf<T>>(c.offset));
      const Running<double> wide{static_cast<double>(got.minimum), static_cast<double>(got.maximum),
                                 got.sum, got.sumOfSquares};
      EXPECT_TRUE(matches(c.want, wide)) << (variant == Variant::Generic ? "generic" : "avx2");
    }
  }
};

TEST_P(AveRmsEdgeCases, GivesTheDescribedOutputs) {
  switch (GetParam().type) {
    case Type::Float:
      return check<float>();
    case Type::Double:
      return check<double>();
    case Type::Int16:
      return check<int16_t>();
    case Type::Int32:
      return check<int32_t>();
  }
}

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<double> repeated(std::vector<double> pattern, std::size_t times) {
  std::vector<double> values;
  for (std::size_t i = 0; i < times; ++i)
    values.insert(values.end(), pattern.begin(), pattern.end());
  return values;
}

std::vector<double> withAt(std::vector<double> values, std::size_t at, double value) {
  values[at] = value;
  return values;
}

// (32767 + 2^-10)^2 is exact in double; in single precision 32767 + 2^-10 rounds to 32767.
const double kShiftedSquare = (32767.0 + 0x1p-10) * (32767.0 + 0x1p-10);

// clang-format off
const EdgeCase kEdgeCases[] = {
    // name, type, samples, start offset in bytes, offset, preset, want
    {"FloatCountZeroTouchesNothing", Type::Float, {}, 0, 1, {7, -7, 1.5, 2.5}, {7, -7, 1.5, 2.5}},
    {"DoubleCountZeroTouchesNothing", Type::Double, {}, 0, 1, {7, -7, 1.5, 2.5}, {7, -7, 1.5, 2.5}},
    {"Int16CountZeroTouchesNothing", Type::Int16, {}, 0, 1, {7, -7, 1.5, 2.5}, {7, -7, 1.5, 2.5}},
    {"Int32CountZeroTouchesNothing", Type::Int32, {}, 0, 1, {7, -7, 1.5, 2.5}, {7, -7, 1.5, 2.5}},
    // Up to the element-loop limit the block merges into the running extremes; above it the
    // block's own extremes replace them.
    {"DoubleCount3MergesExtremes", Type::Double, {1, 2, 3}, 8, 0, {-100, 0, 0, 0}, {-100, 3, 6, 14}},
    {"DoubleCount4ReplacesExtremes", Type::Double, {1, 2, 3, 4}, 8, 0, {-100, 100, 0, 0}, {1, 4, 10, 30}},
    {"Int32Count3MergesExtremes", Type::Int32, {1, 2, 3}, 4, 0, {-100, 100, 0, 0}, {-100, 100, 6, 14}},
    {"Int32Count4ReplacesExtremes", Type::Int32, {1, 2, 3, 4}, 4, 0, {-100, 100, 0, 0}, {1, 4, 10, 30}},
    {"FloatCount7MergesExtremes", Type::Float, {1, 2, 3, 4, 5, 6, 7}, 4, 0, {-100, 100, 0, 0}, {-100, 100, 28, 140}},
    {"FloatCount8ReplacesExtremes", Type::Float, {1, 2, 3, 4, 5, 6, 7, 8}, 4, 0, {-100, 100, 0, 0}, {1, 8, 36, 204}},
    {"Int16Count7MergesExtremes", Type::Int16, {1, 2, 3, 4, 5, 6, 7}, 2, 0, {-100, 100, 0, 0}, {-100, 100, 28, 140}},
    {"Int16Count8ReplacesExtremes", Type::Int16, {1, 2, 3, 4, 5, 6, 7, 8}, 2, 0, {-100, 100, 0, 0}, {1, 8, 36, 204}},
    // The plain sum never includes the offset.
    {"FloatOffsetOnlyInSquares", Type::Float, {1, 2, 3}, 0, 10, {9, 0, 0, 0}, {1, 3, 6, 434}},
    {"DoubleOffsetOnlyInSquares", Type::Double, {1, 2, 3}, 0, 10, {9, 0, 0, 0}, {1, 3, 6, 434}},
    {"Int16OffsetOnlyInSquares", Type::Int16, {1, 2, 3}, 0, 10, {9, 0, 0, 0}, {1, 3, 6, 434}},
    {"Int32OffsetOnlyInSquares", Type::Int32, {1, 2, 3}, 0, 10, {9, 0, 0, 0}, {1, 3, 6, 434}},
    // Offset minus the mean of a constant block: the squares add nothing.
    {"FloatConstantBlockMinusMean", Type::Float, repeated({2.5}, 41), 4, -2.5, {0, 0, 1, 1}, {2.5, 2.5, 103.5, 1}},
    {"DoubleConstantBlockMinusMean", Type::Double, repeated({-1.25}, 41), 8, 1.25, {0, 0, 1, 1}, {-1.25, -1.25, -50.25, 1}},
    {"Int16ExtremesSummedExactly", Type::Int16, repeated({-32768, 32767}, 21), 2, 0, {0, 0, 0, 0},
     {-32768, 32767, -21, 21 * (32768.0 * 32768.0 + 32767.0 * 32767.0)}},
    // The element loop adds a float offset in single precision, the vector path in double:
    // 1 + 2^-30 is 1 in single precision.
    {"FloatElementLoopOffsetInSingle", Type::Float, repeated({1}, 7), 0, 0x1p-30, {9, 0, 0, 0}, {1, 1, 7, 7}},
    {"FloatVectorPathOffsetInDouble", Type::Float, repeated({1}, 8), 0, 0x1p-30, {9, 0, 0, 0}, {1, 1, 8, 8 + 0x1p-26}},
    {"Int16ElementLoopOffsetInSingle", Type::Int16, repeated({32767}, 7), 0, 0x1p-10, {0, 0, 0, 0},
     {0, 32767, 7 * 32767.0, 7 * 32767.0 * 32767.0}},
    {"Int16VectorPathOffsetInDouble", Type::Int16, repeated({32767}, 8), 0, 0x1p-10, {0, 0, 0, 0},
     {32767, 32767, 8 * 32767.0, 8 * kShiftedSquare}},
    // On the vector path the latest of equal extremes wins: lane 0 holds +0, +0, -0, -1 in the
    // body, so the maximum is the -0 of the third block.
    {"DoubleVectorKeepsLatestOfEqualExtremes", Type::Double,
     {0, -5, -5, -5, 0, -5, -5, -5, -0.0, -5, -5, -5, -1, -5, -5, -5, -5, -5, -5, -5}, 0, 0,
     {0, 0, 0, 0}, {-5, -0.0, -81, 401}},
    // A masked-out lane is multiplied by 0.0: an infinity there (sample 7, outside the head of
    // seven) makes both sums NaN, while inside a mask it stays infinite.
    {"FloatInfinityInMaskedOutLane", Type::Float, withAt(repeated({1}, 16), 7, kInf), 4, 0, {0, 0, 0, 0}, {1, kInf, kNaN, kNaN}},
    {"FloatInfinityInsideHeadMask", Type::Float, withAt(repeated({1}, 16), 3, kInf), 0, 0, {0, 0, 0, 0}, {1, kInf, kInf, kInf}},
    {"FloatInfinityInsideTailMask", Type::Float, withAt(repeated({1}, 20), 19, kInf), 0, 0, {0, 0, 0, 0}, {1, kInf, kInf, kInf}},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Cases, AveRmsEdgeCases, ::testing::ValuesIn(kEdgeCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
