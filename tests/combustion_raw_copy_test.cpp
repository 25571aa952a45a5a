// Copy of raw pressure samples into a channel buffer with baseline removal and peak search.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
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
using ::testing::AssertionSuccess;

constexpr float kFloor = 1.17549435e-38f;
constexpr uint32_t kNoPeak = 0xFFFFFFFFu;

struct CopyResult {
  uint32_t returned;
  float maxValue;
  uint32_t maxIndex;
};

// The kernel reads source[start ...]; the tests hold only the samples read, so the pointer
// handed over is moved back by `start` (computed as an address, it may lie far below them).
const float* asIndexedFrom(const float* samples, uint32_t start) {
  return reinterpret_cast<const float*>(reinterpret_cast<uintptr_t>(samples) -
                                        uintptr_t{start} * sizeof(float));
}

CopyResult copy(bool avx2, const float* samples, float* destination, uint32_t start, uint32_t count,
                float baseline) {
  CopyResult r{};
  r.returned = (avx2 ? kx::avx2::copyRawDataToChannels : kx::generic::copyRawDataToChannels)(
      asIndexedFrom(samples, start), destination, start, start + count, baseline, &r.maxValue,
      &r.maxIndex);
  return r;
}

// Starts near the points where the float lane indices change behaviour: small, around 2^16
// (the two halves of the start), 2^24 (indices stop being exact), 2^31 (the conversion back
// overflows) and the top of the range.
uint32_t randomStart(SampleGenerator& random, uint32_t count) {
  static const uint32_t kCentres[] = {64,       1u << 16,   1u << 24, (1u << 24) + (1u << 20),
                                      1u << 31, 0xFFFFFFFFu};
  const uint32_t centre = kCentres[random.below(6)];
  const uint32_t start = centre - 64 + random.below(128);
  return start > 0xFFFFFFFFu - count ? 0xFFFFFFFFu - count : start;
}

// Random samples with specials, plus ties of the largest value across lanes and samples that
// land exactly on the floor after the baseline is removed.
float fillSamples(SampleGenerator& random, std::span<float> samples) {
  random.fill(samples);
  float baseline = random.below(3) == 0 ? 0.0f : random.scalarFloat();
  if (samples.empty()) return baseline;
  if (random.below(2) == 0) {
    const float top = samples[random.below(static_cast<uint32_t>(samples.size()))];
    for (int k = 0; k < 4; ++k) samples[random.below(static_cast<uint32_t>(samples.size()))] = top;
  }
  if (random.below(4) == 0) {
    baseline = 0.0f;
    for (int k = 0; k < 4; ++k) {
      samples[random.below(static_cast<uint32_t>(samples.size()))] = kFloor;
    }
  }
  return baseline;
}

// Every float alignment of source and destination within a 64-byte line, packed in one offset.
std::vector<std::size_t> alignmentPairs() {
  std::vector<std::size_t> pairs(16 * 16);
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = i;
  return pairs;
}

AssertionResult sameResults(const CopyResult& expected, const CopyResult& actual) {
  if (expected.returned != actual.returned) {
    return AssertionFailure() << "result: generic " << expected.returned << ", avx2 "
                              << actual.returned;
  }
  if (!kxtest::sameBits(expected.maxValue, actual.maxValue)) {
    return AssertionFailure() << "maxValue: generic " << kxtest::describe(expected.maxValue)
                              << ", avx2 " << kxtest::describe(actual.maxValue);
  }
  if (expected.maxIndex != actual.maxIndex) {
    return AssertionFailure() << "maxIndex: generic " << expected.maxIndex << ", avx2 "
                              << actual.maxIndex;
  }
  return AssertionSuccess();
}

