// The streaming interpolator: status codes and lifecycle, allocation failures, exact
// outputs of small streams, analytic signals, and both variants' output steps on random
// streams compared call by call.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <vector>

#include "channel/interpolator.h"
#include "support/differential.h"

namespace {

namespace ip = kx::interpolator;
using kxtest::SampleGenerator;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct Variant {
  const char* name;
  ip::OutputStep step;
};
constexpr Variant kGeneric{"generic", &kx::generic::interpolatorOutput};
constexpr Variant kAvx2{"avx2", &kx::avx2::interpolatorOutput};

// Both variants, or only the generic one on a processor without AVX2.
template <typename Check>
void forEachVariant(Check check) {
  check(kGeneric);
  if (kxtest::avx2Available()) check(kAvx2);
}

// Allocates like the C heap until `allowed` allocations are used up, then fails; counts what
// is still held.
struct FailingAllocator {
  int allowed;
  int held = 0;
  void* allocate(std::size_t bytes) {
    if (allowed-- <= 0) return nullptr;
    ++held;
    return std::malloc(bytes);
  }
  void release(void* block) {
    --held;
    std::free(block);
  }
};

// One interpolator driven through the lifecycle with the C heap and one variant's step.
class Stream {
 public:
  Stream(double sourceRate, double targetRate, uint32_t ringSize, ip::OutputStep step)
      : step_(step) {
    const CHSInterpolatorParams params{sourceRate, targetRate, ringSize};
    status_ = ip::create(&handle_, &params, ip::HeapAllocator{});
  }
  ~Stream() {
    if (handle_ != nullptr) ip::destroy(handle_, ip::HeapAllocator{});
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  uint32_t createStatus() const { return status_; }
  CHSInterpolator* handle() { return handle_; }

  // Status of the call; the new outputs are left in last().
  uint32_t feed(const float* input, uint32_t count) {
    last_.clear();
    const float* output = nullptr;
    uint32_t produced = 0;
    const uint32_t status = ip::interpolateValues(handle_, input, count, &output, &produced, step_,
                                                  ip::HeapAllocator{});
    if (status == CHSInterpolator_Success) last_.assign(output, output + produced);
    return status;
  }
  uint32_t feed(const std::vector<float>& input) {
    return feed(input.data(), static_cast<uint32_t>(input.size()));
  }
  uint32_t stop() {
    last_.clear();
    const float* output = nullptr;
    uint32_t produced = 0;
    const uint32_t status = ip::stop(handle_, &output, &produced, step_, ip::HeapAllocator{});
    if (status == CHSInterpolator_Success && output != nullptr) {
      last_.assign(output, output + produced);
    }
    return status;
  }
  uint32_t reset() { return ip::reset(handle_); }
  const std::vector<float>& last() const { return last_; }

 private:
  ip::OutputStep step_;
  CHSInterpolator* handle_ = nullptr;
  uint32_t status_ = 0;
  std::vector<float> last_;
};

// --- truncation as the cvtt instructions do it ------------------------------------------

TEST(InterpolatorTruncation, MatchesTheProcessorsIndefiniteAndWrapping) {
  struct Case {
    double x;
    int32_t int32;
    uint64_t uint64;
  };
  const double two63 = 9223372036854775808.0;
  const Case cases[] = {
      {2.75, 2, 2},
      {-2.75, -2, uint64_t(0) - 2},
      {2147483647.9, INT32_MAX, 2147483647},
      {2147483648.0, INT32_MIN, 2147483648u},
      {-2147483648.9, INT32_MIN, uint64_t(0) - 2147483648u},
      {-2147483649.0, INT32_MIN, uint64_t(0) - 2147483649u},
      {two63, INT32_MIN, uint64_t{1} << 63},
      {two63 * 1.5, INT32_MIN, uint64_t{3} << 62},
      {two63 * 2.0, INT32_MIN, 0},  // 2^63 past the reduction: indefinite, plus 2^63, wraps
      {kInf, INT32_MIN, 0},
      {-kInf, INT32_MIN, uint64_t{1} << 63},
      {std::numeric_limits<double>::quiet_NaN(), INT32_MIN, uint64_t{1} << 63},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(kx::truncateToInt32(c.x), c.int32) << c.x;
    EXPECT_EQ(kx::truncateToUint64(c.x), c.uint64) << c.x;
  }
}

// --- status codes -------------------------------------------------------------------------

struct CreateCase {
  const char* name;
  bool nullParams;
  double sourceRate;
  double targetRate;
  uint32_t ringSize;
  uint32_t status;
  friend void PrintTo(const CreateCase& c, std::ostream* os) { *os << c.name; }
};

class InterpolatorCreate : public ::testing::TestWithParam<CreateCase> {};

TEST_P(InterpolatorCreate, ChecksInOrder) {
  const CreateCase& c = GetParam();
  const CHSInterpolatorParams params{c.sourceRate, c.targetRate, c.ringSize};
  CHSInterpolator* const untouched = reinterpret_cast<CHSInterpolator*>(uintptr_t{0x1234});
  CHSInterpolator* handle = untouched;
  const uint32_t status =
      ip::create(&handle, c.nullParams ? nullptr : &params, ip::HeapAllocator{});
  EXPECT_EQ(status, c.status);
  if (status == CHSInterpolator_Success) {
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->size, c.ringSize);
    EXPECT_EQ(handle->mask, c.ringSize - 1);
    for (uint32_t i = 0; i < c.ringSize; ++i)
      ASSERT_EQ(std::bit_cast<uint32_t>(handle->ring[i]), 0u);
    EXPECT_EQ(ip::destroy(handle, ip::HeapAllocator{}), CHSInterpolator_Success);
  } else {
    EXPECT_EQ(handle, untouched);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, InterpolatorCreate,
    ::testing::Values(CreateCase{"NullParams", true, 1, 1, 4, 1},
                      CreateCase{"SourceRateZero", false, 0, 1, 4, 1},
                      CreateCase{"SourceRateNegativeZero", false, -0.0, 1, 4, 1},
                      CreateCase{"SourceRateNegative", false, -48000, 44100, 4, 1},
                      CreateCase{"TargetRateZero", false, 1, 0, 4, 1},
                      CreateCase{"TargetRateNegative", false, 1, -1, 4, 1},
                      CreateCase{"RatesBeforeRingSize", false, 1, 0, 3, 1},
                      CreateCase{"RingSizeZero", false, 1, 1, 0, 4},
                      CreateCase{"RingSizeThree", false, 1, 1, 3, 4},
                      CreateCase{"RingSizeSix", false, 1, 1, 6, 4},
                      CreateCase{"RingSizeTwoPowersSet", false, 1, 1, 0x80000001u, 4},
                      CreateCase{"RingSizeOne", false, 1, 1, 1, 0},
                      CreateCase{"RingSizeTwo", false, 1, 1, 2, 0},
                      CreateCase{"RingSize4096", false, 48000, 44100, 4096, 0},
                      CreateCase{"NaNSourceRateAccepted", false,
                                 std::numeric_limits<double>::quiet_NaN(), 1, 8, 0},
                      CreateCase{"InfiniteTargetRateAccepted", false, 1, kInf, 8, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(InterpolatorStatus, InterpolateValuesChecksCountHandleSizeAndStopInOrder) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    const std::vector<float> block(1023, 1.0f);
    const float* output = nullptr;
    uint32_t produced = 7;
    EXPECT_EQ(ip::interpolateValues(nullptr, block.data(), 0, &output, &produced, v.step,
                                    ip::HeapAllocator{}),
              1u);
    EXPECT_EQ(ip::interpolateValues(nullptr, block.data(), 1, &output, &produced, v.step,
                                    ip::HeapAllocator{}),
              1u);
    EXPECT_EQ(produced, 7u);

    Stream stream(1, 1, 1024, v.step);
    EXPECT_EQ(stream.feed(block.data(), 0), 1u);
    EXPECT_EQ(stream.feed(block.data(), 1023), 2u);
    EXPECT_EQ(stream.feed(block.data(), 1022), 0u);
    EXPECT_EQ(stream.last().size(), 1021u);

    Stream ringOfTwo(1, 1, 2, v.step);
    EXPECT_EQ(ringOfTwo.feed(block.data(), 1), 2u);
    EXPECT_EQ(ringOfTwo.stop(), 0u);
    EXPECT_EQ(ringOfTwo.last().size(), 0u);
    EXPECT_EQ(ringOfTwo.stop(), 3u);
  });
}

TEST(InterpolatorStatus, StoppedRefusesUntilResetAndFailuresChangeNothing) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    Stream stream(3, 4, 16, v.step);
    const std::vector<float> block{1, 2, 3, 4, 5};
    ASSERT_EQ(stream.feed(block), 0u);
    ASSERT_EQ(stream.stop(), 0u);
    CHSInterpolator before;
    std::memcpy(&before, stream.handle(), sizeof before);
    EXPECT_EQ(stream.feed(block), 3u);
    EXPECT_EQ(stream.feed(std::vector<float>(15)), 2u);  // the size before the stop
    EXPECT_EQ(stream.stop(), 3u);
    EXPECT_EQ(std::memcmp(&before, stream.handle(), sizeof before), 0);
    EXPECT_EQ(stream.reset(), 0u);
    EXPECT_EQ(stream.feed(block), 0u);
    EXPECT_EQ(ip::stop(nullptr, nullptr, nullptr, v.step, ip::HeapAllocator{}), 1u);
  });
  EXPECT_EQ(ip::reset(nullptr), 1u);
  EXPECT_EQ(ip::destroy(nullptr, ip::HeapAllocator{}), 1u);
}

