// Move and measure of 16-bit samples: copy of a strided channel plus running statistics.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <vector>

#include "stats/stats.h"
#include "support/differential.h"
#include "support/running_stats.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;

using Kernel = void (*)(int16_t*, const int16_t*, uint32_t, int16_t*, int16_t*, double*, double*,
                        float, int32_t);

using Outputs = kxtest::RunningStats<int16_t>;

Outputs run(Kernel kernel, int16_t* destination, const int16_t* source, uint32_t count,
            Outputs preset, float offset, int32_t stride) {
  kernel(destination, source, count, &preset.minimum, &preset.maximum, &preset.sum,
         &preset.sumOfSquares, offset, stride);
  return preset;
}

// A block of 16 or more with a stride of 1 or less reads consecutive samples.
std::ptrdiff_t strideTaken(uint32_t count, int32_t stride) {
  return count >= 16 && stride <= 1 ? 1 : stride;
}

// The source elements a call reaches, as indices relative to the first sample to take.
struct Reach {
  std::ptrdiff_t lowest;
  std::ptrdiff_t highest;
  std::size_t size() const { return static_cast<std::size_t>(highest - lowest + 1); }
};
Reach reachOf(uint32_t count, int32_t stride) {
  const std::ptrdiff_t last = std::ptrdiff_t{std::max(count, 1u) - 1} * strideTaken(count, stride);
  return {std::min<std::ptrdiff_t>(0, last), std::max<std::ptrdiff_t>(0, last)};
}

// Random samples whose first sample to take lies `offsetBytes` past a 64-byte boundary.
class Source {
 public:
  Source(uint32_t count, int32_t stride, std::size_t offsetBytes, SampleGenerator& random)
      : reach_(reachOf(count, stride)),
        buffer_(reach_.size(), (offsetBytes + 64 - (-2 * reach_.lowest) % 64) % 64) {
    random.fill(buffer_.span());
  }
  const int16_t* first() { return buffer_.data() - reach_.lowest; }

 private:
  Reach reach_;
  CanaryBuffer<int16_t> buffer_;
};

::testing::AssertionResult holdsSamplesTaken(const int16_t* destination, const int16_t* source,
                                             uint32_t count, int32_t stride) {
  const std::ptrdiff_t taken = strideTaken(count, stride);
  for (uint32_t i = 0; i < count; ++i) {
    if (destination[i] != source[std::ptrdiff_t{i} * taken]) {
      return ::testing::AssertionFailure() << "destination[" << i << "] is " << destination[i]
                                           << ", sample taken " << source[i * taken];
    }
  }
  return ::testing::AssertionSuccess();
}

// Offsets of every kind: zero, small integers on both sides of the largest that keeps the
// squares integral and exact, fractions, and the generator's special values.
float randomOffset(SampleGenerator& random) {
  switch (random.below(5)) {
    case 0:
      return random.below(2) ? 0.0f : -0.0f;
    case 1:
      return static_cast<float>(static_cast<int32_t>(random.below(140001)) - 70000);
    case 2:
      return static_cast<float>(65536 + random.below(3) - 1) * (random.below(2) ? 1.0f : -1.0f);
    case 3:
      return static_cast<float>(static_cast<int32_t>(random.below(2000001)) - 1000000) / 1024.0f;
    default:
      return random.scalarFloat();
  }
}

Outputs randomPreset(SampleGenerator& random) {
  Outputs preset;
  preset.minimum = static_cast<int16_t>(random.bits());
  preset.maximum = static_cast<int16_t>(random.bits());
  if (random.below(2)) {
    preset.sum = random.scalarDouble();
    preset.sumOfSquares = random.scalarDouble();
  } else {
    preset.sum = static_cast<double>(static_cast<int64_t>(random.bits() >> 20)) * 0.25;
    preset.sumOfSquares = static_cast<double>(random.bits() >> 16) / 3.0;
  }
  return preset;
}

constexpr int32_t kStrides[] = {-3, -1, 0, 1, 2, 3, 7, 16};