// Independent of the meeting order: the peak is the largest stored value above the floor (NaN
// never), or the floor itself. A lane whose first value is NaN hides the rest of that lane, so
// equality is only required when the first eight values hold no NaN.
AssertionResult peakIsTheLargestValue(const float* stored, uint32_t count, float maxValue) {
  float largest = kFloor;
  bool laneHidden = false;
  for (uint32_t i = 0; i < count; ++i) {
    if (stored[i] > largest) largest = stored[i];
    if (count >= 8 && i < 8 && std::isnan(stored[i])) laneHidden = true;
  }
  if (laneHidden ? maxValue > largest : !kxtest::sameBits(largest, maxValue)) {
    return AssertionFailure() << "maxValue " << kxtest::describe(maxValue) << ", largest value "
                              << kxtest::describe(largest);
  }
  return AssertionSuccess();
}

AssertionResult variantsAgree(const SweepCase& c) {
  SampleGenerator random(c.seed);
  CanaryBuffer<float> samples(c.count, c.offsetBytes % 16 * sizeof(float));
  const float baseline = fillSamples(random, samples.span());
  const uint32_t start = randomStart(random, c.count);
  CanaryBuffer<float> expected(c.count, c.offsetBytes / 16 * sizeof(float));
  CanaryBuffer<float> actual(c.count, c.offsetBytes / 16 * sizeof(float));
  const CopyResult want = copy(false, samples.data(), expected.data(), start, c.count, baseline);
  const CopyResult got = copy(true, samples.data(), actual.data(), start, c.count, baseline);
  if (!actual.canariesIntact()) return AssertionFailure() << "a write outside the destination";
  for (uint32_t i = 0; i < c.count; ++i) {
    const float d = samples[i] - baseline;
    if (!kxtest::sameBits(d, expected[i])) {
      return AssertionFailure() << "generic destination[" << i << "] is not sample - baseline";
    }
  }
  AssertionResult same = sameResults(want, got);
  if (!same) return same << " (start " << start << ")";
  same = kxtest::sameArrays("destination", expected.data(), actual.data(), c.count);
  if (!same) return same;
  return peakIsTheLargestValue(expected.data(), c.count, want.maxValue);
}

TEST(CopyRawDataToChannels, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(kxtest::sweepCounts(70), alignmentPairs(), kxtest::differentialCases(),
                variantsAgree);
}

TEST(CopyRawDataToChannels, ReadsNothingOutsideTheSamples) {
  SampleGenerator random(11);
  for (uint32_t count = 0; count <= 80; ++count) {
    for (auto edge : {GuardedBuffer<float>::Edge::Start, GuardedBuffer<float>::Edge::End}) {
      GuardedBuffer<float> samples(count, edge);
      const float baseline = fillSamples(random, samples.span());
      const uint32_t start = randomStart(random, count);
      std::vector<float> expected(count), actual(count);
      const CopyResult want = copy(false, samples.data(), expected.data(), start, count, baseline);
      if (!kxtest::avx2Available()) continue;
      const CopyResult got = copy(true, samples.data(), actual.data(), start, count, baseline);
      EXPECT_TRUE(sameResults(want, got)) << "count " << count;
      EXPECT_TRUE(kxtest::sameArrays("destination", expected.data(), actual.data(), count));
    }
  }
}

struct PeakCase {
  const char* name;
  uint32_t start;
  std::vector<float> samples;
  float baseline;
  float maxValue;
  uint32_t maxIndex;
};