// --- allocation -----------------------------------------------------------------------------

TEST(InterpolatorAllocation, FailureAtAnyAllocationLeavesANullHandleAndNothingHeld) {
  const CHSInterpolatorParams params{44100, 48000, 64};
  for (int allowed = 0; allowed < 3; ++allowed) {
    FailingAllocator allocator{allowed};
    CHSInterpolator* handle = reinterpret_cast<CHSInterpolator*>(uintptr_t{0x1234});
    EXPECT_EQ(ip::create(&handle, &params, allocator), 1u) << allowed;
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(allocator.held, 0);
  }
  FailingAllocator allocator{3};
  CHSInterpolator* handle = nullptr;
  ASSERT_EQ(ip::create(&handle, &params, allocator), 0u);
  EXPECT_EQ(allocator.held, 3);
  EXPECT_EQ(ip::destroy(handle, allocator), 0u);
  EXPECT_EQ(allocator.held, 0);
}

TEST(InterpolatorAllocation, AbsurdRatiosFailCleanlyOrProduceNothing) {
  for (double targetRate : {1e300, kInf, 1e12}) {
    const CHSInterpolatorParams params{1, targetRate, 4096};
    CHSInterpolator* handle = nullptr;
    FailingAllocator allocator{1000};
    // The output array such a ratio asks for exceeds what the allocator is given here.
    const uint32_t status = ip::create(&handle, &params, allocator);
    if (status == 0) ip::destroy(handle, allocator);
    EXPECT_EQ(allocator.held, 0);
  }
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    Stream stream(std::numeric_limits<double>::quiet_NaN(), 1, 16, v.step);
    ASSERT_EQ(stream.createStatus(), 0u);
    EXPECT_EQ(stream.feed(std::vector<float>(14, 1.0f)), 0u);
    EXPECT_TRUE(stream.last().empty());
  });
}

