// Scaled values from raw channel samples: the four kernels (float and double results, plain
// and aligned output) in both variants.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "channel/channel.h"
#include "support/differential.h"
#include "support/raw_types.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;

template <typename O, bool AlignedOutput>
struct Kernel {
  using Out = O;
  using Request = std::conditional_t<std::is_same_v<O, float>, ScaledValuesRequest_float,
                                     ScaledValuesRequest_double>;
  static constexpr bool kAlignedOutput = AlignedOutput;

  static void generic(const Request* request) {
    if constexpr (AlignedOutput) {
      kx::generic::scaledValuesAtPosAlignedOutput(request);
    } else {
      kx::generic::scaledValuesAtPos(request);
    }
  }
  static void avx2(const Request* request) {
    if constexpr (AlignedOutput) {
      kx::avx2::scaledValuesAtPosAlignedOutput(request);
    } else {
      kx::avx2::scaledValuesAtPos(request);
    }
  }
  // Both variants, or only the generic one on a processor without AVX2.
  template <typename Check>
  static void forEachVariant(Check check) {
    check("generic", &generic);
    if (kxtest::avx2Available()) check("avx2", &avx2);
  }
};

using Kernels = ::testing::Types<Kernel<float, false>, Kernel<float, true>, Kernel<double, false>,
                                 Kernel<double, true>>;

struct KernelNames {
  template <typename K>
  static std::string GetName(int) {
    return std::string(std::is_same_v<typename K::Out, float> ? "float" : "double") +
           (K::kAlignedOutput ? "_aligned_output" : "");
  }
};

template <typename K>
class ScaledValues : public ::testing::Test {};
TYPED_TEST_SUITE(ScaledValues, Kernels, KernelNames);

using kxtest::withRawType;

constexpr int32_t kStrides[] = {-3, -1, 0, 1, 2, 3, 7};

// Raw samples for `count` results at `stride`, starting `lead` elements into the storage;
// first() is the sample of result 0 (the highest address for a negative stride).
template <typename Raw>
struct RawRun {
  std::vector<Raw> storage;
  std::size_t firstIndex;

  RawRun(SampleGenerator& random, uint32_t count, int32_t stride, std::size_t lead) {
    const std::size_t reach = count == 0 ? 0 : std::size_t(count - 1) * std::abs(stride);
    storage = random.make<Raw>(lead + reach + 1);
    firstIndex = lead + (stride < 0 ? reach : 0);
  }
  const Raw* first() const { return storage.data() + firstIndex; }
};

template <typename Out>
Out randomScalar(SampleGenerator& random) {
  if constexpr (std::is_same_v<Out, float>) {
    return random.scalarFloat();
  } else {
    return random.scalarDouble();
  }
}

TYPED_TEST(ScaledValues, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  using K = TypeParam;
  using Out = typename K::Out;
  uint64_t combination = 0;
  kxtest::sweep(
      kxtest::sweepCounts(), kxtest::sweepOffsets(sizeof(Out)), kxtest::differentialCases(),
      [&](const kxtest::SweepCase& c) -> ::testing::AssertionResult {
        // Every raw type meets every stride, and the combinations move across counts and
        // alignments from round to round.
        const auto rawType = static_cast<uint32_t>(combination % 9);
        const int32_t stride = kStrides[(combination / 9) % std::size(kStrides)];
        ++combination;
        // The aligned-output kernels need an aligned output from 8 results on.
        const std::size_t offset =
            K::kAlignedOutput && c.count >= 8 ? c.offsetBytes & ~std::size_t{31} : c.offsetBytes;
        SampleGenerator random(c.seed);
        CanaryBuffer<Out> expected(c.count, offset), actual(c.count, offset);
        typename K::Request request{};
        request.scale = randomScalar<Out>(random);
        request.offset = randomScalar<Out>(random);
        request.count = static_cast<int32_t>(c.count);
        request.rawType = rawType;
        request.stride = stride;
        ::testing::AssertionResult result = ::testing::AssertionSuccess();
        withRawType(rawType, [&](auto sample) {
          using Raw = decltype(sample);
          const RawRun<Raw> raw(random, c.count, stride, random.below(8));
          request.source = raw.first();
          request.output = expected.data();
          K::generic(&request);
          request.output = actual.data();
          K::avx2(&request);
          result = kxtest::sameArrays("output", expected.data(), actual.data(), c.count);
        });
        if (!result) return result << " (raw type " << rawType << ", stride " << stride << ")";
        if (!expected.canariesIntact() || !actual.canariesIntact()) {
          return ::testing::AssertionFailure() << "a write outside the output (raw type " << rawType
                                               << ", stride " << stride << ")";
        }
        return ::testing::AssertionSuccess();
      });
}