// Peaks whose index follows from the meeting order and the float lane indices.
const PeakCase kPeakCases[] = {
    {"all samples on the baseline, one by one", 5, std::vector<float>(7, 2.5f), 2.5f, kFloor,
     kNoPeak},
    {"all samples on the baseline, eight wide", 5, std::vector<float>(37, -1.0f), -1.0f, kFloor,
     kNoPeak},
    {"samples on the floor are not a peak", 0, std::vector<float>(20, kFloor), 0.0f, kFloor,
     kNoPeak},
    {"seven samples, first of equal maxima", 100, {1, 3, 2, 3, 0, 3, 1}, 0.0f, 3.0f, 101},
    {"eight samples, one block", 100, {1, 2, 3, 4, 9, 4, 3, 2}, 1.0f, 8.0f, 104},
    {"nine samples, peak in the one-sample tail",
     100,
     {1, 2, 3, 4, 5, 4, 3, 2, 6},
     0.0f,
     6.0f,
     108},
    {"nine samples, tail equal to the block's peak",
     100,
     {1, 2, 3, 4, 6, 4, 3, 2, 6},
     0.0f,
     6.0f,
     104},
    {"lane 0 is offered before lane 1",
     1000,
     {0, 7, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0},
     0.0f,
     7.0f,
     1008},
    {"a lane starting with NaN keeps NaN and never reports",
     0,
     {NAN, 1, 1, 1, 1, 1, 1, 1, 9, 1, 1, 1, 1, 1, 1, 1},
     0.0f,
     1.0f,
     1},
    {"a later NaN does not displace a lane maximum",
     0,
     {1, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, NAN, 0, 0, 0, 0, 0, 0, 0},
     0.0f,
     4.0f,
     8},
    // 2^24 + 1 as a float is 2^24; lane 1 then sits at 2^24 + 1, which rounds to 2^24 again.
    {"indices beyond 2^24 are rounded floats",
     (1u << 24) + 1,
     {0, 5, 0, 0, 0, 0, 0, 0},
     0.0f,
     5.0f,
     1u << 24},
    // Near 2^31 the float index rounds up to 2^31, which converts to the integer indefinite.
    {"indices from 2^31 on convert to 0x80000000",
     (1u << 31) - 8,
     {0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0},
     0.0f,
     5.0f,
     0x80000000u},
};

TEST(CopyRawDataToChannels, PeakFollowsTheMeetingOrder) {
  for (bool avx2 : {false, true}) {
    if (avx2 && !kxtest::avx2Available()) continue;
    for (const PeakCase& c : kPeakCases) {
      const auto count = static_cast<uint32_t>(c.samples.size());
      CanaryBuffer<float> destination(count, 4);
      const CopyResult r =
          copy(avx2, c.samples.data(), destination.data(), c.start, count, c.baseline);
      SCOPED_TRACE(std::string(c.name) + (avx2 ? " (avx2)" : " (generic)"));
      EXPECT_EQ(std::bit_cast<uint32_t>(r.maxValue), std::bit_cast<uint32_t>(c.maxValue));
      EXPECT_EQ(r.maxIndex, c.maxIndex);
      EXPECT_TRUE(destination.canariesIntact());
      for (uint32_t i = 0; i < count; ++i) {
        EXPECT_TRUE(kxtest::sameBits(destination[i], c.samples[i] - c.baseline)) << i;
      }
      if (count < 8) {
        EXPECT_EQ(r.returned, c.start + count);
      }
    }
  }
}

TEST(CopyRawDataToChannels, EmptyRangeWritesOnlyTheOutValues) {
  for (bool avx2 : {false, true}) {
    if (avx2 && !kxtest::avx2Available()) continue;
    for (const auto& [start, end] : {std::pair{0u, 0u}, {10u, 10u}, {10u, 3u}, {0xFFFFFFFFu, 0u}}) {
      CanaryBuffer<float> destination(0, 0);
      float maxValue = 3.0f;
      uint32_t maxIndex = 7;
      const uint32_t returned =
          (avx2 ? kx::avx2::copyRawDataToChannels : kx::generic::copyRawDataToChannels)(
              nullptr, destination.data(), start, end, 0.0f, &maxValue, &maxIndex);
      EXPECT_EQ(returned, start);
      EXPECT_EQ(std::bit_cast<uint32_t>(maxValue), std::bit_cast<uint32_t>(kFloor));
      EXPECT_EQ(maxIndex, kNoPeak);
      EXPECT_TRUE(destination.canariesIntact());
    }
  }
}

}  // namespace