// A ring of one sample takes blocks of any length; its output array grows on demand, and a
// growth that fails leaves the handle as it was.
TEST(InterpolatorAllocation, RingOfOneGrowsItsOutputsOrFailsUnchanged) {
  const CHSInterpolatorParams params{1, 1, 1};
  FailingAllocator allocator{3};
  CHSInterpolator* handle = nullptr;
  ASSERT_EQ(ip::create(&handle, &params, allocator), 0u);
  const std::vector<float> block(5000, 2.0f);
  const float* output = nullptr;
  uint32_t produced = 0;
  CHSInterpolator before;
  std::memcpy(&before, handle, sizeof before);
  EXPECT_EQ(ip::interpolateValues(handle, block.data(), 5000, &output, &produced, kGeneric.step,
                                  allocator),
            1u);
  EXPECT_EQ(std::memcmp(&before, handle, sizeof before), 0);
  allocator.allowed = 1;
  ASSERT_EQ(ip::interpolateValues(handle, block.data(), 5000, &output, &produced, kGeneric.step,
                                  allocator),
            0u);
  EXPECT_EQ(produced, 4999u);
  EXPECT_GE(handle->outputRoom, 4999u);
  EXPECT_EQ(ip::destroy(handle, allocator), 0u);
  EXPECT_EQ(allocator.held, 0);
}