// A contiguous channel is read a block at a time, but never past its last sample, and a
// backward channel never before its first.
TYPED_TEST(ScaledValues, ReadsNothingOutsideTheRawRun) {
  using K = TypeParam;
  using Out = typename K::Out;
  SampleGenerator random(11);
  for (uint32_t rawType = 0; rawType < 9; ++rawType) {
    withRawType(rawType, [&](auto sample) {
      using Raw = decltype(sample);
      for (int32_t stride : {1, -1, 3, -3}) {
        for (uint32_t count = 1; count <= 80; ++count) {
          const std::size_t reach = std::size_t(count - 1) * std::abs(stride) + 1;
          // A forward run ends at the inaccessible page; a backward one starts after it.
          GuardedBuffer<Raw> raw(
              reach, stride > 0 ? GuardedBuffer<Raw>::Edge::End : GuardedBuffer<Raw>::Edge::Start);
          random.fill(raw.span());
          const std::size_t offset = K::kAlignedOutput ? 0 : sizeof(Out) * (count % 4);
          CanaryBuffer<Out> expected(count, offset), actual(count, offset);
          typename K::Request request{raw.data() + (stride > 0 ? 0 : reach - 1),
                                      expected.data(),
                                      Out(0.5),
                                      Out(-3),
                                      int32_t(count),
                                      rawType,
                                      stride};
          K::generic(&request);
          if (!kxtest::avx2Available()) continue;
          request.output = actual.data();
          K::avx2(&request);
          ASSERT_TRUE(kxtest::sameArrays("output", expected.data(), actual.data(), count))
              << "raw type " << rawType << ", stride " << stride << ", count " << count;
        }
      }
    });
  }
}