// Both variants on the same source, destination alignment and preset, for every stride; the
// source alignment walks through all 32 values as the rounds advance.
TEST(MoveMeasure, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  const uint64_t cases = (kxtest::differentialCases() + 7) / 8;
  kxtest::sweep(
      kxtest::sweepCounts(), kxtest::sweepOffsets(sizeof(int16_t)), cases,
      [](const kxtest::SweepCase& c) -> ::testing::AssertionResult {
        for (uint32_t s = 0; s < std::size(kStrides); ++s) {
          const int32_t stride = kStrides[s];
          SampleGenerator random(c.seed * 8 + s);
          const std::size_t sourceOffset = 2 * ((c.seed + 11 * s) % 32);
          Source source(c.count, stride, sourceOffset, random);
          const Outputs preset = randomPreset(random);
          const float offset = randomOffset(random);
          CanaryBuffer<int16_t> genericOut(c.count, c.offsetBytes);
          CanaryBuffer<int16_t> avx2Out(c.count, c.offsetBytes);
          const Outputs expected = run(kx::generic::moveAndGetMinMaxAveRms, genericOut.data(),
                                       source.first(), c.count, preset, offset, stride);
          const Outputs actual = run(kx::avx2::moveAndGetMinMaxAveRms, avx2Out.data(),
                                     source.first(), c.count, preset, offset, stride);
          auto result = kxtest::sameRunningStats(expected, actual);
          if (result)
            result = kxtest::sameArrays("destination", genericOut.data(), avx2Out.data(), c.count);
          if (result) result = holdsSamplesTaken(avx2Out.data(), source.first(), c.count, stride);
          if (result && !(genericOut.canariesIntact() && avx2Out.canariesIntact())) {
            result = ::testing::AssertionFailure() << "wrote outside the destination";
          }
          if (!result)
            return result << " (stride " << stride << ", source offset " << sourceOffset
                          << " bytes, offset " << offset << ")";
        }
        return ::testing::AssertionSuccess();
      });
}

// Sources that start or end at an inaccessible page: no path reads an element it does not take
// (or, for the consecutive path, beyond the block).
TEST(MoveMeasure, ReadsNothingOutsideTheSource) {
  SampleGenerator random(11);
  for (int32_t stride : {-3, -1, 0, 1, 2, 5}) {
    for (uint32_t count = 1; count <= 80; ++count) {
      const Reach reach = reachOf(count, stride);
      for (auto edge : {GuardedBuffer<int16_t>::Edge::Start, GuardedBuffer<int16_t>::Edge::End}) {
        GuardedBuffer<int16_t> buffer(reach.size(), edge);
        random.fill(buffer.span());
        const int16_t* source = buffer.data() - reach.lowest;
        std::vector<int16_t> expectedOut(count), actualOut(count);
        const Outputs preset{0, 0, 0.0, 0.0};
        const Outputs expected = run(kx::generic::moveAndGetMinMaxAveRms, expectedOut.data(),
                                     source, count, preset, 1.5f, stride);
        EXPECT_TRUE(holdsSamplesTaken(expectedOut.data(), source, count, stride));
        if (kxtest::avx2Available()) {
          const Outputs actual = run(kx::avx2::moveAndGetMinMaxAveRms, actualOut.data(), source,
                                     count, preset, 1.5f, stride);
          EXPECT_TRUE(kxtest::sameRunningStats(expected, actual))
              << "count " << count << " stride " << stride;
          EXPECT_EQ(expectedOut, actualOut);
        }
      }
    }
  }
}

// Long blocks with a large integer offset, whose squares lanes pass 2^53 part-way, so that
// the sums start to round: from there on the order of the fused squares shows.
TEST(MoveMeasure, VariantsAgreeWhereTheSquaresStartToRound) {
  KX_REQUIRE_AVX2();
  struct Case {
    float offset;
    int16_t low;  // samples from low to low + 767
    int32_t stride;
  };
  const uint32_t count = 5'000'000;
  for (const Case& c : {Case{65536.0f, 32000, 1}, Case{-65536.0f, -32768, 2},
                        Case{65535.0f, 32600, 3}, Case{-65535.0f, -32768, 0}}) {
    SampleGenerator random(static_cast<uint64_t>(c.offset));
    std::vector<int16_t> source(std::size_t{count} * std::max(c.stride, 1) + 1);
    for (int16_t& x : source) {
      x = static_cast<int16_t>(std::min<int32_t>(c.low + random.below(768), 32767));
    }
    // The same alignment for both destinations, which places the strided path's blocks.
    CanaryBuffer<int16_t> genericOut(count, 6), avx2Out(count, 6);
    const Outputs preset{0, 0, 1.0, 1.0};
    const Outputs expected = run(kx::generic::moveAndGetMinMaxAveRms, genericOut.data(),
                                 source.data() + 1, count, preset, c.offset, c.stride);
    const Outputs actual = run(kx::avx2::moveAndGetMinMaxAveRms, avx2Out.data(), source.data() + 1,
                               count, preset, c.offset, c.stride);
    EXPECT_TRUE(kxtest::sameRunningStats(expected, actual)) << "offset " << c.offset;
    EXPECT_TRUE(kxtest::sameArrays("destination", genericOut.data(), avx2Out.data(), count));
  }
}