// --- exact outputs --------------------------------------------------------------------------

// Random samples with the non-finite and the huge ones replaced by moderate values: where
// every sample is finite and small enough that no coefficient overflows, the products with
// weight 0 vanish, also those with a ring slot that is not written yet.
std::vector<float> finiteSamples(SampleGenerator& random, uint32_t count) {
  std::vector<float> samples = random.make<float>(count);
  for (float& sample : samples) {
    if (!(std::fabs(sample) < 1e30f)) sample = static_cast<float>(random.below(2001)) - 1000;
  }
  return samples;
}

TEST(InterpolatorOutputs, EqualRatesGiveTheInputsBack) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    for (uint32_t n : {2u, 3u, 9u, 17u, 62u}) {
      SampleGenerator random(n);
      const std::vector<float> block = finiteSamples(random, n);
      Stream stream(48000, 48000, 64, v.step);
      ASSERT_EQ(stream.feed(block), 0u);
      ASSERT_EQ(stream.last().size(), n - 1);
      for (uint32_t i = 0; i < n - 1; ++i) EXPECT_EQ(stream.last()[i], block[i]) << n << " " << i;
    }
  });
}

TEST(InterpolatorOutputs, DoubledRateOfFourSamples) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    Stream stream(1000, 2000, 8, v.step);
    ASSERT_EQ(stream.feed({0, 1, 2, 3}), 0u);
    // At 0.5 the first sample is its own predecessor: 0.5 * (0.5 + 2/4 - 1/8).
    EXPECT_EQ(stream.last(), (std::vector<float>{0, 0.4375f, 1, 1.5f, 2}));
    // The stop's repeated 3 covers 2.5 and 3.
    ASSERT_EQ(stream.stop(), 0u);
    EXPECT_EQ(stream.last().size(), 2u);
  });
}

// Stop on an empty stream appends nothing; after a single sample it repeats it once, which
// covers position 0.
TEST(InterpolatorOutputs, StopOnFewerThanTwoSamples) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    Stream empty(1, 3, 8, v.step);
    EXPECT_EQ(empty.stop(), 0u);
    EXPECT_TRUE(empty.last().empty());
    EXPECT_EQ(empty.handle()->inputCount, 0u);

    Stream single(1, 3, 8, v.step);
    EXPECT_EQ(single.feed({7.5f}), 0u);
    EXPECT_TRUE(single.last().empty());
    EXPECT_EQ(single.stop(), 0u);
    EXPECT_EQ(single.last(), std::vector<float>{7.5f});
  });
}