// Requests that produce nothing leave every byte of the output as it was.
TYPED_TEST(ScaledValues, IgnoredRequestsLeaveTheOutputUntouched) {
  using K = TypeParam;
  using Out = typename K::Out;
  const int16_t raw[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  struct Case {
    int32_t count;
    uint32_t rawType;
  };
  for (const Case& c :
       {Case{16, 9}, Case{16, 0xFFFFFFFFu}, Case{0, RawType_int16_t}, Case{-5, RawType_int16_t},
        Case{0, RawType_uint8_t}, Case{-1, RawType_double}, Case{INT32_MIN, RawType_float}}) {
    K::forEachVariant([&](const char* variant, auto kernel) {
      CanaryBuffer<Out> output(16, 0);
      typename K::Request request{raw, output.data(), Out(1), Out(0), c.count, c.rawType, 1};
      kernel(&request);
      std::vector<unsigned char> bytes(16 * sizeof(Out));
      std::memcpy(bytes.data(), output.data(), bytes.size());
      EXPECT_EQ(bytes, std::vector<unsigned char>(bytes.size(), CanaryBuffer<Out>::kCanary))
          << variant << ": count " << c.count << ", raw type " << c.rawType;
      EXPECT_TRUE(output.canariesIntact()) << variant;
    });
  }
}

// Conversions with a known result, each run at counts that reach the element loop, the
// head and the blocks, with every raw sample the same.
struct Conversion {
  const char* name;
  uint32_t rawType;
  uint64_t rawBits;  // the raw sample's bit pattern, in its own width
  double scale;
  double offset;
  double floatResult;   // as float results
  double doubleResult;  // as double results
  friend void PrintTo(const Conversion& c, std::ostream* os) { *os << c.name; }
};

constexpr double kTwo24 = 16777216.0;

const Conversion kConversions[] = {
    // Rounded to nearest as a float; exact as a double.
    {"Uint32Max", RawType_uint32_t, 0xFFFFFFFFu, 1, 0, 4294967296.0, 4294967295.0},
    {"Uint32TopBitOnly", RawType_uint32_t, 0x80000000u, 1, 0, 2147483648.0, 2147483648.0},
    // 2^31 + 129 lies just past the midpoint between two floats 256 apart.
    {"Uint32RoundsToNearest", RawType_uint32_t, 0x80000081u, 1, 0, 2147483904.0, 2147483777.0},
    // The float result of a double sample is scaled in double and rounded once: in single
    // precision 2^24 + 1 would become 2^24 first, and the result 0.
    {"DoubleScaledInDouble", RawType_double, std::bit_cast<uint64_t>(kTwo24 + 1), 1, -kTwo24, 1.0,
     1.0},
    // An int32 converts (rounding) before it is scaled.
    {"Int32RoundsBeforeScaling", RawType_int32_t, 16777217u, 1, 0, kTwo24, kTwo24 + 1},
    {"Int32Min", RawType_int32_t, 0x80000000u, 1, 0, -2147483648.0, -2147483648.0},
    // int64 to float in one rounding: 2^53 + 2^29 + 1 is just above a float midpoint, but
    // through double (2^53 + 2^29) it would tie and round down to even.
    {"Int64RoundsOnce", RawType_int64_t, (uint64_t{1} << 53) + (uint64_t{1} << 29) + 1, 1, 0,
     9007200328482816.0, 9007199791611904.0},
    {"Int16Minus1", RawType_int16_t, 0xFFFF, 2, 1, -1.0, -1.0},
    {"Uint16Max", RawType_uint16_t, 0xFFFF, 2, 1, 131071.0, 131071.0},
    {"Int8Min", RawType_int8_t, 0x80, 1, 0.5, -127.5, -127.5},
    {"Uint8Max", RawType_uint8_t, 0xFF, 1, 0.5, 255.5, 255.5},
    // Multiply and add are rounded separately: the float product 3 + 1.5 * 2^-22 ties to
    // 3 + 2^-21, where a fused multiply-add would give 3 * 2^-23.
    {"Int32NotFused", RawType_int32_t, 3, 1.0 + 0x1p-23, -3, 0x1p-21, 3 * 0x1p-23},
    {"FloatNotFused", RawType_float, std::bit_cast<uint32_t>(1.0f + 0x1p-23f), 3, -3, 0x1p-21,
     3 * 0x1p-23},
};

class ScaledValuesConversion : public ::testing::TestWithParam<Conversion> {};

template <typename K>
void checkConversion(const Conversion& c) {
  using Out = typename K::Out;
  const Out want = static_cast<Out>(std::is_same_v<Out, float> ? c.floatResult : c.doubleResult);
  alignas(8) unsigned char raw[40 * 8];
  const std::size_t rawSize = c.rawType <= 1                     ? 1
                              : c.rawType <= 3                   ? 2
                              : c.rawType == 6 || c.rawType == 7 ? 8
                                                                 : 4;
  for (std::size_t i = 0; i < 40; ++i) std::memcpy(raw + i * rawSize, &c.rawBits, rawSize);
  for (int32_t count : {1, 9, 17, 40}) {
    for (std::size_t offset : {std::size_t{0}, sizeof(Out)}) {
      if (K::kAlignedOutput && count >= 8 && offset != 0) continue;
      K::forEachVariant([&](const char* variant, auto kernel) {
        CanaryBuffer<Out> output(count, offset);
        typename K::Request request{raw,
                                    output.data(),
                                    static_cast<Out>(c.scale),
                                    static_cast<Out>(c.offset),
                                    count,
                                    c.rawType,
                                    1};
        kernel(&request);
        for (int32_t i = 0; i < count; ++i) {
          ASSERT_TRUE(kxtest::sameBitsResult("result", want, output[i]))
              << variant << ", count " << count << ", offset " << offset << ", element " << i;
        }
      });
    }
  }
}

TEST_P(ScaledValuesConversion, GivesTheStatedValue) {
  checkConversion<Kernel<float, false>>(GetParam());
  checkConversion<Kernel<float, true>>(GetParam());
  checkConversion<Kernel<double, false>>(GetParam());
  checkConversion<Kernel<double, true>>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Cases, ScaledValuesConversion, ::testing::ValuesIn(kConversions),
                         [](const auto& info) { return std::string(info.param.name); });

// Results are dense whatever the stride: result i comes from raw element i * stride.
TYPED_TEST(ScaledValues, StrideSelectsTheSamples) {
  using K = TypeParam;
  using Out = typename K::Out;
  std::vector<int16_t> raw(3 * 20);
  for (std::size_t i = 0; i < raw.size(); ++i) raw[i] = static_cast<int16_t>(i);
  for (int32_t count : {3, 20}) {
    K::forEachVariant([&](const char* variant, auto kernel) {
      CanaryBuffer<Out> output(count, 0);
      typename K::Request request{raw.data(), output.data(),   Out(1), Out(0),
                                  count,      RawType_int16_t, 3};
      kernel(&request);
      for (int32_t i = 0; i < count; ++i) EXPECT_EQ(output[i], Out(3 * i)) << variant << " " << i;
      EXPECT_TRUE(output.canariesIntact());
    });
  }
  // A zero stride repeats the first sample; a negative one walks backwards.
  K::forEachVariant([&](const char* variant, auto kernel) {
    CanaryBuffer<Out> output(12, 0);
    typename K::Request request{
        raw.data() + 30, output.data(), Out(1), Out(0), 12, RawType_int16_t, 0};
    kernel(&request);
    for (int32_t i = 0; i < 12; ++i) EXPECT_EQ(output[i], Out(30)) << variant;
    request.stride = -2;
    kernel(&request);
    for (int32_t i = 0; i < 12; ++i) EXPECT_EQ(output[i], Out(30 - 2 * i)) << variant;
  });
}

}  // namespace
