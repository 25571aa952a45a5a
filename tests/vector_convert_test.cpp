// Conversion between 32-bit and 16-bit integer samples.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
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

// Source and destination aligned independently: every 4-byte start of an int32_t array and
// every 2-byte start of an int16_t array within one 32-byte line, packed into one offset.
std::vector<std::size_t> alignmentPairs() {
  std::vector<std::size_t> pairs(8 * 16);
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = i;
  return pairs;
}
std::size_t wideOffset(std::size_t pair) {
  return pair % 8 * sizeof(int32_t);
}
std::size_t narrowOffset(std::size_t pair) {
  return pair / 8 * sizeof(int16_t);
}

template <typename From, typename To>
void convert(bool avx2, const From* source, To* destination, uint32_t count) {
  if constexpr (sizeof(From) == 4) {
    (avx2 ? kx::avx2::convertInt32ToInt16 : kx::generic::convertInt32ToInt16)(source, destination,
                                                                              count);
  } else {
    (avx2 ? kx::avx2::convertInt16ToInt32 : kx::generic::convertInt16ToInt32)(source, destination,
                                                                              count);
  }
}

template <typename From, typename To>
AssertionResult variantsAgree(const SweepCase& c) {
  const std::size_t sourceOffset =
      sizeof(From) == 4 ? wideOffset(c.offsetBytes) : narrowOffset(c.offsetBytes);
  const std::size_t destinationOffset =
      sizeof(To) == 4 ? wideOffset(c.offsetBytes) : narrowOffset(c.offsetBytes);
  SampleGenerator random(c.seed);
  CanaryBuffer<From> source(c.count, sourceOffset);
  CanaryBuffer<To> expected(c.count, destinationOffset), actual(c.count, destinationOffset);
  random.fill(source.span());
  convert(false, source.data(), expected.data(), c.count);
  convert(true, source.data(), actual.data(), c.count);
  if (!actual.canariesIntact()) return AssertionFailure() << "a write outside the destination";
  return kxtest::sameArrays("destination", expected.data(), actual.data(), c.count);
}

TEST(ConvertInt32ToInt16, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(kxtest::sweepCounts(), alignmentPairs(), kxtest::differentialCases(),
                variantsAgree<int32_t, int16_t>);
}

TEST(ConvertInt16ToInt32, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  kxtest::sweep(kxtest::sweepCounts(), alignmentPairs(), kxtest::differentialCases(),
                variantsAgree<int16_t, int32_t>);
}

template <typename From, typename To>
void readsOnlyTheSource() {
  SampleGenerator random(5);
  for (uint32_t count = 0; count <= 80; ++count) {
    for (auto edge : {GuardedBuffer<From>::Edge::Start, GuardedBuffer<From>::Edge::End}) {
      GuardedBuffer<From> source(count, edge);
      random.fill(source.span());
      std::vector<To> expected(count), actual(count);
      convert(false, source.data(), expected.data(), count);
      if (!kxtest::avx2Available()) continue;
      convert(true, source.data(), actual.data(), count);
      EXPECT_TRUE(kxtest::sameArrays("destination", expected.data(), actual.data(), count));
    }
  }
}

TEST(ConvertInt32ToInt16, ReadsNothingOutsideTheSource) {
  readsOnlyTheSource<int32_t, int16_t>();
}
TEST(ConvertInt16ToInt32, ReadsNothingOutsideTheSource) {
  readsOnlyTheSource<int16_t, int32_t>();
}

// The values repeat through arrays of every length and alignment, so that each one passes
// through the element loop (up to 15), the head, every lane of the body, and the tail.
template <typename From, typename To>
void convertsOnEveryPath(const std::vector<From>& values, const std::vector<To>& want) {
  for (bool avx2 : {false, true}) {
    if (avx2 && !kxtest::avx2Available()) continue;
    for (uint32_t count : {1u, 6u, 15u, 16u, 17u, 23u, 31u, 32u, 33u, 64u, 70u, 1001u}) {
      for (std::size_t pair : alignmentPairs()) {
        CanaryBuffer<From> source(count, sizeof(From) == 4 ? wideOffset(pair) : narrowOffset(pair));
        CanaryBuffer<To> destination(count,
                                     sizeof(To) == 4 ? wideOffset(pair) : narrowOffset(pair));
        for (uint32_t i = 0; i < count; ++i) source[i] = values[(i + pair) % values.size()];
        convert(avx2, source.data(), destination.data(), count);
        for (uint32_t i = 0; i < count; ++i) {
          ASSERT_EQ(destination[i], want[(i + pair) % values.size()])
              << (avx2 ? "avx2" : "generic") << ", count " << count << ", alignments " << pair
              << ", index " << i;
        }
        ASSERT_TRUE(destination.canariesIntact()) << count << " " << pair;
      }
    }
  }
}

TEST(ConvertInt32ToInt16, KeepsTheLowSixteenBits) {
  convertsOnEveryPath<int32_t, int16_t>(
      {32767, 32768, 65535, 65536, -1, -32769, 70000, INT32_MIN, INT32_MAX, -32768, 0, -65537},
      {32767, -32768, -1, 0, -1, 32767, 4464, 0, -1, -32768, 0, -1});
}

TEST(ConvertInt16ToInt32, ExtendsTheSign) {
  convertsOnEveryPath<int16_t, int32_t>({-32768, 32767, -1, 0, 1, -2, 255, -256},
                                        {-32768, 32767, -1, 0, 1, -2, 255, -256});
}

}  // namespace