struct EdgeCase {
  const char* name;
  uint32_t count;
  int32_t stride;
  std::function<int16_t(std::ptrdiff_t)> sample;  // by index from the first sample
  int16_t presetMinimum, presetMaximum;
  int16_t minimum, maximum;
  friend void PrintTo(const EdgeCase& c, std::ostream* os) { *os << c.name; }
};

class MoveMeasureEdges : public ::testing::TestWithParam<EdgeCase> {};

// Each case: the destination holds the samples taken, the extremes are those listed, and with
// small integers the sums are exact: the sum is the sum of the destination, the squares the
// sum of (sample + 3)^2.
TEST_P(MoveMeasureEdges, MovesAndMeasures) {
  const EdgeCase& c = GetParam();
  const Reach reach = reachOf(c.count, c.stride);
  std::vector<int16_t> buffer(reach.size());
  for (std::size_t i = 0; i < buffer.size(); ++i) buffer[i] = c.sample(reach.lowest + i);
  const int16_t* source = buffer.data() - reach.lowest;
  const Outputs preset{c.presetMinimum, c.presetMaximum, 0.0, 0.0};
  std::vector<std::pair<const char*, Kernel>> variants = {
      {"generic", kx::generic::moveAndGetMinMaxAveRms}};
  if (kxtest::avx2Available()) variants.push_back({"avx2", kx::avx2::moveAndGetMinMaxAveRms});
  for (const auto& [variant, kernel] : variants) {
    SCOPED_TRACE(variant);
    CanaryBuffer<int16_t> destination(c.count, 2);
    const Outputs result = run(kernel, destination.data(), source, c.count, preset, 3.0f, c.stride);
    EXPECT_TRUE(holdsSamplesTaken(destination.data(), source, c.count, c.stride));
    EXPECT_TRUE(destination.canariesIntact());
    EXPECT_EQ(result.minimum, c.minimum);
    EXPECT_EQ(result.maximum, c.maximum);
    double sum = 0, squares = 0;
    for (uint32_t i = 0; i < c.count; ++i) {
      sum += destination[i];
      squares += (destination[i] + 3.0) * (destination[i] + 3.0);
    }
    EXPECT_EQ(result.sum, sum);
    EXPECT_EQ(result.sumOfSquares, squares);
  }
}

int16_t byIndex(std::ptrdiff_t i) {
  return static_cast<int16_t>(i % 50 - 20);
}
int16_t zero(std::ptrdiff_t) {
  return 0;
}
int16_t extremes(std::ptrdiff_t i) {
  return i % 2 ? 32767 : -32768;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MoveMeasureEdges,
    ::testing::Values(EdgeCase{"CountZeroTouchesNothing", 0, 1, byIndex, 7, -7, 7, -7},
                      EdgeCase{"Count15Stride0RepeatsTheFirstSample", 15, 0, byIndex, 0, 0, -20, 0},
                      EdgeCase{"Count16Stride0CopiesConsecutiveSamples", 16, 0, byIndex, -100, 100,
                               -20, -5},
                      EdgeCase{"Count16Stride3TakesEveryThird", 16, 3, byIndex, 0, 0, -20, 25},
                      EdgeCase{"ShortNegativeStrideWalksBackwards", 12, -2, byIndex, 0, 0, -42, 0},
                      EdgeCase{"LongNegativeStrideReadsForwards", 40, -3, byIndex, 0, 0, -20, 19},
                      EdgeCase{"StridedPathMergesIntoThePresets", 40, 2, zero, -5, 5, -5, 5},
                      EdgeCase{"ContiguousPathReplacesThePresets", 40, 1, zero, -5, 5, 0, 0},
                      EdgeCase{"ShortBlockMergesIntoThePresets", 15, 1, zero, -5, 5, -5, 5},
                      EdgeCase{"ExtremesSumExactly", 100, 1, extremes, 0, 0, -32768, 32767},
                      EdgeCase{"ExtremesSumExactlyStrided", 100, 2, extremes, 0, 0, -32768, 0}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