// Catmull-Rom reproduces a straight line wherever its tangents are exact: everywhere but the
// first interval, whose first sample stands in for its own predecessor. A ramp of small
// integers at dyadic positions is exact in single precision.
TEST(InterpolatorOutputs, ReproducesARampExactly) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    for (double ratio : {0.25, 0.5, 1.0, 2.0, 4.0, 8.0}) {
      Stream stream(1, ratio, 256, v.step);
      std::vector<float> outputs;
      for (uint32_t block = 0; block < 12; ++block) {
        std::vector<float> ramp(100);
        for (uint32_t i = 0; i < 100; ++i) ramp[i] = static_cast<float>(block * 100 + i) - 300;
        ASSERT_EQ(stream.feed(ramp), 0u);
        outputs.insert(outputs.end(), stream.last().begin(), stream.last().end());
      }
      ASSERT_EQ(outputs.size(), static_cast<std::size_t>(1198 * ratio + 1));
      for (std::size_t k = 0; k < outputs.size(); ++k) {
        const double position = static_cast<double>(k) / ratio;
        if (position < 1.0) continue;
        ASSERT_EQ(outputs[k], position - 300) << "ratio " << ratio << ", k " << k;
      }
    }
  });
}

// A resampled sine stays the same sine at the output positions.
TEST(InterpolatorOutputs, SineKeepsItsFrequency) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    const double sourceRate = 48000, targetRate = 44100, frequency = 1000;
    Stream stream(sourceRate, targetRate, 4096, v.step);
    std::vector<float> outputs;
    for (uint32_t block = 0; block < 20; ++block) {
      std::vector<float> samples(1000);
      for (uint32_t i = 0; i < 1000; ++i) {
        samples[i] = static_cast<float>(
            std::sin(2 * std::numbers::pi * frequency * (block * 1000 + i) / sourceRate));
      }
      ASSERT_EQ(stream.feed(samples), 0u);
      outputs.insert(outputs.end(), stream.last().begin(), stream.last().end());
    }
    ASSERT_GT(outputs.size(), 18000u);
    double worst = 0;
    for (std::size_t k = 1; k < outputs.size(); ++k) {
      const double expected = std::sin(2 * std::numbers::pi * frequency * k / targetRate);
      worst = std::max(worst, std::fabs(outputs[k] - expected));
    }
    EXPECT_LT(worst, 2e-4);  // a cubic's error at 48 samples per period
  });
}

// With power-of-two ratios every position is exact, with blocks of at most size - 3 no block
// overwrites a support point still needed, and with finite samples a slot read with weight 0
// does not show: how the stream is split cannot matter.
TEST(InterpolatorOutputs, SplitAnywhereGivesTheSameOutputs) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    SampleGenerator random(99);
    for (double ratio : {0.25, 0.5, 1.0, 2.0, 4.0}) {
      for (uint32_t size : {8u, 64u, 1024u}) {
        const std::vector<float> samples = finiteSamples(random, 5 * size + 3);
        auto run = [&](bool wholeBlocks) {
          Stream stream(1, ratio, size, v.step);
          std::vector<float> outputs;
          for (std::size_t at = 0; at < samples.size();) {
            const uint32_t most = std::min<std::size_t>(size - 3, samples.size() - at);
            const uint32_t n = wholeBlocks ? most : 1 + random.below(most);
            EXPECT_EQ(stream.feed(samples.data() + at, n), 0u);
            outputs.insert(outputs.end(), stream.last().begin(), stream.last().end());
            at += n;
          }
          EXPECT_EQ(stream.stop(), 0u);
          outputs.insert(outputs.end(), stream.last().begin(), stream.last().end());
          return outputs;
        };
        const std::vector<float> whole = run(true), split = run(false);
        ASSERT_EQ(whole.size(), split.size());
        EXPECT_EQ(whole, split) << "ratio " << ratio << ", size " << size;
      }
    }
  });
}

// Reset starts the counts and the stream's start rule again; with finite samples the ring's
// old contents read with weight 0 do not show.
TEST(InterpolatorOutputs, ResetRepeatsTheStream) {
  forEachVariant([](const Variant& v) {
    SCOPED_TRACE(v.name);
    Stream stream(3, 7, 32, v.step);
    auto play = [&] {
      std::vector<float> outputs;
      for (int block = 0; block < 9; ++block) {
        std::vector<float> samples(13);
        for (int i = 0; i < 13; ++i) samples[i] = static_cast<float>((block * 13 + i) % 17) - 8;
        EXPECT_EQ(stream.feed(samples), 0u);
        outputs.insert(outputs.end(), stream.last().begin(), stream.last().end());
      }
      EXPECT_EQ(stream.stop(), 0u);
      outputs.insert(outputs.end(), stream.last().begin(), stream.last().end());
      return outputs;
    };
    const std::vector<float> first = play();
    EXPECT_EQ(stream.reset(), 0u);
    EXPECT_EQ(play(), first);
  });
}

// --- both variants on random streams ----------------------------------------------------

// Output rates per input rate: powers of two, one, near-integers, everyday rate pairs,
// random, tiny and large ratios, and rates whose ratio is NaN, infinite or zero.
struct Rates {
  double source;
  double target;
};
Rates randomRates(SampleGenerator& random, uint32_t size) {
  const double unit = static_cast<double>(random.bits() >> 11) * 0x1p-53;  // [0, 1)
  switch (random.below(12)) {
    case 0:
      return {1, 1};
    case 1:
    case 2:
      return {1, std::ldexp(1.0, static_cast<int>(random.below(7)) - 3)};
    case 3: {
      const double whole = 1 + random.below(4);
      return {1, whole * (random.below(2) ? 1 + 0x1p-40 : 1 - 0x1p-40)};
    }
    case 4: {
      constexpr double kRates[] = {8000, 11025, 22050, 44100, 48000, 96000, 192000};
      return {kRates[random.below(7)], kRates[random.below(7)]};
    }
    case 5:
      return {1, 1e-3 + unit * 1e-2};
    case 6:
      return {1, size <= 256 ? 8 + unit * 24 : 2 + unit * 2};
    case 7:
      switch (random.below(4)) {
        case 0:
          return {std::numeric_limits<double>::quiet_NaN(), 1};
        case 1:
          return {1, kInf};
        case 2:
          return {1e300, 1e-300};  // ratio 0: every position is NaN
        default:
          return {3, std::numeric_limits<double>::denorm_min()};
      }
    default:
      return {1, 0.2 + unit * 4};
  }
}

uint32_t randomRingSize(SampleGenerator& random) {
  if (random.below(16) == 0) return 1;
  return 1u << (1 + random.below(12));  // 2 .. 4096
}

uint32_t randomBlock(SampleGenerator& random, uint32_t size) {
  const uint32_t most = size == 1 ? 3000 : std::max(size - 2, 1u);  // a ring of 2 refuses all
  switch (random.below(4)) {
    case 0:
      return most;
    case 1:
      return std::min(most, 1 + random.below(16));
    default:
      return 1 + random.below(most);
  }
}

::testing::AssertionResult sameCall(const char* what, Stream& generic, uint32_t genericStatus,
                                    Stream& avx2, uint32_t avx2Status) {
  if (genericStatus != avx2Status) {
    return ::testing::AssertionFailure()
           << what << " status: generic " << genericStatus << ", avx2 " << avx2Status;
  }
  const std::vector<float>& a = generic.last();
  const std::vector<float>& b = avx2.last();
  if (a.size() != b.size()) {
    return ::testing::AssertionFailure()
           << what << " count: generic " << a.size() << ", avx2 " << b.size();
  }
  return kxtest::sameArrays(what, a.data(), b.data(), a.size());
}

// Plays one random stream on both variants: blocks of random sizes (those a ring cannot take
// included), now and then a stop, calls after it, and a reset. Returns the calls made.
uint64_t playBoth(SampleGenerator& random, const Rates& rates, uint32_t size, uint32_t calls) {
  Stream generic(rates.source, rates.target, size, kGeneric.step);
  Stream avx2(rates.source, rates.target, size, kAvx2.step);
  if (generic.createStatus() != 0 || avx2.createStatus() != 0) {
    ADD_FAILURE() << "create failed";
    return 0;
  }
  for (uint32_t call = 0; call < calls; ++call) {
    const uint32_t action = random.below(64);
    ::testing::AssertionResult same = ::testing::AssertionSuccess();
    if (action == 0) {
      same = sameCall("stop", generic, generic.stop(), avx2, avx2.stop());
    } else if (action == 1) {
      same = sameCall("reset", generic, generic.reset(), avx2, avx2.reset());
    } else {
      const uint32_t n = action == 2 ? size - 1 : randomBlock(random, size);
      const std::vector<float> block = random.make<float>(n);
      same = sameCall("block", generic, generic.feed(block), avx2, avx2.feed(block));
    }
    if (!same) {
      ADD_FAILURE() << "ratio " << rates.target << "/" << rates.source << ", size " << size
                    << ", call " << call << ", inputs " << generic.handle()->inputCount << ": "
                    << same.message();
      return calls;
    }
  }
  return calls;
}

TEST(InterpolatorDifferential, RandomStreams) {
  KX_REQUIRE_AVX2();
  const uint64_t wanted = kxtest::differentialCases();
  uint64_t calls = 0;
  for (uint64_t seed = 1; calls < wanted && !HasFailure(); ++seed) {
    SampleGenerator random(seed);
    const uint32_t size = randomRingSize(random);
    calls += playBoth(random, randomRates(random, size), size, 20 + random.below(60));
  }
}

// Streams that have already run for about 2^31, 2^32, 2^52 or 2^63 input samples: positions
// past 2^31 take the one-at-a-time path, and the 32-bit truncation of t shows there.
TEST(InterpolatorDifferential, LongRunningStreams) {
  KX_REQUIRE_AVX2();
  constexpr uint64_t kMarks[] = {uint64_t{1} << 31, uint64_t{1} << 32, uint64_t{1} << 52,
                                 uint64_t{1} << 63};
  uint64_t calls = 0;
  for (uint64_t seed = 1; calls < kxtest::differentialCases() / 10 && !HasFailure(); ++seed) {
    SampleGenerator random(seed);
    const uint32_t size = 1u << (2 + random.below(9));
    const Rates rates = randomRates(random, size);
    Stream generic(rates.source, rates.target, size, kGeneric.step);
    Stream avx2(rates.source, rates.target, size, kAvx2.step);
    const int64_t offset = static_cast<int64_t>(random.below(4 * size)) - 2 * size;
    uint64_t mark = kMarks[random.below(4)];
    // Past 2^64 input positions times the ratio the covered count itself wraps, and one
    // call would owe billions of outputs.
    if (mark == kMarks[3] && !(generic.handle()->ratio <= 1.0)) mark = kMarks[2];
    const uint64_t inputs = mark + static_cast<uint64_t>(offset);
    for (Stream* stream : {&generic, &avx2}) {
      stream->handle()->inputCount = inputs;
      stream->handle()->outputCount = ip::outputsCovered(inputs, stream->handle()->ratio);
    }
    for (uint32_t call = 0; call < 20; ++call, ++calls) {
      const std::vector<float> block = random.make<float>(randomBlock(random, size));
      const ::testing::AssertionResult same =
          sameCall("block", generic, generic.feed(block), avx2, avx2.feed(block));
      ASSERT_TRUE(same) << "ratio " << rates.target << "/" << rates.source << ", size " << size
                        << ", inputs " << inputs << ", call " << call;
    }
  }
}

}  // namespace
